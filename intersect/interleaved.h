// Several walks that take turns, a node each. A walk by itself waits at each node for the node before, and where rays have
// little to do with one another the processor can't foresee which way it goes. With some walks in flight their
// waits overlap. Every walk sees what it would see alone.
//
// A Walk has
//   bool begin()    from the root; false if there is nothing to walk for, and then no end()
//   bool atLeaf()
//   void descend()  from an inner node to one of its children; worth the turns only if it has no branches
//   bool leave()    from a leaf to the cell that is next; false if the walk is over
//   void end()      results to the caller's arrays
#pragma once

#include <utility>

namespace vekr {

// Four keep the processor busy; more contend for the cache.
constexpr int kWalksInFlight = 4;

// Walks for all rays that next(walk) sets up, until it returns false.
template <class Walk, class Next>
void walkInterleaved(const Next &next) {
  Walk walks[kWalksInFlight];
  Walk *inFlight[kWalksInFlight];
  int count = 0;
  const auto beginNext = [&](Walk &walk) {
    while (next(walk)) {
      if (walk.begin()) return true;
    }
    return false;
  };
  while (count < kWalksInFlight && beginNext(walks[count])) {
    inFlight[count] = &walks[count];
    ++count;
  }
  while (count == kWalksInFlight) {
#pragma GCC unroll 4
    for (Walk *&walk : inFlight) {
      if (!walk->atLeaf()) {
        walk->descend();
        continue;
      }
      if (walk->leave()) continue;
      walk->end();
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
    walk.end();
  }
}

}  // namespace vekr
