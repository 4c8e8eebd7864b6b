// A program may bring its own three functions in place of the companion's: the library then calls those, as often as it
// must and with the sizes that it promises.
#include <gtest/gtest.h>

#include <cstdlib>
#include <limits>
#include <vector>

#include "frame/memory.h"
#include "vekr.h"

namespace {

struct Calls {
  std::vector<size_t> sizes;
  std::vector<void *> freed;
  int threadQueries = 0;
  void *lastBlock = nullptr;
};
Calls calls;
bool outOfMemory = false;
int32_t threads = 1;

}  // namespace

extern "C" {
__attribute__((visibility("default"))) void *vekMalloc(size_t size) {
  calls.sizes.push_back(size);
  // No alignment beyond malloc's: more is nowhere asked of this function.
  calls.lastBlock = outOfMemory ? nullptr : std::malloc(size);
  return calls.lastBlock;
}
__attribute__((visibility("default"))) void vekFree(void *p) {
  calls.freed.push_back(p);
  std::free(p);
}
__attribute__((visibility("default"))) int32_t ownGetNumThreads(void) {
  ++calls.threadQueries;
  return threads;
}
}

namespace {

const float kVertices[9] = {1, 0, 0, 0, 1, 0, 0, 0, 0};

class Interposed : public ::testing::Test {
 protected:
  Interposed() {
    calls = Calls();
    outOfMemory = false;
    threads = 1;
  }
};

TEST_F(Interposed, TreesComeFromAndGoBackToTheCallersHeap) {
  for (const int32_t count : {0, 1, 2, 3, 1000}) {
    calls = Calls();
    const VekrSimpleBuildContext context = {vekrSimpleBuildIdentifier, 0};
    const std::vector<int32_t> indices(static_cast<size_t>(4 * count + 4));
    VekrKDTreeNode *tree = nullptr;
    int32_t size = 0;
    ASSERT_EQ(vekrKDTreeBuildAlloc(&tree, kVertices, indices.data(), 3, count, &size, &context), vekOk);
    ASSERT_EQ(calls.sizes.size(), 1u);
    EXPECT_EQ(calls.sizes[0], static_cast<size_t>((4 * count + 16) / 8 + 1) * 8);
    EXPECT_EQ(tree, calls.lastBlock);
    EXPECT_TRUE(calls.freed.empty());
    vekrKDTreeFree(tree);
    ASSERT_EQ(calls.freed.size(), 1u);
    EXPECT_EQ(calls.freed[0], tree);
    EXPECT_EQ(calls.threadQueries, 0);
  }
}

TEST_F(Interposed, FreeingNullIsHandedOnUntested) {
  vekrKDTreeFree(nullptr);
  ASSERT_EQ(calls.freed.size(), 1u);
  EXPECT_EQ(calls.freed[0], nullptr);
}

TEST_F(Interposed, AFailedAllocationLeavesTreeAndSize) {
  outOfMemory = true;
  const VekrSimpleBuildContext context = {vekrSimpleBuildIdentifier, 0};
  const int32_t indices[4] = {};
  auto *const before = reinterpret_cast<VekrKDTreeNode *>(uintptr_t{0xABCD0});
  for (const int32_t count : {0, 1, 1000, 1 << 29, std::numeric_limits<int32_t>::max()}) {
    VekrKDTreeNode *tree = before;
    int32_t size = -77;
    EXPECT_EQ(vekrKDTreeBuildAlloc(&tree, kVertices, indices, 3, count, &size, &context), vekErrMemAlloc)
        << count;
    EXPECT_EQ(tree, before);
    EXPECT_EQ(size, -77);
  }
}

TEST_F(Interposed, RefusedCallsAllocateNothing) {
  const VekrSimpleBuildContext context = {vekrSimpleBuildIdentifier, 51};
  const int32_t indices[4] = {};
  VekrKDTreeNode *tree = nullptr;
  int32_t size = 0;
  EXPECT_EQ(vekrKDTreeBuildAlloc(&tree, kVertices, indices, 3, 1, &size, &context), vekErrRange);
  EXPECT_TRUE(calls.sizes.empty());
}

TEST_F(Interposed, TriangleNormalsAskForThreadsOnceACall) {
  std::vector<int32_t> indices;
  for (int i = 0; i < 1000; ++i) indices.insert(indices.end(), {0, 1, 2, 0});
  for (threads = 1; threads <= 5; ++threads) {
    calls.threadQueries = 0;
    std::vector<float> normals(3000);
    ASSERT_EQ(vekrTriangleNormal_32f(kVertices, indices.data(), normals.data(), 1000), vekOk);
    EXPECT_EQ(calls.threadQueries, 1);
    for (size_t i = 0; i < 3000; ++i) ASSERT_EQ(normals[i], i % 3 == 2 ? 1.0f : 0.0f);
    EXPECT_TRUE(calls.sizes.empty());
  }
}

// The library's own allocators, through which every block comes.
TEST_F(Interposed, UnitsBelowOneAskForNothing) {
  for (const int32_t none : {0, -1, INT32_MIN}) {
    EXPECT_EQ(vekr::veksMalloc_32s(none), nullptr);
    EXPECT_EQ(vekr::veksMalloc_64s(none), nullptr);
  }
  EXPECT_TRUE(calls.sizes.empty());
}

TEST_F(Interposed, UnitsAreFourAndEightBytes) {
  outOfMemory = true;  // sizes only
  EXPECT_EQ(vekr::veksMalloc_32s(1), nullptr);
  vekr::veksMalloc_64s(1);
  vekr::veksMalloc_32s(INT32_MAX);
  vekr::veksMalloc_64s(INT32_MAX);
  const std::vector<size_t> expected = {4, 8, size_t{INT32_MAX} * 4, size_t{INT32_MAX} * 8};
  EXPECT_EQ(calls.sizes, expected);
  vekr::veksFree(nullptr);
  ASSERT_EQ(calls.freed.size(), 1u);
  EXPECT_EQ(calls.freed[0], nullptr);
}

}  // namespace
