// Which form runs: the packet form for whole tiles in aligned arrays, the one-ray form otherwise, nothing at all for a
// block without rays.
#include <gtest/gtest.h>

#include <functional>

#include "support/ray_fill.h"
#include "support/test_scenes.h"

namespace {

using namespace vekr_test;

constexpr int32_t kPlanes = 3;

struct Function {
  const char *name;
  std::vector<int> alignedArrays;  // those that must be aligned for the packet form
  std::function<VekStatus(const RayBlock &, const VekrIntersectScene &)> run;
};

std::vector<Function> functions() {
  return {
      {"MO",
       {kOriginX, kOriginY, kOriginZ, kDirectionX, kDirectionY, kDirectionZ, kDistances, kHits0, kHits1,
        kHitTriangles},
       runMO},
      {"Eye", {kDirectionX, kDirectionY, kDirectionZ, kDistances, kHits0, kHits1, kHitTriangles}, runEye},
      {"Any", {kDirectionX, kDirectionY, kDirectionZ, kOccluders, kMask}, runAny},
      {"Multiple",
       {kDirectionX, kDirectionY, kDirectionZ, kDistances, kHits0, kHits1, kHitTriangles},
       [](const RayBlock &b, const VekrIntersectScene &s) { return runMultiple(b, s, kPlanes); }},
  };
}

// Rays for which the two forms give different bits, whichever the function.
void fill(RayBlock &block, TracedScene &scene) {
  Random random(4242);
  setOrigin(block, {0.1f, -0.2f, -1.7f});
  for (size_t i = 0; i < block.rays; ++i) {
    const Point target = pointOnTriangle(scene.mesh(), random.below(scene.mesh().triangleCount()), random);
    const Point d = towards(target, {0.1f, -0.2f, -1.7f});
    for (size_t a = 0; a < 3; ++a) block.directions[a][i] = 1.25f * d[a];
    block.distances[i] = 100.0f;
    block.mask[i] = i % 7 == 3 ? -2 : 0;
  }
}

// The same rays in one row, which no packet form takes.
RayBlock inOneRow(const RayBlock &block) {
  RayBlock row({static_cast<int32_t>(block.rays), 1}, kPlanes);
  row.copyFrom(block);
  return row;
}

class FormChoice : public ::testing::Test {
 protected:
  FormChoice() : scene_(soup(200, 0.3f, 31), {14, 3, Leaves::mixed, 31}, 0.01f) {}
  TracedScene scene_;
};

TEST_F(FormChoice, EveryMisalignedArrayGivesTheOneRayForm) {
  for (const Function &function : functions()) {
    RayBlock packet({8, 8}, kPlanes);
    fill(packet, scene_);
    RayBlock oneRay = inOneRow(packet);
    function.run(packet, scene_.get());
    function.run(oneRay, scene_.get());
    ASSERT_FALSE(sameBlocks(packet, oneRay)) << "the forms can't be told apart";
    for (int number = 0; number < kRayArrays; ++number) {
      const auto &list = function.alignedArrays;
      const bool counts = std::find(list.begin(), list.end(), number) != list.end();
      for (const int by : {4, 8, 12, 16, 32}) {
        for (const int others : {0, 16, kAtPageEnd}) {
          RayBlock block({8, 8}, kPlanes, {number, by, others});
          fill(block, scene_);
          function.run(block, scene_.get());
          EXPECT_TRUE(sameBlocks(block, counts && by % 16 != 0 ? oneRay : packet))
              << function.name << ", array " << number << " off by " << by << ", others at " << others;
        }
      }
    }
  }
}

TEST_F(FormChoice, BlocksThatAreNotWholeTilesTakeTheOneRayForm) {
  for (const Function &function : functions()) {
    size_t different = 0;
    for (int32_t width = 1; width <= 12; ++width) {
      for (int32_t height = 1; height <= 12; ++height) {
        RayBlock block({width, height}, kPlanes);
        fill(block, scene_);
        RayBlock row = inOneRow(block);
        function.run(block, scene_.get());
        function.run(row, scene_.get());
        const bool same = static_cast<bool>(sameBlocks(block, row));
        if (width % 4 == 0 && height % 4 == 0) {
          different += !same;
        } else {
          EXPECT_TRUE(same) << function.name << ' ' << width << " x " << height;
        }
        EXPECT_TRUE(block.intact());
      }
    }
    EXPECT_EQ(different, 9u) << function.name;
  }
}

TEST_F(FormChoice, OneRayArraysThatEndAtAnUnreadablePageAreNotOverrun) {
  for (const Function &function : functions()) {
    for (const VekrBlockSize size : {VekrBlockSize{1, 1}, VekrBlockSize{5, 3}, VekrBlockSize{7, 4}}) {
      RayBlock block(size, kPlanes, {-1, 0, kAtPageEnd}), expected(size, kPlanes);
      fill(block, scene_);
      fill(expected, scene_);
      function.run(block, scene_.get());
      function.run(expected, scene_.get());
      EXPECT_TRUE(sameBlocks(block, expected)) << function.name;
    }
  }
}

// Sizes are looked at before anything else: all pointers are null.
TEST_F(FormChoice, BlocksWithoutRaysReadAndWriteNothing) {
  const float *const nullList[3] = {};
  float *const nullHits[2] = {};
  for (const VekrBlockSize size :
       {VekrBlockSize{0, 0}, VekrBlockSize{0, 4}, VekrBlockSize{4, 0}, VekrBlockSize{-4, 4},
        VekrBlockSize{4, -4}, VekrBlockSize{-4, -4}, VekrBlockSize{-3, -5},
        VekrBlockSize{INT32_MIN, INT32_MIN}, VekrBlockSize{INT32_MIN, 8}}) {
    EXPECT_EQ(vekrIntersectMO_32f(nullList, nullList, nullptr, nullHits, nullptr, nullptr, size), vekOk);
    EXPECT_EQ(vekrIntersectEyeSO_32f(nullptr, nullList, nullptr, nullHits, nullptr, nullptr, size), vekOk);
    EXPECT_EQ(vekrIntersectAnySO_32f(nullptr, nullList, nullptr, nullptr, size, nullptr), vekOk);
    for (const int32_t depth : {1, 3, -1, 0}) {
      EXPECT_EQ(vekrIntersectMultipleSO_32f(nullptr, nullList, nullptr, nullHits, nullptr, nullptr,
                                            {size.width, size.height, depth}),
                vekOk);
    }
  }
  // With arrays whose entries a preset would reach.
  for (const Function &function : functions()) {
    for (const VekrBlockSize size : {VekrBlockSize{-4, -4}, VekrBlockSize{-3, -5}, VekrBlockSize{0, 4}}) {
      RayBlock block({4, 4}, kPlanes), untouched({4, 4}, kPlanes);
      fill(block, scene_);
      fill(untouched, scene_);
      block.size = size;
      EXPECT_EQ(function.run(block, scene_.get()), vekOk);
      EXPECT_TRUE(sameBlocks(block, untouched)) << function.name;
    }
  }
}

// What a depth below one does to plane 1 differs between the forms; plane 0 is traced in both.
TEST_F(FormChoice, ADepthBelowOneStillTracesThePlaneOfNearestHits) {
  for (const int32_t depth : {0, -1, -50}) {
    RayBlock block({8, 8}, 4), one({8, 8}, 1);
    fill(block, scene_);
    fill(one, scene_);
    block.triangles.fill(-1);  // no plane is preset
    runMultiple(block, scene_.get(), depth);
    runMultiple(one, scene_.get(), 1);
    EXPECT_TRUE(sameArrays(block.triangles, one.triangles, 64));
    EXPECT_TRUE(sameArrays(block.distances, one.distances, 64));
    EXPECT_TRUE(sameArrays(block.hits[0], one.hits[0], 64));
    EXPECT_TRUE(sameArrays(block.hits[1], one.hits[1], 64));
    for (size_t i = 64; i < 256; ++i) {
      EXPECT_EQ(block.triangles[i], -1);
      EXPECT_EQ(block.hits[0][i], -7.5f);
      if (i >= 128) {
        EXPECT_EQ(block.distances[i], -123.0f);
      }
    }
  }
}

}  // namespace
