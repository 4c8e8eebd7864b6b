// A packet's walk that takes turns with others: that of walkTree(), with what is decided by branches there computed.
// It pays for the packets of mixed tiles, which hold few and unlike rays; the branches of others are foreseen.
#pragma once

#include "intersect/interleaved.h"
#include "intersect/packet.h"

namespace vekr::VEKR_ISA {

template <class Packet>
class PacketWalk {
  static constexpr int N = Packet::kLanes;

 public:
  Packet packet;

  bool begin() {
    PacketInterval<N> interval;
    active_ = packet.begin(interval);
    if (!anyOf(active_)) return false;
    near_ = interval.near;
    far_ = interval.far;
    node_ = packet.scene->pRoot;
    nearChildren_ = nearChildrenIn(packet.octant);
    waiting_ = 0;
    return true;
  }

  bool atLeaf() const { return isLeaf(*node_); }

  // An entry is written in any case, and counts if both are entered.
  [[gnu::always_inline]] inline void descend() {
    const int32_t axis = splitAxis(*node_);
    const Float<N> t = (Float<N>(splitPosition(*node_)) - packet.ray.origin[axis]) * packet.ray.inverse[axis];
    const VekrKDTreeNode *pair = childPair(node_);
    const uint32_t first = nearChildOf(*node_, nearChildren_);
    const int entersNear = bits(active_ & (near_ <= t)) != 0;
    const int entersBoth = entersNear & (bits(active_ & (t <= far_)) != 0);
    stack_[waiting_].node = pair + (1 - first);
    stack_[waiting_].far = far_;
    waiting_ += entersBoth;
    const Mask<N> both = lanesIf(entersBoth);
    const Float<N> end = minOf(far_, t);
    active_ = active_ & ((near_ <= end) | !both);
    far_ = select(both, maxOf(end, near_), far_);
    node_ = pair + (first ^ static_cast<uint32_t>(entersNear ^ 1));
  }

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

  void end() { packet.end(); }

 private:
  struct Entry {
    const VekrKDTreeNode *node;
    Float<N> far;
  };
  const VekrKDTreeNode *node_;
  NearChildren nearChildren_;
  int waiting_;
  Mask<N> active_;
  Float<N> near_, far_;
  Entry stack_[kMaxTreeDepth + 1];  // one more: an entry is written before it is known to count
};

}  // namespace vekr::VEKR_ISA
