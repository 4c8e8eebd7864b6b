// The surface-area builder, from the mesh to the block.
#include "pr_avlopsahopt/builders.h"
#include "pr_avlopsahopt/psah_compact.h"
#include "pr_avlopsahopt/psah_loop.h"
#include "pr_avlopsahopt/psah_patches.h"
#include "pr_avlopsahopt/psah_state.h"

namespace vekr {
namespace {

// Patches, root and loop: everything that works within the budget.
VekStatus growTree(const PsahBuild &build, const int32_t *pIndices, int32_t triangleCount, int32_t maxDepth,
                   const float *pBounds, float splitBias, VekrBuildNode **ppRoot) {
  VekrPatch *patches = nullptr;
  int32_t count = 0;
  float vertexBounds[6] = {};
  const VekStatus made =
      pBounds != nullptr
          ? localInitPatchesFromTrianglesBB(&patches, &count, pIndices, triangleCount, pBounds, build)
          : localInitPatchesFromTriangles(&patches, &count, pIndices, triangleCount, vertexBounds, build);
  if (made != vekOk) return made;
  auto *root =
      static_cast<VekrBuildNode *>(takeFromRing(*build.state, build.state->nodeChunks, kNodePairBytes));
  if (root == nullptr) return vekErrTreeBuild;
  *root = {vekrBuildLeafKind, count, patches};
  *ppRoot = root;
  if (count == 0) return vekOk;
  return ownOptimizationPSAH(build, root, maxDepth, pBounds != nullptr ? pBounds : vertexBounds, splitBias);
}

}  // namespace

VekStatus ownKDTBldPSAH_ML(const float *pVertices, const int32_t *pIndices, int32_t vertexCount,
                           int32_t triangleCount, VekrKDTreeNode **ppTree, int32_t *pTreeSize,
                           int32_t maxDepth, uint64_t budget, const float *pBounds, float splitBias) {
  if (!isBudgetEnough(budget, vertexCount, triangleCount)) return vekErrMemAlloc;
  PsahBuild build;
  VekrBuildNode *root = nullptr;
  VekStatus status = openBuild(build, pVertices, vertexCount, triangleCount, budget);
  if (status == vekOk) {
    status = growTree(build, pIndices, triangleCount, maxDepth, pBounds, splitBias, &root);
  }
  if (status == vekOk) {
    releaseWork(build);  // so that the memory is back before the tree takes some
    status = ownCompactTreeRepresentation(root, ppTree, pTreeSize);
  }
  releaseBuild(build);
  return status;
}

}  // namespace vekr
