// Kernels that sum in 64 bits: any taps, any sizes.
#pragma once

#include <cstdint>

#include "filter/window.h"
#include "frame/dispatch.h"
#include "vekr.h"

VEKR_KERNELS(void ownpr_FilterWide_16s(const SourceWindow &window, const int32_t *pKernel,
                                       VekrVolumeSize kernelSize, int32_t width, const Divisor &by,
                                       int16_t *voxels);)
