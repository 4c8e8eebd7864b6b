// Any hit and layered hits, one ray at a time: against their scalar twins, and the cases that the twins' inputs would
// meet only by chance.
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
  vekr_reference::oneRayIntersectAnySO(expected.pointOrigin.data(), expected.directionList,
                                       expected.occluders.data(), expected.mask.data(), expected.size,
                                       &traced);
  return sameBlocks(block, expected);
}

// `block` has at least two planes, as a depth below 1 writes to the second.
::testing::AssertionResult layersAgree(const RayBlock &block, TracedScene &scene, int32_t depth) {
  RayBlock expected(block.size, std::max(depth, 2));
  expected.copyFrom(block);
  const VekrIntersectScene traced = scene.get();
  if (runMultiple(block, traced, depth) != vekOk) return ::testing::AssertionFailure() << "status";
  vekr_reference::oneRayIntersectMultipleSO(
      expected.pointOrigin.data(), expected.directionList, expected.distances.data(), expected.hitList,
      expected.triangles.data(), &traced, {block.size.width, block.size.height, depth});
  return sameBlocks(block, expected);
}

void setDirection(RayBlock &block, size_t ray, const Point &d) {
  for (size_t a = 0; a < 3; ++a) block.directions[a][ray] = d[a];
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
        scaleDirections(block, random);
        fillMask(block, masks, random);
        ASSERT_TRUE(anyAgrees(block, scene)) << "scene " << seed << ", tiles " << static_cast<int>(tiles);
        for (size_t i = 0; i < block.rays; ++i) blocked += block.occluders[i] >= 0;
      }
    }
  });
  EXPECT_GT(blocked, 3000u);
}

TEST(OneRayAny, BothEndsOfTheSegmentAreOpen) {
  Mesh mesh;
  addWall(mesh, 1.0f);
  TracedScene scene(mesh, oneLeaf({0}));
  RayBlock block({9, 1});
  setOrigin(block, {0.0f, 0.0f, 0.0f});
  // The wall is met at t = 1 / length.
  static constexpr float kLengths[] = {1.0f,  1.0f / 0.9999f, 0.99995f,   1.0f / 1.00005f, 2.0f,
                                       -2.0f, 1e30f,          1.0000001f, 0.99999994f};
  for (size_t i = 0; i < 9; ++i) setDirection(block, i, {0.0f, 0.0f, kLengths[i]});
  runAny(block, scene.get());
  static constexpr int32_t kExpected[] = {-1, 0, -1, -1, 0, -1, 0, 0, -1};
  for (size_t i = 0; i < 9; ++i) {
    EXPECT_EQ(block.occluders[i], kExpected[i]) << i;
    EXPECT_EQ(block.mask[i], kExpected[i] < 0 ? 0 : -1) << i;
  }
  // A segment that starts on the wall isn't blocked by it.
  setOrigin(block, {0.0f, 0.0f, 1.0f});
  block.mask.fill(0);
  runAny(block, scene.get());
  for (size_t i = 0; i < 9; ++i) EXPECT_EQ(block.occluders[i], -1) << i;
}

TEST(OneRayAny, TheFirstBlockerOfTheLeafEndsTheRay) {
  Mesh mesh;
  for (const float z : {3.0f, 1.0f, 2.0f}) addWall(mesh, z);
  // The record behind the first two is never read: its number is far outside the array.
  TracedScene scene(mesh, oneLeaf({2, 1, 0x10000000}));
  RayBlock block({1, 1});
  setOrigin(block, {0.0f, 0.0f, 0.0f});
  setDirection(block, 0, {0.0f, 0.0f, 4.0f});
  runAny(block, scene.get());
  EXPECT_EQ(block.occluders[0], 2);
}

TEST(OneRayAny, TheBoxIsNeverRead) {
  Mesh mesh;
  addWall(mesh, 1.0f);
  TracedScene scene(mesh, oneLeaf({0}));
  VekrIntersectScene traced = scene.get();
  traced.pBox = nullptr;
  for (const VekrBlockSize size : {VekrBlockSize{3, 1}, VekrBlockSize{4, 4}}) {
    RayBlock block(size);
    setOrigin(block, {0.0f, 0.0f, 0.0f});
    for (size_t i = 0; i < block.rays; ++i) setDirection(block, i, {0.0f, 0.0f, 4.0f});
    runAny(block, traced);
    for (size_t i = 0; i < block.rays; ++i) EXPECT_EQ(block.occluders[i], 0) << i;
  }
}

TEST(OneRayAny, DeadRaysTouchNoTree) {
  VekrIntersectScene traced = {};
  for (const VekrBlockSize size : {VekrBlockSize{5, 3}, VekrBlockSize{8, 8}}) {
    RayBlock block(size);
    block.mask.fill(-9);
    runAny(block, traced);
    for (size_t i = 0; i < block.rays; ++i) {
      ASSERT_EQ(block.occluders[i], -1);
      ASSERT_EQ(block.mask[i], -9);
    }
  }
}

TEST(OneRayLayered, EveryRayKindAndDepthAgreesWithTheTwinOnEveryScene) {
  size_t deepHits = 0;
  forEachScene([&](TracedScene &scene, uint32_t seed) {
    Random random(seed + 400);
    for (const Tiles tiles : kAllTiles) {
      for (int32_t depth = -1; depth <= 12; ++depth) {
        RayBlock block({5 + 4 * random.below(3), 3 + random.below(6)}, std::max(depth, 2));
        setOrigin(block, originFor(scene, random));
        fillDirections(block, tiles, scene.mesh(), random);
        fillLimits(block, depth % 4 == 3 ? Limits::mixed : depth == 10 ? Limits::dead : Limits::far, random);
        ASSERT_TRUE(layersAgree(block, scene, depth))
            << "scene " << seed << ", tiles " << static_cast<int>(tiles) << ", depth " << depth;
        for (size_t i = 0; i < block.rays && depth == 12; ++i) {
          deepHits += block.triangles[10 * block.rays + i] >= 0;
        }
      }
    }
  });
  EXPECT_GT(deepHits, 20u);
}

TEST(OneRayLayered, TheMemoryStartsOverAtTheNinthLayer) {
  for (int32_t copies = 1; copies <= 12; ++copies) {
    const Mesh mesh = stuckStack(copies);
    TracedScene scene(mesh, {3, 2, Leaves::lists, 1}, 4096.0f);
    RayBlock block({1, 1}, 20);
    setOrigin(block, {kStuckX, 1.0f, 0.0f});
    setDirection(block, 0, {1.0f, 0.0f, 0.0f});
    block.distances[0] = 1e30f;
    RayBlock again(block.size, 20);
    again.copyFrom(block);
    runMultiple(block, scene.get(), 20);
    const auto layers = static_cast<int32_t>(std::find(&block.triangles[0], &block.triangles[0] + 20, -1) -
                                             &block.triangles[0]);
    // With eight copies or more, one is always left that isn't remembered.
    EXPECT_EQ(layers, copies < 8 ? copies : 20);
    for (int32_t l = 0; l < layers; ++l) {
      EXPECT_EQ(block.distances[static_cast<size_t>(l)], 2.0f * static_cast<float>(l + 1));
    }
    if (copies >= 9) {
      // Nothing of the first eight layers counts in the ninth but the triangle just hit.
      static constexpr int32_t kExpected[] = {0, 1, 2, 3, 4, 5, 6, 7, 0, 1, 2, 3, 4, 5, 6, 7, 0};
      for (size_t l = 0; l < std::size(kExpected); ++l) EXPECT_EQ(block.triangles[l], kExpected[l]) << l;
    }
    ASSERT_TRUE(layersAgree(again, scene, 20));
  }
}

// The ninth layer remembers nothing but the triangle just hit, which it would meet first. Every leaf holds its triangles itself,
// three of them, on either side of planes that the ray runs in.
TEST(OneRayLayered, TheTriangleJustHitIsPassedInTheNinthLayerToo) {
  Mesh mesh;
  for (int32_t k = 0; k < 12; ++k) {
    const float x = kStuckX + (k < 7    ? 0.0f
                               : k == 7 ? 16.0f
                                        : 32.0f);  // the ray stays in front of a wall that it has hit
    mesh.addTriangle({x - 1024.0f, -512.0f, -1000.0f}, {x + 1024.0f, 512.0f, -1000.0f}, {x, 0.0f, 2000.0f});
  }
  const auto innerAt = [](int64_t node, int64_t pair) {
    return vekr::innerNode(1, 1.0f, (pair - node) * static_cast<int64_t>(sizeof(VekrKDTreeNode)));
  };
  std::vector<VekrKDTreeNode> nodes = {innerAt(0, 2), vekr::kTreePadding, innerAt(2, 4), innerAt(3, 6)};
  for (int32_t k = 0; k < 12; k += 3) nodes.push_back(vekr::leafOfThree(k, k + 1, k + 2));
  std::vector<int32_t> words;
  for (const VekrKDTreeNode &n : nodes) words.insert(words.end(), {n.word0, n.word1});
  TracedScene scene(mesh, words, 4096.0f);
  RayBlock block({1, 1}, 20);
  setOrigin(block, {kStuckX, 1.0f, 0.0f});
  setDirection(block, 0, {1.0f, 0.0f, 0.0f});
  block.distances[0] = 1e30f;
  ASSERT_TRUE(layersAgree(block, scene, 20));
  for (int32_t l = 0; l < 12; ++l) EXPECT_EQ(block.triangles[static_cast<size_t>(l)], l);
}

TEST(OneRayLayered, RaysThatStickGoOnAsTheTwinDoes) {
  for (const int32_t copies : {2, 5, 8, 9, 12}) {
    TracedScene scene(stuckStack(copies), {2, 3, Leaves::mixed, 2}, 512.0f);
    Random random(static_cast<uint32_t>(copies));
    for (int32_t depth = 1; depth <= 20; ++depth) {
      RayBlock block({9, depth % 2 == 0 ? 3 : 9}, std::max(depth, 2));
      setOrigin(block, {kStuckX, 1.0f, 0.0f});
      for (size_t i = 0; i < block.rays; ++i) {
        setDirection(block, i,
                     {random.within(0.3f, 2.0f), random.below(2) == 0 ? 0.0f : random.within(-0.05f, 0.05f),
                      random.below(2) == 0 ? 0.0f : random.within(-0.5f, 0.5f)});
      }
      fillLimits(block, Limits::far, random);
      ASSERT_TRUE(layersAgree(block, scene, depth)) << copies << " copies, depth " << depth;
    }
  }
}

TEST(OneRayLayered, ThroughAClosedCubeTheThirdLayerIsEmpty) {
  TracedScene scene(cube(0.75f), {6, 2, Leaves::mixed, 8}, 0.0f);
  RayBlock block({3, 1}, 3);
  setOrigin(block, {0.1f, 0.2f, -3.0f});
  for (size_t i = 0; i < 3; ++i) {
    setDirection(block, i, {0.03f * static_cast<float>(i), -0.05f, 1.0f});
    block.distances[i] = 100.0f;
  }
  runMultiple(block, scene.get(), 3);
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_FLOAT_EQ(block.distances[i], 2.25f);
    EXPECT_FLOAT_EQ(block.distances[3 + i], 3.75f);
    EXPECT_EQ(block.distances[6 + i], 3.4028235e38f);
    EXPECT_GE(block.triangles[i], 0);
    EXPECT_GE(block.triangles[3 + i], 0);
    EXPECT_EQ(block.triangles[6 + i], -1);
    EXPECT_EQ(block.hits[0][6 + i], -7.5f) << "weights of an empty layer stay";
    EXPECT_EQ(block.hits[1][6 + i], -8.5f);
  }
}

TEST(OneRayLayered, OneLayerIsTheNearestHit) {
  TracedScene scene(soup(400, 0.2f, 2), {20, 2, Leaves::mixed, 2}, 0.001f);
  Random random(5);
  for (int round = 0; round < 20; ++round) {
    RayBlock block({17, 3}), nearest({17, 3});
    setOrigin(block, originFor(scene, random));
    fillDirections(block, Tiles::anyOctant, scene.mesh(), random);
    fillLimits(block, Limits::mixed, random);
    nearest.copyFrom(block);
    runMultiple(block, scene.get(), 1);
    runEye(nearest, scene.get());
    ASSERT_TRUE(sameBlocks(block, nearest));
  }
}

// The hit point that the weights give lies on the ray at the reported distance, in every layer.
TEST(OneRayLayered, WeightsOfEveryLayerGiveItsHitPoint) {
  TracedScene scene(soup(60, 0.6f, 21), {12, 3, Leaves::mixed, 21}, 0.01f);
  Random random(6);
  RayBlock block({31, 9}, 6);
  const Point origin = {0.1f, -0.2f, -3.0f};
  setOrigin(block, origin);
  fillDirections(block, Tiles::anyOctant, scene.mesh(), random);
  fillLimits(block, Limits::far, random);
  runMultiple(block, scene.get(), 6);
  size_t hits = 0;
  for (size_t e = 0; e < block.triangles.size(); ++e) {
    if (block.triangles[e] < 0) continue;
    ++hits;
    const size_t ray = e % block.rays;
    const float w0 = block.hits[0][e], w1 = block.hits[1][e];
    for (size_t a = 0; a < 3; ++a) {
      const float onRay = origin[a] + block.distances[e] * block.directions[a][ray];
      const float onTriangle = w0 * scene.mesh().corner(block.triangles[e], 0)[a] +
                               w1 * scene.mesh().corner(block.triangles[e], 1)[a] +
                               (1.0f - w0 - w1) * scene.mesh().corner(block.triangles[e], 2)[a];
      ASSERT_NEAR(onRay, onTriangle, 1e-3f) << "entry " << e;
    }
  }
  EXPECT_GT(hits, 200u);
}

TEST(OneRayLayered, AfterAHitOnTheFarSideOfTheBoxNothingFollows) {
  Mesh mesh;
  addWall(mesh, 0.0f);
  addWall(mesh, 1.0f);
  TracedScene scene(mesh, {3, 1, Leaves::inlined, 3}, 0.0f);
  RayBlock block({2, 1}, 4);
  setOrigin(block, {0.0f, 0.0f, -1.0f});
  setDirection(block, 0, {0.0f, 0.0f, 1.0f});
  setDirection(block, 1, {0.0f, 0.0f, 0.5f});
  block.distances[0] = block.distances[1] = 50.0f;
  runMultiple(block, scene.get(), 4);
  static constexpr int32_t kTriangles[] = {0, 0, 1, 1, -1, -1, -1, -1};
  // A plane that is never reached keeps its distances.
  static constexpr float kDistances[] = {1.0f,          2.0f,          2.0f,    4.0f,
                                         3.4028235e38f, 3.4028235e38f, -123.0f, -123.0f};
  EXPECT_TRUE(sameArrays(block.triangles, kTriangles, 8));
  EXPECT_TRUE(sameArrays(block.distances, kDistances, 8));
}

TEST(OneRayLayered, TheWalkEndsWhereACellEndsAtTheHit) {
  Mesh mesh;
  addWall(mesh, 2.0f);
  addWall(mesh, 1.0f);
  for (const float plane : {2.0f, std::nextafter(2.0f, 0.0f)}) {
    TracedScene scene(mesh, oneSplit(2, plane, vekr::leafOfOne(0), vekr::leafOfOne(1)));
    RayBlock block({1, 1});
    setOrigin(block, {0.0f, 0.0f, 0.0f});
    setDirection(block, 0, {0.0f, 0.0f, 1.0f});
    block.distances[0] = 9.0f;
    runMultiple(block, scene.get(), 1);
    // The far cell would hold something nearer.
    EXPECT_EQ(block.triangles[0], plane == 2.0f ? 0 : 1);
  }
}

TEST(OneRayLayered, ADepthBelowOneWritesTheStartOfTheSecondPlaneAfterAHit) {
  Mesh mesh;
  addWall(mesh, 1.0f);
  addWall(mesh, 2.0f);
  TracedScene scene(mesh, oneLeaf({0, 1}), 1.0f);
  for (const int32_t depth : {0, -1, -100}) {
    RayBlock block({3, 1}, 3);
    setOrigin(block, {0.0f, 0.0f, 0.0f});
    setDirection(block, 0, {0.0f, 0.0f, 1.0f});
    setDirection(block, 1, {0.0f, 0.0f, -1.0f});  // misses
    setDirection(block, 2, {0.25f, 0.0f, 1.0f});
    for (size_t i = 0; i < 3; ++i) block.distances[i] = 9.0f;
    block.triangles.fill(-1);  // no plane is preset
    block.triangles[4] = 55;
    runMultiple(block, scene.get(), depth);
    static constexpr int32_t kTriangles[] = {0, -1, 0, -1, 55, -1, -1, -1, -1};
    static constexpr float kDistances[] = {1.0f,          9.0f,    1.0f,    3.4028235e38f, -123.0f,
                                           3.4028235e38f, -123.0f, -123.0f, -123.0f};
    EXPECT_TRUE(sameArrays(block.triangles, kTriangles, 9)) << depth;
    EXPECT_TRUE(sameArrays(block.distances, kDistances, 9)) << depth;
  }
}

TEST(OneRayLayered, ACountOfEntriesThatWrapsBelowOnePresetsNothing) {
  TracedScene scene(cube(0.75f), {6, 2, Leaves::mixed, 8}, 0.0f);
  RayBlock block({2, 1}, 2);
  setOrigin(block, {3.0f, 3.0f, 3.0f});
  for (size_t i = 0; i < 2; ++i) {
    setDirection(block, i, {1.0f, 0.5f, 0.25f});
    block.distances[i] = 9.0f;
  }
  runMultiple(block, scene.get(), 1 << 30);
  for (size_t i = 0; i < 4; ++i) EXPECT_EQ(block.triangles[i], 777);
  EXPECT_TRUE(block.intact());
}

}  // namespace
