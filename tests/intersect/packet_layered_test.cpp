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
  vekr_reference::packetIntersectMultipleSO(expected.pointOrigin.data(), expected.directionList,
                                            expected.distances.data(), expected.hitList, expected.triangles.data(),
                                            &traced, {block.size.width, block.size.height, depth}, places);
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

}  // namespace
