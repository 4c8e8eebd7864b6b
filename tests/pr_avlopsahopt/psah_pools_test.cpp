// Working memory that runs out in the middle of a build, and polygons that no mesh brings about.
#include <gtest/gtest.h>

#include <limits>

#include "pr_avlopsahopt/psah_cut.h"
#include "pr_avlopsahopt/psah_loop.h"
#include "pr_avlopsahopt/psah_patch.h"
#include "pr_avlopsahopt/psah_patches.h"
#include "tests/support/meshes.h"
#include "tests/support/values.h"

using namespace vekr;
using namespace vekr_test;

namespace {

// What a build takes from; the largest first steps of it are left, the rest is as if it were taken already.
enum class Source { patches, points, nodes, lists, pointers };

VekStatus buildWithin(const Mesh &mesh, const float *box, Source source, int64_t bytes) {
  PsahBuild build;
  VekStatus status =
      openBuild(build, mesh.vertices.data(), mesh.vertexCount(), mesh.triangleCount(), uint64_t{1} << 40);
  EXPECT_EQ(status, vekOk);
  VekrBuildState &state = *build.state;
  VekrBuildChunk *const rings[3] = {&state.nodeChunks, &state.listChunks, &state.pointerChunks};
  for (VekrBuildChunk *ring : rings) EXPECT_NE(takeFromRing(state, *ring, 0), nullptr);
  state.memoryLeft = 0;  // no other chunk
  const auto shorten = [bytes](auto &pool) { pool.end = std::min(pool.end, pool.base + bytes); };
  switch (source) {
    case Source::patches:
      shorten(state.patchPool);
      break;
    case Source::points:
      shorten(state.pointPool);
      break;
    case Source::nodes:
      shorten(*state.nodeChunks.previous);
      break;
    case Source::lists:
      shorten(*state.listChunks.previous);
      break;
    case Source::pointers:
      shorten(*state.pointerChunks.previous);
      break;
  }
  VekrPatch *patches = nullptr;
  int32_t count = 0;
  float bounds[6] = {};
  status = box != nullptr ? localInitPatchesFromTrianglesBB(&patches, &count, mesh.indices.data(),
                                                            mesh.triangleCount(), box, build)
                          : localInitPatchesFromTriangles(&patches, &count, mesh.indices.data(),
                                                          mesh.triangleCount(), bounds, build);
  if (status == vekOk) {
    auto *root = static_cast<VekrBuildNode *>(takeFromRing(state, state.nodeChunks, kNodePairBytes));
    if (root == nullptr) {
      status = vekErrTreeBuild;
    } else {
      *root = {vekrBuildLeafKind, count, patches};
      status = ownOptimizationPSAH(build, root, 14, box != nullptr ? box : bounds, 0.5f);
    }
  }
  releaseBuild(build);
  return status;
}

}  // namespace

// Whatever runs out, and wherever: one status, and nothing beyond the end of what was there.
TEST(BuildMemory, PoolsAndChunksThatEndInTheMiddleOfABuild) {
  const float box[6] = {0.2f, 0.1f, 0.15f, 0.8f, 0.7f, 0.9f};
  const Mesh mesh = triangleSoup(40, 0.8f, 3);
  for (const float *bounds : {static_cast<const float *>(nullptr), box}) {
    for (const Source source :
         {Source::patches, Source::points, Source::nodes, Source::lists, Source::pointers}) {
      int refused = 0;
      bool enough = false;
      for (int64_t bytes = 0; bytes < 0x1000000; bytes += 4 + bytes / 16) {
        const VekStatus status = buildWithin(mesh, bounds, source, bytes);
        if (status == vekOk) {
          enough = true;
          break;
        }
        ASSERT_EQ(status, vekErrTreeBuild) << bytes;
        ++refused;
      }
      EXPECT_TRUE(enough) << static_cast<int>(source);
      EXPECT_GT(refused, 10) << static_cast<int>(source);
    }
  }
}

// The walk around a polygon ends and stays within its arrays, whichever vertices are said to be the extreme ones, and be
// there NaNs: parts of vertices of the polygon and new points, or a status.
TEST(PatchCut, PolygonsThatAreNone) {
  constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
  Random random(11);
  int statuses[2] = {}, large = 0;
  PsahBuild build;
  const float nothing[3] = {};
  ASSERT_EQ(openBuild(build, nothing, 1, 1, uint64_t{1} << 40), vekOk);
  for (int run = 0; run < 60000; ++run) {
    const int32_t count = random.below(4) == 0 ? 31 : 3 + random.below(28);
    float points[31][3];
    const float **vertices = takeVertexPointers(*build.state, count);
    ASSERT_NE(vertices, nullptr);
    const bool flat = random.below(3) == 0;  // nearly all on one side
    for (int32_t i = 0; i < count; ++i) {
      for (float &c : points[i]) {
        c = random.below(12) == 0 ? kNaN : random.below(5) == 0 ? 0.5f : flat ? 0.1f : random.within(0, 1);
      }
      vertices[i] = points[i];
    }
    const auto anyVertex = [&] { return random.below(count); };
    VekrPatch patch = {5u * 32 + static_cast<uint32_t>(count), 0, vertices};
    for (int field = 0; field < 6; ++field)
      patch.extremeMask |= static_cast<uint32_t>(anyVertex()) << (5 * field);
    VekrPatch parts[2] = {};
    VekrPatchBounds bounds[2];
    char *const firstPoint = build.state->pointPool.cursor;
    const VekStatus status = localPatchCut(patch, {&parts[0], &bounds[0]}, {&parts[1], &bounds[1]},
                                           random.below(3), *build.state, 0.5f);
    char *const lastPoint = build.state->pointPool.cursor;
    ASSERT_LE(lastPoint - firstPoint, 24);
    ASSERT_TRUE(status == vekOk || status == vekErrTreeInternal) << status;
    ++statuses[status != vekOk];
    for (int side = 0; side < 2 && status == vekOk; ++side) {
      const int32_t size = vertexCountOf(parts[side]);
      ASSERT_EQ(triangleOf(parts[side]), 5);
      ASSERT_GE(size, 2);
      large += size > kMostFreeListVertices;
      for (int32_t i = 0; i < size; ++i) {
        const char *vertex = reinterpret_cast<const char *>(parts[side].vertices[i]);
        const bool isOld = vertex >= reinterpret_cast<const char *>(points) &&
                           vertex < reinterpret_cast<const char *>(points + count);
        ASSERT_TRUE(isOld || (vertex >= firstPoint && vertex < lastPoint));
      }
    }
    build.state->pointPool.cursor = firstPoint;
  }
  EXPECT_GT(statuses[0], 1000);
  EXPECT_GT(statuses[1], 100);
  EXPECT_GT(large, 100);
  releaseBuild(build);
}
