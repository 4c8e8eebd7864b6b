#include "pr_avlopsahopt/psah_compact.h"

#include <bit>
#include <cstring>

#include "frame/memory.h"
#include "pr_avlopsahopt/kdtree_format.h"

namespace vekr {
namespace {

struct Three {
  int32_t least, middle, greatest;
};

Three sorted(const int32_t *t) {
  const int32_t low = t[0] < t[1] ? t[0] : t[1], high = t[0] < t[1] ? t[1] : t[0];
  if (t[2] < low) return {t[2], low, high};
  if (t[2] < high) return {low, t[2], high};
  return {low, high, t[2]};
}

bool isInline(const VekrBuildNode &leaf) {
  const auto *t = static_cast<const int32_t *>(leaf.link);
  switch (leaf.value) {
    case 1:
      return t[0] >= 0;
    case 2:
      return t[0] >= 0 && t[1] >= 0 && (t[0] < kMiddleLimit || t[1] < kMiddleLimit);
    case 3: {
      const Three three = sorted(t);
      return three.least >= 0 && three.middle < kMiddleLimit && three.middle - three.least < kBelowLimit &&
             three.greatest - three.middle < kAboveLimit;
    }
    default:
      return false;
  }
}

uint64_t listBytes(const VekrBuildNode &leaf) {
  return isInline(leaf) ? 0 : sizeof(int32_t) * static_cast<uint64_t>(leaf.value);
}

// Adds the sizes of a subtree. Recursion goes as deep as the tree on the left, iteration goes right.
void localEstimateTotalCompactTreeSize(const VekrBuildNode *pNode, uint64_t *pNodeBytes,
                                       uint64_t *pListBytes) {
  for (;;) {
    *pNodeBytes += sizeof(VekrKDTreeNode);
    if (pNode->kind == vekrBuildLeafKind) {
      *pListBytes += listBytes(*pNode);
      return;
    }
    const auto *pair = static_cast<const VekrBuildNode *>(pNode->link);
    localEstimateTotalCompactTreeSize(&pair[0], pNodeBytes, pListBytes);
    pNode = &pair[1];
  }
}

VekrKDTreeNode inlineLeaf(const VekrBuildNode &leaf) {
  const auto *t = static_cast<const int32_t *>(leaf.link);
  if (leaf.value == 1) return leafOfOne(t[0]);
  // Second goes the one that fits there, of two that fit the first [C12].
  if (leaf.value == 2) return t[0] < kMiddleLimit ? leafOfTwo(t[1], t[0]) : leafOfTwo(t[0], t[1]);
  const Three three = sorted(t);
  return leafOfThree(three.least, three.middle, three.greatest);
}

// Where the next list and the next pair of children go.
struct Cursors {
  char *list;
  char *pair;
};

// Writes a subtree with its root at `pOut`. A node's pair is reserved when the node is reached, so that pairs lie in
// pre-order and lists from left to right, whatever the order in which the tree has grown.
void localTreePacking(const VekrBuildNode *pNode, char *pOut, Cursors &cursors) {
  for (;;) {
    auto *out = reinterpret_cast<VekrKDTreeNode *>(pOut);
    if (pNode->kind == vekrBuildLeafKind) {
      if (isInline(*pNode)) {
        *out = inlineLeaf(*pNode);
        return;
      }
      // An empty leaf's distance leads to wherever the lists stand.
      *out = leafWithList(pNode->value, cursors.list - pOut);
      const uint64_t bytes = listBytes(*pNode);
      if (bytes > 0) std::memcpy(cursors.list, pNode->link, bytes);
      cursors.list += bytes;
      return;
    }
    const auto *children = static_cast<const VekrBuildNode *>(pNode->link);
    char *pair = cursors.pair;
    cursors.pair += kTreePairBytes;
    *out = innerNode(pNode->kind, std::bit_cast<float>(pNode->value), pair - pOut);
    localTreePacking(&children[0], pair, cursors);
    pNode = &children[1];
    pOut = pair + sizeof(VekrKDTreeNode);
  }
}

}  // namespace

VekStatus ownCompactTreeRepresentation(const VekrBuildNode *pRoot, VekrKDTreeNode **ppTree,
                                       int32_t *pTreeSize) {
  // The root counts with the padding behind it.
  uint64_t nodeBytes = kTreeHeaderBytes - sizeof(VekrKDTreeNode), lists = 0;
  localEstimateTotalCompactTreeSize(pRoot, &nodeBytes, &lists);
  const uint64_t size = nodeBytes + lists;
  const uint64_t units = (size >> 3) + 1;
  if (units > INT32_MAX) return vekErrMemAlloc;
  char *block = static_cast<char *>(veksMalloc_64s(static_cast<int32_t>(units)));
  if (block == nullptr) return vekErrMemAlloc;
  auto *root = reinterpret_cast<VekrKDTreeNode *>(block);
  root[1] = kTreePadding;
  Cursors cursors = {block + nodeBytes, block + kTreeHeaderBytes};
  localTreePacking(pRoot, block, cursors);
  *ppTree = root;
  *pTreeSize = static_cast<int32_t>(static_cast<uint32_t>(size));
  return vekOk;
}

}  // namespace vekr
