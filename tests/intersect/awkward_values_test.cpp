// Rays, limits, boxes and records that are not numbers, infinite or huge.
#include <gtest/gtest.h>

#include <cstring>

#include "reference/one_ray_layers_reference.h"
#include "reference/packet_reference.h"
#include "support/ray_fill.h"
#include "support/test_scenes.h"

namespace {

using namespace vekr_test;
using vekr_reference::PacketPlaces;

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

void runAll(const RayBlock &block, const VekrIntersectScene &scene, int32_t depth) {
  runMultiple(block, scene, depth);
  runEye(block, scene);
  runMO(block, scene);
  runAny(block, scene);
}

TEST(AwkwardValues, RaysThatAreNotFiniteHitNothing) {
  TracedScene scene(ball(10, 14), {14, 3, Leaves::mixed, 6}, 0.01f);
  Random random(61);
  for (const VekrBlockSize size : {VekrBlockSize{8, 8}, VekrBlockSize{15, 3}}) {
    for (int round = 0; round < 60; ++round) {
      RayBlock block(size, 2);
      setOrigin(block, {0.1f, 0.2f, -2.0f});
      fillDirections(block, Tiles::changing, scene.mesh(), random);
      fillLimits(block, Limits::far, random);
      const float bad[] = {kNan, kInfinity, -kInfinity};
      if (round % 3 == 0) {
        for (size_t i = 0; i < block.rays; ++i) block.distances[i] = kNan;
        block.mask.fill(-1);
      } else if (round % 3 == 1) {
        const auto a = static_cast<size_t>(random.below(3));
        block.pointOrigin[a] = bad[random.below(3)];
        block.origins[a].fill(block.pointOrigin[a]);
      } else {
        for (size_t i = 0; i < block.rays; ++i)
          block.directions[static_cast<size_t>(random.below(3))][i] = bad[random.below(3)];
      }
      RayBlock before(size, 2);
      before.copyFrom(block);
      runAll(block, scene.get(), 2);
      for (size_t i = 0; i < block.rays; ++i) {
        ASSERT_EQ(block.triangles[i], -1) << round;
        ASSERT_TRUE(same(block.distances[i], before.distances[i])) << round;
        if (round % 3 > 0) {
          ASSERT_EQ(block.mask[i], 0) << round;
          ASSERT_EQ(block.occluders[i], -1) << round;
        }
      }
      ASSERT_TRUE(block.intact());
    }
  }
}

// In a packet a NaN may steer its neighbours, but nothing is written outside and every number is a triangle's.
TEST(AwkwardValues, PacketsOfAnythingStayWithinTheirArrays) {
  TracedScene scene(soup(60, 0.5f, 1), {12, 3, Leaves::mixed, 1});
  Random random(62);
  for (int round = 0; round < 200; ++round) {
    RayBlock block({8, 8}, 5);
    setOrigin(block, {random.awkward(), random.awkward(), random.awkward()});
    for (size_t i = 0; i < block.rays; ++i) {
      for (size_t a = 0; a < 3; ++a) {
        block.origins[a][i] = random.awkward();
        block.directions[a][i] = random.awkward();
      }
      block.distances[i] = random.awkward();
      block.mask[i] = random.below(3) - 1;
    }
    runAll(block, scene.get(), 5);
    ASSERT_TRUE(block.intact());
    for (const int32_t n :
         {*std::max_element(&block.triangles[0], &block.triangles[0] + block.triangles.size()),
          *std::max_element(&block.occluders[0], &block.occluders[0] + 64)}) {
      ASSERT_LT(n, scene.mesh().triangleCount());
    }
  }
}

TEST(AwkwardValues, OneRayFormsOfAnythingAgreeWithTheirTwins) {
  TracedScene scene(soup(60, 0.8f, 1), {12, 3, Leaves::mixed, 1});
  const VekrIntersectScene traced = scene.get();
  Random random(63);
  for (int round = 0; round < 200; ++round) {
    RayBlock block({7, 5}, 4), expected({7, 5}, 4);
    setOrigin(block, {random.within(-2, 2), random.within(-2, 2), round % 4 == 0 ? random.awkward() : -1.5f});
    for (size_t i = 0; i < block.rays; ++i) {
      for (auto &plane : block.directions) plane[i] = random.awkward();
      block.distances[i] = random.awkward();
      block.mask[i] = random.below(3) - 1;
    }
    expected.copyFrom(block);
    runMultiple(block, traced, 4);
    runAny(block, traced);
    vekr_reference::oneRayIntersectMultipleSO(expected.pointOrigin.data(), expected.directionList,
                                              expected.distances.data(), expected.hitList,
                                              expected.triangles.data(), &traced, {7, 5, 4});
    vekr_reference::oneRayIntersectAnySO(expected.pointOrigin.data(), expected.directionList,
                                         expected.occluders.data(), expected.mask.data(), expected.size,
                                         &traced);
    ASSERT_TRUE(sameBlocks(block, expected)) << round;
  }
}

// A box may be larger than all numbers, or cut the mesh: it limits the walk, not the hits.
TEST(AwkwardValues, BoxesThatDontFitTheMeshAgreeWithTheTwins) {
  for (const float slack : {kInfinity, 1e30f, -0.2f, -0.5f, -0.9f}) {
    TracedScene scene(soup(200, 0.4f, 71), {14, 3, Leaves::mixed, 71}, slack);
    const VekrIntersectScene traced = scene.get();
    Random random(71);
    PacketPlaces places;
    for (const Tiles tiles : kAllTiles) {
      for (int round = 0; round < 6; ++round) {
        RayBlock block({8, 8}, 3);
        setOrigin(block, pointWithin(random, -1.5f, 1.5f));
        fillDirections(block, tiles, scene.mesh(), random);
        fillLimits(block, Limits::far, random);
        const auto fresh = [&] {
          auto copy = std::make_unique<RayBlock>(block.size, 3);
          copy->copyFrom(block);
          return copy;
        };
        auto actual = fresh(), expected = fresh();
        runEye(*actual, traced);
        vekr_reference::packetIntersectEyeSO(expected->pointOrigin.data(), expected->directionList,
                                             expected->distances.data(), expected->hitList,
                                             expected->triangles.data(), &traced, block.size, &places);
        ASSERT_TRUE(sameBlocks(*actual, *expected)) << "eye, slack " << slack;
        actual = fresh(), expected = fresh();
        runMO(*actual, traced);
        vekr_reference::packetIntersectMO(expected->originList, expected->directionList,
                                          expected->distances.data(), expected->hitList,
                                          expected->triangles.data(), &traced, block.size, &places);
        ASSERT_TRUE(sameBlocks(*actual, *expected)) << "many, slack " << slack;
        actual = fresh(), expected = fresh();
        runMultiple(*actual, traced, 3);
        vekr_reference::packetIntersectMultipleSO(expected->pointOrigin.data(), expected->directionList,
                                                  expected->distances.data(), expected->hitList,
                                                  expected->triangles.data(), &traced, {8, 8, 3}, &places);
        ASSERT_TRUE(sameBlocks(*actual, *expected)) << "layers, slack " << slack;
        RayBlock row({64, 1}, 3), rowExpected({64, 1}, 3);
        row.copyFrom(block);
        rowExpected.copyFrom(block);
        runMultiple(row, traced, 3);
        vekr_reference::oneRayIntersectMultipleSO(rowExpected.pointOrigin.data(), rowExpected.directionList,
                                                  rowExpected.distances.data(), rowExpected.hitList,
                                                  rowExpected.triangles.data(), &traced, {64, 1, 3});
        ASSERT_TRUE(sameBlocks(row, rowExpected)) << "one-ray layers, slack " << slack;
      }
    }
  }
}

// Vertices that are not numbers give records that no ray hits; their neighbours in the leaf are hit as ever.
TEST(AwkwardValues, RecordsThatAreNotNumbersAreNeverHit) {
  Mesh mesh;
  mesh.addTriangle({kNan, kNan, kNan}, {9, -9, 1}, {-9, 27, 1});
  mesh.addTriangle({-9, -9, kInfinity}, {27, -9, 1}, {-9, 27, 1});
  addWall(mesh, 2.0f);
  TracedScene scene(mesh, oneLeaf({0, 1, 2}));
  std::copy_n(std::array<float, 6>{-9, -9, 0, 27, 27, 3}.begin(), 6, scene.box());
  for (const VekrBlockSize size : {VekrBlockSize{4, 4}, VekrBlockSize{3, 1}}) {
    RayBlock block(size, 2);
    setOrigin(block, {0.25f, 0.5f, 0.0f});
    for (size_t i = 0; i < block.rays; ++i) {
      block.directions[0][i] = 0.125f;
      block.directions[1][i] = i == 1 ? -0.125f : 0.25f;
      block.directions[2][i] = 8.0f;
      block.distances[i] = 50.0f;
    }
    RayBlock nearest(size, 2);
    nearest.copyFrom(block);
    runEye(nearest, scene.get());
    runMultiple(block, scene.get(), 2);
    runAny(block, scene.get());
    for (size_t i = 0; i < block.rays; ++i) {
      EXPECT_EQ(nearest.triangles[i], 2);
      EXPECT_EQ(block.triangles[i], 2);
      EXPECT_EQ(block.triangles[block.rays + i], -1);
      EXPECT_EQ(block.mask[i], -1);
    }
  }
}

}  // namespace
