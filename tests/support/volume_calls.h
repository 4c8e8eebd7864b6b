// What calls of the volume families have in common: the codes, and functions that differ in the voxel type alone.
#pragma once

#include <tuple>

#include "vekr.h"

namespace vekr_test {

inline constexpr int32_t kCodes[] = {vekrInterNearest,      vekrInterLinear,          vekrInterCubicLagrange,
                                     vekrInterCubicBSpline, vekrInterCubicCatmullRom, vekrInterCubicMitchell};

// That of a voxel type among the functions for 8u, 16u and 32f.
template <class Voxel, class... Functions>
constexpr auto forVoxel(Functions... functions) {
  return std::get < sizeof(Voxel) == 1 ? 0 : sizeof(Voxel) == 2 ? 1 : 2 > (std::tuple(functions...));
}

}  // namespace vekr_test
