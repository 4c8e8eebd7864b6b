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
        ASSERT_TRUE(eyeAgrees(block, scene, &eye))
            << "scene " << seed << ", tiles " << static_cast<int>(tiles);
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

void setDirection(RayBlock &block, size_t ray, const Point &d) {
  for (size_t a = 0; a < 3; ++a) block.directions[a][ray] = d[a];
}

TEST(PacketNearest, BlocksOfManySizesAgreeWithTheTwin) {
  TracedScene scene(ball(10, 14), {14, 3, Leaves::mixed, 6}, 0.01f);
  Random random(77);
  PacketPlaces places;
  for (const int32_t width : {4, 8, 12, 20, 36, 64}) {
    for (const int32_t height : {4, 8, 28, 64}) {
      RayBlock block({width, height});
      setOrigin(block, {0.2f, 0.3f, -2.0f});
      fillDirections(block, Tiles::changing, scene.mesh(), random);
      fillLimits(block, Limits::mixed, random);
      ASSERT_TRUE(eyeAgrees(block, scene, &places)) << width << " x " << height;
      scatterOrigins(block, scene, random);
      fillDirections(block, Tiles::changing, scene.mesh(), random);
      fillLimits(block, Limits::mixed, random);
      ASSERT_TRUE(moAgrees(block, scene, &places)) << width << " x " << height;
    }
  }
}

TEST(PacketNearest, ArraysThatEndAtAnUnreadablePageAreNotOverrun) {
  TracedScene scene(soup(60, 0.5f, 1), {12, 3, Leaves::mixed, 1});
  Random random(78);
  PacketPlaces places;
  for (const VekrBlockSize size : {VekrBlockSize{4, 4}, VekrBlockSize{8, 4}, VekrBlockSize{12, 8}}) {
    for (const Tiles tiles : {Tiles::oneOctant, Tiles::anyOctant}) {
      RayBlock block(size, 1, {-1, 0, kAtPageEnd});
      setOrigin(block, {0.2f, 0.3f, -2.0f});
      fillDirections(block, tiles, scene.mesh(), random);
      fillLimits(block, Limits::far, random);
      ASSERT_TRUE(eyeAgrees(block, scene, &places));
      fillLimits(block, Limits::far, random);
      ASSERT_TRUE(moAgrees(block, scene, &places));
    }
  }
}

// Traces a tile of equal rays of which one row has something to look for, and the row of its kernel that shares the
// walk with it has not. Returns the rows that hit.
std::array<bool, 4> rowsThatHit(TracedScene &scene, const Point &origin, const Point &direction, bool many) {
  std::array<bool, 4> result{};
  for (size_t row = 0; row < 4; ++row) {
    RayBlock block({4, 4});
    setOrigin(block, origin);
    for (size_t i = 0; i < 16; ++i) {
      setDirection(block, i, direction);
      block.distances[i] = i / 4 == row ? 100.0f : 0.0f;
    }
    many ? runMO(block, scene.get()) : runEye(block, scene.get());
    size_t hits = 0;
    for (size_t i = 0; i < 16; ++i) {
      EXPECT_TRUE(block.triangles[i] < 0 || i / 4 == row);
      hits += block.triangles[i] >= 0;
      // A row that is lost keeps its weights too.
      if (block.triangles[row * 4] < 0) {
        EXPECT_EQ(block.hits[0][i], -7.5f);
      }
    }
    EXPECT_EQ(hits % 4, 0u);
    result[row] = hits == 4;
  }
  return result;
}

constexpr std::array<bool, 4> kAllRows = {true, true, true, true};
constexpr std::array<bool, 4> kSecondRows = {false, true, false, true};

TEST(PacketNearest, FirstRowsOfWideKernelsLoseRaysWithoutY) {
  Mesh mesh;
  addWall(mesh, 1.0f);
  TracedScene scene(mesh, oneLeaf({0}), 0.5f);
  const Point origin = {0.25f, 0.5f, -4.0f};
  for (const float y : {0.0f, -0.0f, 1e-8f, 1.1920929e-7f}) {
    EXPECT_EQ(rowsThatHit(scene, origin, {0.125f, y, 1.0f}, false), kSecondRows) << y;
    EXPECT_EQ(rowsThatHit(scene, origin, {0.125f, y, 1.0f}, true), kSecondRows) << y;
  }
  // Just outside the threshold nothing is lost.
  EXPECT_EQ(rowsThatHit(scene, origin, {0.125f, 1.192093e-7f, 1.0f}, false), kAllRows);
  EXPECT_EQ(rowsThatHit(scene, origin, {0.125f, 1.192093e-7f, 1.0f}, true), kAllRows);
}

TEST(PacketNearest, FirstRowsLoseRaysWithoutZOnlyWithManyOrigins) {
  Mesh mesh;
  mesh.addTriangle({1, -9, -9}, {1, 27, -9}, {1, -9, 27});
  TracedScene scene(mesh, oneLeaf({0}), 0.5f);
  const Point origin = {-4.0f, 0.25f, 0.5f};
  for (const float z : {0.0f, -0.0f, 1e-8f}) {
    EXPECT_EQ(rowsThatHit(scene, origin, {1.0f, 0.125f, z}, false), kAllRows) << z;
    EXPECT_EQ(rowsThatHit(scene, origin, {1.0f, 0.125f, z}, true), kSecondRows) << z;
  }
}

TEST(PacketNearest, NobodyLosesRaysWithoutX) {
  Mesh mesh;
  addWall(mesh, 1.0f);
  TracedScene scene(mesh, oneLeaf({0}), 0.5f);
  for (const float x : {0.0f, -0.0f, 1e-8f}) {
    EXPECT_EQ(rowsThatHit(scene, {0.25f, 0.5f, -4.0f}, {x, 0.125f, 1.0f}, false), kAllRows) << x;
    EXPECT_EQ(rowsThatHit(scene, {0.25f, 0.5f, -4.0f}, {x, 0.125f, 1.0f}, true), kAllRows) << x;
  }
}

TEST(PacketNearest, TilesWithoutAPositiveLimitKeepWeightsAndGetMinusOne) {
  TracedScene scene(cube(0.75f), {6, 2, Leaves::mixed, 8});
  for (const float limit : {0.0f, -0.0f, -1.0f}) {
    for (const bool uniform : {false, true}) {
      for (const bool many : {false, true}) {
        RayBlock block({4, 4});
        setOrigin(block, {0.0f, 0.0f, 0.0f});
        for (size_t i = 0; i < 16; ++i) {
          setDirection(block, i, {uniform || i % 2 == 0 ? 0.3f : -0.3f, 0.4f, 0.5f});
          block.distances[i] = limit;
        }
        const VekrIntersectScene traced = scene.get();
        EXPECT_EQ(many ? runMO(block, traced) : runEye(block, traced), vekOk);
        for (size_t i = 0; i < 16; ++i) {
          EXPECT_EQ(block.triangles[i], -1);
          EXPECT_EQ(bitsOf(block.distances[i]), bitsOf(limit));
          EXPECT_EQ(block.hits[0][i], -7.5f);
          EXPECT_EQ(block.hits[1][i], -8.5f);
        }
      }
    }
  }
}

TEST(PacketNearest, MissesOfOneCallGetWeightsOfZeroIfALaneSurvivesTheClip) {
  Mesh mesh;
  mesh.addTriangle({-1, -1, 1}, {1, -1, 1}, {-1, 1, 1});
  TracedScene scene(mesh, oneLeaf({0}), 0.25f);
  RayBlock block({4, 4});
  setOrigin(block, {-0.5f, -0.5f, 0.0f});
  for (size_t i = 0; i < 16; ++i) {
    block.distances[i] = 50.0f;
    // Row 0: lanes 0 and 2 in one octant, of which lane 0 hits; lanes 1 and 3 in the other one, off the box.
    setDirection(block, i, i % 2 == 0 ? Point{0.125f, 0.125f, 1.0f} : Point{-4.0f, 0.125f, 1.0f});
  }
  setDirection(block, 2, {1.375f, 1.375f, 1.0f});  // within the box, beside the triangle
  runEye(block, scene.get());
  EXPECT_EQ(block.triangles[0], 0);
  EXPECT_EQ(block.triangles[2], -1);
  EXPECT_EQ(bitsOf(block.hits[0][2]), 0u);
  EXPECT_EQ(bitsOf(block.hits[1][2]), 0u);
  EXPECT_EQ(block.distances[2], 50.0f);
  for (const size_t i : {1u, 3u}) {
    EXPECT_EQ(block.triangles[i], -1);
    EXPECT_EQ(block.hits[0][i], -7.5f) << "no lane of the call met the box";
    EXPECT_EQ(block.hits[1][i], -8.5f);
  }
}

// The wall that closes the box is met within the far margin, a ray that only touches the box is not traced.
TEST(PacketNearest, RaysThatOnlyTouchTheBoxAreDead) {
  Mesh mesh;
  mesh.addTriangle({-1, -1, 0}, {1, -1, 0}, {-1, 1, 0});
  mesh.addTriangle({1, 1, 0}, {1, -1, 0}, {-1, 1, 0});
  TracedScene scene(mesh, oneLeaf({0, 1}));  // a box without thickness
  RayBlock block({4, 4}), oneRay({16, 1});
  for (RayBlock *b : {&block, &oneRay}) {
    setOrigin(*b, {0.25f, 0.0f, -1.0f});
    for (size_t i = 0; i < 16; ++i) {
      setDirection(*b, i, {0.125f, 0.0625f, 1.0f});
      b->distances[i] = 50.0f;
    }
  }
  runEye(block, scene.get());
  runEye(oneRay, scene.get());
  for (size_t i = 0; i < 16; ++i) {
    EXPECT_EQ(block.triangles[i], -1);
    EXPECT_GE(oneRay.triangles[i], 0);
  }
}

TEST(PacketNearest, AMixedTileFindsWhatUniformTilesFind) {
  TracedScene scene(ball(10, 14), {14, 3, Leaves::mixed, 6}, 0.01f);
  Random random(79);
  for (int round = 0; round < 30; ++round) {
    RayBlock mixed({4, 4});
    setOrigin(mixed, pointWithin(random, -0.3f, 0.3f));
    for (size_t i = 0; i < 16; ++i) {
      setDirection(mixed, i,
                   {i % 4 < 2 ? random.within(0.1f, 1) : random.within(-1, -0.1f), random.within(0.1f, 1),
                    random.within(0.1f, 1)});
      mixed.distances[i] = 50.0f;
    }
    RayBlock uniform({64, 4});
    for (size_t a = 0; a < 3; ++a) uniform.pointOrigin[a] = mixed.pointOrigin[a];
    for (size_t i = 0; i < uniform.rays; ++i) {
      for (size_t a = 0; a < 3; ++a) uniform.directions[a][i] = mixed.directions[a][i % 64 / 4];
      uniform.distances[i] = 50.0f;
    }
    runEye(mixed, scene.get());
    runEye(uniform, scene.get());
    for (size_t i = 0; i < 16; ++i) {
      ASSERT_GE(mixed.triangles[i], 0);
      ASSERT_NEAR(mixed.distances[i], uniform.distances[i * 4], 1e-5f);
    }
  }
}

}  // namespace
