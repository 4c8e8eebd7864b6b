// Single rays that walk the tree at once, a ray in each lane and each at a node of its own. A lane whose ray has ended takes
// the next one. Rays lie apart, their nodes too: what is gained is that the waits for nodes overlap and that the way a
// ray takes is computed, not branched upon. Every ray sees what it would see alone: in the walk of one_ray_walk.h, or, of lone
// rays of packets (lone_rays.h), in the walk of packet.h.
//
// What allows it: these forms keep nothing from ray to ray. No ray's result is another's input, there is neither cache nor
// seed nor mailbox as in packets (those of one row of a mixed tile leave the cache of segments alone), and each ray writes to
// its own entries alone (a lone ray's set-up to its packet's), so that nobody can tell in which order rays have ended,
// unless arrays overlap, where nothing is promised. Within a ray everything stays in order: layers, leaves, the triangles of a
// leaf as far as one's hit decides about the next. Where several of these are tested at once (records_test.h), no record is read
// that would not be read anyway, or, of single segments, which end in the middle of a leaf, that isn't known to be there
// (segments_leaf.h).
//
// What rays look for is told by a Query:
//   Mask<N> isBehind(Float<N> t, Float<N> u)    how a split compares with the ends of an interval, static
//   Prepared                                    RaysInRow, or what has the same members
//   bool setUp(Prepared &)                      the next rays; false if there are none
//   void begin(ray, lane)                       a ray enters a lane
//   void visitLeaf(LaneRays &, lane, leaf)      a leaf with triangles; lowers the lane's `best`
//   bool goOn(LaneRays &, lane)                 a walk is over; true if the ray walks once more from the root on
#pragma once

#include <algorithm>
#include <bit>

#include "frame/dispatch.h"
#include "frame/lanes.h"
#include "intersect/one_ray_walk.h"

namespace vekr::VEKR_ISA {

// Rays, a component to a plane.
template <int N>
struct RayPlanes {
  alignas(32) float origin[3][N];
  alignas(32) float direction[3][N];
  // Reciprocals; the sign bit is set where the child above the plane comes first.
  alignas(32) float inverse[3][N];
  alignas(32) float near[N], far[N], best[N];

  Ray at(int k) const {
    return {{origin[0][k], origin[1][k], origin[2][k]}, {direction[0][k], direction[1][k], direction[2][k]}};
  }
};

// Nodes are addressed in words from the root on.
constexpr int32_t kChildWords = sizeof(VekrKDTreeNode) / sizeof(int32_t);

// Rays on their way into lanes.
constexpr int kPrepared = 8;
struct RaysInRow : RayPlanes<kPrepared> {
  int64_t first;      // number of the first ray
  unsigned live = 0;  // those that have something to walk for
  int64_t number(int k) const { return first + k; }
};

// Of `count` floats the first ones, up to a group; zeros for those that aren't there.
inline Float<kPrepared> loadGroup(const float *p, int64_t count) {
  if (count >= kPrepared) return Float<kPrepared>::load(p);
  float padded[kPrepared] = {};
  std::copy_n(p, count, padded);
  return Float<kPrepared>::load(padded);
}

// Two registers of eight keep the processor busy while nodes are on their way; one does not.
constexpr int kWalkLanes = 16;
using LaneRays = RayPlanes<kWalkLanes>;
// A block of fewer rays is over before the lanes have paid.
constexpr int64_t kWorthLanes = 64;
// In 128-bit registers they pay for rays with origins of their own only: neighbours from one origin go the same way, and
// a processor that foresees their branches walks them sooner alone.
constexpr bool kEyeRaysPay = kWidestGroup >= 8;

template <class Query>
class LaneWalk {
  static constexpr int N = kWalkLanes;

 public:
  // `first`: rays that have been set up already, if there are any.
  LaneWalk(const VekrIntersectScene &scene, Query &query, const typename Query::Prepared &first = {})
      : next_(first), query_(query), root_(reinterpret_cast<const float *>(scene.pRoot)) {}

  void run() {
    refill();
    while (walking_ != 0) {
      walk();
      refill();
    }
  }

 private:
  void refill() {
    for (unsigned idle = ~walking_ & allLanes<N>(); idle != 0; idle &= idle - 1) {
      const int lane = std::countr_zero(idle);
      const unsigned bit = 1u << lane;
      const bool hasMore = (held_ & bit) != 0 && query_.goOn(rays_, lane);
      if (!hasMore && !takeNext(lane)) {
        held_ &= ~bit;
        continue;
      }
      node_[lane] = 0;
      waiting_[lane] = 0;
      held_ |= bit;
      walking_ |= bit;
    }
  }

  bool takeNext(int lane) {
    while (next_.live == 0) {
      if (!query_.setUp(next_)) return false;
    }
    const int from = std::countr_zero(next_.live);
    next_.live &= next_.live - 1;
    for (int c = 0; c < 3; ++c) {
      rays_.origin[c][lane] = next_.origin[c][from];
      rays_.direction[c][lane] = next_.direction[c][from];
      rays_.inverse[c][lane] = next_.inverse[c][from];
    }
    rays_.near[lane] = next_.near[from];
    rays_.far[lane] = next_.far[from];
    rays_.best[lane] = next_.best[from];
    query_.begin(next_.number(from), lane);
    return true;
  }

  // Steps until there are lanes to refill. Idle lanes look at their last node over and over.
  VEKR_FLATTEN void walk() {
    const unsigned walkers = walking_;
    Float<N> near = floats(rays_.near), far = floats(rays_.far), best = floats(rays_.best);
    Int<N> node = ints(node_), waiting = ints(waiting_);
    const Mask<N> isWalking = maskOfBits<N>(walkers);
    do {
      alignas(32) int32_t at[N];
      node.store(at);
      const Neighbours<N> words = loadNeighbours(Lanes<N>(), root_, at);
      const Int<N> word0 = asInts(words.here);
      const Mask<N> isLeaf = isWalking & isNegative(word0), isInner = isWalking & !isNegative(word0);

      const Int<N> axis = word0 & Int<N>(kAxisBits);
      const Mask<N> isY = axis == Int<N>(1), isZ = axis == Int<N>(2);
      const auto ofAxis = [&](const auto &x, const auto &y, const auto &z) {
        return select(isZ, z, select(isY, y, x));
      };
      const Float<N> origin =
          ofAxis(floats(rays_.origin[0]), floats(rays_.origin[1]), floats(rays_.origin[2]));
      const Float<N> inverse =
          ofAxis(floats(rays_.inverse[0]), floats(rays_.inverse[1]), floats(rays_.inverse[2]));
      const Int<N> upperFirst = shiftedRight<30>(asInts(inverse)) & Int<N>(kChildWords);
      const Float<N> t = (words.next - origin) * inverse;
      const Int<N> pair = node + shiftedRight<2>(word0 & Int<N>(kPairDistanceBits));
      const Int<N> first = pair + upperFirst, second = pair + (upperFirst ^ Int<N>(kChildWords));
      const Mask<N> secondOnly = Query::isBehind(near, t);
      const Mask<N> both = isInner & !(secondOnly | Query::isBehind(t, far));
      push(waiting, second, far);
      waiting = countedIn(waiting, both);
      far = select(both, maxOf(near, minOf(t, far)), far);
      node = select(isInner, select(secondOnly, second, first), node);

      const auto leaves = static_cast<unsigned>(bits(isLeaf));
      if (leaves == 0) continue;
      const Int<N> word1 = asInts(words.next);
      const Mask<N> isEmpty =
          (word1 == Int<N>(0)) | ((word1 & Int<N>(kLeafBit | kInlineCountBits)) == Int<N>(kLeafBit));
      for (unsigned full = leaves & ~static_cast<unsigned>(bits(isEmpty)); full != 0; full &= full - 1) {
        const int lane = std::countr_zero(full);
        const auto *leaf = reinterpret_cast<const VekrKDTreeNode *>(root_ + at[lane]);
        query_.visitLeaf(rays_, lane, leaf);
        best = select(maskOfBits<N>(1u << lane), Float<N>(rays_.best[lane]), best);
      }

      const Mask<N> isOver = (waiting == Int<N>(0)) | (best <= far);
      walking_ &= ~static_cast<unsigned>(bits(isLeaf & isOver));
      const Mask<N> goesOn = isLeaf & !isOver;
      waiting = waiting - asInts(kept(goesOn, asFloats(Int<N>(1))));
      const Neighbours<N> entry = topEntries(waiting);
      near = select(goesOn, far, near);
      far = select(goesOn, entry.next, far);
      node = select(goesOn, asInts(entry.here), node);
    } while (walking_ == walkers);
    near.store(rays_.near);
    far.store(rays_.far);
    node.store(node_);
    waiting.store(waiting_);
  }

  static Float<N> floats(const float *p) { return Float<N>::load(p); }
  static Int<N> ints(const int32_t *p) { return Int<N>::load(p); }

  // Every lane writes an entry, which counts if `waiting` goes up.
  void push(Int<N> waiting, Int<N> node, Float<N> far) {
    alignas(32) int32_t entries[2 * N], top[N];
    storeAlternating(node, asInts(far), entries);
    waiting.store(top);
    for (int lane = 0; lane < N; ++lane) {
      storeAs(&stack_[lane][top[lane]], loadAs<Entry>(entries + 2 * lane));
    }
  }

  // Nodes and far ends.
  Neighbours<N> topEntries(Int<N> waiting) const {
    alignas(32) int32_t top[N];
    (waiting + waiting + ints(kFirstEntries.words)).store(top);
    return loadNeighbours(Lanes<N>(), &stack_[0][0].node, top);
  }

  struct Entry {
    float node;  // an integer's bits
    float far;
  };
  // One more than a walk can need: an entry is written before it is known to count.
  static constexpr int kEntries = kMaxTreeDepth + 1;
  // Where each lane's entries begin, in words.
  struct FirstEntries {
    alignas(32) int32_t words[N];
    constexpr FirstEntries() : words() {
      for (int lane = 0; lane < N; ++lane) words[lane] = 2 * lane * kEntries;
    }
  };
  static constexpr FirstEntries kFirstEntries = {};

  LaneRays rays_ = {};
  alignas(32) int32_t node_[N] = {}, waiting_[N] = {};
  Entry stack_[N][kEntries] = {};
  typename Query::Prepared next_;
  Query &query_;
  const float *root_;
  unsigned walking_ = 0;  // the lanes whose walks are not over
  unsigned held_ = 0;     // those that hold a ray
};

}  // namespace vekr::VEKR_ISA
