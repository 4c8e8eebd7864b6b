// The surface-area builder gives the bytes of its plain twin.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/reference/psah_twin.h"
#include "tests/support/trees.h"

using namespace vekr_test;

namespace {

::testing::AssertionResult sameAsTwin(const Mesh &mesh, const TreeOptions &options,
                                      int32_t vertexCount = -1) {
  const int32_t V = vertexCount < 0 ? mesh.vertexCount() : vertexCount;
  const VekrPSAHBuildContext context = contextOf(options);
  vekr_twin::PsahTwin twin(mesh.vertices.data(), mesh.indices.data(), V, mesh.triangleCount(), context);
  const VekStatus expected = twin.build();
  VekrKDTreeNode *root = nullptr;
  int32_t size = 0;
  const VekStatus status = vekrKDTreeBuildAlloc(&root, mesh.vertices.data(), mesh.indices.data(), V,
                                                mesh.triangleCount(), &size, &context);
  if (status != expected)
    return ::testing::AssertionFailure() << "status " << status << " instead of " << expected;
  if (status != vekOk) return ::testing::AssertionSuccess();
  const auto *words = reinterpret_cast<const uint32_t *>(root);
  const std::vector<uint32_t> block(words, words + size / 4);
  vekrKDTreeFree(root);
  if (block.size() != twin.block().size()) {
    return ::testing::AssertionFailure() << block.size() << " words instead of " << twin.block().size();
  }
  for (size_t i = 0; i < block.size(); ++i) {
    if (block[i] != twin.block()[i]) {
      return ::testing::AssertionFailure() << "word " << i << " of " << block.size() << ": " << std::hex
                                           << block[i] << " instead of " << twin.block()[i];
    }
  }
  return ::testing::AssertionSuccess();
}

// The builder's blocks are many MiB, of which small meshes touch a page; the address sanitizer marks all of them.
#ifdef __SANITIZE_ADDRESS__
constexpr uint32_t kSeeds = 1;
#else
constexpr uint32_t kSeeds = 5;
#endif

Mesh scaled(Mesh mesh, float x, float y, float z, float shift) {
  for (size_t i = 0; i < mesh.vertices.size(); i += 3) {
    mesh.vertices[i] = mesh.vertices[i] * x + shift;
    mesh.vertices[i + 1] = mesh.vertices[i + 1] * y + shift;
    mesh.vertices[i + 2] = mesh.vertices[i + 2] * z + shift;
  }
  return mesh;
}

}  // namespace

TEST(PsahTwin, EveryMeshOfAFewTriangles) {
  for (int32_t count = 1; count <= 40; ++count) {
    for (uint32_t seed = 0; seed < kSeeds; ++seed) {
      for (const float size : {0.05f, 0.4f, 1.5f}) {
        const Mesh mesh = triangleSoup(count, size, 100 * static_cast<uint32_t>(count) + seed);
        ASSERT_TRUE(sameAsTwin(mesh, {.maxDepth = 12, .splitBias = static_cast<float>(seed) * 0.2f}))
            << count << " triangles, seed " << seed;
      }
    }
  }
}

TEST(PsahTwin, MeshesOfEveryKindAndBias) {
  for (uint32_t seed = 0; seed < 3; ++seed) {
    const float bias = 0.5f * static_cast<float>(seed);
    EXPECT_TRUE(sameAsTwin(triangleSoup(2500, 0.1f, seed), {.maxDepth = 40, .splitBias = bias}));
    EXPECT_TRUE(sameAsTwin(triangleSoup(300, 0.7f, seed), {.maxDepth = 18, .splitBias = bias}));
    EXPECT_TRUE(sameAsTwin(terrain(45, 0.02f, seed), {.maxDepth = 30, .splitBias = bias}));
    EXPECT_TRUE(sameAsTwin(ball(36, 0.05f, seed), {.maxDepth = 30, .splitBias = bias}));
    EXPECT_TRUE(sameAsTwin(town(14, seed), {.maxDepth = 30, .splitBias = bias}));
    EXPECT_TRUE(sameAsTwin(latticeSoup(1500, 8, seed), {.maxDepth = 20, .splitBias = bias}));
    EXPECT_TRUE(sameAsTwin(latticeSoup(400, 3, seed), {.maxDepth = 14, .splitBias = bias}));
    EXPECT_TRUE(sameAsTwin(needles(200, seed), {.maxDepth = 16, .splitBias = bias}));
  }
}

TEST(PsahTwin, NodesOfThousandsOfPatches) {
  EXPECT_TRUE(sameAsTwin(triangleSoup(20000, 0.03f, 5), {.maxDepth = 26}));
  EXPECT_TRUE(sameAsTwin(terrain(120, 0.01f, 5), {.maxDepth = 26}));
  EXPECT_TRUE(sameAsTwin(town(45, 5), {.maxDepth = 26}));
  EXPECT_TRUE(sameAsTwin(latticeSoup(12000, 40, 5), {.maxDepth = 22}));
  EXPECT_TRUE(sameAsTwin(scaled(ball(80, 0.02f, 5), 1.0f, 1e-3f, 1e3f, -7.0f), {.maxDepth = 26}));
}

// Nodes of thousands of patches that one axis or two can divide; of the first one's the others have space to cut off.
TEST(PsahTwin, MeshesInALineOrAPlane) {
  const float wide[6] = {0.1f, -5.0f, -5.0f, 0.9f, 5.0f, 5.0f};
  EXPECT_TRUE(sameAsTwin(triangleSoup(9000, 0.02f, 8), {.maxDepth = 18, .pBounds = wide}));
  EXPECT_TRUE(sameAsTwin(scaled(triangleSoup(9000, 0.01f, 7), 1.0f, 0.0f, 0.0f, 0.0f), {.maxDepth = 18}));
  EXPECT_TRUE(sameAsTwin(scaled(triangleSoup(9000, 0.01f, 7), 0.0f, 0.0f, 1.0f, 0.0f), {.maxDepth = 18}));
  EXPECT_TRUE(sameAsTwin(scaled(triangleSoup(9000, 0.01f, 7), 1.0f, 0.0f, 1.0f, 0.0f), {.maxDepth = 18}));
}

TEST(PsahTwin, ClippedToBoxes) {
  const float boxes[][6] = {
      {0.2f, 0.1f, 0.15f, 0.8f, 0.7f, 0.9f},  // cuts through
      {-1, -1, -1, 2, 2, 2},                  // holds everything
      {0.45f, 0.45f, 0.45f, 0.5f, 0.5f, 0.5f},
      {3, 3, 3, 4, 4, 4},                     // holds nothing
      {0.5f, -1, -1, 0.5f, 2, 2},             // a plane
      {0.5f, 0.5f, -1, 0.5f, 0.5f, 2},        // a line
      {0.8f, 0.1f, 0.15f, 0.2f, 0.7f, 0.9f},  // inside out
  };
  for (const auto &box : boxes) {
    for (uint32_t seed = 0; seed < 3; ++seed) {
      EXPECT_TRUE(sameAsTwin(triangleSoup(1500, 0.3f, seed), {.maxDepth = 20, .pBounds = box}));
      EXPECT_TRUE(sameAsTwin(triangleSoup(100, 3.0f, seed), {.maxDepth = 14, .pBounds = box}));
      EXPECT_TRUE(sameAsTwin(scaled(latticeSoup(800, 6, seed), 0.1f, 0.1f, 0.1f, 0.0f),
                             {.maxDepth = 16, .pBounds = box}));
    }
  }
}

TEST(PsahTwin, TrianglesThatOnlyTouchTheBox) {
  const float box[6] = {0, 0, 0, 1, 1, 1};
  Mesh mesh;
  const auto add = [&mesh](std::initializer_list<float> x) {
    const float *v = x.begin();
    int32_t corners[3];
    for (int i = 0; i < 3; ++i) corners[i] = mesh.addVertex(v[3 * i], v[3 * i + 1], v[3 * i + 2]);
    mesh.addTriangle(corners[0], corners[1], corners[2]);
  };
  add({1, 0.5f, 0.5f, 2, 0.5f, 0.5f, 2, 0.7f, 0.5f});  // one vertex on a wall
  add({1, 0.5f, 0.5f, 1, 0.6f, 0.5f, 2, 0.7f, 0.5f});  // an edge on a wall
  add({1, 0.2f, 0.5f, 1, 0.6f, 0.5f, 1, 0.3f, 0.9f});  // in the wall
  add({1, -3, -3, 1, 9, -3, 1, 0.3f, 9});              // in the wall and beyond it
  add({-1, -1, 3, 3, -1, -1, -1, 3, -1});              // cuts all walls
  add({0, 0, 0, 1, 1, 1, 0, 0, 0});                    // no area
  add({0.5f, 0.5f, 0.5f, 0.5f, 0.5f, 0.5f, 0.5f, 0.5f, 0.5f});
  EXPECT_TRUE(sameAsTwin(mesh, {.maxDepth = 8, .splitBias = 1.0f, .pBounds = box}));
  EXPECT_TRUE(sameAsTwin(mesh, {.maxDepth = 8, .splitBias = 1.0f}));
}

TEST(PsahTwin, EveryDepth) {
  const Mesh mesh = triangleSoup(300, 0.3f, 1);
  for (int32_t depth = 0; depth <= 50; depth += depth < 12 ? 1 : 19) {
    EXPECT_TRUE(sameAsTwin(mesh, {.maxDepth = depth, .splitBias = 1.0f}));
  }
}

TEST(PsahTwin, FlatAndThinScenes) {
  for (uint32_t seed = 0; seed < 4; ++seed) {
    const Mesh soup = triangleSoup(400, 0.2f, seed);
    EXPECT_TRUE(sameAsTwin(scaled(soup, 1, 1, 0, 0.5f), {}));      // all in one plane
    EXPECT_TRUE(sameAsTwin(scaled(soup, 1, 0, 0, 0.5f), {}));      // on one line
    EXPECT_TRUE(sameAsTwin(scaled(soup, 0, 0, 0, 0.5f), {}));      // in one point
    EXPECT_TRUE(sameAsTwin(scaled(soup, 1, 1e-5f, 1, 0.0f), {}));  // around the least extent
    EXPECT_TRUE(sameAsTwin(scaled(soup, 1, 8e-6f, 1, 0.0f), {}));
    EXPECT_TRUE(sameAsTwin(scaled(soup, 1e-5f, 8e-6f, 1, 0.0f), {}));
    EXPECT_TRUE(sameAsTwin(scaled(soup, 2e-5f, 2e-5f, 1, 0.0f), {}));  // cross-section below 1e-9
    EXPECT_TRUE(sameAsTwin(scaled(soup, 1e15f, 1e15f, 1e15f, 0.0f), {}));
    EXPECT_TRUE(sameAsTwin(scaled(soup, 1e25f, 1e25f, 1e25f, 0.0f), {}));    // areas overflow
    EXPECT_TRUE(sameAsTwin(scaled(soup, 1e-3f, 1e-3f, 1e-3f, 100.0f), {}));  // coordinates coincide
  }
}

TEST(PsahTwin, FlatsInTheMiddleWithEmptySpaceAround) {
  // One axis-aligned wall strictly inside a box: no empty-space cut along x, whatever the gap.
  for (const float x : {0.05f, 0.3f, 0.5f, 0.7f, 0.95f}) {
    Mesh mesh;
    for (int32_t y = 0; y < 6; ++y) {
      for (int32_t z = 0; z < 6; ++z) {
        const float v = static_cast<float>(y) / 6.0f, w = static_cast<float>(z) / 6.0f, s = 1.0f / 6.0f;
        const int32_t a = mesh.addVertex(x, v, w), b = mesh.addVertex(x, v + s, w),
                      c = mesh.addVertex(x, v + s, w + s), d = mesh.addVertex(x, v, w + s);
        mesh.addQuad(a, b, c, d);
      }
    }
    const float box[6] = {0, 0, 0, 1, 1, 1};
    EXPECT_TRUE(sameAsTwin(mesh, {.maxDepth = 10, .splitBias = 1.0f, .pBounds = box}));
  }
}

TEST(PsahTwin, WallsOfFlatsOnTheCellsSides) {
  for (uint32_t seed = 0; seed < 8; ++seed) {
    Mesh mesh = triangleSoup(60, 0.3f, seed);
    Random random(seed);
    for (int32_t i = 0; i < 80; ++i) {
      const int axis = random.below(3);
      const float at = random.below(2) == 0
                           ? 0.0f
                           : (random.below(2) == 0 ? 1.0f : 0.25f * static_cast<float>(random.below(5)));
      int32_t corners[3];
      for (int32_t &corner : corners) {
        float v[3] = {random.unit(), random.unit(), random.unit()};
        v[axis] = at;
        corner = mesh.addVertex(v[0], v[1], v[2]);
      }
      mesh.addTriangle(corners[0], corners[1], corners[2]);
    }
    const float box[6] = {0, 0, 0, 1, 1, 1};
    for (const float bias : {0.0f, 0.5f, 1.0f}) {
      EXPECT_TRUE(sameAsTwin(mesh, {.maxDepth = 16, .splitBias = bias, .pBounds = box}));
    }
  }
}

TEST(PsahTwin, VerticesBeyondTheCountAreUsedAndDoNotWidenTheBox) {
  const Mesh mesh = triangleSoup(500, 0.3f, 9);
  for (const int32_t count : {0, 1, 3, 40, 700, 1499}) {
    EXPECT_TRUE(sameAsTwin(mesh, {.maxDepth = 16}, count)) << count;
    const float box[6] = {0.1f, 0.1f, 0.1f, 0.9f, 0.9f, 0.9f};
    EXPECT_TRUE(sameAsTwin(mesh, {.maxDepth = 16, .pBounds = box}, count)) << count;
  }
}

TEST(PsahTwin, FlatsOutsideTheCellLeaveItsWallsAlone) {
  for (uint32_t seed = 0; seed < 8; ++seed) {
    const Mesh mesh = latticeSoup(300, 4, seed);
    for (const int32_t count : {2, 3, 5, 9, 20}) {
      EXPECT_TRUE(sameAsTwin(mesh, {.maxDepth = 14, .splitBias = 1.0f}, count)) << count;
    }
  }
}

TEST(PsahTwin, BoxLargerThanTheMeshIsFencedOff) {
  const Mesh mesh = triangleSoup(50, 0.2f, 3);
  const float box[6] = {-10, -20, -30, 10, 40, 31};
  EXPECT_TRUE(sameAsTwin(mesh, {.maxDepth = 20, .pBounds = box}));
  EXPECT_TRUE(sameAsTwin(triangleSoup(1, 0.2f, 3), {.maxDepth = 20, .splitBias = 1.0f, .pBounds = box}));
}

TEST(PsahTwin, ZerosOfBothSigns) {
  for (uint32_t seed = 0; seed < 6; ++seed) {
    Mesh mesh = latticeSoup(600, 6, seed);
    Random random(seed);
    for (float &x : mesh.vertices) {
      x -= 3.0f;
      if (x == 0.0f && random.below(2) == 0) x = -0.0f;
    }
    EXPECT_TRUE(sameAsTwin(mesh, {.maxDepth = 16}));
  }
}

// So many that their ends are sorted and swept, and all meet in one plane, whose sign is the tree's.
TEST(PsahTwin, ManyPatchesThatMeetAtAZeroOfEitherSign) {
  for (const float end : {0.0f, -0.0f}) {
    for (const float start : {0.0f, -0.0f}) {
      Mesh mesh;
      Random random(3);
      for (int i = 0; i < 400; ++i) {
        const float y = random.within(-1, 1), z = random.within(-1, 1);
        mesh.addTriangle({end, y, z}, {-0.1f, y + 0.01f, z}, {random.within(-1, -0.1f), y, z + 0.01f});
        mesh.addTriangle({start, y, z}, {0.1f, y + 0.01f, z}, {random.within(0.1f, 1), y, z + 0.01f});
      }
      EXPECT_TRUE(sameAsTwin(mesh, {.maxDepth = 12})) << "ends at " << end << ", starts at " << start;
    }
  }
}

TEST(PsahTwin, InfiniteVerticesGiveATree) {
  for (uint32_t seed = 0; seed < 6; ++seed) {
    Mesh mesh = triangleSoup(100, 0.3f, seed);
    mesh.vertices[10 * (seed + 1)] = std::numeric_limits<float>::infinity();
    mesh.vertices[77] = -std::numeric_limits<float>::infinity();
    EXPECT_TRUE(sameAsTwin(mesh, {}));
  }
}

TEST(PsahBuild, NaNVerticesEndSomehow) {
  for (uint32_t seed = 0; seed < 40; ++seed) {
    Mesh mesh = triangleSoup(200, 0.3f, seed);
    Random random(seed);
    const int32_t count = 1 + random.below(40);
    for (int32_t i = 0; i < count; ++i) {
      mesh.vertices[static_cast<size_t>(random.below(1800))] = random.below(3) == 0
                                                                   ? std::numeric_limits<float>::infinity()
                                                                   : std::numeric_limits<float>::quiet_NaN();
    }
    const float box[6] = {0.1f, 0.1f, 0.1f, 0.9f, 0.9f, 0.9f};
    const float nanBox[6] = {0.1f, std::numeric_limits<float>::quiet_NaN(), 0.1f, 0.9f, 0.9f, 0.9f};
    const float *bounds[] = {nullptr, box, nanBox};
    for (const float *b : bounds) {
      const Tree tree(mesh, {.maxDepth = 14, .splitBias = 1.0f, .memoryLimitMB = 200, .pBounds = b});
      EXPECT_LE(tree.status, 0);
    }
  }
}
