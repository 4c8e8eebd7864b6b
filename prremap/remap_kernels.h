// Remap's drivers, by voxel type and interpolation.
#pragma once

#include <cstdint>

#include "frame/dispatch.h"
#include "volume/driver_table.h"
#include "volume/view.h"

namespace vekr {

// Where each destination voxel comes from, along x, y and z: volumes of the destination's size.
struct CoordinateMaps {
  const float *const *planes[3];
  int32_t step;  // in bytes
};

struct RemapCall {
  SourceView source;
  DestinationView destination;
  CoordinateMaps maps;
  int32_t width, height;  // of the destination's planes
};

}  // namespace vekr

VEKR_KERNELS(remap_kernels, extern const DriverTable<RemapCall> ownrRemapInter;)
