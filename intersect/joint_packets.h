// The two packets of a uniform tile, eight rays each, in one register of sixteen: they walk the tree together, and each decides
// by its own lanes alone, so that it gets what it would alone.
#pragma once

#include "intersect/packet.h"
#include "intersect/records_test.h"

namespace vekr::VEKR_ISA {

constexpr int kJointLanes = 2 * kTileSide * 2;

// Whether that pays: in registers half as wide it doesn't.
constexpr bool kJoinsPackets = kWidestGroup >= kJointLanes;

// Sets of the two packets: the highest of each one's eight lanes stands for it. So sets are made from lanes, and lanes from sets,
// within one word.
constexpr unsigned kFirstPacket = 1u << 7, kSecondPacket = 1u << 15;
constexpr unsigned kBothPackets = kFirstPacket | kSecondPacket;

// Those with any of the lanes. In a general register: left to itself g++ carries such arithmetic to the mask registers and back,
// which takes several times as long.
inline unsigned packetsWith(int lanes) {
  auto all = static_cast<unsigned>(lanes);
  asm("" : "+r"(all));
  return (((all & ~kBothPackets) + 0x7F7Fu) | all) & kBothPackets;
}

inline Mask<kJointLanes> lanesOf(unsigned packets) {
  return maskOfBits<kJointLanes>((packets << 1) - (packets >> 7));
}

// As Mailbox, for each of the two. A packet's four numbers stand twice in its eight lanes.
class JointMailbox {
 public:
  // Those of the packets that have not got the triangle; in them it takes the place of the oldest.
  unsigned takenBy(int32_t triangle, unsigned packets) {
    const unsigned taking = packets & ~packetsWith(bits(numbers_ == Int<kJointLanes>(triangle)));
    numbers_ = select(lanesOf(taking), shiftedIn(numbers_, triangle), numbers_);
    return taking;
  }

 private:
  Int<kJointLanes> numbers_ = Int<kJointLanes>(-1);
};

// The walk of both packets from the root. `Tile` tells what they look for:
//   const VekrIntersectScene *scene, PacketRay<16> ray, int octant
//   Mask<16> begin(PacketInterval<16> &)               set up; the active lanes
//   unsigned visit(int32_t triangle, unsigned here)    tests the triangle for these packets; those whose walk goes on
//   Mask<16> resume(Float<16> far)                     as in walkTree()
//   void end(unsigned begun)                           results of these packets: those with active lanes at the start
//
// A packet is here, in the cell that the walk is in, or not: one whose active lanes have gone is still here, goes to the far child
// at every node and tests triangles, as it does alone. While one that hasn't ended isn't here its interval and its active lanes stay
// as they are, so that a packet that goes to a far child alone needs nothing of it kept. The stack, which has no bounds check, takes
// an entry where either of them waits, so that it too is at most kMaxTreeDepth deep.
template <class Tile>
class JointWalk {
  static constexpr int N = kJointLanes;

 public:
  explicit JointWalk(Tile &tile) : tile_(tile) {}

  [[gnu::always_inline]] void run() {
    PacketInterval<N> interval;
    const Mask<N> active = tile_.begin(interval);
    const unsigned begun = packetsWith(bits(active));
    if (begun == 0) return;
    walk(begun, active, interval);
    tile_.end(begun);
  }

 private:
  struct Entry {
    const VekrKDTreeNode *node;
    unsigned here, again;  // who goes there, and who of them has been in the near child
    Float<N> far;
  };

  [[gnu::always_inline]] void walk(unsigned here, Mask<N> active, const PacketInterval<N> &interval) {
    Entry stack[kMaxTreeDepth];
    int waiting = 0;
    unsigned walking = here;  // not ended
    const NearChildren nearChildren = nearChildrenIn(tile_.octant);
    const VekrKDTreeNode *node = tile_.scene->pRoot;
    Float<N> near = interval.near, far = interval.far;
    for (;;) {
      while (!isLeaf(*node)) {
        const int32_t axis = splitAxis(*node);
        const Float<N> t =
            (Float<N>(splitPosition(*node)) - tile_.ray.origin[axis]) * tile_.ray.inverse[axis];
        const VekrKDTreeNode *pair = childPair(node);
        const uint32_t nearChild = nearChildOf(*node, nearChildren);
        const unsigned toNear = packetsWith(bits(active & (near <= t))) & here;
        const unsigned beyond = packetsWith(bits(active & (t <= far)));
        if (toNear == 0) {
          node = pair + (1 - nearChild);
          continue;
        }
        const unsigned toFar = here & (beyond | ~toNear);
        if (toFar != 0) {
          const unsigned toBoth = toNear & toFar;
          stack[waiting] = {pair + (1 - nearChild), toFar, toBoth, far};
          ++waiting;
          const Mask<N> clipped = lanesOf(toBoth);
          const Float<N> end = minOf(far, t);
          active = active & ((near <= end) | !clipped);
          far = select(clipped, maxOf(end, near), far);
          here = toNear;
        }
        node = pair + nearChild;
      }
      const LeafNumbers numbers(node);
      for (int32_t i = 0; i < numbers.count && here != 0; ++i) {
        const unsigned left = tile_.visit(numbers.first[i], here);
        walking &= ~(here ^ left);
        here = left;
      }
      do {
        if (waiting == 0 || walking == 0) return;
        const Entry &entry = stack[--waiting];
        const Mask<N> resumed = tile_.resume(far), lanes = lanesOf(entry.again);
        walking &= ~entry.again | packetsWith(bits(resumed));
        active = (active & !lanes) | (resumed & lanes);
        near = select(lanes, far, near);
        far = entry.far;  // of the others it is what it was
        here = walking & entry.here;
        node = entry.node;
      } while (here == 0);
    }
  }

  Tile &tile_;
};

}  // namespace vekr::VEKR_ISA
