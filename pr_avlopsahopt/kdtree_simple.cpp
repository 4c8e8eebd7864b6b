#include "frame/memory.h"
#include "pr_avlopsahopt/builders.h"
#include "pr_avlopsahopt/kdtree_format.h"

namespace vekr {

VekStatus ownKDTBldSmpl_TL(int32_t triangleCount, VekrKDTreeNode **ppTree, int32_t *pTreeSize) {
  const int64_t size = kTreeHeaderBytes + 4 * static_cast<int64_t>(triangleCount);
  if (size > INT32_MAX) return vekErrMemAlloc;  // more than pTreeSize could tell
  auto *root = static_cast<VekrKDTreeNode *>(veksMalloc_64s(static_cast<int32_t>((size >> 3) + 1)));
  if (root == nullptr) return vekErrMemAlloc;
  // A list for 1 to 3 triangles too [C06].
  root[0] = leafWithList(triangleCount, kTreeHeaderBytes);
  root[1] = kTreePadding;
  auto *list = reinterpret_cast<int32_t *>(root + kTreeHeaderBytes / sizeof(VekrKDTreeNode));
  for (int32_t triangle = 0; triangle < triangleCount; ++triangle) list[triangle] = triangle;
  *ppTree = root;
  *pTreeSize = static_cast<int32_t>(size);
  return vekOk;
}

}  // namespace vekr
