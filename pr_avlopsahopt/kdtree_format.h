// The finished tree's format, in one place for those who write it and those who walk it (see VekrKDTreeNode).
#pragma once

#include <bit>
#include <cstdint>

#include "vekr.h"

namespace vekr {

static_assert(sizeof(VekrKDTreeNode) == 8, "the block's layout is public");

// Greatest depth of a tree; walk stacks have as many entries on the strength of it.
constexpr int32_t kMaxTreeDepth = 50;

// The root and the 8 zero bytes behind it.
constexpr int32_t kTreeHeaderBytes = 16;

inline bool isLeaf(const VekrKDTreeNode &node) { return node.word0 < 0; }

inline int32_t splitAxis(const VekrKDTreeNode &node) { return node.word0 & 3; }
inline float splitPosition(const VekrKDTreeNode &node) { return std::bit_cast<float>(node.word1); }

// The child below the plane; the one above stands behind it.
inline const VekrKDTreeNode *childPair(const VekrKDTreeNode *node) {
  return reinterpret_cast<const VekrKDTreeNode *>(reinterpret_cast<const char *>(node) + (node->word0 & ~7));
}

// Calls visit(triangle) for the triangles of a leaf in their order, until it returns false; returns whether all have
// been visited.
template <class Visit>
inline bool forLeafTriangles(const VekrKDTreeNode *leaf, const Visit &visit) {
  const int32_t word0 = leaf->word0, word1 = leaf->word1;
  if (word1 > 0) {
    const auto *list = reinterpret_cast<const int32_t *>(reinterpret_cast<const char *>(leaf) - (word0 & ~3));
    for (int32_t i = 0; i < word1; ++i) {
      if (!visit(list[i])) return false;
    }
    return true;
  }
  const int32_t middle = (word1 & 0x7FFFFFFC) >> 2;
  switch (word1 & 3) {  // 0 for an empty leaf, and for an inline leaf of none
    case 1:
      return visit(word0 & 0x7FFFFFFF);
    case 2:
      return visit(word0 & 0x7FFFFFFF) && visit(middle);
    case 3:
      return visit(middle - ((word0 & 0x7FFF0000) >> 16)) && visit(middle) &&
             visit(middle + (word0 & 0xFFFF));
    default:
      return true;
  }
}

}  // namespace vekr
