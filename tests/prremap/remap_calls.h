// The three functions under one name, by voxel type.
#pragma once

#include "vekr.h"

namespace vekr_test {

inline constexpr int32_t kCodes[] = {vekrInterNearest,      vekrInterLinear,          vekrInterCubicLagrange,
                                     vekrInterCubicBSpline, vekrInterCubicCatmullRom, vekrInterCubicMitchell};

template <class Voxel>
constexpr auto remapOf() {
  if constexpr (sizeof(Voxel) == 1) {
    return vekrRemap_8u_C1PV;
  } else if constexpr (sizeof(Voxel) == 2) {
    return vekrRemap_16u_C1PV;
  } else {
    return vekrRemap_32f_C1PV;
  }
}

}  // namespace vekr_test
