// The tree builder's checks and the simple builder.
#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "support/arrays.h"
#include "support/ray_arrays.h"
#include "vekr.h"

namespace {

using namespace vekr_test;

const float kVertices[9] = {1, 0, 0, 0, 1, 0, 0, 0, 0};
const int32_t kIndices[4] = {0, 1, 2, 0};

// A call with good arguments, of which tests change some.
struct Build {
  VekrKDTreeNode *const untouchedTree = reinterpret_cast<VekrKDTreeNode *>(uintptr_t{0xABCD0});
  static constexpr int32_t kUntouchedSize = -12345;

  VekrKDTreeNode *tree = untouchedTree;
  int32_t treeSize = kUntouchedSize;
  VekrKDTreeNode **ppTree = &tree;
  const float *vertices = kVertices;
  const int32_t *indices = kIndices;
  int32_t vertexCount = 3, triangleCount = 1;
  int32_t *pTreeSize = &treeSize;
  VekrSimpleBuildContext simple = {vekrSimpleBuildIdentifier, 0};
  VekrPSAHBuildContext psah = {vekrPSAHBuildIdentifier, 20, 0.5f, 128, nullptr};
  const void *context = &simple;

  VekStatus run() {
    return vekrKDTreeBuildAlloc(ppTree, vertices, indices, vertexCount, triangleCount, pTreeSize, context);
  }
  // Runs, and expects that nothing has been written.
  void expectError(VekStatus expected, const char *what) {
    EXPECT_EQ(run(), expected) << what;
    EXPECT_EQ(tree, untouchedTree) << what;
    EXPECT_EQ(treeSize, kUntouchedSize) << what;
  }
};

TEST(BuildDoor, NullPointersBeforeCounts) {
  for (const int32_t count : {1, 0, -1}) {
    Build b;
    b.vertexCount = b.triangleCount = count;
    b.context = nullptr;
    Build c = b, d = b, e = b, f = b;
    c.ppTree = nullptr;
    c.pTreeSize = &c.treeSize;
    c.expectError(vekErrNullPtr, "ppTree");
    d.ppTree = &d.tree;
    d.pTreeSize = &d.treeSize;
    d.vertices = nullptr;
    d.expectError(vekErrNullPtr, "pVertices");
    e.ppTree = &e.tree;
    e.pTreeSize = &e.treeSize;
    e.indices = nullptr;
    e.expectError(vekErrNullPtr, "pIndices");
    f.ppTree = &f.tree;
    f.pTreeSize = nullptr;
    f.expectError(vekErrNullPtr, "pTreeSize");
  }
}

TEST(BuildDoor, CountsBeforeTheContext) {
  for (const int32_t bad : {-1, INT32_MIN}) {
    Build vertices;
    vertices.vertexCount = bad;
    vertices.context = nullptr;
    vertices.expectError(vekErrSize, "vertexCount");
    Build triangles;
    triangles.triangleCount = bad;
    triangles.context = nullptr;
    triangles.expectError(vekErrSize, "triangleCount");
    Build known;
    known.triangleCount = bad;
    known.expectError(vekErrSize, "triangleCount with a context");
  }
}

TEST(BuildDoor, ContextIsTestedLast) {
  Build b;
  b.context = nullptr;
  b.expectError(vekErrNullPtr, "pContext");
}

TEST(BuildDoor, UnknownIdentifiersAreRefusedBeforeAnyField) {
  for (const int32_t identifier : {0, 1, -1, vekrSimpleBuildIdentifier + 1, vekrPSAHBuildIdentifier ^ 1}) {
    Build b;
    b.simple = {identifier, 99};
    b.expectError(vekErrContext, "identifier");
  }
  // Nothing behind the identifier is read.
  PageEnd<int32_t> context(1);
  context[0] = 7;
  Build b;
  b.context = context.data();
  b.expectError(vekErrContext, "identifier at an unreadable page");
}

TEST(BuildDoor, OfAMeshOfNothingNoVertexIsRead) {
  PageEnd<float> vertices(0);
  for (const int32_t vertexCount : {0, 3}) {
    Build b;
    b.vertices = vertices.data();
    b.vertexCount = vertexCount;
    b.triangleCount = 0;
    b.context = &b.psah;
    EXPECT_EQ(b.run(), vekOk);
    EXPECT_EQ(b.treeSize, 16);
    vekrKDTreeFree(b.tree);
  }
}

TEST(BuildDoor, WithTrianglesTheFirstVertexCountsThoughTheCountIsZero) {
  Build b;
  b.vertexCount = 0;
  b.context = &b.psah;
  ASSERT_EQ(b.run(), vekOk);
  EXPECT_EQ(b.treeSize, 16);  // one leaf
  vekrKDTreeFree(b.tree);
}

TEST(BuildDoor, DepthOfEitherContextIsZeroToFifty) {
  for (const int32_t depth : {-1, 51, INT32_MIN, INT32_MAX}) {
    Build simple;
    simple.simple.maxDepth = depth;
    simple.expectError(vekErrRange, "simple");
    Build psah;
    psah.psah = {vekrPSAHBuildIdentifier, depth, 7.0f, 0, nullptr};  // before the bias and the budget
    psah.context = &psah.psah;
    psah.expectError(vekErrRange, "surface area");
  }
  for (const int32_t depth : {0, 1, 49, 50}) {
    Build simple;
    simple.simple.maxDepth = depth;
    EXPECT_EQ(simple.run(), vekOk) << depth;
    vekrKDTreeFree(simple.tree);
  }
}

TEST(BuildDoor, BiasIsZeroToOneAndComesBeforeTheBudget) {
  for (const float bias : {-0.1f, std::nextafter(1.0f, 2.0f), 2.0f, -1e-45f, -INFINITY, INFINITY}) {
    Build b;
    b.psah.splitBias = bias;
    b.psah.memoryLimitMB = 0;
    b.context = &b.psah;
    b.expectError(vekErrRange, "splitBias");
  }
  // Good ones, and a NaN, fall at the next test.
  for (const float bias : {0.0f, -0.0f, 1.0f, std::numeric_limits<float>::quiet_NaN()}) {
    Build b;
    b.psah.splitBias = bias;
    b.psah.memoryLimitMB = 31;
    b.context = &b.psah;
    b.expectError(vekErrMemAlloc, "memoryLimitMB");
  }
}

TEST(BuildDoor, BudgetsBelowThirtyTwoReadNoMesh) {
  Untouchable page;
  for (const int32_t limit : {0, 1, 31}) {  // 32 falls too, at a later test
    Build b;
    b.psah.memoryLimitMB = limit;
    b.psah.pBounds = page.as<float>();
    b.context = &b.psah;
    b.vertices = page.as<float>();
    b.indices = page.as<int32_t>();
    b.expectError(vekErrMemAlloc, "memoryLimitMB");
  }
}

TEST(SimpleBuilder, ListsAllTrianglesInOneLeaf) {
  Untouchable page;  // looks at neither vertices nor indices
  for (const int32_t count : {0, 1, 2, 3, 4, 5, 1000, 65537}) {
    Build b;
    b.vertices = page.as<float>();
    b.indices = page.as<int32_t>();
    b.vertexCount = count % 3;
    b.triangleCount = count;
    ASSERT_EQ(b.run(), vekOk);
    ASSERT_EQ(b.treeSize, 16 + 4 * count);
    const auto *words = reinterpret_cast<const int32_t *>(b.tree);
    EXPECT_EQ(static_cast<uint32_t>(words[0]), 0xFFFFFFF0u);
    EXPECT_EQ(words[1], count);
    EXPECT_EQ(words[2], 0);
    EXPECT_EQ(words[3], 0);
    for (int32_t i = 0; i < count; ++i) ASSERT_EQ(words[4 + i], i);
    vekrKDTreeFree(b.tree);
  }
}

TEST(SimpleBuilder, DepthChangesNothing) {
  std::vector<int32_t> first;
  for (const int32_t depth : {0, 7, 50}) {
    Build b;
    b.simple.maxDepth = depth;
    b.triangleCount = 9;
    ASSERT_EQ(b.run(), vekOk);
    const auto *words = reinterpret_cast<const int32_t *>(b.tree);
    const std::vector<int32_t> tree(words, words + b.treeSize / 4);
    if (first.empty()) first = tree;
    EXPECT_EQ(tree, first);
    vekrKDTreeFree(b.tree);
  }
}

TEST(SimpleBuilder, TakesItsWholeContextAndNoMore) {
  PageEnd<VekrSimpleBuildContext> context(1);
  context[0] = {vekrSimpleBuildIdentifier, 50};
  Build b;
  b.context = context.data();
  ASSERT_EQ(b.run(), vekOk);
  vekrKDTreeFree(b.tree);
}

TEST(TreeFree, AcceptsNull) { vekrKDTreeFree(nullptr); }

}  // namespace
