// Kernels of resize. A source plane is interpolated along x, row by row, then along y into a slice, which holds the plane
// at the destination's resolution, and slices are combined along z. They trust their arguments and own nothing.
//
// Where the taps of a voxel along x or y would leave the source, it belongs to the frame of its plane, and is computed by
// rules of its own: frame and interior lie side by side in a slice, each voxel at its place.
#pragma once

#include <cstdint>

#include "frame/dispatch.h"
#include "prresize/axis.h"
#include "volume/view.h"

namespace vekr {

// Linear interpolation keeps integer voxels in fixed point until they are voxels again. In a slice, a 16u voxel is itself;
// an 8u voxel is itself in the frame, and has six bits of fraction more in the interior [C89].
struct FixedLinearTypes {
  using Weight = FixedPair;
  using Middle = uint16_t;
};
template <class Voxel>
struct LinearTypes;  // of no other voxels: these words are unsigned
template <>
struct LinearTypes<uint8_t> : FixedLinearTypes {};
template <>
struct LinearTypes<uint16_t> : FixedLinearTypes {};
template <>
struct LinearTypes<float> {
  using Weight = float;
  using Middle = float;
};
template <class Voxel>
using LinearWeight = typename LinearTypes<Voxel>::Weight;
template <class Voxel>
using LinearMiddle = typename LinearTypes<Voxel>::Middle;

struct NearestAxes {
  int32_t width, height;
  const int32_t *x, *y;  // source column and row of each destination column and row
};

// A slice's row stride is a multiple of this many elements.
constexpr int32_t kSliceRowUnit = 64;

}  // namespace vekr

// `rows` are 2 (linear) or 4 (cubic) buffers of the destination's width. A slice, or other output of a band, begins at the
// band's first row.
VEKR_KERNELS(nearest_kernels,
             template <class Voxel>
             void ownResizeN(Rows<const Voxel> source, Rows<Voxel> destination, const NearestAxes &axes);)

VEKR_KERNELS(linear_kernels,
             // A source plane into a destination plane, and into a slice.
             template <class Voxel> void ownResizeL(Rows<const Voxel> source, Rows<Voxel> out,
                                                    const PlaneAxes<LinearWeight<Voxel>> &axes, RowBand band,
                                                    LinearMiddle<Voxel> *const *rows);
             template <class Voxel> void ownrResizeL(Rows<const Voxel> source, Rows<LinearMiddle<Voxel>> out,
                                                     const PlaneAxes<LinearWeight<Voxel>> &axes, RowBand band,
                                                     LinearMiddle<Voxel> *const *rows);
             template <class Voxel>
             void ownpr_DepL(Rows<Voxel> destination, Rows<const LinearMiddle<Voxel>> near,
                             Rows<const LinearMiddle<Voxel>> far, LinearWeight<Voxel> weight,
                             const PlaneAxes<LinearWeight<Voxel>> &axes, RowBand band);)

VEKR_KERNELS(cubic_kernels,
             template <class Voxel>
             void ownrResizeC(Rows<const Voxel> source, Rows<float> slice,
                              const PlaneAxes<CubicWeights> &axes, RowBand band, float *const *rows);
             // The four slices have one step; one may be given several times.
             template <class Voxel>
             void ownpr_DepC(Rows<Voxel> destination, const float *const *slices, int64_t sliceStep,
                             CubicWeights weights, const PlaneAxes<CubicWeights> &axes, RowBand band);)
