// Walks rays with a mask plane in groups of lanes: what is dead is not computed, or, where loads and stores take masks,
// neither read nor waited for.
#pragma once

#include <bit>
#include <type_traits>

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

// What a group of rays has to do with the planes' memory. `There` tells which of its rays there are: all, or the lanes of a
// mask. What is loaded of dead rays counts for nothing.
struct AllOf {};
template <int N, class There>
struct RayGroup {
  int64_t i;  // number of the first ray
  Mask<N> alive;
  There there;

  // Of the mask, dead rays too.
  Int<N> loadMask(const int32_t *mask) const {
    if constexpr (std::is_same_v<There, AllOf>) {
      return Int<N>::load(mask + i);
    } else {
      return loadLanes(there, mask + i);
    }
  }
  Float<N> load(const float *plane) const { return loadWanted(alive, plane + i); }
  Vec3<N> load(ConstPlanes planes) const { return {load(planes.x), load(planes.y), load(planes.z)}; }

  // Of all rays that are there.
  template <class T, class Value>
  void store(Value a, T *plane) const {
    if constexpr (std::is_same_v<There, AllOf>) {
      a.store(plane + i);
    } else {
      storeLanes(there, a, plane + i);
    }
  }
  void store(Vec3<N> a, Planes planes) const {
    store(a.x, planes.x);
    store(a.y, planes.y);
    store(a.z, planes.z);
  }

  // The rays behind the last whole group of four of a call.
  static constexpr bool kEndsInSingles = N == 1 || !std::is_same_v<There, AllOf>;
  Mask<N> singles() const {
    if constexpr (N == 1) {
      return {true};
    } else {
      const auto all = static_cast<unsigned>(bits(there));
      return maskOfBits<N>(all & ~0u << (std::popcount(all) & ~3));
    }
  }

  // The dead ones have to hold what was loaded.
  void storeAlive(Vec3<N> a, Planes planes) const {
    storeChanged(alive, a.x, planes.x + i);
    storeChanged(alive, a.y, planes.y + i);
    storeChanged(alive, a.z, planes.z + i);
  }
};

// One group: live(rays) if any lane is alive, otherwise dead(Lanes<N>, i). Callers rely on it that nothing but the mask is read
// for a group of four dead rays [C38], so that more than four lanes are taken at once only if no four of them are such a
// group.
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
  live(RayGroup<N, AllOf>{i, !off, {}});
}

// The same of a set that leaves lanes alone in memory: nothing is branched upon, and what remains is one group more.
template <int N, class Live>
void maskedGroups(const int32_t *mask, int32_t length, const Live &live) {
  int64_t i = 0;
  for (; i + N <= length; i += N) {
    live(RayGroup<N, AllOf>{i, !isNegative(Int<N>::load(mask + i)), {}});
  }
  if (i == length) return;
  const Mask<N> there = maskOfBits<N>((1u << (length - i)) - 1);
  live(RayGroup<N, Mask<N>>{i, there & !isNegative(loadLanes(there, mask + i)), there});
}

// Groups over rays with a mask plane: the widest first, then four, then the remainder one by one.
template <int Widest = kWidestGroup, class Live, class Dead>
void forMaskedGroups(const int32_t *mask, int32_t length, const Live &live, const Dead &dead) {
  if constexpr (kMasksMemory && Widest == kWidestGroup) return maskedGroups<Widest>(mask, length, live);
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
