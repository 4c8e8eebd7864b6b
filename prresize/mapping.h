// From destination coordinates to the source: once for each coordinate of an axis, never in a loop over voxels.
#pragma once

#include <cstdint>

#include "prresize/axis.h"
#include "volume/interpolation.h"

namespace vekr {

// Toward zero; what doesn't fit goes to the end of the range on its side, a NaN to the low one.
constexpr int32_t truncatedInt(double x) {
  if (!(x > -2147483649.0)) return INT32_MIN;
  if (x >= 2147483648.0) return INT32_MAX;
  return static_cast<int32_t>(x);
}

// One axis of a call.
struct Mapping {
  double inverse, shift;  // source voxels for each destination voxel, and in all
  int32_t begin, count;   // destination coordinates
  int32_t size;           // source voxels
};

// Source voxel of each destination coordinate.
void fillNearest(const Mapping &mapping, int32_t *index);

// Index and weight of each coordinate; Weight is float, f itself, or FixedPair.
template <class Weight>
Axis<Weight> fillLinear(const Mapping &mapping, int32_t *index, Weight *weight);

// Of a cubic kind.
Axis<CubicWeights> fillCubic(const Mapping &mapping, const InterpolationKind &kind, int32_t *index,
                             CubicWeights *weight);

// Weights of the taps around a fraction t from 0 to 1. They aren't normalised.
using CubicKernel = CubicWeights(float t);
CubicKernel ownpi_Cubic0Kernel, ownpi_Cubic1Kernel, ownpi_Cubic2Kernel, ownpi_Cubic3Kernel;

}  // namespace vekr
