// Lane steps of the cubic kernels. A register holds blocks of four lanes, a block the four taps of a voxel. For kernel files.
#pragma once

#include "volume/convert.h"

namespace vekr::VEKR_ISA {

constexpr int kTaps = 4;

// Four voxels of one row for each block of four lanes.
template <int blocks, class Voxel>
Float<4 * blocks> loadRows(const Voxel *const *rows) {
  if constexpr (blocks == 1) {
    return loadVoxels<4>(rows[0]);
  } else if constexpr (blocks == 2) {
    return loadVoxelHalves(rows[0], rows[1]);
  } else {
    return joined(loadRows<blocks / 2>(rows), loadRows<blocks / 2>(rows + blocks / 2));
  }
}

// The four weights of one voxel for each block.
template <int blocks>
Float<4 * blocks> loadWeights(const float (*weights)[kTaps], const int *voxels) {
  if constexpr (blocks == 1) {
    return Float<4>::load(weights[voxels[0]]);
  } else {
    return joined(loadWeights<blocks / 2>(weights, voxels),
                  loadWeights<blocks / 2>(weights, voxels + blocks / 2));
  }
}

}  // namespace vekr::VEKR_ISA
