// Several packets of one row at a time. The packets of a mixed tile hold few rays each, which have little to do with one
// another: the processor can't foresee their branches, and at each node it waits for the node before. So some packets
// take turns, a node each, and what walkTree() decides by branches at an inner node is computed here. Every packet sees
// the same nodes, leaves and lanes as in walkTree(), whatever flies beside it.
#pragma once

#include <utility>

#include "intersect/packet.h"

namespace vekr::VEKR_ISA {

// Four keep the processor busy; more contend for the cache.
constexpr int kPacketsInFlight = 4;

template <class Packet>
class InterleavedWalk {
  static constexpr int N = Packet::kLanes;

 public:
  Packet packet;

  // Whether there is anything to walk for.
  bool begin(const VekrKDTreeNode *root) {
    PacketInterval<N> interval;
    active_ = packet.begin(interval);
    if (!anyOf(active_)) return false;
    near_ = interval.near;
    far_ = interval.far;
    node_ = root;
    waiting_ = 0;
    return true;
  }

  bool atLeaf() const { return isLeaf(*node_); }

  // From an inner node to one of its children. An entry is written in any case, and counts if both are entered.
  [[gnu::always_inline]] inline void descend() {
    const int32_t axis = splitAxis(*node_);
    const Float<N> t = (Float<N>(splitPosition(*node_)) - packet.ray.origin[axis]) * packet.ray.inverse[axis];
    const VekrKDTreeNode *pair = childPair(node_);
    const int first = (packet.octant >> axis) & 1;
    const int entersNear = bits(active_ & (near_ <= t)) != 0;
    const int entersBoth = entersNear & (bits(active_ & (t <= far_)) != 0);
    stack_[waiting_].node = pair + (1 - first);
    stack_[waiting_].far = far_;
    waiting_ += entersBoth;
    const Mask<N> both = lanesIf(entersBoth);
    const Float<N> end = minOf(far_, t);
    active_ = active_ & ((near_ <= end) | !both);
    far_ = select(both, maxOf(end, near_), far_);
    node_ = pair + (first ^ entersNear ^ 1);
  }

  // From a leaf to the cell that is next; false if the walk is over.
  [[gnu::noinline]] bool leave() {
    const Mask<N> active = active_;
    if (!forLeafTriangles(node_, [&](int32_t triangle) { return packet.visit(triangle, active); }))
      return false;
    if (waiting_ == 0) return false;
    active_ = packet.resume(far_);
    if (!anyOf(active_)) return false;
    --waiting_;
    near_ = far_;
    far_ = stack_[waiting_].far;
    node_ = stack_[waiting_].node;
    return true;
  }

 private:
  struct Entry {
    const VekrKDTreeNode *node;
    Float<N> far;
  };
  const VekrKDTreeNode *node_;
  int waiting_;
  Mask<N> active_;
  Float<N> near_, far_;
  Entry stack_[kMaxTreeDepth + 1];  // one more: an entry is written before it is known to count
};

// Walks for all packets that next(packet) sets up, until it returns false.
template <class Packet, class Next>
void walkInterleaved(const VekrKDTreeNode *root, const Next &next) {
  using Walk = InterleavedWalk<Packet>;
  Walk walks[kPacketsInFlight];
  Walk *inFlight[kPacketsInFlight];
  int count = 0;
  const auto beginNext = [&](Walk &walk) {
    while (next(walk.packet)) {
      if (walk.begin(root)) return true;
    }
    return false;
  };
  while (count < kPacketsInFlight && beginNext(walks[count])) {
    inFlight[count] = &walks[count];
    ++count;
  }
  while (count == kPacketsInFlight) {
#pragma GCC unroll 4
    for (Walk *&walk : inFlight) {
      if (!walk->atLeaf()) {
        walk->descend();
        continue;
      }
      if (walk->leave()) continue;
      walk->packet.end();
      if (beginNext(*walk)) continue;
      --count;
      std::swap(walk, inFlight[count]);
      break;
    }
  }
  for (int i = 0; i < count; ++i) {
    Walk &walk = *inFlight[i];
    do {
      while (!walk.atLeaf()) walk.descend();
    } while (walk.leave());
    walk.packet.end();
  }
}

}  // namespace vekr::VEKR_ISA
