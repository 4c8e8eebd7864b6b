// The numbers that stand in for the reciprocal of a direction parallel to an axis, to the last bit: each test looks for
// the two neighbouring inputs between which a decision turns over.
#include <gtest/gtest.h>

#include "reference/packet_lanes.h"
#include "support/ray_fill.h"
#include "support/test_scenes.h"

namespace {

using namespace vekr_test;

// The largest x for which x * factor, rounded, is at most `bound`.
float largestWithin(float factor, float bound) {
  float x = bound / factor;
  while (x * factor > bound) x = std::nextafter(x, 0.0f);
  while (std::nextafter(x, 1e30f) * factor <= bound) x = std::nextafter(x, 1e30f);
  return x;
}

// Rays along +z, with a y of 0, towards a wall that they meet at t = 0.5.
RayBlock raysWithoutY(VekrBlockSize size, float limit) {
  RayBlock block(size);
  setOrigin(block, {0.25f, 0.0f, 0.0f});
  for (size_t i = 0; i < block.rays; ++i) {
    block.directions[0][i] = 0.0625f;
    block.directions[2][i] = 1.0f;
    block.distances[i] = limit;
    if (i >= 12) block.mask[i] = -1;  // nobody seeds the cache
  }
  return block;
}

Mesh wallAtHalf() {
  Mesh mesh;
  addWall(mesh, 0.5f);
  return mesh;
}

// A root that splits y at `plane`; the wall is in one of the children.
std::vector<int32_t> splitAtY(float plane, bool wallAbove) {
  const VekrKDTreeNode wall = vekr::leafOfOne(0);
  return wallAbove ? oneSplit(1, plane, kEmptyLeaf, wall) : oneSplit(1, plane, wall, kEmptyLeaf);
}

// Rows of a tile that hit, as bits; all lanes of a row do alike.
int rowsThatHit(const RayBlock &block) {
  int rows = 0;
  for (size_t row = 0; row < block.rays / 4; ++row) rows |= (block.triangles[row * 4] == 0) << row;
  return rows;
}

// The slab of y begins so far above the rays that they enter it at t = distance * reciprocal. A limit of just that leaves
// nothing of a ray, the next one leaves it alive; and a wide kernel with one lane alive tests all of them.
TEST(ParallelAxes, ReciprocalsOfPacketClipsAreExact) {
  TracedScene scene(wallAtHalf(), oneLeaf({0}));
  std::fill_n(scene.box(), 3, -1e30f);
  std::fill_n(scene.box() + 3, 3, 1e30f);
  // Which rows hit if those in `wanted` have something to look for.
  const auto hits = [&](float above, float limit, size_t wanted, auto run) {
    scene.box()[1] = above;
    const RayBlock block = raysWithoutY({4, 4}, limit);
    for (size_t i = 0; i < 16; ++i) {
      if (i / 4 % 2 != wanted) block.distances[i] = 0.0f;
    }
    run(block, scene.get());
    return rowsThatHit(block);
  };
  const auto layers = [](const RayBlock &b, const VekrIntersectScene &s) { return runMultiple(b, s, 1); };
  const float twiceBig = vekr_reference::reciprocalOfEstimate(0.0f, 838860800.0f);
  const float tiny = vekr_reference::reciprocalOfDirection(0.0f, 838860800.0f);
  const float layered = vekr_reference::reciprocalOfDirection(0.0f, fromBits(0x37480000u));
  EXPECT_EQ(twiceBig, 1677721600.0f);
  for (const float factor : {1.0f, 1.5f, 1.6f, 1.7f, 1.9f}) {
    const float shortWay = factor * 0x1p-30f, longWay = factor * 0x1p30f;
    for (const auto run : {runEye, runMO}) {
      EXPECT_EQ(hits(shortWay, shortWay * twiceBig, 1, run), 0);
      EXPECT_EQ(hits(shortWay, std::nextafter(shortWay * twiceBig, 1e30f), 1, run), 0b1010);
      EXPECT_EQ(hits(longWay, longWay * tiny, 0, run), 0);
      EXPECT_EQ(hits(longWay, std::nextafter(longWay * tiny, 1e30f), 0, run), 0b0101);
    }
    // Here the margin, which comes before the comparison, is lost in the rounding of large numbers.
    EXPECT_EQ(hits(factor, factor * layered, 0, layers), 0);
    EXPECT_EQ(hits(factor, std::nextafter(factor * layered, 1e30f), 0, layers), 0b0101);
    EXPECT_EQ(hits(factor, factor * layered, 1, layers), 0);
    EXPECT_EQ(hits(factor, std::nextafter(factor * layered, 1e30f), 1, layers), 0b1010);
  }
}

TEST(ParallelAxes, ReciprocalAndEndOfPacketSegmentsAreExact) {
  const float end = fromBits(0x3f800347u);  // 1.0001
  const float plane = end / 16777216.0f;    // twice 8388608.0, a power of two
  for (const bool mixed : {false, true}) {
    const auto blocked = [&](float at) {
      TracedScene scene(wallAtHalf(), splitAtY(at, true));
      RayBlock block = raysWithoutY({4, 4}, 0.0f);
      if (mixed) block.directions[0][15] = -0.0625f;
      runAny(block, scene.get());
      return block.occluders[0] == 0;
    };
    EXPECT_TRUE(blocked(plane));
    EXPECT_FALSE(blocked(std::nextafter(plane, 1.0f)));
  }
}

TEST(ParallelAxes, ReciprocalsAndNodeMarginsOfOneRayWalksAreExact) {
  const float big = 838860800.0f, small = fromBits(0x47a3d70au);                    // 83886.078125
  const float margin = fromBits(0x3727c5acu), layerMargin = fromBits(0x39473abdu);  // 1e-5, 0.00019
  const auto found = [&](float plane) {
    TracedScene scene(wallAtHalf(), splitAtY(plane, false));
    RayBlock eye = raysWithoutY({4, 1}, 9.0f), many = raysWithoutY({4, 1}, 9.0f),
             layered = raysWithoutY({4, 1}, 9.0f);
    scene.box()[2] = -1.0f;
    scene.box()[5] = 1.0f;
    runEye(eye, scene.get());
    runMO(many, scene.get());
    runMultiple(layered, scene.get(), 1);
    runAny(eye, scene.get());
    return std::array<bool, 4>{eye.triangles[0] == 0, many.triangles[0] == 0, layered.triangles[0] == 0,
                               eye.occluders[0] == 0};
  };
  struct {
    size_t form;
    float reciprocal, margin;
  } const cases[] = {{0, big, margin}, {1, small, margin}, {2, big, layerMargin}, {3, small, margin}};
  for (const auto &c : cases) {
    const float x = largestWithin(c.reciprocal, c.margin);
    EXPECT_TRUE(found(-x)[c.form]) << c.form;
    EXPECT_FALSE(found(-std::nextafter(x, 1.0f))[c.form]) << c.form;
  }
}

}  // namespace
