// The source rows, or planes, that an interpolation has computed last.
//
// Taps are neighbours, and they only move upward. So each position has one slot, its number modulo the number of slots:
// positions under the taps never share one, and what the taps leave behind is what is overwritten. A move by one computes
// one row, a move by all slots or more computes all of them and none of those between.
#pragma once

#include <cstdint>

namespace vekr {

template <int Slots, class Element>
struct Ring {
  static_assert((Slots & (Slots - 1)) == 0);
  Element *slot[Slots];
  int32_t held[Slots];  // position in each slot, below 0 for none

  // The slot of `position`, filled by compute(position, slot) if it isn't there yet. It stays as long as only its
  // neighbours, fewer than Slots away, are asked for. Always inlined: kernels of every instruction set have it.
  template <class Compute>
  [[gnu::always_inline]] Element *at(int32_t position, const Compute &compute) {
    const int32_t s = position & (Slots - 1);
    if (held[s] != position) {
      compute(position, slot[s]);
      held[s] = position;
    }
    return slot[s];
  }
};

}  // namespace vekr
