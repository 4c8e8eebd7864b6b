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

// A host that counts or changes its answer sees these calls: none for a volume thinner than 16, one where the answer is a
// single thread, and a second one for the team. A resize with a team computes the size of the threads' buffers with a
// third.
TEST_F(Interposed, VolumesAskForThreadsAfreshAtEachDecision) {
  constexpr int32_t kSide = 16;
  const size_t voxels = size_t{kSide} * kSide * kSide;
  std::vector<float> source(voxels, 1.0f), destination(voxels), zeros(kSide * kSide);
  std::vector<const float *> from, map(kSide, zeros.data());
  std::vector<float *> to;
  for (size_t z = 0; z < kSide; ++z) {
    from.push_back(source.data() + z * kSide * kSide);
    to.push_back(destination.data() + z * kSide * kSide);
  }
  const VekrVolumeSize size = {kSide, kSide, kSide};
  const VekrVolumeBox all = {0, 0, 0, kSide, kSide, kSide};
  constexpr int32_t kStep = kSide * sizeof(float);
  const double identity[3][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}};
  struct Queries {
    int remap, warp, resize, block;
  };
  const auto queriesOf = [&](int32_t depth) {
    Queries queries;
    const VekrVolumeBox box = {0, 0, 0, kSide, kSide, depth};
    const auto counted = [](auto call) {
      calls.threadQueries = 0;
      EXPECT_EQ(call(), vekOk);
      return calls.threadQueries;
    };
    int32_t bytes = 0;
    EXPECT_EQ(vekrResizeGetBufSize(all, all, 1, vekrInterLinear, &bytes), vekOk);
    std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
    queries.remap = counted([&] {
      return vekrRemap_32f_C1PV(from.data(), size, kStep, all, map.data(), map.data(), map.data(), kStep,
                                to.data(), kStep, {kSide, kSide, depth}, vekrInterLinear);
    });
    queries.warp = counted([&] {
      return vekrWarpAffine_32f_C1PV(from.data(), size, kStep, all, to.data(), kStep, box, &identity[0][0],
                                     vekrInterLinear);
    });
    queries.block = counted([&] {
      return vekrResize_32f_C1V(source.data(), size, kStep, kStep * kSide, all, destination.data(), kStep,
                                kStep * kSide, box, 1, 1, 1, 0, 0, 0, vekrInterLinear, buffer.data());
    });
    queries.resize = counted([&] {
      return vekrResize_32f_C1PV(from.data(), size, kStep, all, to.data(), kStep, box, 1, 1, 1, 0, 0, 0,
                                 vekrInterLinear, buffer.data());
    });
    return queries;
  };
  for (threads = 1; threads <= 3; ++threads) {
    SCOPED_TRACE(threads);
    const Queries thin = queriesOf(15), full = queriesOf(16);
    EXPECT_EQ(thin.remap + thin.warp + thin.resize + thin.block, 0);
    const int asked = threads == 1 ? 1 : 2;
    EXPECT_EQ(full.remap, asked);
    EXPECT_EQ(full.warp, asked);
    EXPECT_EQ(full.block, threads == 1 ? 1 : 3);
    EXPECT_EQ(full.resize, 0);
  }
  EXPECT_TRUE(calls.sizes.empty());
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
