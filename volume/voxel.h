// Voxel types, and their steps.
#pragma once

#include <cstdint>

namespace vekr {

// Rows of the families' dispatch tables.
enum VoxelRow { kRow8u, kRow16u, kRow32f, kVoxelRows };

template <class Voxel>
constexpr VoxelRow voxelRow();
template <>
constexpr VoxelRow voxelRow<uint8_t>() {
  return kRow8u;
}
template <>
constexpr VoxelRow voxelRow<uint16_t>() {
  return kRow16u;
}
template <>
constexpr VoxelRow voxelRow<float>() {
  return kRow32f;
}

// A byte step in whole voxels. The shift is arithmetic: -101 bytes are -51 voxels of two bytes [C59].
template <class Voxel>
constexpr int32_t elementStep(int32_t byteStep) {
  static_assert(sizeof(Voxel) == 1 || sizeof(Voxel) == 2 || sizeof(Voxel) == 4);
  return byteStep >> (sizeof(Voxel) == 4 ? 2 : sizeof(Voxel) == 2 ? 1 : 0);
}

}  // namespace vekr
