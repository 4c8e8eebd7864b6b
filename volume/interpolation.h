// Interpolation codes at the doors of the families.
#pragma once

#include <cstdint>

#include "vekr.h"

namespace vekr {

// Length of a dispatch table's row: its slots are the codes themselves.
constexpr int32_t kInterpolationSlots = vekrInterCubicMitchell + 1;

constexpr bool isInterpolation(int32_t code) {
  return code == vekrInterNearest || code == vekrInterLinear ||
         (code >= vekrInterCubicLagrange && code <= vekrInterCubicMitchell);
}

constexpr bool isCubic(int32_t code) { return code >= vekrInterCubicLagrange; }

constexpr bool hasSideBelow(VekrVolumeSize size, int32_t least) {
  return size.width < least || size.height < least || size.depth < least;
}

// What remap and warp make of a code when the whole source is smaller than the code's taps. The region plays no part [C60].
constexpr int32_t interpolationFor(int32_t code, VekrVolumeSize source) {
  if (isCubic(code) && hasSideBelow(source, 4)) code = vekrInterLinear;
  if (hasSideBelow(source, 2)) code = vekrInterNearest;
  return code;
}

}  // namespace vekr
