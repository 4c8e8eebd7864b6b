#include "filter/driver.h"

#include <bit>

#include "filter/pair_kernels.h"
#include "filter/wide_kernels.h"
#include "filter/window.h"

namespace vekr {

namespace {

Divisor divisorOf(int32_t divisor) {
  if (divisor == 1) return {Divide::notAtAll, 0, 1.0f};
  // INT32_MIN isn't among the powers of two: its rounding term doesn't fit in 32 bits.
  if (divisor > 0 && std::has_single_bit(static_cast<uint32_t>(divisor))) {
    return {Divide::byShift, std::countr_zero(static_cast<uint32_t>(divisor)), 1.0f};
  }
  return {Divide::byNumber, 0, static_cast<float>(divisor)};
}

bool isCube(VekrVolumeSize size, int32_t edge) {
  return size.width == edge && size.height == edge && size.depth == edge;
}

auto pairKernelFor(VekrVolumeSize kernelSize) {
  if (isCube(kernelSize, 3)) return VEKR_DISPATCH(ownpr_Filter3x3x3_16s);
  if (isCube(kernelSize, 5)) return VEKR_DISPATCH(ownpr_Filter5x5x5_16s);
  return VEKR_DISPATCH(ownpr_Filter_16s);
}

}  // namespace

void ownrFilter_16s_C1PV(const FilterCall &call) {
  const FilterKernel &kernel = call.kernel;
  const VekrVolumeSize size = call.size;
  const Divisor by = divisorOf(call.divisor);
  // For every destination row: row(its window, its voxels).
  const auto forRows = [&](const auto &row) {
    // The first source voxel under the kernel, as seen from the destination's own place.
    const int64_t column = static_cast<int64_t>(call.anchor.x) - (kernel.size.width - 1);
    const int64_t line = static_cast<int64_t>(call.anchor.y) - (kernel.size.height - 1);
    const int64_t plane = static_cast<int64_t>(call.anchor.z) - (kernel.size.depth - 1);
    const ListVolume<const int16_t> source = call.source;
    for (int32_t z = 0; z < size.depth; ++z) {
      const Rows<int16_t> rows = call.destination.plane(z);
      for (int32_t y = 0; y < size.height; ++y) {
        row(SourceWindow{source.planes.planes + z + plane, (y + line) * source.step + column, source.step},
            rows.row(y));
      }
    }
  };

  const Form form = formOf(size.width, kernel);
  if (form == Form::wide) {
    const auto filterRow = VEKR_DISPATCH(ownpr_FilterWide_16s);
    forRows([&](const SourceWindow &window, int16_t *voxels) {
      filterRow(window, kernel, size.width, by, voxels);
    });
    return;
  }
  const WorkBuffer work = workBufferAt(call.buffer, kernel.size);
  const TapRows taps = ownPrepareTaps_32s16s(kernel, work.groups);
  if (form == Form::widePairs) {
    const auto filterRow = VEKR_DISPATCH(ownpr_FilterWidePairs_16s);
    forRows([&](const SourceWindow &window, int16_t *voxels) {
      filterRow(window, taps, size.width, by, voxels);
    });
    return;
  }
  const auto sumRow = pairKernelFor(kernel.size);
  const auto convertRow = VEKR_DISPATCH(ownpr_Convert_32s16s);
  forRows([&](const SourceWindow &window, int16_t *voxels) {
    sumRow(window, taps, size.width, work.sums);
    convertRow(work.sums, voxels, size.width, by);
  });
}

}  // namespace vekr
