// The door of the tree builders: checks, their order, and the simple builder.
#include <gtest/gtest.h>

#include <limits>

#include "pr_avlopsahopt/kdtree_format.h"
#include "tests/support/trees.h"

using namespace vekr_test;

namespace {

const float kVertices[] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
const int32_t kIndices[] = {0, 1, 2, 0, 0, 1, 2, 0};

struct Call {
  VekrKDTreeNode *tree = reinterpret_cast<VekrKDTreeNode *>(8);
  int32_t size = 77;

  VekStatus operator()(const void *context, int32_t vertexCount = 3, int32_t triangleCount = 1) {
    return vekrKDTreeBuildAlloc(&tree, kVertices, kIndices, vertexCount, triangleCount, &size, context);
  }
  bool untouched() const { return tree == reinterpret_cast<VekrKDTreeNode *>(8) && size == 77; }
};

bool isSameNode(const VekrKDTreeNode &a, const VekrKDTreeNode &b) {
  return a.word0 == b.word0 && a.word1 == b.word1;
}

VekStatus buildPsah(int32_t maxDepth, float bias, int32_t limit) {
  Call call;
  const VekrPSAHBuildContext context = {vekrPSAHBuildIdentifier, maxDepth, bias, limit, nullptr};
  const VekStatus status = call(&context);
  EXPECT_EQ(call.untouched(), status != vekOk);
  if (status == vekOk) vekrKDTreeFree(call.tree);
  return status;
}

}  // namespace

TEST(KDTreeBuild, NullPointersComeFirst) {
  VekrKDTreeNode *tree = nullptr;
  int32_t size = 0;
  const VekrSimpleBuildContext context = {vekrSimpleBuildIdentifier, 99};
  EXPECT_EQ(vekrKDTreeBuildAlloc(nullptr, kVertices, kIndices, -1, -1, &size, &context), vekErrNullPtr);
  EXPECT_EQ(vekrKDTreeBuildAlloc(&tree, nullptr, kIndices, -1, -1, &size, &context), vekErrNullPtr);
  EXPECT_EQ(vekrKDTreeBuildAlloc(&tree, kVertices, nullptr, -1, -1, &size, &context), vekErrNullPtr);
  EXPECT_EQ(vekrKDTreeBuildAlloc(&tree, kVertices, kIndices, -1, -1, nullptr, &context), vekErrNullPtr);
}

TEST(KDTreeBuild, NegativeCountsComeBeforeANullContext) {
  Call call;
  EXPECT_EQ(call(nullptr, -1, 1), vekErrSize);
  EXPECT_EQ(call(nullptr, 1, -1), vekErrSize);
  EXPECT_EQ(call(nullptr), vekErrNullPtr);
  EXPECT_TRUE(call.untouched());
}

TEST(KDTreeBuild, RefusesUnknownContexts) {
  Call call;
  const int32_t unknown[] = {0x499D3DC3, 99, 0, 0, 0, 0};
  EXPECT_EQ(call(unknown), vekErrContext);
  EXPECT_TRUE(call.untouched());
}

TEST(KDTreeBuild, DepthIsCheckedForBothBuilders) {
  for (const int32_t depth : {-1, 51, INT32_MIN, INT32_MAX}) {
    Call call;
    const VekrSimpleBuildContext context = {vekrSimpleBuildIdentifier, depth};
    EXPECT_EQ(call(&context), vekErrRange);
    EXPECT_TRUE(call.untouched());
    EXPECT_EQ(buildPsah(depth, 0.5f, 31), vekErrRange);
  }
  EXPECT_EQ(buildPsah(0, 0.5f, 100), vekOk);
  EXPECT_EQ(buildPsah(50, 0.5f, 100), vekOk);
}

TEST(KDTreeBuild, BiasIsCheckedBeforeTheBudgetAndTakesANaN) {
  EXPECT_EQ(buildPsah(20, -0.001f, 31), vekErrRange);
  EXPECT_EQ(buildPsah(20, 1.001f, 31), vekErrRange);
  EXPECT_EQ(buildPsah(20, 0.0f, 100), vekOk);
  EXPECT_EQ(buildPsah(20, -0.0f, 100), vekOk);
  EXPECT_EQ(buildPsah(20, 1.0f, 100), vekOk);
  EXPECT_EQ(buildPsah(20, std::numeric_limits<float>::quiet_NaN(), 100), vekOk);
}

TEST(KDTreeBuild, BudgetHasAFloorAndNegativeMeansNone) {
  EXPECT_EQ(buildPsah(20, 0.5f, 0), vekErrMemAlloc);
  EXPECT_EQ(buildPsah(20, 0.5f, 31), vekErrMemAlloc);
  EXPECT_EQ(buildPsah(20, 0.5f, 32), vekErrMemAlloc);
  EXPECT_EQ(buildPsah(20, 0.5f, -1), vekOk);
  EXPECT_EQ(buildPsah(20, 0.5f, INT32_MIN), vekOk);
}

TEST(SimpleBuild, ListsAllTrianglesAscending) {
  for (const int32_t count : {0, 1, 2, 3, 4, 1001}) {
    Call call;
    const VekrSimpleBuildContext context = {vekrSimpleBuildIdentifier, 50};
    ASSERT_EQ(call(&context, 3, count), vekOk);
    EXPECT_EQ(call.size, 16 + 4 * count);
    EXPECT_TRUE(isSameNode(call.tree[0], vekr::leafWithList(count, vekr::kTreeHeaderBytes)));
    EXPECT_TRUE(isSameNode(call.tree[1], vekr::kTreePadding));
    for (int32_t i = 0; i < count; ++i) EXPECT_EQ(vekr::leafList(call.tree)[i], i);
    vekrKDTreeFree(call.tree);
  }
}

TEST(KDTreeFree, AcceptsNull) { vekrKDTreeFree(nullptr); }

TEST(PsahBuild, NoTrianglesGiveAnEmptyLeaf) {
  const float vertex[3] = {1.0f, 2.0f, 3.0f};
  const float box[6] = {0, 0, 0, 1, 1, 1};
  for (const float *bounds : {static_cast<const float *>(nullptr), box}) {
    const VekrPSAHBuildContext context = {vekrPSAHBuildIdentifier, 50, 0.5f, 49, bounds};
    VekrKDTreeNode *tree = nullptr;
    int32_t size = 0;
    ASSERT_EQ(vekrKDTreeBuildAlloc(&tree, vertex, kIndices, 0, 0, &size, &context), vekOk);
    EXPECT_EQ(size, 16);
    EXPECT_TRUE(isSameNode(tree[0], vekr::leafWithList(0, vekr::kTreeHeaderBytes)));
    EXPECT_TRUE(isSameNode(tree[1], vekr::kTreePadding));
    vekrKDTreeFree(tree);
  }
}
