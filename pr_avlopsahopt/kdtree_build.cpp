// Tree build: the doors.
#include "frame/checks.h"
#include "frame/memory.h"
#include "pr_avlopsahopt/builders.h"
#include "pr_avlopsahopt/kdtree_format.h"
#include "vekr.h"

using namespace vekr;

namespace {

bool isTreeDepth(int32_t depth) { return depth >= 0 && depth <= kMaxTreeDepth; }

// The floor of the budget, compared as unsigned 64-bit in units of half a byte: a negative limit becomes huge, which
// is how a caller asks for no limit [C03].
bool isBelowSmallestBudget(int32_t memoryLimitMB) {
  return (static_cast<uint64_t>(static_cast<int64_t>(memoryLimitMB)) << 19) < 0x1000000u;
}

VekStatus checkPSAH(const VekrPSAHBuildContext &context) {
  if (!isTreeDepth(context.maxDepth)) return vekErrRange;
  if (0.0f > context.splitBias || context.splitBias > 1.0f) return vekErrRange;  // a NaN is taken [C02]
  if (isBelowSmallestBudget(context.memoryLimitMB)) return vekErrMemAlloc;
  return vekOk;
}

uint64_t budgetBytes(int32_t memoryLimitMB) {
  return static_cast<uint64_t>(static_cast<int64_t>(memoryLimitMB)) << 20;
}

}  // namespace

VekStatus vekrKDTreeBuildAlloc(VekrKDTreeNode **ppTree, const float *pVertices, const int32_t *pIndices,
                               int32_t vertexCount, int32_t triangleCount, int32_t *pTreeSize,
                               const void *pContext) {
  if (anyNull(ppTree, pVertices, pIndices, pTreeSize)) return vekErrNullPtr;
  if (vertexCount < 0 || triangleCount < 0) return vekErrSize;
  if (anyNull(pContext)) return vekErrNullPtr;  // behind the counts [C01]
  switch (*static_cast<const int32_t *>(pContext)) {
    case vekrSimpleBuildIdentifier: {
      const auto &context = *static_cast<const VekrSimpleBuildContext *>(pContext);
      if (!isTreeDepth(context.maxDepth)) return vekErrRange;
      return ownKDTBldSmpl_TL(triangleCount, ppTree, pTreeSize);
    }
    case vekrPSAHBuildIdentifier: {
      const auto &context = *static_cast<const VekrPSAHBuildContext *>(pContext);
      const VekStatus status = checkPSAH(context);
      if (status != vekOk) return status;
      return ownKDTBldPSAH_ML(pVertices, pIndices, vertexCount, triangleCount, ppTree, pTreeSize,
                              context.maxDepth, budgetBytes(context.memoryLimitMB), context.pBounds,
                              context.splitBias);
    }
    default:
      return vekErrContext;
  }
}

void vekrKDTreeFree(VekrKDTreeNode *pTree) { veksFree(pTree); }
