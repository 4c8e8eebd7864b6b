// Voxel types, and access to the planes of the two forms of volume argument.
#pragma once

#include <cstddef>
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

// Planes by position. A position is a plane's number in the list form and its distance in elements in the block form, so
// that `planeStep` leads from one plane to the next in both.
template <class Voxel>
struct PlaneList {
  Voxel *const *planes;
  static constexpr int32_t planeStep = 1;
  Voxel *plane(int64_t position) const { return planes[position]; }
};

template <class Voxel>
struct PlaneBlock {
  Voxel *first;
  int32_t planeStep;  // in elements
  Voxel *plane(int64_t position) const { return first + position; }
};

}  // namespace vekr
