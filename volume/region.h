// Volumes at the doors of the families: the tests of their arguments, and regions. Not for kernel files but for the
// plain types.
#pragma once

#include <cstdint>

#include "frame/integer.h"
#include "vekr.h"

namespace vekr {

// A region as drivers and kernels get it: first and last voxel of each axis, both inclusive.
struct RegionBox {
  int32_t x0, y0, z0;
  int32_t x1, y1, z1;
};

constexpr bool isEmpty(VekrVolumeSize size) { return size.width < 1 || size.height < 1 || size.depth < 1; }

constexpr bool hasSideBelow(VekrVolumeSize size, int32_t least) {
  return size.width < least || size.height < least || size.depth < least;
}

// Whether a box can't be one: an origin below 0 or a size below 1.
constexpr bool isUnfit(VekrVolumeBox box) {
  return box.x < 0 || box.y < 0 || box.z < 0 || box.width < 1 || box.height < 1 || box.depth < 1;
}

// Of a fit box.
constexpr bool overlaps(VekrVolumeBox box, VekrVolumeSize size) {
  return box.x < size.width && box.y < size.height && box.z < size.depth;
}

// Last voxel of an axis, inclusive; `first` is inside.
constexpr int32_t clippedLast(int32_t first, int32_t length, int32_t end) {
  const int32_t room = end - first;
  return first + (room < length ? room : length) - 1;
}

// A box that overlaps the volume, cut to it. Boxes of INT32_MAX voxels are welcome.
constexpr RegionBox clipped(VekrVolumeBox box, VekrVolumeSize size) {
  return {box.x,
          box.y,
          box.z,
          clippedLast(box.x, box.width, size.width),
          clippedLast(box.y, box.height, size.height),
          clippedLast(box.z, box.depth, size.depth)};
}

}  // namespace vekr
