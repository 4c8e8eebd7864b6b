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
  vekr_reference::packetIntersectAnySO(expected.pointOrigin.data(), expected.directionList, expected.occluders.data(),
                                       expected.mask.data(), expected.size, &traced, places);
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
              << "scene " << seed << ", tiles " << static_cast<int>(tiles) << ", masks " << static_cast<int>(masks);
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

}  // namespace
