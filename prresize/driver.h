// The walk over the destination's planes: one logic for all voxel types and both forms of volume argument.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "prresize/kernels.h"
#include "prresize/mapping.h"
#include "prresize/params.h"
#include "prresize/ring.h"
#include "prresize/work.h"
#include "volume/interpolation.h"
#include "volume/view.h"

namespace vekr {

template <class Source, class Destination>
struct ResizeCall {
  Source source;
  VekrVolumeSize size;  // of the source
  Destination destination;
  VekrResizeParams region;  // what to write
  const InterpolationKind &kind;
  uint8_t *buffer;

  // The destination's part of the region's plane k.
  auto plane(int32_t k) const {
    auto rows = destination.plane(region.zBegin + k);
    rows.first = rows.row(region.yBegin) + region.xBegin;
    return rows;
  }
  Mapping xMapping() const {
    return {region.xInvFactor, region.xInvShift, region.xBegin, region.width, size.width};
  }
  Mapping yMapping() const {
    return {region.yInvFactor, region.yInvShift, region.yBegin, region.height, size.height};
  }
  Mapping zMapping() const {
    return {region.zInvFactor, region.zInvShift, region.zBegin, region.depth, size.depth};
  }
};

// Rows of a plane that are taken through all planes at a time, so that the slices of the band stay in the second-level
// cache. A band's rows begin with a few source rows that the band above has also computed; with fewer rows than the least,
// that would outweigh the gain.
constexpr int64_t kBandBytes = 1 << 19;
constexpr int64_t kLeastBandRows = 32;

constexpr int32_t rowsOfBand(int32_t height, int64_t bytesOfRow) {
  const int64_t fitting = kBandBytes / bytesOfRow;
  const int64_t most = fitting > kLeastBandRows ? fitting : kLeastBandRows;
  const int64_t bands = (height + most - 1) / most;
  return static_cast<int32_t>((height + bands - 1) / bands);
}

template <class Body>
void forBands(int32_t height, int64_t bytesOfRow, const Body &body) {
  const int64_t rows = rowsOfBand(height, bytesOfRow);
  for (int64_t begin = 0; begin < height; begin += rows) {
    const int64_t end = begin + rows < height ? begin + rows : height;
    body(RowBand{static_cast<int32_t>(begin), static_cast<int32_t>(end)});
  }
}

// Copies a rectangle to another plane of the same volume; as one run where its rows lie close together.
template <class Voxel>
void copyPlane(Rows<Voxel> from, Rows<Voxel> to, int32_t width, int32_t height) {
  const size_t bytes = static_cast<size_t>(width) * sizeof(Voxel);
  if (to.step == width) {
    std::memmove(to.first, from.first, bytes * static_cast<size_t>(height));
    return;
  }
  for (int32_t y = 0; y < height; ++y) std::memmove(to.row(y), from.row(y), bytes);
}

// A plane that repeats is copied, not sampled again.
template <class Voxel, class Call>
void resizeNearest(const Call &call) {
  const VekrResizeParams &region = call.region;
  Carver carver(call.buffer);
  int32_t *const x = carver.take<int32_t>(region.width, kIndexAlignment);
  int32_t *const y = carver.take<int32_t>(region.height, kIndexAlignment);
  int32_t *const z = carver.take<int32_t>(region.depth, kIndexAlignment);
  fillNearest(call.xMapping(), x);
  fillNearest(call.yMapping(), y);
  fillNearest(call.zMapping(), z);

  const NearestAxes axes = {region.width, region.height, x, y};
  const auto resize = VEKR_DISPATCH(ownResizeN<Voxel>);
  for (int32_t k = 0; k < region.depth; ++k) {
    if (k > 0 && z[k] == z[k - 1]) {
      copyPlane(call.plane(k - 1), call.plane(k), region.width, region.height);
    } else {
      resize(call.source.plane(z[k]), call.plane(k), axes);
    }
  }
}

// Planes whose taps along z are one and the same plane are resized into the destination, the others from two slices.
template <class Voxel, class Call>
void resizeLinear(const Call &call) {
  using Weight = LinearWeight<Voxel>;
  using Middle = LinearMiddle<Voxel>;
  const VekrResizeParams &region = call.region;
  const LinearWork<Voxel> work(region, call.buffer);
  const PlaneAxes<Weight> axes = {fillLinear(call.xMapping(), work.xIndex, work.xWeight),
                                  fillLinear(call.yMapping(), work.yIndex, work.yWeight)};
  const Axis<Weight> z = fillLinear(call.zMapping(), work.zIndex, work.zWeight);

  const auto intoPlane = VEKR_DISPATCH(ownResizeL<Voxel>);
  const auto direct = [&](int32_t begin, int32_t end, int32_t position) {
    for (int32_t k = begin; k < end; ++k) {
      intoPlane(call.source.plane(position), call.plane(k), axes, {0, region.height}, work.rows);
    }
  };
  direct(0, z.runs.lead(), 0);
  direct(z.runs.tailBegin(), region.depth, call.size.depth - 1);

  const auto intoSlice = VEKR_DISPATCH(ownrResizeL<Voxel>);
  const auto combine = VEKR_DISPATCH(ownpr_DepL<Voxel>);
  forBands(region.height, 2 * int64_t{work.sliceStep} * int64_t{sizeof(Middle)}, [&](RowBand band) {
    Ring<2, Middle> ring = {{work.slices[0], work.slices[1]}, {-1, -1}};
    const auto slice = [&](int32_t position) {
      const Middle *const filled = ring.at(position, [&](int32_t p, Middle *out) {
        intoSlice(call.source.plane(p), {out, work.sliceStep}, axes, band, work.rows);
      });
      return Rows<const Middle>{filled, work.sliceStep};
    };
    for (int32_t k = z.runs.lead(); k < z.runs.tailBegin(); ++k) {
      const auto near = slice(z.index[k]), far = slice(z.index[k] + 1);
      combine(call.plane(k), near, far, z.weight[k], axes, band);
    }
  });
}

template <class Voxel, class Call>
void resizeCubic(const Call &call) {
  const VekrResizeParams &region = call.region;
  const CubicWork work(region, call.buffer);
  const auto fill = [&](const Mapping &mapping, int32_t *index, CubicWeights *weight) {
    return fillCubic(mapping, call.kind, index, weight);
  };
  const PlaneAxes<CubicWeights> axes = {fill(call.xMapping(), work.xIndex, work.xWeight),
                                        fill(call.yMapping(), work.yIndex, work.yWeight)};
  const Axis<CubicWeights> z = fill(call.zMapping(), work.zIndex, work.zWeight);

  const auto intoSlice = VEKR_DISPATCH(ownrResizeC<Voxel>);
  const auto combine = VEKR_DISPATCH(ownpr_DepC<Voxel>);
  forBands(region.height, 4 * int64_t{work.sliceStep} * int64_t{sizeof(float)}, [&](RowBand band) {
    Ring<4, float> ring = {{work.slices[0], work.slices[1], work.slices[2], work.slices[3]},
                           {-1, -1, -1, -1}};
    const auto slice = [&](int32_t position) {
      return ring.at(position, [&](int32_t p, float *out) {
        intoSlice(call.source.plane(p), {out, work.sliceStep}, axes, band, work.rows);
      });
    };
    const auto planes = [&](int32_t begin, int32_t end) {
      for (int32_t k = begin; k < end; ++k) {
        // Along z a tap that is repeated keeps its own weight.
        const CubicTaps taps = cubicTaps(z.runs, z.size, k, z.index[k]);
        const float *const four[4] = {slice(taps.at[0]), slice(taps.at[1]), slice(taps.at[2]),
                                      slice(taps.at[3])};
        combine(call.plane(k), four, work.sliceStep, z.weight[k], axes, band);
      }
    };
    // The outer runs first: destinations whose planes share memory keep what the inside has written last [C94].
    planes(0, z.runs.lead());
    planes(z.runs.tailBegin(), region.depth);
    planes(z.runs.lead(), z.runs.tailBegin());
  });
}

template <class Voxel, class Call>
void ownrResize(const Call &call) {
  if (call.region.depth == 0) return;
  switch (call.kind.sampling) {
    case Sampling::nearest:
      return resizeNearest<Voxel>(call);
    case Sampling::linear:
      return resizeLinear<Voxel>(call);
    case Sampling::cubic:
      return resizeCubic<Voxel>(call);
  }
}

}  // namespace vekr
