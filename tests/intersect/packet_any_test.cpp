// Any hit of packets against its scalar twin: the seed, the cached occluder, and what the two kernels do to numbers.
#include <gtest/gtest.h>

#include "reference/packet_reference.h"
#include "support/ray_fill.h"
#include "support/test_scenes.h"

namespace {

using namespace vekr_test;
using vekr_reference::PacketPlaces;

::testing::AssertionResult anyAgrees(const RayBlock &block, TracedScene &scene, PacketPlaces *places) {
  RayBlock expected(block.size);
  expected.copyFrom(block);
  const VekrIntersectScene traced = scene.get();
  if (runAny(block, traced) != vekOk) return ::testing::AssertionFailure() << "status";
  vekr_reference::packetIntersectAnySO(expected.pointOrigin.data(), expected.directionList,
                                       expected.occluders.data(), expected.mask.data(), expected.size,
                                       &traced, places);
  return sameBlocks(block, expected);
}

TEST(PacketAny, EveryTileKindAgreesWithTheTwinOnEveryScene) {
  PacketPlaces places;
  forEachScene([&](TracedScene &scene, uint32_t seed) {
    Random random(seed + 100);
    for (int round = 0; round < 3; ++round) {
      for (const Tiles tiles : kAllTiles) {
        for (const Masks masks : {Masks::live, Masks::mixed, Masks::rows, Masks::dead}) {
          RayBlock block({4 + 4 * random.below(5), 4 + 4 * random.below(3)});
          setOrigin(block, originFor(scene, random));
          fillDirections(block, tiles, scene.mesh(), random);
          scaleDirections(block, random);
          fillMask(block, masks, random);
          ASSERT_TRUE(anyAgrees(block, scene, &places))
              << "scene " << seed << ", tiles " << static_cast<int>(tiles) << ", masks "
              << static_cast<int>(masks);
        }
      }
    }
  });
  EXPECT_GT(places.narrowCalls, 1000);
  EXPECT_GT(places.wideCalls, 1000);
  EXPECT_GT(places.skippedTiles, 100);
  EXPECT_GT(places.seeds, 100);
  EXPECT_GT(places.cacheHits, 1000);
  EXPECT_GT(places.rowShortcuts, 100);
  EXPECT_GT(places.cachedTiles, 10);
  EXPECT_GT(places.cacheRefreshes, 100);
  EXPECT_GT(places.cacheClears, 100);
  EXPECT_GT(places.overwritten, 100);
  EXPECT_GT(places.zeroed, 100);
  EXPECT_GT(places.fullyBlocked, 100);
  EXPECT_GT(places.deadRaysBlocked, 100);
}

void setDirection(RayBlock &block, size_t ray, const Point &d) {
  for (size_t a = 0; a < 3; ++a) block.directions[a][ray] = d[a];
}

// A block of rays along +z from the origin, all of one octant, of length 10.
RayBlock straightRays(VekrBlockSize size) {
  RayBlock block(size);
  setOrigin(block, {0.0f, 0.0f, 0.0f});
  for (size_t i = 0; i < block.rays; ++i) {
    setDirection(block, i, {0.01f * static_cast<float>(i % 16), 0.01f * static_cast<float>(i / 16), 10.0f});
  }
  return block;
}

// Walls at the given z, all in one leaf, in the order of their numbers.
Mesh walls(std::initializer_list<float> positions) {
  Mesh mesh;
  for (const float z : positions) addWall(mesh, z);
  return mesh;
}

::testing::AssertionResult occludersAre(const RayBlock &block, int32_t number) {
  for (size_t i = 0; i < block.rays; ++i) {
    if (block.occluders[i] != number) {
      return ::testing::AssertionFailure()
             << "ray " << i << ": " << block.occluders[i] << " instead of " << number;
    }
  }
  return ::testing::AssertionSuccess();
}

// Three walls in one leaf. A walk leaves 0 if it blocks all lanes of a kernel, as it ends there, and 2 in the blocked
// lanes of a kernel of which one lane passes the walls by; the nearest wall, the seed, is 1.
TracedScene threeWalls() { return {walls({2.0f, 1.0f, 3.0f}), oneLeaf({0, 1, 2})}; }
constexpr Point kPassesBy = {300.0f, 0.0f, 10.0f};

TEST(PacketAny, TilesBehindTheSeedNeedNoWalk) {
  TracedScene scene = threeWalls();
  RayBlock block = straightRays({16, 8});
  runAny(block, scene.get());
  EXPECT_TRUE(occludersAre(block, 1));
  for (size_t i = 0; i < block.rays; ++i) EXPECT_EQ(block.mask[i], -1);
}

TEST(PacketAny, TheFirstLiveRayOfTheFourthRowSeeds) {
  TracedScene scene = threeWalls();
  for (size_t live = 0; live < 8; ++live) {
    RayBlock block = straightRays({8, 4});
    for (size_t i = 0; i < 8; ++i) block.mask[24 + i] = i == live ? 0 : -6;
    runAny(block, scene.get());
    // Lanes of the second tile don't seed.
    EXPECT_EQ(block.occluders[0], live < 4 ? 1 : 0) << live;
    EXPECT_EQ(block.occluders[24 + live], live < 4 ? 1 : 0) << live;
    // A tile that the cached wall blocks leaves its dead rays alone; a walk blocks them too.
    const size_t dead = live == 0 ? 25 : 24;
    EXPECT_EQ(block.occluders[dead], live < 4 ? -1 : 0) << live;
    EXPECT_EQ(block.mask[dead], live < 4 ? -6 : -1) << live;
  }
}

TEST(PacketAny, ASeedThatFindsNothingIsNotReplacedByTheNextRay) {
  TracedScene scene = threeWalls();
  RayBlock block = straightRays({4, 4});
  block.mask[12] = -1;
  setDirection(block, 13, {0.0f, 0.0f, -10.0f});
  runAny(block, scene.get());
  EXPECT_EQ(block.occluders[0], 0);
  EXPECT_EQ(block.occluders[13], -1);
}

// What the seed search finds shows in a tile that it blocks altogether.
int32_t seedOf(const Mesh &mesh, const std::vector<int32_t> &words, float length) {
  TracedScene scene(mesh, words);
  RayBlock block({4, 4});
  setOrigin(block, {0.0f, 0.0f, 0.0f});
  for (size_t i = 0; i < 16; ++i) setDirection(block, i, {0.0f, 0.0f, length});
  runAny(block, scene.get());
  EXPECT_TRUE(occludersAre(block, block.occluders[0]));
  return block.occluders[0];
}

TEST(PacketAny, TheSeedCountsAZeroWeightAsPositive) {
  for (const float side : {1.0f, -1.0f}) {
    // The rays meet the middle of the first triangle's edge; a weight of 0 is no match for two negative ones.
    Mesh mesh;
    mesh.addTriangle({2, 0, side}, {0, 1, side}, {0, -1, side});
    addWall(mesh, 2.0f * side);
    addWall(mesh, 3.0f * side);
    EXPECT_EQ(seedOf(mesh, oneLeaf({2, 0, 1}), 4.0f * side), side > 0.0f ? 0 : 1);
  }
}

TEST(PacketAny, TheSeedIsReplacedByWhatIsNearerByMoreThanItsMargin) {
  // One unit in the last place of a number just below 2 moves t by 2^-25, and the margin is 2^-23.
  for (int steps = 0; steps <= 6; ++steps) {
    EXPECT_EQ(seedOf(walls({2.0f, 2.0f - 0x1p-23f * static_cast<float>(steps)}), oneLeaf({0, 1}), 4.0f),
              steps > 4 ? 1 : 0)
        << steps;
  }
}

TEST(PacketAny, TheSeedSearchEndsWhereACellEndsAtTheHit) {
  const auto words = [](float plane) { return oneSplit(2, plane, vekr::leafOfOne(0), vekr::leafOfOne(1)); };
  // The far cell would hold something nearer.
  EXPECT_EQ(seedOf(walls({2.0f, 1.0f}), words(2.0f), 4.0f), 0);
  EXPECT_EQ(seedOf(walls({2.0f, 1.0f}), words(std::nextafter(2.0f, 0.0f)), 4.0f), 1);
}

TEST(PacketAny, AUniformTileWithAnOpenLastRowClearsTheCache) {
  TracedScene scene = threeWalls();
  RayBlock block = straightRays({16, 4});
  setDirection(block, 0, kPassesBy);
  setDirection(block, 51, kPassesBy);
  runAny(block, scene.get());
  for (size_t y = 0; y < 4; ++y) {
    for (size_t x = 0; x < 16; ++x) {
      const size_t i = y * 16 + x;
      const bool open = i == 0 || i == 51;
      EXPECT_EQ(block.occluders[i], open ? -1 : x < 4 ? 2 : 0) << i;
      EXPECT_EQ(block.mask[i], open ? 0 : -1) << i;
    }
  }
}

TEST(PacketAny, AUniformTileWithABlockedLastRowRefreshesTheCache) {
  TracedScene scene = threeWalls();
  RayBlock block = straightRays({12, 4});
  setDirection(block, 24, kPassesBy);  // third row
  runAny(block, scene.get());
  EXPECT_EQ(block.occluders[24], -1);
  for (size_t x = 4; x < 12; ++x) EXPECT_EQ(block.occluders[x], 2) << x;
}

TEST(PacketAny, AMixedTileLeavesTheCacheAlone) {
  TracedScene scene = threeWalls();
  // In the larger block mixed tiles wait.
  for (const int32_t height : {4, 8}) {
    RayBlock block = straightRays({12, height});
    setDirection(block, 0, kPassesBy);
    setDirection(block, 39, {-300.0f, 0.0f, 10.0f});
    runAny(block, scene.get());
    for (size_t x = 4; x < 12; ++x) EXPECT_EQ(block.occluders[x], 1) << x;
  }
}

TEST(PacketAny, ADeadSecondRowHidesTheLastTwoFromTheCachedOccluder) {
  TracedScene scene = threeWalls();
  for (size_t deadRow = 0; deadRow < 3; ++deadRow) {
    RayBlock block = straightRays({4, 4});
    for (size_t i = 0; i < 4; ++i) block.mask[deadRow * 4 + i] = -6;
    runAny(block, scene.get());
    for (size_t i = 0; i < 16; ++i) {
      EXPECT_EQ(block.occluders[i], deadRow == 1 ? 0 : i / 4 == deadRow ? -1 : 1) << i;
      EXPECT_EQ(block.mask[i], deadRow != 1 && i / 4 == deadRow ? -6 : -1) << i;
    }
  }
}

TEST(PacketAny, DeadRaysOfAWalkedTileGetMaskMinusOneOnlyIfBlocked) {
  TracedScene scene = threeWalls();
  for (const bool mixed : {false, true}) {
    RayBlock block = straightRays({4, 4});
    block.mask.fill(INT32_MIN);
    block.mask[0] = 7;
    setDirection(block, 0, kPassesBy);
    setDirection(block, 5, kPassesBy);
    if (mixed) setDirection(block, 10, {-0.1f, 0.0f, 10.0f});
    runAny(block, scene.get());
    for (size_t i = 0; i < 16; ++i) {
      EXPECT_EQ(block.mask[i], i == 0 ? 7 : i == 5 ? INT32_MIN : -1) << i;
      EXPECT_EQ(block.occluders[i] < 0, i == 0 || i == 5) << i;
    }
  }
}

// One row: lane 0 is hit by both triangles, lane 1 by the first only, lane 2 by none, and lane 3 has its own octant.
TEST(PacketAny, ALaneOfAMixedTileLosesItsNumberToTheNextTriangle) {
  Mesh mesh;
  mesh.addTriangle({50, 50, 50}, {51, 50, 50}, {50, 51, 50});
  mesh.addTriangle({-1, -1, 1}, {3, -1, 1}, {-1, 3, 1});
  mesh.addTriangle({0, 0, 2}, {0.5f, 0, 2}, {0, 0.5f, 2});
  TracedScene scene(mesh, oneLeaf({0, 1, 2}));
  for (const bool thirdLaneOpen : {true, false}) {
    RayBlock block({4, 4});
    block.mask.fill(-1);  // no seed
    setOrigin(block, {0.0f, 0.0f, 0.0f});
    for (size_t i = 0; i < 16; ++i) setDirection(block, i, {0.0f, 0.0f, -1.0f});
    block.mask[0] = 0;
    block.mask[1] = 0;
    setDirection(block, 0, {0.2f, 0.2f, 4.0f});
    setDirection(block, 1, {1.2f, 1.2f, 4.0f});
    setDirection(block, 2, {thirdLaneOpen ? 12.0f : 1.0f, 1.0f, 4.0f});
    setDirection(block, 3, {-0.4f, 0.4f, 4.0f});
    runAny(block, scene.get());
    EXPECT_EQ(block.occluders[0], thirdLaneOpen ? 2 : 1) << "the second is skipped once no lane is live";
    EXPECT_EQ(block.occluders[1], thirdLaneOpen ? 0 : 1);
    EXPECT_EQ(block.occluders[2], thirdLaneOpen ? -1 : 1);
    EXPECT_EQ(block.occluders[3], 1);
    EXPECT_EQ(block.mask[0], -1);
    EXPECT_EQ(block.mask[1], -1);
  }
}

// Weights that are not numbers pass the sign tests, so that such a triangle, which blocks nobody, wipes the numbers of
// lanes that are blocked already.
TEST(PacketAny, ARecordWithoutNumbersWipesThoseOfAMixedTile) {
  Mesh mesh;
  mesh.addTriangle({50, 50, 50}, {51, 50, 50}, {50, 51, 50});
  mesh.addTriangle({-1, -1, 1}, {3, -1, 1}, {-1, 3, 1});
  const float nan = std::numeric_limits<float>::quiet_NaN();
  mesh.addTriangle({nan, nan, nan}, {0.5f, 0, 2}, {0, 0.5f, 2});
  TracedScene scene(mesh, oneLeaf({0, 1, 2}));
  for (const bool mixed : {true, false}) {
    RayBlock block({4, 4});
    block.mask.fill(-1);  // no seed
    block.mask[0] = 0;
    setOrigin(block, {0.0f, 0.0f, 0.0f});
    for (size_t i = 0; i < 16; ++i) setDirection(block, i, {0.2f, 0.2f, 4.0f});
    setDirection(block, 2, {12.0f, 1.0f, 4.0f});
    if (mixed) setDirection(block, 3, {-0.4f, 0.4f, 4.0f});
    runAny(block, scene.get());
    EXPECT_EQ(block.occluders[0], mixed ? 0 : 1);
    EXPECT_EQ(block.occluders[1], mixed ? 0 : 1);
    EXPECT_EQ(block.occluders[2], -1);
    EXPECT_EQ(block.occluders[3], 1) << "alone in its octant, or in a wide kernel";
    EXPECT_EQ(block.mask[0], -1);
  }
}

TEST(PacketAny, BothEndsOfTheSegmentAreOpen) {
  Mesh mesh;
  mesh.addTriangle({50, 50, 50}, {51, 50, 50}, {50, 51, 50});
  addWall(mesh, 1.0f);
  TracedScene scene(mesh, oneLeaf({0, 1}));
  for (const bool mixed : {false, true}) {
    // Powers of two keep the approximate reciprocal's product exact enough to tell the sides of 1 apart.
    static constexpr float kLengths[] = {1.0f / 0.9999f, 0.9995f, 1.0f / 1.00005f, 2.0f, 0.5f};
    static constexpr bool kBlocked[] = {true, false, false, true, false};
    for (size_t l = 0; l < std::size(kLengths); ++l) {
      RayBlock block({4, 4});
      setOrigin(block, {0.0f, 0.0f, 0.0f});
      for (size_t i = 0; i < 16; ++i)
        setDirection(block, i, {mixed && i == 7 ? -0.1f : 0.1f, 0.0f, kLengths[l]});
      runAny(block, scene.get());
      for (size_t i = 0; i < 16; ++i) EXPECT_EQ(block.mask[i], kBlocked[l] ? -1 : 0) << l;
    }
  }
}

TEST(PacketAny, BlocksOfManySizesAgreeWithTheTwin) {
  TracedScene scene(ball(10, 14), {14, 3, Leaves::mixed, 6}, 0.01f);
  Random random(88);
  PacketPlaces places;
  for (const int32_t width : {4, 8, 12, 20, 36, 64}) {
    for (const int32_t height : {4, 8, 28, 64}) {
      for (const Tiles tiles : {Tiles::changing, Tiles::coherent}) {
        RayBlock block({width, height});
        setOrigin(block, {0.2f, 0.3f, -2.0f});
        fillDirections(block, tiles, scene.mesh(), random);
        scaleDirections(block, random);
        fillMask(block, Masks::mixed, random);
        ASSERT_TRUE(anyAgrees(block, scene, &places)) << width << " x " << height;
      }
    }
  }
}

TEST(PacketAny, ArraysThatEndAtAnUnreadablePageAreNotOverrun) {
  TracedScene scene(soup(60, 0.5f, 1), {12, 3, Leaves::mixed, 1});
  Random random(89);
  PacketPlaces places;
  for (const VekrBlockSize size : {VekrBlockSize{4, 4}, VekrBlockSize{8, 4}, VekrBlockSize{12, 8}}) {
    for (const Tiles tiles : {Tiles::oneOctant, Tiles::anyOctant}) {
      RayBlock block(size, 1, {-1, 0, kAtPageEnd});
      setOrigin(block, {0.2f, 0.3f, -2.0f});
      fillDirections(block, tiles, scene.mesh(), random);
      fillMask(block, Masks::live, random);
      ASSERT_TRUE(anyAgrees(block, scene, &places));
    }
  }
}

}  // namespace
