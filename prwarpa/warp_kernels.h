// Affine warp's drivers, by voxel type and interpolation code.
#pragma once

#include <cstdint>

#include "frame/dispatch.h"
#include "volume/interpolation.h"
#include "volume/region.h"
#include "volume/voxel.h"

namespace vekr {

// The lists of planes are of the driver's voxel type. `dstBox` is the whole box or, with its own z and depth, a thread's
// share of it; a depth of 0 is none.
using WarpDriver = void(const void *pSrc, const void *pDst, int32_t srcStep /* elements */,
                        int32_t dstStep /* bytes */, const double *pInverse, RegionBox region,
                        VekrVolumeBox dstBox);

}  // namespace vekr

VEKR_KERNELS(extern WarpDriver *const ownrWarpAffineInter[kVoxelRows][kInterpolationSlots];)
