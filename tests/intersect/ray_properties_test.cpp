// What holds whatever the form: no clear hit is lost, any hit agrees with nearest hit, layers ascend, and the two forms of
// a function find the same.
#include <gtest/gtest.h>

#include "reference/exact_hits.h"
#include "support/ray_fill.h"
#include "support/test_scenes.h"

namespace {

using namespace vekr_test;
using vekr_reference::Crossing;
using vekr_reference::Crossings;

constexpr double kEdgeMargin = 1e-4;
constexpr int32_t kLayers = 6;

Crossings crossingsOf(TracedScene &scene, const RayBlock &block, size_t ray) {
  const float o[3] = {block.pointOrigin[0], block.pointOrigin[1], block.pointOrigin[2]};
  const float d[3] = {block.directions[0][ray], block.directions[1][ray], block.directions[2][ray]};
  return vekr_reference::exactCrossings(
      scene.mesh().triangleCount(), [&](int32_t n, int i) { return scene.mesh().corner(n, i); }, o, d,
      kEdgeMargin);
}

// Directions without a component near 0: those are lost on purpose by some kernels.
void fillSlanted(RayBlock &block, Tiles tiles, const Mesh &mesh, Random &random) {
  fillDirections(block, tiles, mesh, random);
  for (auto &plane : block.directions) {
    for (size_t i = 0; i < block.rays; ++i) {
      if (std::fabs(plane[i]) < 1e-3f) plane[i] = random.below(2) == 0 ? 1e-3f : -1e-3f;
    }
  }
}

Point insideOrOutside(Random &random) {
  Point p = pointWithin(random, -0.9f, 0.9f);
  if (random.below(2) == 0) p[static_cast<size_t>(random.below(3))] = random.below(2) == 0 ? 2.5f : -2.5f;
  return p;
}

// Visits scenes with rays in a block of whole tiles, and the same rays in one row, where the one-ray forms take them.
template <class Visit>
void forRayBlocks(int rounds, Visit visit) {
  forEachScene([&](TracedScene &scene, uint32_t seed) {
    Random random(seed + 500);
    for (int round = 0; round < rounds; ++round) {
      for (const Tiles tiles : {Tiles::coherent, Tiles::oneOctant, Tiles::anyOctant}) {
        RayBlock block({8, 8}, kLayers);
        setOrigin(block, insideOrOutside(random));
        fillSlanted(block, tiles, scene.mesh(), random);
        for (size_t i = 0; i < block.rays; ++i) block.distances[i] = 1e30f;
        visit(scene, block, random);
      }
    }
  });
}

RayBlock inOneRow(const RayBlock &block) {
  RayBlock row({static_cast<int32_t>(block.rays), 1}, kLayers);
  row.copyFrom(block);
  return row;
}

// Whether a reported nearest hit is one that the exact crossings allow: nothing clear lies in front of it.
::testing::AssertionResult nothingLost(const Crossings &exact, int32_t triangle, float distance) {
  for (const Crossing &c : exact.inOrder) {
    if (!c.clear) continue;
    if (triangle < 0)
      return ::testing::AssertionFailure() << "triangle " << c.triangle << " at " << c.t << " is lost";
    if (distance > c.t + 1e-4 * (1.0 + c.t)) {
      return ::testing::AssertionFailure()
             << "hit at " << distance << " behind triangle " << c.triangle << " at " << c.t;
    }
  }
  if (triangle >= 0 && !exact.doubtful) {
    if (exact.inOrder.empty()) return ::testing::AssertionFailure() << "a hit where there is no triangle";
    if (std::fabs(exact.inOrder[0].t - distance) > 1e-4 * (1.0 + distance)) {
      return ::testing::AssertionFailure() << "hit at " << distance << " instead of " << exact.inOrder[0].t;
    }
  }
  return ::testing::AssertionSuccess();
}

TEST(RayProperties, NoClearHitIsLostInAnyForm) {
  size_t clear = 0;
  forRayBlocks(4, [&](TracedScene &scene, RayBlock &block, Random &) {
    RayBlock row = inOneRow(block), many({8, 8}), manyRow({64, 1}), layered({8, 8}, kLayers),
             layeredRow({64, 1}, kLayers);
    many.copyFrom(block);
    manyRow.copyFrom(block);
    layered.copyFrom(block);
    layeredRow.copyFrom(block);
    const VekrIntersectScene traced = scene.get();
    runEye(block, traced);
    runEye(row, traced);
    runMO(many, traced);
    runMO(manyRow, traced);
    runMultiple(layered, traced, kLayers);
    runMultiple(layeredRow, traced, kLayers);
    for (size_t i = 0; i < 64; ++i) {
      const Crossings exact = crossingsOf(scene, block, i);
      clear += !exact.inOrder.empty() && exact.inOrder[0].clear;
      for (const RayBlock *b : {&block, &row, &many, &manyRow, &layered, &layeredRow}) {
        ASSERT_TRUE(nothingLost(exact, b->triangles[i], b->distances[i])) << "ray " << i;
      }
    }
  });
  EXPECT_GT(clear, 3000u);
}

TEST(RayProperties, AnyHitAgreesWithNearestHitOnBlockedOrNot) {
  size_t compared = 0, blocked = 0;
  forRayBlocks(4, [&](TracedScene &scene, RayBlock &block, Random &random) {
    scaleDirections(block, random);
    for (size_t i = 0; i < 64; ++i) block.distances[i] = 1.0f;
    RayBlock row = inOneRow(block);
    const VekrIntersectScene traced = scene.get();
    for (const RayBlock *b : {&block, &row}) {
      runEye(*b, traced);
      runAny(*b, traced);
    }
    for (size_t i = 0; i < 64; ++i) {
      const Crossings exact = crossingsOf(scene, block, i);
      bool doubtful = exact.doubtful, expected = false;
      for (const Crossing &c : exact.inOrder) {
        if (std::fabs(c.t - 1.0) < 1e-3) doubtful = true;
        if (c.t < 1.0) expected = true;
      }
      // A blocked ray is marked in one way, and only a blocked ray is.
      EXPECT_EQ(block.occluders[i] >= 0, block.mask[i] < 0);
      EXPECT_EQ(row.occluders[i] >= 0, row.mask[i] < 0);
      if (doubtful) continue;
      ++compared;
      blocked += expected;
      for (const RayBlock *b : {&block, &row}) {
        ASSERT_EQ(b->mask[i] < 0, expected) << "ray " << i;
        ASSERT_EQ(b->triangles[i] >= 0, expected) << "ray " << i;
      }
      // In the one-ray form the number is that of a blocker.
      if (expected) {
        ASSERT_TRUE(std::any_of(exact.inOrder.begin(), exact.inOrder.end(), [&](const Crossing &c) {
          return c.triangle == row.occluders[i] && c.t < 1.0;
        }));
      }
    }
  });
  EXPECT_GT(compared, 2000u);
  EXPECT_GT(blocked, 500u);
}

TEST(RayProperties, LayersAscendAndEndAtTheFirstMiss) {
  size_t hits = 0, complete = 0;
  forRayBlocks(4, [&](TracedScene &scene, RayBlock &block, Random &) {
    RayBlock row = inOneRow(block);
    runMultiple(block, scene.get(), kLayers);
    runMultiple(row, scene.get(), kLayers);
    for (size_t i = 0; i < 64; ++i) {
      const Crossings exact = crossingsOf(scene, block, i);
      bool separate = !exact.doubtful;
      for (size_t c = 1; c < exact.inOrder.size(); ++c) {
        separate = separate && exact.inOrder[c].t - exact.inOrder[c - 1].t > 1e-3;
      }
      for (const RayBlock *b : {&block, &row}) {
        size_t layers = 0;
        for (size_t l = 0; l < kLayers; ++l) {
          const size_t at = l * 64 + i;
          if (b->triangles[at] < 0) continue;
          ASSERT_EQ(layers, l) << "a hit behind a miss";
          ++layers;
          ++hits;
          if (l > 0) {
            ASSERT_GE(b->distances[at], b->distances[at - 64]);
          }
          ASSERT_GT(b->hits[0][at], -1e-3f);
          ASSERT_GT(b->hits[1][at], -1e-3f);
          ASSERT_LT(b->hits[0][at] + b->hits[1][at], 1.001f);
        }
        if (!separate) continue;
        // Every crossing is reported once, at its place.
        ++complete;
        ASSERT_EQ(layers, std::min<size_t>(exact.inOrder.size(), kLayers)) << "ray " << i;
        for (size_t l = 0; l < layers; ++l) {
          ASSERT_EQ(b->triangles[l * 64 + i], exact.inOrder[l].triangle) << "ray " << i << ", layer " << l;
          ASSERT_NEAR(b->distances[l * 64 + i], exact.inOrder[l].t, 1e-4 * (1.0 + exact.inOrder[l].t));
        }
      }
    }
  });
  EXPECT_GT(hits, 5000u);
  EXPECT_GT(complete, 1000u);
}

TEST(RayProperties, BothFormsFindTheSameNearestHits) {
  size_t compared = 0;
  forRayBlocks(6, [&](TracedScene &scene, RayBlock &block, Random &) {
    RayBlock row = inOneRow(block);
    runEye(block, scene.get());
    runEye(row, scene.get());
    for (size_t i = 0; i < 64; ++i) {
      const Crossings exact = crossingsOf(scene, block, i);
      if (exact.doubtful) continue;
      // Of two triangles that are as near as each other either form may take either.
      if (exact.inOrder.size() > 1 && exact.inOrder[1].t - exact.inOrder[0].t < 1e-4) continue;
      ++compared;
      ASSERT_EQ(block.triangles[i], row.triangles[i]) << i;
      if (row.triangles[i] < 0) continue;
      ASSERT_NEAR(block.distances[i], row.distances[i], 1e-5f * (1.0f + row.distances[i]));
      ASSERT_NEAR(block.hits[0][i], row.hits[0][i], 1e-3f);
      ASSERT_NEAR(block.hits[1][i], row.hits[1][i], 1e-3f);
    }
  });
  EXPECT_GT(compared, 2000u);
}

}  // namespace
