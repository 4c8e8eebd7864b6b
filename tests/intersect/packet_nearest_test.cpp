// Nearest hits of packets, from one origin and from many, against their scalar twins.
#include <gtest/gtest.h>

#include "reference/packet_reference.h"
#include "support/ray_fill.h"
#include "support/test_scenes.h"

namespace {

using namespace vekr_test;
using vekr_reference::PacketPlaces;

void twinEye(const RayBlock &b, const VekrIntersectScene &scene, PacketPlaces *places) {
  vekr_reference::packetIntersectEyeSO(b.pointOrigin.data(), b.directionList, b.distances.data(), b.hitList,
                                       b.triangles.data(), &scene, b.size, places);
}
void twinMO(const RayBlock &b, const VekrIntersectScene &scene, PacketPlaces *places) {
  vekr_reference::packetIntersectMO(b.originList, b.directionList, b.distances.data(), b.hitList,
                                    b.triangles.data(), &scene, b.size, places);
}

// Runs both on the same inputs.
::testing::AssertionResult eyeAgrees(const RayBlock &block, TracedScene &scene, PacketPlaces *places) {
  RayBlock expected(block.size);
  expected.copyFrom(block);
  if (runEye(block, scene.get()) != vekOk) return ::testing::AssertionFailure() << "status";
  twinEye(expected, scene.get(), places);
  return sameBlocks(block, expected);
}
::testing::AssertionResult moAgrees(const RayBlock &block, TracedScene &scene, PacketPlaces *places) {
  RayBlock expected(block.size);
  expected.copyFrom(block);
  if (runMO(block, scene.get()) != vekOk) return ::testing::AssertionFailure() << "status";
  twinMO(expected, scene.get(), places);
  return sameBlocks(block, expected);
}

size_t hitsIn(const RayBlock &block) {
  size_t hits = 0;
  for (size_t i = 0; i < block.rays; ++i) hits += block.triangles[i] >= 0;
  return hits;
}

TEST(PacketNearest, EveryTileKindAgreesWithTheTwinOnEveryScene) {
  PacketPlaces eye, mo;
  size_t hits = 0;
  forEachScene([&](TracedScene &scene, uint32_t seed) {
    Random random(seed);
    for (const Tiles tiles : kAllTiles) {
      for (const Limits limits : {Limits::far, Limits::mixed, Limits::dead}) {
        const int32_t width = 4 + 4 * random.below(4), height = 4 + 4 * random.below(3);
        RayBlock block({width, height});
        setOrigin(block, originFor(scene, random));
        fillDirections(block, tiles, scene.mesh(), random);
        fillLimits(block, limits, random);
        ASSERT_TRUE(eyeAgrees(block, scene, &eye)) << "scene " << seed << ", tiles " << static_cast<int>(tiles);
        hits += hitsIn(block);

        RayBlock many({width, height});
        scatterOrigins(many, scene, random);
        fillDirections(many, tiles, scene.mesh(), random);
        fillLimits(many, limits, random);
        ASSERT_TRUE(moAgrees(many, scene, &mo)) << "scene " << seed << ", tiles " << static_cast<int>(tiles);
        hits += hitsIn(many);
      }
    }
  });
  EXPECT_GT(hits, 10000u);
  for (const PacketPlaces &places : {eye, mo}) {
    EXPECT_GT(places.narrowCalls, 1000);
    EXPECT_GT(places.wideCalls, 500);
    EXPECT_GT(places.clippedAway, 100);
    EXPECT_GT(places.mailboxSkips, 1000);
    EXPECT_GT(places.woken, 100);
  }
  EXPECT_EQ(eye.skippedTiles, 0);
  EXPECT_GT(mo.skippedTiles, 100);
}

}  // namespace
