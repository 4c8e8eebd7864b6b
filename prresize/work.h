// The caller's work buffer, carved into the arrays of a call.
#pragma once

#include <cstdint>

#include "prresize/kernels.h"
#include "prresize/params.h"

namespace vekr {

constexpr uintptr_t kCacheLine = 64;
constexpr uintptr_t kIndexAlignment = 16;

// Hands out arrays one after another, each from a rounded address on.
class Carver {
 public:
  explicit Carver(uint8_t *buffer) : at_(buffer) {}

  template <class Element>
  Element *take(int64_t count, uintptr_t alignment = kCacheLine) {
    at_ += (alignment - reinterpret_cast<uintptr_t>(at_) % alignment) % alignment;
    Element *const array = reinterpret_cast<Element *>(at_);
    at_ += count * static_cast<int64_t>(sizeof(Element));
    return array;
  }

 private:
  uint8_t *at_;
};

// Arrays of the linear (2) and cubic (4) codes. The buffer's size has a whole plane of the destination's box for each slice:
// the frame lies there beside the interior, so that it can't outgrow its place, whatever the factor.
template <class WeightType, class Middle, int taps>
struct WorkArrays {
  using Weight = WeightType;
  int32_t *xIndex, *yIndex, *zIndex;
  Weight *xWeight, *yWeight, *zWeight;
  Middle *rows[taps];
  Middle *slices[taps];
  int32_t sliceStep;

  WorkArrays(const VekrResizeParams &region, uint8_t *buffer) {
    Carver carver(buffer);
    xIndex = carver.take<int32_t>(region.width, kIndexAlignment);
    yIndex = carver.take<int32_t>(region.height, kIndexAlignment);
    zIndex = carver.take<int32_t>(region.depth, kIndexAlignment);
    xWeight = carver.take<Weight>(region.width);
    yWeight = carver.take<Weight>(region.height);
    zWeight = carver.take<Weight>(region.depth);
    for (Middle *&row : rows) row = carver.take<Middle>(region.width);
    sliceStep =
        static_cast<int32_t>((int64_t{region.width} + kSliceRowUnit - 1) / kSliceRowUnit * kSliceRowUnit);
    for (Middle *&slice : slices) slice = carver.take<Middle>(int64_t{region.height} * sliceStep);
  }
};

template <class Voxel>
using LinearWork = WorkArrays<LinearWeight<Voxel>, LinearMiddle<Voxel>, 2>;
using CubicWork = WorkArrays<CubicWeights, float, 4>;

}  // namespace vekr
