// Layered hits of packets against their scalar twin.
#include <gtest/gtest.h>

#include "reference/packet_reference.h"
#include "support/ray_fill.h"
#include "support/test_scenes.h"

namespace {

using namespace vekr_test;
using vekr_reference::PacketPlaces;

::testing::AssertionResult layersAgree(const RayBlock &block, TracedScene &scene, int32_t depth,
                                       PacketPlaces *places) {
  RayBlock expected(block.size, depth);
  expected.copyFrom(block);
  const VekrIntersectScene traced = scene.get();
  if (runMultiple(block, traced, depth) != vekOk) return ::testing::AssertionFailure() << "status";
  vekr_reference::packetIntersectMultipleSO(
      expected.pointOrigin.data(), expected.directionList, expected.distances.data(), expected.hitList,
      expected.triangles.data(), &traced, {block.size.width, block.size.height, depth}, places);
  return sameBlocks(block, expected);
}

TEST(PacketLayered, EveryTileKindAndDepthAgreesWithTheTwinOnEveryScene) {
  PacketPlaces places;
  forEachScene([&](TracedScene &scene, uint32_t seed) {
    Random random(seed + 200);
    for (const Tiles tiles : kAllTiles) {
      for (int32_t depth = 1; depth <= 12; ++depth) {
        RayBlock block({4 + 4 * random.below(3), 4 + 4 * random.below(2)}, depth);
        setOrigin(block, originFor(scene, random));
        fillDirections(block, tiles, scene.mesh(), random);
        fillLimits(block, depth % 4 == 3 ? Limits::mixed : depth == 10 ? Limits::dead : Limits::far, random);
        ASSERT_TRUE(layersAgree(block, scene, depth, &places))
            << "scene " << seed << ", tiles " << static_cast<int>(tiles) << ", depth " << depth;
      }
    }
  });
  EXPECT_GT(places.narrowCalls, 1000);
  EXPECT_GT(places.wideCalls, 500);
  EXPECT_GT(places.clippedAway, 100);
  EXPECT_GT(places.skippedTiles, 100);
  EXPECT_GT(places.mailboxSkips, 1000);
  EXPECT_GT(places.memoryRefusals, 1000);
  EXPECT_GT(places.idleLayers, 100);
  EXPECT_GT(places.layers, 5000);
}

void setDirection(RayBlock &block, size_t ray, const Point &d) {
  for (size_t a = 0; a < 3; ++a) block.directions[a][ray] = d[a];
}

// A block of the same ray sixteen times.
RayBlock equalRays(const Point &origin, const Point &direction, int32_t planes) {
  RayBlock block({4, 4}, planes);
  setOrigin(block, origin);
  for (size_t i = 0; i < 16; ++i) {
    setDirection(block, i, direction);
    block.distances[i] = 1e30f;
  }
  return block;
}

TEST(PacketLayered, TheMemoryHoldsFourTrianglesOfEachLane) {
  for (const bool mixed : {false, true}) {
    for (int32_t copies = 1; copies <= 8; ++copies) {
      std::vector<int32_t> numbers(static_cast<size_t>(copies));
      for (size_t i = 0; i < numbers.size(); ++i) numbers[i] = static_cast<int32_t>(i);
      TracedScene scene(stuckStack(copies), oneLeaf(numbers), 4096.0f);
      RayBlock block = equalRays({kStuckX, 1.0f, 0.0f}, {1.0f, 0.0f, 0.0f}, 20);
      if (mixed) setDirection(block, 15, {-1.0f, 0.0f, 0.0f});
      PacketPlaces places;
      ASSERT_TRUE(layersAgree(block, scene, 20, &places));
      for (size_t l = 0; l < 20; ++l) {
        const auto layer = static_cast<int32_t>(l);
        // With five copies the first one comes back in the sixth layer.
        const int32_t expected = copies >= 5 ? layer % 5 : layer < copies ? layer : -1;
        EXPECT_EQ(block.triangles[l * 16], expected) << copies << " copies, layer " << l;
      }
    }
  }
}

TEST(PacketLayered, RaysThatStickGoOnAsTheTwinDoes) {
  PacketPlaces places;
  for (const int32_t copies : {2, 4, 5, 6, 9}) {
    TracedScene scene(stuckStack(copies), {2, 3, Leaves::mixed, 2}, 512.0f);
    Random random(static_cast<uint32_t>(copies));
    for (int32_t depth = 1; depth <= 16; ++depth) {
      RayBlock block({8, 4}, depth);
      setOrigin(block, {kStuckX, 1.0f, 0.0f});
      for (size_t i = 0; i < block.rays; ++i) {
        const bool still = random.below(2) == 0;
        setDirection(
            block, i,
            {random.within(0.3f, 2.0f), still ? 0.0f : random.within(i % 8 < 4 ? 0.0f : -0.05f, 0.05f),
             still ? 0.0f : random.within(i % 8 < 4 ? 0.0f : -0.5f, 0.5f)});
      }
      fillLimits(block, Limits::far, random);
      ASSERT_TRUE(layersAgree(block, scene, depth, &places)) << copies << " copies, depth " << depth;
    }
  }
}

TEST(PacketLayered, LanesOutOfTheRaceGetDistanceZeroOnlyInWideKernels) {
  Mesh mesh;
  addWall(mesh, 1.0f);
  mesh.addTriangle({-1, -1, 2}, {0.5f, -1, 2}, {-1, 0.5f, 2});
  mesh.addTriangle({-1, -1, 3}, {0.5f, -1, 3}, {-1, 0.5f, 3});
  TracedScene scene(mesh, oneLeaf({0, 1, 2}), 0.0f);
  for (const bool mixed : {false, true}) {
    RayBlock block = equalRays({-0.5f, -0.5f, 0.0f}, {2.0f, 2.0f, 1.0f}, 5);  // the wall only
    setDirection(block, 1, {0.03125f, 0.03125f, 1.0f});                       // all three
    setDirection(block, 2, {2.0f, 2.0f, 0.01f});                              // nothing
    if (mixed) setDirection(block, 3, {-0.125f, 0.125f, 1.0f});
    runMultiple(block, scene.get(), 5);
    const float idle = mixed ? -123.0f : 0.0f;
    // Plane 1 is begun for every lane that had a hit; the other planes for the lane that goes on.
    const float wallOnly[] = {1.0f, 3.4028235e38f, idle, idle, -123.0f};
    const float allThree[] = {1.0f, 2.0f, 3.0f, 3.4028235e38f, -123.0f};
    const float nothing[] = {1e30f, idle, idle, idle, -123.0f};
    for (size_t l = 0; l < 5; ++l) {
      EXPECT_FLOAT_EQ(block.distances[l * 16], wallOnly[l]) << mixed << l;
      EXPECT_FLOAT_EQ(block.distances[l * 16 + 1], allThree[l]) << mixed << l;
      EXPECT_EQ(block.distances[l * 16 + 2], nothing[l]) << mixed << l;
      EXPECT_EQ(block.triangles[l * 16], l < 1 ? 0 : -1);
      EXPECT_EQ(block.triangles[l * 16 + 1], l < 3 ? static_cast<int32_t>(l) : -1);
      EXPECT_EQ(block.triangles[l * 16 + 2], -1);
      EXPECT_EQ(block.hits[0][l * 16 + 2], -7.5f) << "weights at a miss stay";
      EXPECT_EQ(block.hits[1][l * 16 + 2], -8.5f);
    }
  }
}

TEST(PacketLayered, RaysParallelToASlabDieOutsideIt) {
  Mesh mesh;
  addWall(mesh, 1.0f);
  TracedScene scene(mesh, oneLeaf({0}), 0.0f);
  for (const float zero : {0.0f, -0.0f, 1e-8f, -1.1920929e-7f}) {
    for (const float y : {-9.5f, -8.0f}) {
      RayBlock block = equalRays({0.0f, y, 0.0f}, {0.25f, zero, 1.0f}, 1);
      runMultiple(block, scene.get(), 1);
      for (size_t i = 0; i < 16; ++i) EXPECT_EQ(block.triangles[i], y < -9.0f ? -1 : 0) << zero;
    }
  }
}

// The margin comes before the comparison: a box without thickness can be hit.
TEST(PacketLayered, RaysThatOnlyTouchTheBoxGoOn) {
  Mesh mesh;
  addWall(mesh, 1.0f);
  TracedScene scene(mesh, oneLeaf({0}));
  RayBlock block = equalRays({0.25f, 0.5f, -1.0f}, {0.125f, 0.0625f, 1.0f}, 2);
  runMultiple(block, scene.get(), 2);
  for (size_t i = 0; i < 16; ++i) EXPECT_EQ(block.triangles[i], 0);
}

TEST(PacketLayered, OneLayerIsTheNearestHit) {
  TracedScene scene(soup(400, 0.2f, 2), {20, 2, Leaves::mixed, 2}, 0.001f);
  Random random(5);
  for (int round = 0; round < 10; ++round) {
    RayBlock block({8, 8}), nearest({8, 8});
    setOrigin(block, originFor(scene, random));
    fillDirections(block, Tiles::oneOctant, scene.mesh(), random);
    fillLimits(block, Limits::far, random);
    nearest.copyFrom(block);
    runMultiple(block, scene.get(), 1);
    runEye(nearest, scene.get());
    ASSERT_TRUE(sameArrays(block.triangles, nearest.triangles, block.rays));
    ASSERT_TRUE(sameArrays(block.distances, nearest.distances, block.rays));
  }
}

TEST(PacketLayered, BlocksOfManySizesAgreeWithTheTwin) {
  TracedScene scene(ball(10, 14), {14, 3, Leaves::mixed, 6}, 0.01f);
  Random random(98);
  PacketPlaces places;
  for (const int32_t width : {4, 8, 12, 20, 36, 64}) {
    for (const int32_t height : {4, 8, 28, 64}) {
      RayBlock block({width, height}, 3);
      setOrigin(block, {0.2f, 0.3f, -2.0f});
      fillDirections(block, Tiles::changing, scene.mesh(), random);
      fillLimits(block, Limits::mixed, random);
      ASSERT_TRUE(layersAgree(block, scene, 3, &places)) << width << " x " << height;
    }
  }
}

TEST(PacketLayered, ArraysThatEndAtAnUnreadablePageAreNotOverrun) {
  TracedScene scene(soup(60, 0.5f, 1), {12, 3, Leaves::mixed, 1});
  Random random(99);
  PacketPlaces places;
  for (const VekrBlockSize size : {VekrBlockSize{4, 4}, VekrBlockSize{8, 4}, VekrBlockSize{12, 8}}) {
    for (const Tiles tiles : {Tiles::oneOctant, Tiles::anyOctant}) {
      for (const int32_t depth : {1, 2, 7}) {
        RayBlock block(size, depth, {-1, 0, kAtPageEnd});
        setOrigin(block, {0.2f, 0.3f, -2.0f});
        fillDirections(block, tiles, scene.mesh(), random);
        fillLimits(block, Limits::far, random);
        ASSERT_TRUE(layersAgree(block, scene, depth, &places));
      }
    }
  }
}

}  // namespace
