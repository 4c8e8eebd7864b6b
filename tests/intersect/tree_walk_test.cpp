// The walk through trees as deep as they come, leaves of every form, and bits that a reader must mask off.
#include <gtest/gtest.h>

#include "pr_avlopsahopt/kdtree_format.h"
#include "support/ray_fill.h"
#include "support/test_scenes.h"

namespace {

using namespace vekr_test;

// A row in which several rays walk at once.
constexpr VekrBlockSize kManyRays = {67, 1};

// Inner nodes in a chain: each has the next one on its near side for rays along +x, and a leaf on the other side.
// Leaf number `fullLeaf` holds triangle 0, the others are empty.
std::vector<int32_t> chain(const std::vector<float> &planes, size_t fullLeaf) {
  std::vector<VekrKDTreeNode> nodes(2, vekr::kTreePadding);
  size_t node = 0;
  for (size_t i = 0; i < planes.size(); ++i) {
    const size_t pair = nodes.size();
    nodes[node] = vekr::innerNode(0, planes[i], static_cast<int64_t>((pair - node) * sizeof(VekrKDTreeNode)));
    nodes.push_back(kEmptyLeaf);
    nodes.push_back(i == fullLeaf ? vekr::leafOfOne(0) : kEmptyLeaf);
    node = pair;
  }
  if (planes.empty()) nodes[0] = kEmptyLeaf;
  std::vector<int32_t> words;
  for (const VekrKDTreeNode &n : nodes) words.insert(words.end(), {n.word0, n.word1});
  return words;
}

// Runs all four functions in both forms on rays along +x and sees that each ray finds the wall.
void expectWallFound(TracedScene &scene, float distance) {
  for (const VekrBlockSize size : {VekrBlockSize{4, 4}, VekrBlockSize{3, 1}, kManyRays}) {
    for (const bool mixed : {false, true}) {
      RayBlock eye(size);
      setOrigin(eye, {-1.0f, 0.25f, 0.5f});
      for (size_t i = 0; i < eye.rays; ++i) {
        eye.directions[0][i] = 1.0f;
        eye.directions[1][i] = mixed && i == 1 ? -0.001f : 0.001f;
        eye.directions[2][i] = 0.002f;
        eye.distances[i] = 1e30f;
      }
      RayBlock many(size), layered(size), any(size);
      many.copyFrom(eye);
      layered.copyFrom(eye);
      any.copyFrom(eye);
      for (size_t i = 0; i < any.rays; ++i) {
        for (auto &plane : any.directions) plane[i] *= distance * 1.01f;
      }
      runEye(eye, scene.get());
      runMO(many, scene.get());
      runMultiple(layered, scene.get(), 1);
      runAny(any, scene.get());
      for (size_t i = 0; i < eye.rays; ++i) {
        EXPECT_EQ(eye.triangles[i], 0) << i;
        EXPECT_EQ(many.triangles[i], 0) << i;
        EXPECT_EQ(layered.triangles[i], 0) << i;
        EXPECT_EQ(any.occluders[i], 0) << i;
        EXPECT_FLOAT_EQ(eye.distances[i], distance);
        EXPECT_FLOAT_EQ(many.distances[i], distance);
        EXPECT_FLOAT_EQ(layered.distances[i], distance);
      }
    }
  }
}

Mesh wallAcrossX(float x) {
  Mesh mesh;
  mesh.addTriangle({x, -9, -9}, {x, 27, -9}, {x, -9, 27});
  mesh.addTriangle({-2, -2, -2}, {-2, -2, -2}, {-2, -2, -2});  // pulls the box to the left
  return mesh;
}

TEST(TreeWalk, FiftyPlanesMayBeCrossedWithBothSidesEntered) {
  std::vector<float> planes;
  for (int i = 0; i < 50; ++i) planes.push_back(50.0f - static_cast<float>(i));
  TracedScene scene(wallAcrossX(50.5f), chain(planes, 0), 0.5f);
  expectWallFound(scene, 51.5f);
}

TEST(TreeWalk, PlanesOnOneSideOfTheRaysTakeNoPlaceOnTheStack) {
  std::vector<float> planes;
  for (int i = 0; i < 40; ++i) planes.push_back(1000.0f - static_cast<float>(i));  // behind the box
  for (int i = 0; i < 50; ++i) planes.push_back(50.0f - static_cast<float>(i));
  TracedScene scene(wallAcrossX(50.5f), chain(planes, 40), 0.5f);
  expectWallFound(scene, 51.5f);
}

// The only triangle stands in one child of a plane that lies just outside the rays' interval: how far outside it may be for
// that child to be entered tells the margins of a form.
struct Entered {
  bool packetNearest, packetLayers, packetAny, oneRayNearest, oneRayLayers, oneRayAny;
};

// Rays along +x from originX, and segments along +x of length 1 from x = 0.
void expectEntered(TracedScene &scene, float originX, TracedScene &segmentScene, const Entered &expected,
                   float plane) {
  for (const VekrBlockSize size : {VekrBlockSize{4, 4}, VekrBlockSize{4, 1}, kManyRays}) {
    const bool packet = size.height == 4;
    for (const bool mixed : {false, true}) {
      RayBlock eye(size);
      setOrigin(eye, {originX, 0.25f, 0.5f});
      for (size_t i = 0; i < eye.rays; ++i) {
        eye.directions[0][i] = 1.0f;
        eye.directions[1][i] = mixed && i % 4 == 1 ? -0.001f : 0.001f;
        eye.directions[2][i] = 0.002f;
        eye.distances[i] = 1e30f;
      }
      RayBlock many(eye.size), layered(eye.size);
      many.copyFrom(eye);
      layered.copyFrom(eye);
      runEye(eye, scene.get());
      runMO(many, scene.get());
      runMultiple(layered, scene.get(), 1);
      setOrigin(eye, {0.0f, 0.25f, 0.5f});
      for (size_t i = 12; packet && i < eye.rays; ++i)
        eye.mask[i] = -1;  // a seed would find it with the margins of its own walk
      runAny(eye, segmentScene.get());
      for (size_t i = 0; i < eye.rays; ++i) {
        EXPECT_EQ(eye.triangles[i] == 0, packet ? expected.packetNearest : expected.oneRayNearest) << plane;
        EXPECT_EQ(many.triangles[i] == 0, packet ? expected.packetNearest : expected.oneRayNearest) << plane;
        EXPECT_EQ(layered.triangles[i] == 0, packet ? expected.packetLayers : expected.oneRayLayers) << plane;
        EXPECT_EQ(eye.occluders[i] == 0, packet ? expected.packetAny : expected.oneRayAny) << plane;
      }
    }
  }
}

TEST(TreeWalk, FarMarginsAreThoseOfEachForm) {
  const auto expect = [](float plane, const Entered &expected) {
    TracedScene scene(wallAcrossX(1.0f),
                      chain({plane}, 0));  // the box ends at x = 1, the far child holds the wall
    TracedScene nearer(wallAcrossX(0.75f), chain({plane}, 0));
    expectEntered(scene, 0.0f, nearer, expected, plane);
  };
  // A one-ray segment ends at a pop with t at 1 or more, so that margins behind it play no part.
  expect(0.99999f, {true, true, true, true, true, true});
  expect(std::nextafter(1.0f, 0.0f), {true, true, true, true, true, true});
  expect(1.0f, {true, true, true, true, true, false});
  expect(1.00001f, {true, true, true, true, true, false});
  expect(1.00009f, {true, true, true, true, true, false});
  expect(1.000105f, {false, false, false, true, true, false});
  expect(1.00012f, {false, false, false, false, true, false});
  expect(1.00028f, {false, false, false, false, true, false});
  expect(1.0003f, {false, false, false, false, false, false});
}

// A cell that ends exactly at the hit found in it is the last one, though a misplaced triangle behind it were nearer.
TEST(TreeWalk, AOneRayWalkEndsWhereACellEndsAtTheHit) {
  Mesh mesh;
  mesh.addTriangle({0.25f, -9, -9}, {0.25f, 27, -9}, {0.25f, -9, 27});
  mesh.addTriangle({0.5f, -9, -9}, {0.5f, 27, -9}, {0.5f, -9, 27});
  mesh.addTriangle({-2, -2, -2}, {2, 2, 2}, {-2, -2, -2});
  // Triangle 1 in front of the plane, 0 behind it.
  TracedScene scene(mesh, oneSplit(0, 0.5f, vekr::leafOfOne(1), vekr::leafOfOne(0)));
  for (const VekrBlockSize size : {VekrBlockSize{5, 1}, kManyRays}) {
    RayBlock eye(size);
    setOrigin(eye, {0.0f, 0.25f, 0.5f});
    for (size_t i = 0; i < eye.rays; ++i) {
      eye.directions[0][i] = 1.0f;
      eye.directions[1][i] = 0.001f;
      eye.directions[2][i] = 0.002f;
      eye.distances[i] = 1e30f;
    }
    RayBlock many(eye.size), layered(eye.size);
    many.copyFrom(eye);
    layered.copyFrom(eye);
    runEye(eye, scene.get());
    runMO(many, scene.get());
    runMultiple(layered, scene.get(), 1);
    for (size_t i = 0; i < eye.rays; ++i) {
      for (const RayBlock *block : {&eye, &many, &layered}) {
        EXPECT_EQ(block->triangles[i], 1) << i;
        EXPECT_EQ(block->distances[i], 0.5f) << i;
      }
    }
  }
}

TEST(TreeWalk, NearMarginsAreThoseOfEachForm) {
  const auto expect = [](float plane, const Entered &expected) {
    // The near child holds the triangle, the far one nothing.
    TracedScene scene(wallAcrossX(0.75f), oneSplit(0, plane, vekr::leafOfOne(0), kEmptyLeaf));
    scene.box()[0] = 0.0f;  // rays that start at x = -1 enter the box at t = 1
    expectEntered(scene, -1.0f, scene, expected, plane);
  };
  expect(1e-6f, {true, true, true, true, true, true});
  expect(-5e-6f, {false, false, false, true, true, true});
  expect(-1.5e-5f, {false, false, false, false, true, false});
  expect(-1.8e-4f, {false, false, false, false, true, false});
  expect(-2e-4f, {false, false, false, false, false, false});
}

// A cell that ends before it begins, within the margin, ends where it begins.
TEST(TreeWalk, AOneRayCellNeverEndsBeforeItsBeginning) {
  Mesh mesh = wallAcrossX(-2e-6f);
  mesh.addTriangle({-4e-6f, -9, -9}, {-4e-6f, 27, -9}, {-4e-6f, -9, 27});
  // Triangle 2 is a little nearer, in the far cell.
  TracedScene scene(mesh, oneSplit(0, -5e-6f, vekr::leafOfOne(0), vekr::leafOfOne(2)));
  scene.box()[0] = 0.0f;  // entered at t = 1, behind both
  scene.box()[3] = 1.0f;
  for (const VekrBlockSize size : {VekrBlockSize{1, 1}, kManyRays}) {
    RayBlock eye(size), layered(size);
    setOrigin(eye, {-1.0f, 0.25f, 0.5f});
    eye.directions[0].fill(1.0f);
    eye.directions[1].fill(0.001f);
    eye.directions[2].fill(0.002f);
    eye.distances.fill(9.0f);
    layered.copyFrom(eye);
    runEye(eye, scene.get());
    runMultiple(layered, scene.get(), 1);
    for (size_t i = 0; i < eye.rays; ++i) {
      EXPECT_EQ(eye.triangles[i], 0);
      EXPECT_EQ(layered.triangles[i], 0);
    }
  }
}

// Behind a first hit the far end of a ray is found anew, with the same margin.
TEST(TreeWalk, LaterLayersHaveTheFarMarginToo) {
  const auto secondHit = [](float plane, VekrBlockSize size, bool mixed) {
    Mesh mesh = wallAcrossX(1.0f);
    mesh.addTriangle({0.25f, -9, -9}, {0.25f, 27, -9}, {0.25f, -9, 27});
    TracedScene scene(mesh, oneSplit(0, plane, vekr::leafOfOne(2), vekr::leafOfOne(0)));
    RayBlock block(size, 2);
    setOrigin(block, {0.0f, 0.25f, 0.5f});
    for (size_t i = 0; i < block.rays; ++i) {
      block.directions[0][i] = 1.0f;
      block.directions[1][i] = mixed && i == 1 ? -0.001f : 0.001f;
      block.directions[2][i] = 0.002f;
      block.distances[i] = 1e30f;
    }
    runMultiple(block, scene.get(), 2);
    EXPECT_EQ(block.triangles[0], 2);
    return block.triangles[block.rays] == 0;
  };
  for (const bool mixed : {false, true}) {
    EXPECT_TRUE(secondHit(1.00005f, {4, 4}, mixed));
    EXPECT_FALSE(secondHit(1.00012f, {4, 4}, mixed));
    for (const VekrBlockSize size : {VekrBlockSize{4, 1}, kManyRays}) {
      EXPECT_TRUE(secondHit(1.00028f, size, mixed));
      EXPECT_FALSE(secondHit(1.0003f, size, mixed));
    }
  }
}

TEST(TreeWalk, TheTestTreesHaveLeavesOfEveryForm) {
  const TestTree tree(soup(400, 0.2f, 2), {20, 3, Leaves::mixed, 3});
  for (int form = 0; form <= 4; ++form) EXPECT_GT(tree.leavesOfForm(form), 5u) << form;
  EXPECT_GT(tree.innerNodes(), 100u);
  EXPECT_GT(tree.depth(), 6);
}

// The same triangles and the same inner nodes, listed and inline, give the same bits: the forms of leaves carry numbers
// in one order.
TEST(TreeWalk, InlineLeavesAreReadAsTheListsTheyStandFor) {
  const Mesh mesh = soup(300, 0.25f, 41);
  Random random(41);
  for (const VekrBlockSize size : {VekrBlockSize{16, 8}, VekrBlockSize{15, 7}}) {
    RayBlock rays(size, 3);
    setOrigin(rays, {0.3f, -0.1f, -1.5f});
    for (size_t i = 0; i < rays.rays; ++i) {
      const Point d = towards(pointOnTriangle(mesh, random.below(300), random), {0.3f, -0.1f, -1.5f});
      for (size_t a = 0; a < 3; ++a) rays.directions[a][i] = d[a];
      rays.distances[i] = 50.0f;
    }
    for (int32_t leafSize = 1; leafSize <= 3; ++leafSize) {
      // One leaf of one, two or three triangles: the same list, inline and not.
      Random numbers(static_cast<uint32_t>(leafSize));
      for (int round = 0; round < 40; ++round) {
        std::vector<int32_t> list;
        while (static_cast<int32_t>(list.size()) < leafSize) {
          const int32_t n = numbers.below(300);
          if (list.empty() || n >= list.back()) list.push_back(n);
        }
        const VekrKDTreeNode leaf = leafSize == 1   ? vekr::leafOfOne(list[0])
                                    : leafSize == 2 ? vekr::leafOfTwo(list[0], list[1])
                                                    : vekr::leafOfThree(list[0], list[1], list[2]);
        const std::vector<int32_t> words = {leaf.word0, leaf.word1, 0, 0};
        TracedScene inlined(mesh, words), listed(mesh, oneLeaf(list));
        RayBlock a(size, 3), b(size, 3);
        a.copyFrom(rays);
        b.copyFrom(rays);
        runMultiple(a, inlined.get(), 3);
        runMultiple(b, listed.get(), 3);
        runAny(a, inlined.get());
        runAny(b, listed.get());
        ASSERT_TRUE(sameBlocks(a, b));
      }
    }
  }
}

// A path to the largest numbers that the inline forms hold: records and tree are laid out so that only those exist.
TEST(TreeWalk, InlineLeavesHoldNumbersAboveSixteenBits) {
  constexpr int32_t kMiddle = 0x12345, kBefore = vekr::kBelowLimit - 1, kBehind = vekr::kAboveLimit - 1;
  std::vector<VekrTriangleAccel> records(kMiddle + kBehind + 1);
  Mesh mesh;
  for (const float z : {3.0f, 2.0f, 1.0f}) addWall(mesh, z);
  VekrTriangleAccel walls[3];
  vekrTriangleAccelInit(walls, mesh.vertices.data(), mesh.indices.data(), 3);
  records[kMiddle - kBefore] = walls[0];
  records[kMiddle] = walls[1];
  records[kMiddle + kBehind] = walls[2];
  const float box[] = {-9, -9, 0, 27, 27, 4};
  const VekrKDTreeNode one = vekr::leafOfOne(kMiddle),
                       two = vekr::leafOfTwo(kMiddle - kBefore, kMiddle + kBehind),
                       three = vekr::leafOfThree(kMiddle - kBefore, kMiddle, kMiddle + kBehind);
  for (const VekrBlockSize size : {VekrBlockSize{4, 4}, VekrBlockSize{3, 1}}) {
    const auto layersOf = [&](const VekrKDTreeNode &root) {
      RayBlock block(size, 4);
      setOrigin(block, {0.25f, 0.5f, 0.0f});
      for (size_t i = 0; i < block.rays; ++i) {
        block.directions[0][i] = 0.125f;
        block.directions[1][i] = 0.25f;
        block.directions[2][i] = 1.0f;
        block.distances[i] = 50.0f;
      }
      runMultiple(block, {box, records.data(), &root}, 4);
      std::vector<int32_t> numbers;
      for (size_t l = 0; l < 4; ++l) numbers.push_back(block.triangles[l * block.rays]);
      return numbers;
    };
    EXPECT_EQ(layersOf(one), (std::vector<int32_t>{kMiddle, -1, -1, -1}));
    EXPECT_EQ(layersOf(two), (std::vector<int32_t>{kMiddle + kBehind, kMiddle - kBefore, -1, -1}));
    EXPECT_EQ(layersOf(three), (std::vector<int32_t>{kMiddle + kBehind, kMiddle, kMiddle - kBefore, -1}));
  }
}

TEST(TreeWalk, LeavesWithoutTrianglesAreEmptyInEveryForm) {
  Mesh mesh;
  addWall(mesh, 1.0f);
  // An empty leaf, and the inline form of no triangles; whatever the other fields hold.
  for (const int32_t word1 :
       {0, vekr::kLeafBit, vekr::kLeafBit | 1 << vekr::kMiddleShift, vekr::kLeafBit | vekr::kMiddleBits}) {
    for (const int32_t word0 : {vekr::kLeafBit, vekr::kLeafBit | vekr::kFirstBits, -vekr::kTreeHeaderBytes}) {
      const std::vector<int32_t> words = {word0, word1};
      TracedScene scene(mesh, words, 1.0f);
      for (const VekrBlockSize size : {VekrBlockSize{4, 4}, VekrBlockSize{3, 1}}) {
        RayBlock block(size, 2);
        setOrigin(block, {0.25f, 0.5f, 0.25f});
        for (size_t i = 0; i < block.rays; ++i) {
          block.directions[2][i] = 4.0f;
          block.distances[i] = 50.0f;
        }
        runAny(block, scene.get());
        runMultiple(block, scene.get(), 2);
        for (size_t i = 0; i < block.rays; ++i) {
          EXPECT_EQ(block.occluders[i], -1);
          EXPECT_EQ(block.mask[i], 0);
          EXPECT_EQ(block.triangles[i], -1);
        }
      }
    }
  }
}

}  // namespace
