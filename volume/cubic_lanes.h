// Lane steps of the cubic kernels. A register holds blocks of four lanes, a block the four taps of a voxel. For kernel files.
#pragma once

#include "volume/convert.h"

namespace vekr::VEKR_ISA {

constexpr int kTaps = 4;

// Four voxels of one row for each block of four lanes.
template <class Voxel>
inline Float<4> loadRows(const Voxel *const (&rows)[1]) {
  return loadVoxels<4>(rows[0]);
}
template <class Voxel>
inline Float<8> loadRows(const Voxel *const (&rows)[2]) {
  return loadVoxelHalves(rows[0], rows[1]);
}

inline Float<4> loadWeights(const float (*weights)[kTaps], const int (&voxels)[1]) {
  return Float<4>::load(weights[voxels[0]]);
}
inline Float<8> loadWeights(const float (*weights)[kTaps], const int (&voxels)[2]) {
  return joined(Float<4>::load(weights[voxels[0]]), Float<4>::load(weights[voxels[1]]));
}

}  // namespace vekr::VEKR_ISA
