// Walks rays with a mask plane in groups of lanes: what is dead is not computed.
#pragma once

#include "frame/groups.h"
#include "frame/planes.h"

namespace vekr::VEKR_ISA {

// One group of four or one ray: live(i, alive) if any lane is alive, otherwise dead(Lanes<N>, i).
template <int N, class Live, class Dead>
void maskedGroup(const int32_t *mask, int64_t i, const Live &live, const Dead &dead) {
  const Mask<N> off = isNegative(Int<N>::load(mask + i));
  if (bits(off) == allLanes<N>()) {
    dead(Lanes<N>(), i);
  } else {
    live(i, !off);
  }
}

// Groups over rays with a mask plane. Callers rely on it that nothing but the mask is read for a group of
// four dead rays, so that eight lanes are taken at once only if neither half is such a group [C38].
template <int Widest = kWidestGroup, class Live, class Dead>
void forMaskedGroups(const int32_t *mask, int32_t length, const Live &live, const Dead &dead) {
  int64_t i = 0;
  if constexpr (Widest == 8) {
    for (; i + 8 <= length; i += 8) {
      const Mask<8> off = isNegative(Int<8>::load(mask + i));
      const int offBits = bits(off);
      if (offBits == allLanes<8>()) {
        dead(Lanes<8>(), i);
      } else if ((offBits & 0xF) == 0xF || (offBits & 0xF0) == 0xF0) {
        maskedGroup<4>(mask, i, live, dead);
        maskedGroup<4>(mask, i + 4, live, dead);
      } else {
        live(i, !off);
      }
    }
  }
  for (; i + 4 <= length; i += 4) maskedGroup<4>(mask, i, live, dead);
  for (; i < length; ++i) maskedGroup<1>(mask, i, live, dead);
}

// The dead way of most functions: one value for the whole group.
template <int N>
void fillGroup(float *plane, int64_t i, float value) {
  Float<N>(value).store(plane + i);
}

template <int N>
void clearPlanes(Planes planes, int64_t i) {
  storePlanes<N>(planes, i, {0.0f, 0.0f, 0.0f});
}

}  // namespace vekr::VEKR_ISA
