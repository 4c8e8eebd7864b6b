// Walks rays with a mask plane in groups of lanes: what is dead is not computed.
#pragma once

#include "frame/groups.h"
#include "frame/planes.h"

namespace vekr::VEKR_ISA {

// Whether four lanes side by side, of more than four, are all off.
template <int N>
constexpr bool hasDeadFour(int offBits) {
  for (int lane = 0; lane < N; lane += 4) {
    if ((offBits >> lane & 0xF) == 0xF) return true;
  }
  return false;
}

// One group: live(i, alive) if any lane is alive, otherwise dead(Lanes<N>, i). Callers rely on it that nothing but the mask
// is read for a group of four dead rays [C38], so that more than four lanes are taken at once only if no four of them are
// such a group.
template <int N, class Live, class Dead>
void maskedGroup(const int32_t *mask, int64_t i, const Live &live, const Dead &dead) {
  const Mask<N> off = isNegative(Int<N>::load(mask + i));
  const int offBits = bits(off);
  if (offBits == allLanes<N>()) return dead(Lanes<N>(), i);
  if constexpr (N > 4) {
    if (hasDeadFour<N>(offBits)) {
      maskedGroup<N / 2>(mask, i, live, dead);
      return maskedGroup<N / 2>(mask, i + N / 2, live, dead);
    }
  }
  live(i, !off);
}

// Groups over rays with a mask plane: the widest first, then four, then the remainder one by one.
template <int Widest = kWidestGroup, class Live, class Dead>
void forMaskedGroups(const int32_t *mask, int32_t length, const Live &live, const Dead &dead) {
  int64_t i = 0;
  for (; i + Widest <= length; i += Widest) maskedGroup<Widest>(mask, i, live, dead);
  if constexpr (Widest > 4) {
    for (; i + 4 <= length; i += 4) maskedGroup<4>(mask, i, live, dead);
  }
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
