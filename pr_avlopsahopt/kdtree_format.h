// The finished tree's format: the one place that knows which bit of a node means what. Builders make nodes here, walks
// read them here, and so do the renderer's figures and the tests; it needs nothing but the public header. What the
// words hold is told to callers at VekrKDTreeNode.
#pragma once

#include <bit>
#include <cstdint>

#include "vekr.h"

namespace vekr {

// Functions here are static: kernels for several instruction sets use them, and must not share compiled forms.

static_assert(sizeof(VekrKDTreeNode) == 8, "the block's layout is public");

// Greatest depth of a tree; walk stacks have as many entries on the strength of it.
constexpr int32_t kMaxTreeDepth = 50;

// The root and the 8 zero bytes behind it; then pairs of children, then lists.
constexpr int32_t kTreeHeaderBytes = 16;
constexpr int32_t kTreePairBytes = 2 * sizeof(VekrKDTreeNode);
constexpr VekrKDTreeNode kTreePadding = {0, 0};

// Fields of word0 of an inner node, and of word0 and word1 of a leaf.
constexpr int32_t kAxisBits = 3;
constexpr int32_t kPairDistanceBits = ~7;
constexpr int32_t kLeafBit = INT32_MIN;
constexpr int32_t kListDistanceBits =
    ~3;  // of the distance from the list, which is negative: so the leaf bit is set
constexpr int32_t kInlineCountBits = 3;  // word1, with the leaf bit there too
constexpr int32_t kFirstBits = 0x7FFFFFFF;
constexpr int32_t kMiddleBits = 0x7FFFFFFC;
constexpr int kMiddleShift = 2;
constexpr int32_t kBelowBits = 0x7FFF0000;  // word0 of three: from the least to the middle one
constexpr int kBelowShift = 16;
constexpr int32_t kAboveBits = 0xFFFF;  // and from there to the greatest

// Bits of word0 that no field covers: the builders leave them 0, and whatever they are changes nothing.
constexpr int32_t kFreeInnerBits = ~(kPairDistanceBits | kAxisBits);
constexpr int32_t kFreeListBits = ~kListDistanceBits;

// What does not fit: a number for the middle field, distances from the middle one of three.
constexpr int32_t kMiddleLimit = (kMiddleBits >> kMiddleShift) + 1;
constexpr int32_t kBelowLimit = (kBelowBits >> kBelowShift) + 1;
constexpr int32_t kAboveLimit = kAboveBits + 1;

// ---------------------------------------------------------------- reading

static inline bool isLeaf(const VekrKDTreeNode &node) { return node.word0 < 0; }

static inline int32_t splitAxis(const VekrKDTreeNode &node) { return node.word0 & kAxisBits; }
static inline float splitPosition(const VekrKDTreeNode &node) { return std::bit_cast<float>(node.word1); }

// The child below the plane; the one above stands behind it.
static inline const VekrKDTreeNode *childPair(const VekrKDTreeNode *node) {
  return reinterpret_cast<const VekrKDTreeNode *>(reinterpret_cast<const char *>(node) +
                                                  (node->word0 & kPairDistanceBits));
}

// Which child of each inner node rays of an octant enter first. The octant's bits, which tell the axes along which rays run down,
// stand in each four of these: word0 serves as the count of a shift as it is, its axis being in the lowest bits. What is saved
// is on the way from node to node, which a walk whose branches are foreseen waits for.
using NearChildren = uint32_t;
static inline NearChildren nearChildrenIn(int octant) { return static_cast<uint32_t>(octant) * 0x11111111u; }

// 0 for the child below the plane, 1 for the one above.
static inline uint32_t nearChildOf(const VekrKDTreeNode &node, NearChildren children) {
  static_assert(kAxisBits == 3, "the free bit above the axis tells fours of bits apart");
  return children >> (node.word0 & 31) & 1;
}

// Whether a leaf's triangles stand in a list; otherwise the node itself holds them, if there are any.
static inline bool hasList(const VekrKDTreeNode &leaf) { return leaf.word1 > 0; }

static inline int32_t leafTriangleCount(const VekrKDTreeNode &leaf) {
  return hasList(leaf) ? leaf.word1 : leaf.word1 & kInlineCountBits;
}

// Of a leaf that has one.
static inline const int32_t *leafList(const VekrKDTreeNode *leaf) {
  return reinterpret_cast<const int32_t *>(reinterpret_cast<const char *>(leaf) -
                                           (leaf->word0 & kListDistanceBits));
}

// Calls visit(triangle) for the triangles of a leaf in their order, until it returns false; returns whether
// all have been visited. Spelled out rather than through the functions above: the walks' code depends on the order in
// which the fields are taken.
template <class Visit>
static inline bool forLeafTriangles(const VekrKDTreeNode *leaf, const Visit &visit) {
  const int32_t word0 = leaf->word0, word1 = leaf->word1;
  if (word1 > 0) {
    const auto *list =
        reinterpret_cast<const int32_t *>(reinterpret_cast<const char *>(leaf) - (word0 & kListDistanceBits));
    for (int32_t i = 0; i < word1; ++i) {
      if (!visit(list[i])) return false;
    }
    return true;
  }
  const int32_t middle = (word1 & kMiddleBits) >> kMiddleShift;
  switch (word1 & kInlineCountBits) {  // 0 for an empty leaf, and for an inline leaf of none
    case 1:
      return visit(word0 & kFirstBits);
    case 2:
      return visit(word0 & kFirstBits) && visit(middle);
    case 3:
      return visit(middle - ((word0 & kBelowBits) >> kBelowShift)) && visit(middle) &&
             visit(middle + (word0 & kAboveBits));
    default:
      return true;
  }
}

// ---------------------------------------------------------------- making

// Distances are in bytes, from the node on, and above 0.
static inline VekrKDTreeNode innerNode(int32_t axis, float plane, int64_t pairDistance) {
  return {static_cast<int32_t>(pairDistance) | axis, std::bit_cast<int32_t>(plane)};
}

// A leaf of `count` triangles that are listed; of none it is the empty leaf, whose distance means nothing.
static inline VekrKDTreeNode leafWithList(int32_t count, int64_t listDistance) {
  return {static_cast<int32_t>(-listDistance), count};
}

// Leaves that hold their triangles, numbers of 0 and more. A walk meets them in the order of the arguments.
static inline VekrKDTreeNode leafOfOne(int32_t first) { return {first | kLeafBit, 1 | kLeafBit}; }

// `second` is below kMiddleLimit.
static inline VekrKDTreeNode leafOfTwo(int32_t first, int32_t second) {
  return {first | kLeafBit, second << kMiddleShift | 2 | kLeafBit};
}

// In ascending order; the differences are below kBelowLimit and kAboveLimit, `middle` below kMiddleLimit.
static inline VekrKDTreeNode leafOfThree(int32_t least, int32_t middle, int32_t greatest) {
  return {(middle - least) << kBelowShift | (greatest - middle) | kLeafBit,
          middle << kMiddleShift | 3 | kLeafBit};
}

}  // namespace vekr
