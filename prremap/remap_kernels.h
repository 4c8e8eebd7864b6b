// Remap's drivers, by voxel type and interpolation code.
#pragma once

#include <cstdint>

#include "frame/dispatch.h"
#include "volume/interpolation.h"
#include "volume/region.h"
#include "volume/voxel.h"

namespace vekr {

// Plane lists are those of the whole call or, advanced to its first plane, of a thread's share. The lists of voxels are
// of the driver's voxel type.
using RemapDriver = void(const void *pSrc, const void *pDst, int32_t srcStep /* elements */,
                         int32_t dstStep /* bytes */, const float *const *pXMap, const float *const *pYMap,
                         const float *const *pZMap, int32_t mapStep /* bytes */, RegionBox region,
                         int32_t width, int32_t height, int32_t planes);

}  // namespace vekr

VEKR_KERNELS(extern RemapDriver *const ownrRemapInter[kVoxelRows][kInterpolationSlots];)
