// Any hit and layered hits, one ray at a time, against their scalar twins.
#include <gtest/gtest.h>

#include "reference/one_ray_layers_reference.h"
#include "support/ray_fill.h"
#include "support/test_scenes.h"

namespace {

using namespace vekr_test;

::testing::AssertionResult anyAgrees(const RayBlock &block, TracedScene &scene) {
  RayBlock expected(block.size);
  expected.copyFrom(block);
  const VekrIntersectScene traced = scene.get();
  if (runAny(block, traced) != vekOk) return ::testing::AssertionFailure() << "status";
  vekr_reference::oneRayIntersectAnySO(expected.pointOrigin.data(), expected.directionList, expected.occluders.data(),
                                       expected.mask.data(), expected.size, &traced);
  return sameBlocks(block, expected);
}

::testing::AssertionResult layersAgree(const RayBlock &block, TracedScene &scene, int32_t depth) {
  RayBlock expected(block.size, std::max(depth, 2));
  expected.copyFrom(block);
  const VekrIntersectScene traced = scene.get();
  if (runMultiple(block, traced, depth) != vekOk) return ::testing::AssertionFailure() << "status";
  vekr_reference::oneRayIntersectMultipleSO(expected.pointOrigin.data(), expected.directionList,
                                            expected.distances.data(), expected.hitList, expected.triangles.data(),
                                            &traced, {block.size.width, block.size.height, depth});
  return sameBlocks(block, expected);
}

TEST(OneRayAny, EveryRayKindAgreesWithTheTwinOnEveryScene) {
  size_t blocked = 0;
  forEachScene([&](TracedScene &scene, uint32_t seed) {
    Random random(seed + 300);
    for (const Tiles tiles : kAllTiles) {
      for (const Masks masks : {Masks::live, Masks::mixed, Masks::dead}) {
        RayBlock block({5 + 4 * random.below(4), 3 + random.below(8)});
        setOrigin(block, originFor(scene, random));
        fillDirections(block, tiles, scene.mesh(), random);
        for (size_t i = 0; i < block.rays; ++i) {
          static constexpr float kLengths[] = {1.0f, 0.5f, 1.5f, 4.0f, 0.999f};
          const float length = kLengths[random.below(5)];
          for (auto &plane : block.directions) plane[i] *= length;
        }
        fillMask(block, masks, random);
        ASSERT_TRUE(anyAgrees(block, scene)) << "scene " << seed << ", tiles " << static_cast<int>(tiles);
        for (size_t i = 0; i < block.rays; ++i) blocked += block.occluders[i] >= 0;
      }
    }
  });
  EXPECT_GT(blocked, 5000u);
}

TEST(OneRayLayered, EveryRayKindAndDepthAgreesWithTheTwinOnEveryScene) {
  size_t deepHits = 0;
  forEachScene([&](TracedScene &scene, uint32_t seed) {
    Random random(seed + 400);
    for (const Tiles tiles : kAllTiles) {
      for (int32_t depth = 1; depth <= 12; ++depth) {
        RayBlock block({5 + 4 * random.below(2), 3 + random.below(4)}, std::max(depth, 2));
        setOrigin(block, originFor(scene, random));
        fillDirections(block, tiles, scene.mesh(), random);
        fillLimits(block, depth % 4 == 3 ? Limits::mixed : depth == 10 ? Limits::dead : Limits::far, random);
        ASSERT_TRUE(layersAgree(block, scene, depth))
            << "scene " << seed << ", tiles " << static_cast<int>(tiles) << ", depth " << depth;
        for (size_t i = 0; i < block.rays && depth == 12; ++i) deepHits += block.triangles[10 * block.rays + i] >= 0;
      }
    }
  });
  EXPECT_GT(deepHits, 100u);
}

}  // namespace
