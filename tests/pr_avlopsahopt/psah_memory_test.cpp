// Memory of the surface-area build: every request, every failure, every boundary of the budget. The program stands in
// for the companion library, so it sees each allocation and can refuse any of them.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <vector>

#include "tests/reference/psah_twin.h"
#include "tests/support/trees.h"

namespace {

struct Heap {
  std::map<void *, size_t> live;
  std::vector<size_t> requests;
  int64_t failAt = -1;  // number of the request that is refused
  size_t bytes = 0, peak = 0, bytesAtLastRequest = 0;
  int wrongFrees = 0;
  int threadQueries = 0;
  bool isWatching = false;

  void watch(int64_t fail) {
    requests.clear();
    failAt = fail;
    bytes = peak = 0;
    isWatching = true;
  }
} heap;

}  // namespace

namespace {

// Blocks start 8 bytes off the alignment that vectors would like: no more is promised.
constexpr size_t kShift = 8;

void *shiftedMalloc(size_t size) {
  char *p = static_cast<char *>(std::aligned_alloc(64, (size + kShift + 63) / 64 * 64));
  return p == nullptr ? nullptr : p + kShift;
}

}  // namespace

extern "C" {
__attribute__((visibility("default"))) void *vekMalloc(size_t size) {
  if (!heap.isWatching) return shiftedMalloc(size);
  heap.requests.push_back(size);
  heap.bytesAtLastRequest = heap.bytes;
  if (static_cast<int64_t>(heap.requests.size()) - 1 == heap.failAt) return nullptr;
  void *p = shiftedMalloc(size);
  heap.live[p] = size;
  heap.bytes += size;
  heap.peak = std::max(heap.peak, heap.bytes);
  return p;
}
__attribute__((visibility("default"))) void vekFree(void *p) {
  if (p == nullptr) return;
  if (heap.isWatching) {
    const auto found = heap.live.find(p);
    if (found == heap.live.end()) {
      ++heap.wrongFrees;
      return;
    }
    heap.bytes -= found->second;
    heap.live.erase(found);
  }
  std::free(static_cast<char *>(p) - kShift);
}
__attribute__((visibility("default"))) int32_t ownGetNumThreads(void) {
  ++heap.threadQueries;
  return 1;
}
}

namespace vekr_test {
namespace {

struct Result {
  VekStatus status;
  bool clean;  // outputs as they were on failure, nothing but the tree alive
};

Result buildWatched(const Mesh &mesh, const TreeOptions &options, int64_t failAt = -1) {
  const VekrPSAHBuildContext context = contextOf(options);
  const float vertex[3] = {};
  const int32_t triangle[4] = {};
  auto *const marker = reinterpret_cast<VekrKDTreeNode *>(16);
  VekrKDTreeNode *tree = marker;
  int32_t size = -5;
  heap.watch(failAt);
  const VekStatus status = vekrKDTreeBuildAlloc(&tree, mesh.vertices.empty() ? vertex : mesh.vertices.data(),
                                                mesh.indices.empty() ? triangle : mesh.indices.data(),
                                                mesh.vertexCount(), mesh.triangleCount(), &size, &context);
  bool clean = heap.wrongFrees == 0;
  if (status == vekOk) {
    clean = clean && heap.live.size() == 1 && heap.live.begin()->first == tree &&
            heap.live.begin()->second == static_cast<size_t>((size >> 3) + 1) * 8;
    vekrKDTreeFree(tree);
  } else {
    clean = clean && tree == marker && size == -5;
  }
  clean = clean && heap.live.empty();
  heap.isWatching = false;
  return {status, clean};
}

VekStatus statusOf(const Mesh &mesh, const TreeOptions &options) {
  const Result result = buildWatched(mesh, options);
  EXPECT_TRUE(result.clean);
  return result.status;
}

VekStatus twinStatus(const Mesh &mesh, const TreeOptions &options) {
  return vekr_twin::PsahTwin(mesh.vertices.data(), mesh.indices.data(), mesh.vertexCount(),
                             mesh.triangleCount(), contextOf(options))
      .build();
}

}  // namespace

TEST(PsahMemory, AsksForWhatThePlanNames) {
  const Mesh mesh = triangleSoup(1000, 0.2f, 1);
  ASSERT_EQ(statusOf(mesh, {.maxDepth = 16}), vekOk);
  std::map<size_t, int> expected;
  expected[408] += 1;                                                  // state
  expected[4 * 1000] += 12;                                            // sort lists
  expected[((36u * 1000) & ~0xFFFFFFu) + 0x1000000] += 1;              // patches
  expected[((48u * 3000) & ~0xFFFFFFu) + 0x1000000] += 1;              // points
  expected[(((36u * 1000) & ~0xFFFFFFu) + 0x1000000) / 16 * 32] += 1;  // their bounds
  expected[40] += 3;                                                   // chunks: pointers, nodes, lists
  expected[0x1000000] += 3;
  std::map<size_t, int> seen;
  for (const size_t request : heap.requests) ++seen[request];
  expected[heap.requests.back()] += 1;  // the tree, last of all
  EXPECT_EQ(seen, expected);
}

TEST(PsahMemory, GivesTheWorkBackBeforeItTakesTheTree) {
  ASSERT_EQ(statusOf(triangleSoup(1000, 0.2f, 1), {.maxDepth = 16}), vekOk);
  EXPECT_GT(heap.peak, size_t{100} << 20);
  EXPECT_EQ(heap.bytesAtLastRequest,
            408 + 2 * (40 + 0x1000000u));  // state, a chunk of nodes, a chunk of lists
}

TEST(PsahMemory, NeverAsksForTheThreadCount) {
  heap.threadQueries = 0;
  statusOf(triangleSoup(30000, 0.02f, 1), {.maxDepth = 20});
  EXPECT_EQ(heap.threadQueries, 0);
}

TEST(PsahMemory, EveryRefusedRequestEndsInAStatusAndLeavesNothing) {
  const float box[6] = {0.1f, 0.1f, 0.1f, 0.9f, 0.9f, 0.9f};
  for (const float *bounds : {static_cast<const float *>(nullptr), static_cast<const float *>(box)}) {
    const Mesh mesh = triangleSoup(300, 0.3f, 2);
    ASSERT_EQ(statusOf(mesh, {.maxDepth = 12, .pBounds = bounds}), vekOk);
    const auto count = static_cast<int64_t>(heap.requests.size());
    for (int64_t n = 0; n < count; ++n) {
      const Result result = buildWatched(mesh, {.maxDepth = 12, .pBounds = bounds}, n);
      EXPECT_EQ(result.status, n == count - 1 ? vekErrMemAlloc : vekErrTreeBuild) << "request " << n;
      EXPECT_TRUE(result.clean) << "request " << n;
    }
  }
}

// The same for meshes of every kind, with and without a budget that would do, in trees with threads too. A budget changes
// nothing of what a refused request ends in.
TEST(PsahMemory, EveryRefusalInMeshesOfEveryKind) {
  Mesh lone;
  lone.addTriangle({0, 0, 0}, {1, 0, 0}, {0, 1, 0});
  Mesh flat = lone;
  flat.addTriangle({1, 1, 1}, {1, 1, 1}, {2, 2, 2});
  const Mesh meshes[] = {Mesh(),
                         lone,
                         flat,
                         latticeSoup(200, 3, 4),
                         needles(100, 5),
                         terrain(12, 0.02f, 6),
                         terrain(50, 0.01f, 7)};
  int64_t refusals = 0;
  for (const Mesh &mesh : meshes) {
    for (const int32_t limit : {-1, 120}) {
      for (const int32_t depth : {0, 9}) {
        const TreeOptions options = {.maxDepth = depth, .memoryLimitMB = limit};
        ASSERT_EQ(statusOf(mesh, options), vekOk);
        const auto count = static_cast<int64_t>(heap.requests.size());
        for (int64_t n = 0; n < count; ++n, ++refusals) {
          const Result result = buildWatched(mesh, options, n);
          ASSERT_EQ(result.status, n == count - 1 ? vekErrMemAlloc : vekErrTreeBuild) << "request " << n;
          ASSERT_TRUE(result.clean) << "request " << n;
        }
      }
    }
  }
  EXPECT_GT(refusals, 300);
}

TEST(PsahMemory, SimpleBuilderSurvivesARefusal) {
  const Mesh mesh = triangleSoup(10, 0.3f, 2);
  const VekrSimpleBuildContext context = {vekrSimpleBuildIdentifier, 0};
  heap.watch(0);
  Tree tree;
  tree.build(mesh, &context);
  heap.isWatching = false;
  EXPECT_EQ(tree.status, vekErrMemAlloc);
  EXPECT_EQ(tree.root, nullptr);
  EXPECT_EQ(tree.size, 0);
}

TEST(PsahMemory, RefusedBudgetsAllocateNothing) {
  EXPECT_EQ(statusOf(Mesh(), {.memoryLimitMB = 32}), vekErrMemAlloc);
  EXPECT_TRUE(heap.requests.empty());
}

TEST(PsahMemory, AnEmptyMeshNeedsFortyNineMebibytes) {
  for (int32_t limit = 33; limit <= 48; ++limit) {
    EXPECT_EQ(statusOf(Mesh(), {.memoryLimitMB = limit}), vekErrTreeBuild) << limit;
  }
  EXPECT_EQ(statusOf(Mesh(), {.memoryLimitMB = 49}), vekOk);
  const float box[6] = {5, 5, 5, 6, 6, 6};  // and so does a mesh outside the box
  EXPECT_EQ(statusOf(triangleSoup(3, 0.1f, 1), {.memoryLimitMB = 48, .pBounds = box}), vekErrTreeBuild);
  EXPECT_EQ(statusOf(triangleSoup(3, 0.1f, 1), {.memoryLimitMB = 49, .pBounds = box}), vekOk);
}

TEST(PsahMemory, AFewTrianglesNeedEightyOne) {
  for (int32_t limit = 33; limit <= 80; ++limit) {
    EXPECT_EQ(statusOf(triangleSoup(3, 0.1f, 1), {.memoryLimitMB = limit}), vekErrTreeBuild) << limit;
  }
  EXPECT_EQ(statusOf(triangleSoup(3, 0.1f, 1), {.memoryLimitMB = 81}), vekOk);
}

TEST(PsahMemory, ManyVerticesWrapTheBudgetIntoNoLimit) {
  // 12 bytes a vertex are tested for, 48 are taken: past zero, chunks are free.
  Mesh mesh = triangleSoup(3, 0.1f, 1);
  mesh.vertices.resize(3 * 1500000);
  EXPECT_EQ(statusOf(mesh, {.memoryLimitMB = 60}), vekOk);
  EXPECT_EQ(statusOf(mesh, {.memoryLimitMB = 49}), vekErrMemAlloc);
  EXPECT_EQ(statusOf(mesh, {.memoryLimitMB = 50}), vekOk);
  EXPECT_EQ(statusOf(mesh, {.memoryLimitMB = 97}), vekErrTreeBuild);
}

TEST(PsahMemory, FailsAtTheSameBudgetsAsThePlainTwin) {
  // A tree that needs a second chunk of its cut polygons' pointers.
  std::map<VekStatus, int> seen;
  const Mesh cut = triangleSoup(50000, 0.05f, 3);
  for (const int32_t limit : {81, 97}) {
    const TreeOptions options = {.maxDepth = 25, .splitBias = 1.0f, .memoryLimitMB = limit};
    const VekStatus status = statusOf(cut, options);
    EXPECT_EQ(status, twinStatus(cut, options)) << limit;
    ++seen[status];
  }
  EXPECT_EQ(seen.size(), 2u) << "some fail, some don't";
}

TEST(PsahMemory, ExactBytesOfTheBudgetTest) {
  // 1 MiB steps: 84 bytes a triangle and 12 a vertex on top of the base decide between 33 and 34 MiB.
  const int32_t triangles = static_cast<int32_t>(((33 << 20) - 33554920 - 12) / 84);
  Mesh mesh;
  mesh.addVertex(0, 0, 0);
  mesh.indices.resize(4 * static_cast<size_t>(triangles));
  EXPECT_EQ(statusOf(mesh, {.memoryLimitMB = 33}), vekErrTreeBuild);
  mesh.indices.resize(4 * static_cast<size_t>(triangles + 1));
  EXPECT_EQ(statusOf(mesh, {.memoryLimitMB = 33}), vekErrMemAlloc);
}

}  // namespace vekr_test
