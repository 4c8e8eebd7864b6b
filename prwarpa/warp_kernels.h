// Affine warp's drivers, by voxel type and interpolation.
#pragma once

#include <cstdint>

#include "frame/dispatch.h"
#include "vekr.h"
#include "volume/driver_table.h"
#include "volume/view.h"

namespace vekr {

struct WarpCall {
  SourceView source;
  DestinationView destination;
  VekrVolumeBox box;   // of the destination
  double inverse[12];  // of the transform: from destination to source, three rows of four
};

}  // namespace vekr

VEKR_KERNELS(warp_kernels, extern const DriverTable<WarpCall> ownrWarpAffineInter;)
