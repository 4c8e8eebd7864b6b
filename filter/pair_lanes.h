// Lanes of the pair kernels: eight sums, and the words that go into them. For kernel files.
#pragma once

#include <cstdint>

#include "frame/lanes.h"

namespace vekr::VEKR_ISA {

// Eight 32-bit lanes, each a sum or a pair of 16-bit words.
constexpr int kSumLanes = 8;
using Sums = Int<kSumLanes>;
using Words = Short<2 * kSumLanes>;

// One pair of taps in all lanes, from a group, which holds it four times.
inline Sums pairOf(const int16_t *group) {
  return loadRepeated<kSumLanes>(reinterpret_cast<const int32_t *>(group));
}
// (0, tap), from a group of (tap, 0).
inline Sums singleOf(const int16_t *group) { return loadAs<int32_t>(group + 1); }

}  // namespace vekr::VEKR_ISA
