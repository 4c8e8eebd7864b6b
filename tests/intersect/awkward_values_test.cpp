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
    for (int round = 0; round < 24; ++round) {
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

// A tile without a limit above 0 is passed over where every ray has an origin of its own, and in layers; a NaN is not
// above 0.
TEST(AwkwardValues, TilesWithoutALimitThatIsANumberKeepTheirWeights) {
  TracedScene scene(cube(0.75f), {6, 2, Leaves::mixed, 8});
  for (const bool mixed : {false, true}) {
    RayBlock block({4, 4});
    setOrigin(block, {0.0f, 0.0f, 0.0f});
    for (size_t i = 0; i < 16; ++i) {
      block.directions[0][i] = mixed && i == 5 ? -0.25f : 0.25f;
      block.directions[1][i] = 0.5f;
      block.directions[2][i] = 1.0f;
      block.distances[i] = i % 3 == 0 ? kNan : i % 3 == 1 ? 0.0f : -1.0f;
    }
    runMO(block, scene.get());
    runMultiple(block, scene.get(), 1);
    for (size_t i = 0; i < 16; ++i) {
      EXPECT_EQ(block.triangles[i], -1);
      EXPECT_EQ(block.hits[0][i], -7.5f);
      EXPECT_EQ(block.hits[1][i], -8.5f);
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

// All packet forms, and the one-ray forms of any hit and of layered hits, on the same rays.
::testing::AssertionResult allFormsAgree(const RayBlock &block, TracedScene &scene, int32_t depth) {
  const VekrIntersectScene traced = scene.get();
  PacketPlaces places;
  const VekrBlockSize row = {static_cast<int32_t>(block.rays), 1};
  const auto compare = [&](const char *form, VekrBlockSize size, auto library, auto twin) {
    RayBlock actual(size, depth), expected(size, depth);
    actual.copyFrom(block);
    expected.copyFrom(block);
    library(actual);
    twin(expected);
    const auto result = sameBlocks(actual, expected);
    return result ? result : ::testing::AssertionFailure() << form << ": " << result.message();
  };
  namespace twin = vekr_reference;
  if (auto r = compare(
          "eye", block.size, [&](RayBlock &b) { runEye(b, traced); },
          [&](RayBlock &b) {
            twin::packetIntersectEyeSO(b.pointOrigin.data(), b.directionList, b.distances.data(), b.hitList,
                                       b.triangles.data(), &traced, b.size, &places);
          });
      !r) {
    return r;
  }
  if (auto r = compare(
          "many origins", block.size, [&](RayBlock &b) { runMO(b, traced); },
          [&](RayBlock &b) {
            twin::packetIntersectMO(b.originList, b.directionList, b.distances.data(), b.hitList,
                                    b.triangles.data(), &traced, b.size, &places);
          });
      !r) {
    return r;
  }
  if (auto r = compare(
          "any", block.size, [&](RayBlock &b) { runAny(b, traced); },
          [&](RayBlock &b) {
            twin::packetIntersectAnySO(b.pointOrigin.data(), b.directionList, b.occluders.data(),
                                       b.mask.data(), b.size, &traced, &places);
          });
      !r) {
    return r;
  }
  if (auto r = compare(
          "layers", block.size, [&](RayBlock &b) { runMultiple(b, traced, depth); },
          [&](RayBlock &b) {
            twin::packetIntersectMultipleSO(b.pointOrigin.data(), b.directionList, b.distances.data(),
                                            b.hitList, b.triangles.data(), &traced,
                                            {b.size.width, b.size.height, depth}, &places);
          });
      !r) {
    return r;
  }
  if (auto r = compare(
          "any, one ray", row, [&](RayBlock &b) { runAny(b, traced); },
          [&](RayBlock &b) {
            twin::oneRayIntersectAnySO(b.pointOrigin.data(), b.directionList, b.occluders.data(),
                                       b.mask.data(), b.size, &traced);
          });
      !r) {
    return r;
  }
  return compare(
      "layers, one ray", row, [&](RayBlock &b) { runMultiple(b, traced, depth); },
      [&](RayBlock &b) {
        twin::oneRayIntersectMultipleSO(b.pointOrigin.data(), b.directionList, b.distances.data(), b.hitList,
                                        b.triangles.data(), &traced, {b.size.width, b.size.height, depth});
      });
}

// A box may be larger than all numbers, or cut the mesh: it limits the walk, not the hits.
TEST(AwkwardValues, BoxesThatDontFitTheMeshAgreeWithTheTwins) {
  for (const float slack : {kInfinity, 1e30f, -0.2f, -0.5f, -0.9f}) {
    TracedScene scene(soup(200, 0.4f, 71), {14, 3, Leaves::mixed, 71}, slack);
    Random random(71);
    for (const Tiles tiles : kAllTiles) {
      for (int round = 0; round < 4; ++round) {
        RayBlock block({8, 8}, 3);
        setOrigin(block, pointWithin(random, -1.5f, 1.5f));
        fillDirections(block, tiles, scene.mesh(), random);
        fillLimits(block, Limits::far, random);
        ASSERT_TRUE(allFormsAgree(block, scene, 3)) << "slack " << slack;
      }
    }
  }
}

// What stands in for the reciprocal of a parallel axis shows only where the scene is as small, or as large, along that
// axis as the constant is large or small.
TEST(AwkwardValues, ScenesAsFlatOrLongAsParallelReciprocalsAgreeWithTheTwins) {
  for (size_t axis = 0; axis < 3; ++axis) {
    for (const float scale : {2e-9f, 1e-7f, 1e-5f, 2e8f, 1e9f}) {
      Mesh mesh = soup(120, 0.6f, 81);
      for (size_t v = axis; v < mesh.vertices.size(); v += 3) mesh.vertices[v] *= scale;
      TracedScene scene(mesh, {10, 3, Leaves::mixed, 81});
      Random random(81);
      for (int round = 0; round < 16; ++round) {
        RayBlock block({8, 4}, 3);
        Point origin = pointWithin(random, -1.0f, 1.0f);
        if (round % 2 == 0) origin[(axis + 1) % 3] = -2.0f;
        origin[axis] *= scale;
        setOrigin(block, origin);
        fillDirections(block, round % 4 < 2 ? Tiles::oneOctant : Tiles::anyOctant, scene.mesh(), random);
        for (size_t i = 0; i < block.rays; ++i) {
          float &d = block.directions[axis][i];
          const float small = random.below(3) == 0 ? 1e-9f * random.unit() : 0.0f;
          if (scale > 1.0f || random.below(2) == 0) d = d < 0.0f ? -1e-10f - small : small;
          block.origins[axis][i] += scale * random.within(-0.5f, 0.5f);
        }
        fillLimits(block, Limits::far, random);
        ASSERT_TRUE(allFormsAgree(block, scene, 3))
            << "axis " << axis << ", scale " << scale << ", round " << round;
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
