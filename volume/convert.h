// Voxels to lanes, and how borders round. For kernel files.
//
// Rows may begin at any address, so nothing here assumes alignment, and nothing outside the N voxels is read.
#pragma once

#include <cstdint>

#include "frame/lanes.h"
#include "volume/voxel.h"

namespace vekr::VEKR_ISA {

// Any voxels as floats, exactly.
template <int N>
Float<N> loadVoxels(const uint8_t *p) {
  return toFloat(Int<N>::load(p));
}
template <int N>
Float<N> loadVoxels(const uint16_t *p) {
  return toFloat(Int<N>::load(p));
}
template <int N>
Float<N> loadVoxels(const float *p) {
  return Float<N>::load(p);
}
template <>
inline Float<1> loadVoxels<1>(const float *p) {
  return loadAs<float>(p);
}

// Two groups of four voxels that lie apart.
template <class Voxel>
Float<8> loadVoxelHalves(const Voxel *low, const Voxel *high) {
  if constexpr (sizeof(Voxel) == sizeof(float)) {
    return loadHalves(low, high);
  } else {
    return toFloat(loadHalves(low, high));
  }
}

// ---------------------------------------------------------------- rounding at borders

// What is added, in double, to a weighted sum at the border of a volume before it is truncated. It isn't quite the 0.5
// of rounding: a value on .5, and one a little below it, goes up [C66].
constexpr double kBorderRound = 0.5000001;  // 0x3FE0000035AFE535

template <int N>
Int<N> borderRounded(Float<N> a) {
  return truncated(widened(a) + Double<N>(kBorderRound));
}

}  // namespace vekr::VEKR_ISA
