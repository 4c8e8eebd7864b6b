#include "frame/memory.h"
#include "pr_avlopsahopt/builders.h"
#include "pr_avlopsahopt/kdtree_format.h"

namespace vekr {

VekStatus ownKDTBldSmpl_TL(int32_t triangleCount, VekrKDTreeNode **ppTree, int32_t *pTreeSize) {
  const int64_t size = kTreeHeaderBytes + 4 * static_cast<int64_t>(triangleCount);
  if (size > INT32_MAX) return vekErrMemAlloc;  // more than pTreeSize could tell
  auto *words = static_cast<int32_t *>(veksMalloc_64s(static_cast<int32_t>((size >> 3) + 1)));
  if (words == nullptr) return vekErrMemAlloc;
  words[0] = -kTreeHeaderBytes;  // a list leaf: its list lies 16 bytes behind the node [C06]
  words[1] = triangleCount;
  words[2] = 0;
  words[3] = 0;
  for (int32_t triangle = 0; triangle < triangleCount; ++triangle) words[4 + triangle] = triangle;
  *ppTree = reinterpret_cast<VekrKDTreeNode *>(words);
  *pTreeSize = static_cast<int32_t>(size);
  return vekOk;
}

}  // namespace vekr
