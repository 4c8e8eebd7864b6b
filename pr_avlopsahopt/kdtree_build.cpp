// Tree build: the doors.
#include "frame/checks.h"
#include "frame/memory.h"
#include "pr_avlopsahopt/builders.h"
#include "pr_avlopsahopt/kdtree_format.h"
#include "vekr.h"

using namespace vekr;

namespace {

bool isTreeDepth(int32_t depth) { return depth >= 0 && depth <= kMaxTreeDepth; }

// The floor of the budget, compared as unsigned 64-bit in units of half a byte: a negative limit becomes
// huge, which is how a caller asks for no limit.
bool isBelowSmallestBudget(int32_t memoryLimitMB) {
  return (static_cast<uint64_t>(static_cast<int64_t>(memoryLimitMB)) << 19) < 0x1000000u;
}

VekStatus buildPSAH(const VekrPSAHBuildContext &context) {
  if (!isTreeDepth(context.maxDepth)) return vekErrRange;
  if (0.0f > context.splitBias || context.splitBias > 1.0f) return vekErrRange;  // a NaN is taken
  if (isBelowSmallestBudget(context.memoryLimitMB)) return vekErrMemAlloc;
  return vekErrMemAlloc;
}

}  // namespace

VekStatus vekrKDTreeBuildAlloc(VekrKDTreeNode **ppTree, const float *pVertices, const int32_t *pIndices,
                               int32_t vertexCount, int32_t triangleCount, int32_t *pTreeSize,
                               const void *pContext) {
  if (anyNull(ppTree, pVertices, pIndices, pTreeSize)) return vekErrNullPtr;
  if (vertexCount < 0 || triangleCount < 0) return vekErrSize;
  if (anyNull(pContext)) return vekErrNullPtr;
  switch (*static_cast<const int32_t *>(pContext)) {
    case vekrSimpleBuildIdentifier: {
      const auto &context = *static_cast<const VekrSimpleBuildContext *>(pContext);
      if (!isTreeDepth(context.maxDepth)) return vekErrRange;
      return ownKDTBldSmpl_TL(triangleCount, ppTree, pTreeSize);
    }
    case vekrPSAHBuildIdentifier:
      return buildPSAH(*static_cast<const VekrPSAHBuildContext *>(pContext));
    default:
      return vekErrContext;
  }
}

void vekrKDTreeFree(VekrKDTreeNode *pTree) { veksFree(pTree); }
