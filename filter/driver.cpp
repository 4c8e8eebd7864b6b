#include "filter/driver.h"

#include <bit>

#include "filter/pair_kernels.h"
#include "filter/taps.h"
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

void ownrFilter_16s_C1PV(const int16_t *const *pSrc, int32_t srcStep, int16_t *const *pDst, int32_t dstStep,
                         VekrVolumeSize dstSize, const int32_t *pKernel, VekrVolumeSize kernelSize,
                         VekrVolumePoint anchor, int32_t divisor, uint8_t *pBuffer) {
  const Divisor by = divisorOf(divisor);
  // For every destination row: row(its window, its voxels).
  const auto forRows = [&](const auto &row) {
    // The first source voxel under the kernel, as seen from the destination's own place.
    const int64_t column = static_cast<int64_t>(anchor.x) - (kernelSize.width - 1);
    const int64_t line = static_cast<int64_t>(anchor.y) - (kernelSize.height - 1);
    const int64_t plane = static_cast<int64_t>(anchor.z) - (kernelSize.depth - 1);
    for (int32_t z = 0; z < dstSize.depth; ++z) {
      for (int32_t y = 0; y < dstSize.height; ++y) {
        row(SourceWindow{pSrc + z + plane, (y + line) * srcStep + column, srcStep},
            pDst[z] + static_cast<int64_t>(y) * dstStep);
      }
    }
  };

  const Form form = formOf(dstSize.width, pKernel, kernelSize);
  if (form == Form::wide) {
    const auto filterRow = VEKR_DISPATCH(ownpr_FilterWide_16s);
    forRows([&](const SourceWindow &window, int16_t *voxels) {
      filterRow(window, pKernel, kernelSize, dstSize.width, by, voxels);
    });
    return;
  }
  const WorkBuffer work = workBufferAt(pBuffer, kernelSize);
  const TapRows taps = ownPrepareTaps_32s16s(pKernel, kernelSize, work.groups);
  if (form == Form::widePairs) {
    const auto filterRow = VEKR_DISPATCH(ownpr_FilterWidePairs_16s);
    forRows([&](const SourceWindow &window, int16_t *voxels) {
      filterRow(window, taps, dstSize.width, by, voxels);
    });
    return;
  }
  const auto sumRow = pairKernelFor(kernelSize);
  const auto convertRow = VEKR_DISPATCH(ownpr_Convert_32s16s);
  forRows([&](const SourceWindow &window, int16_t *voxels) {
    sumRow(window, taps, dstSize.width, work.sums);
    convertRow(work.sums, voxels, dstSize.width, by);
  });
}

}  // namespace vekr
