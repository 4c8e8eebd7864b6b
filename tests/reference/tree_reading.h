// How a plain reader takes a tree apart: shared by the twins, and by nothing of the library. The library has all this in
// pr_avlopsahopt/kdtree_format.h; the bits stand here a second time on purpose, since a reader that shared the
// library's own would share its mistakes and agree with them.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <vector>

#include "vekr.h"

namespace vekr_reference {

inline bool isInner(const VekrKDTreeNode *node) { return node->word0 >= 0; }
inline int axisOf(const VekrKDTreeNode *node) { return node->word0 & 3; }
inline float splitOf(const VekrKDTreeNode *node) { return std::bit_cast<float>(node->word1); }

// The two children of an inner node, the one below the plane first.
inline const VekrKDTreeNode *childrenOf(const VekrKDTreeNode *node) {
  return reinterpret_cast<const VekrKDTreeNode *>(reinterpret_cast<const char *>(node) + (node->word0 & ~7));
}

// The triangle numbers of a leaf in their order.
inline std::vector<int32_t> leafTriangles(const VekrKDTreeNode *leaf) {
  const auto word0 = static_cast<uint32_t>(leaf->word0);
  const auto word1 = static_cast<uint32_t>(leaf->word1);
  std::vector<int32_t> numbers;
  if (leaf->word1 > 0) {
    const char *list = reinterpret_cast<const char *>(leaf) - static_cast<int64_t>(leaf->word0 & ~3);
    numbers.resize(word1);
    std::memcpy(numbers.data(), list, numbers.size() * sizeof(int32_t));
  } else if (leaf->word1 < 0) {
    const uint32_t first = word0 & 0x7FFFFFFFu, middle = (word1 & 0x7FFFFFFCu) >> 2;
    const uint32_t before = (word0 & 0x7FFF0000u) >> 16, behind = word0 & 0xFFFFu;
    if ((word1 & 3u) == 1u) numbers = {static_cast<int32_t>(first)};
    if ((word1 & 3u) == 2u) numbers = {static_cast<int32_t>(first), static_cast<int32_t>(middle)};
    if ((word1 & 3u) == 3u) {
      numbers = {static_cast<int32_t>(middle - before), static_cast<int32_t>(middle),
                 static_cast<int32_t>(middle + behind)};
    }
  }
  return numbers;
}

struct RecordAxes {
  explicit RecordAxes(const VekrTriangleAccel &r)
      : k(static_cast<int>(r.axes >> 4 & 3u)),
        u(static_cast<int>(r.axes >> 2 & 3u)),
        v(static_cast<int>(r.axes & 3u)) {}
  int k, u, v;
};

}  // namespace vekr_reference
