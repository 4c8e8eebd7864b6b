// Kernels that sum in 64 bits. Both give the same voxels; the second one is the faster.
#pragma once

#include <cstdint>

#include "filter/taps.h"
#include "filter/window.h"
#include "frame/dispatch.h"
#include "vekr.h"

VEKR_KERNELS(wide_kernels,
             // Any taps, any sizes.
             void ownpr_FilterWide_16s(const SourceWindow &window, const FilterKernel &kernel, int32_t width,
                                       const Divisor &by, int16_t *voxels);
             // Calls of Form::widePairs.
             void ownpr_FilterWidePairs_16s(const SourceWindow &window, const TapRows &taps, int32_t width,
                                            const Divisor &by, int16_t *voxels);)
