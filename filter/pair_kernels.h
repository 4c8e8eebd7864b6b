// Kernels that sum in 32 bits, which wrap around: two 16-bit taps a multiplication. For destination rows of 16 voxels
// and more.
#pragma once

#include <cstdint>

#include "filter/taps.h"
#include "filter/window.h"
#include "frame/dispatch.h"

// The sums of one destination row. ownpr_Filter_16s is for kernels of any other size than the two cubes, of at least 3
// voxels in each dimension; its sums are those that vekr.h tells.
VEKR_KERNELS(
    pair_kernels,
    void ownpr_Filter3x3x3_16s(const SourceWindow &window, const TapRows &taps, int32_t width, int32_t *sums);
    void ownpr_Filter5x5x5_16s(const SourceWindow &window, const TapRows &taps, int32_t width, int32_t *sums);
    void ownpr_Filter_16s(const SourceWindow &window, const TapRows &taps, int32_t width, int32_t *sums);
    void ownpr_Convert_32s16s(const int32_t *sums, int16_t *voxels, int32_t width, const Divisor &by);)
