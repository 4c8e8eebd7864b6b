// Lanes of the pair kernels: eight sums, or sixteen where a register holds them, and the words that go into them. For kernel
// files.
#pragma once

#include <cstdint>

#include "frame/lanes.h"

namespace vekr::VEKR_ISA {

// 32-bit lanes, each a sum or a pair of 16-bit words, of the smallest tile and of the largest blocks.
constexpr int kSumLanes = 8;
constexpr int kMostSumLanes = kWidestGroup > kSumLanes ? kWidestGroup : kSumLanes;

// One pair of taps in all lanes, from a group, which holds it four times.
template <int N>
Int<N> pairOf(const int16_t *group) {
  return loadRepeated<N>(reinterpret_cast<const int32_t *>(group));
}
// (0, tap), from a group of (tap, 0).
template <int N>
Int<N> singleOf(const int16_t *group) {
  return loadAs<int32_t>(group + 1);
}

// Of each eight lanes the last two of `b`, the others of `a`.
template <int N>
Int<N> lastQuartersFrom(Int<N> a, Int<N> b) {
  if constexpr (N > kSumLanes) {
    return joined(lastQuartersFrom(lowHalf(a), lowHalf(b)), lastQuartersFrom(highHalf(a), highHalf(b)));
  } else {
    return lanesFrom<3 * N / 4>(a, b);
  }
}

}  // namespace vekr::VEKR_ISA
