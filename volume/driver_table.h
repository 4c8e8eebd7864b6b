// The table of a family's drivers, by voxel type and interpolation kind.
#pragma once

#include <string_view>

#include "volume/interpolation.h"
#include "volume/view.h"
#include "volume/voxel.h"

namespace vekr {

// Computes a share of the destination's planes; none, if it is empty.
template <class Call>
using VolumeDriver = void(const Call &call, PlaneShare share);

template <class Call>
struct DriverTable {
  InterpolationTable<VolumeDriver<Call>> rows[kVoxelRows];

  template <class Voxel>
  VolumeDriver<Call> *driver(const InterpolationKind &kind) const {
    return rows[voxelRow<Voxel>()].slots[kind.code];
  }
};

// Whether a driver's name ends in its voxel's bits and its kind's name.
static constexpr bool isDriverName(std::string_view name, size_t voxelBytes, std::string_view kind) {
  if (!name.ends_with(kind)) return false;
  name.remove_suffix(kind.size());
  return name.ends_with(voxelBytes == 1 ? "8" : voxelBytes == 2 ? "16" : "32");
}

}  // namespace vekr

// Defines one driver: `drive`, a template over voxel type and code, under a name of its own.
#define VEKR_DRIVER(Call, drive, Voxel, place, driver)                                          \
  static_assert(isDriverName(#driver, sizeof(Voxel), kInterpolations[place].name), "misnamed"); \
  void driver(const Call &call, PlaneShare share) { drive<Voxel, kInterpolations[place].code>(call, share); }

// Defines the drivers of a voxel type, in the list's order, and the table's row of them. For kernel files.
#define VEKR_DRIVER_ROW(row, Call, drive, Voxel, n, l, c0, c1, c2, c3) \
  VEKR_DRIVER(Call, drive, Voxel, 0, n)                                \
  VEKR_DRIVER(Call, drive, Voxel, 1, l)                                \
  VEKR_DRIVER(Call, drive, Voxel, 2, c0)                               \
  VEKR_DRIVER(Call, drive, Voxel, 3, c1)                               \
  VEKR_DRIVER(Call, drive, Voxel, 4, c2)                               \
  VEKR_DRIVER(Call, drive, Voxel, 5, c3)                               \
  static constexpr InterpolationTable<VolumeDriver<Call>> row =        \
      interpolationTable<VolumeDriver<Call>>(n, l, c0, c1, c2, c3);
