// A volume in memory: voxels, and where they lie.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "affine.h"
#include "vekr.h"

namespace vekr_example {

// The voxel types that the library resamples, and the one that it filters.
enum class VoxelType { u8, u16, f32, s16 };

inline int32_t bytesOf(VoxelType type) { return type == VoxelType::u8 ? 1 : type == VoxelType::f32 ? 4 : 2; }
inline const char *nameOf(VoxelType type) {
  return type == VoxelType::u8    ? "8u"
         : type == VoxelType::u16 ? "16u"
         : type == VoxelType::s16 ? "16s"
                                  : "32f";
}

// body.operator()<T>() for the type of a volume's voxels.
template <class Body>
void withVoxelType(VoxelType type, const Body &body) {
  switch (type) {
    case VoxelType::u8:
      return body.template operator()<uint8_t>();
    case VoxelType::u16:
      return body.template operator()<uint16_t>();
    case VoxelType::f32:
      return body.template operator()<float>();
    case VoxelType::s16:
      return body.template operator()<int16_t>();
  }
}

// Voxels of a box, and the map from their coordinates to millimetres: x to the right, y to the front, z upwards.
struct Grid {
  VekrVolumeSize size;
  Affine toWorld;

  Point spacing() const {
    Point mm;
    for (size_t k = 0; k < 3; ++k) mm[k] = std::hypot(toWorld.at(0, k), toWorld.at(1, k), toWorld.at(2, k));
    return mm;
  }
  std::array<int32_t, 3> sides() const { return {size.width, size.height, size.depth}; }
};

// Zeroes that the kernel gives anyway, not written a second time, and in large pages if it has them: to touch every small page
// of two large volumes for the first time took longer than to resample one into the other.
std::byte *allocateZeroes(size_t bytes);
template <class Byte>
struct ZeroPages {
  using value_type = Byte;
  static Byte *allocate(size_t bytes) { return allocateZeroes(bytes); }
  static void deallocate(Byte *bytes, size_t) { std::free(bytes); }
  static void construct(Byte *) {}
  bool operator==(const ZeroPages &) const = default;
};

// x fastest, then y, then z. Sources have a margin around each plane, in which the outermost voxels are repeated: the
// library can then sample up to the outer edges of the outermost voxels, and treats all of them alike.
class Volume {
 public:
  static constexpr int32_t kMargin = 2;

  Volume(VoxelType voxelType, const Grid &where, int32_t marginVoxels = 0)
      : type(voxelType),
        grid(where),
        margin(marginVoxels),
        voxels_(static_cast<size_t>(rowVoxels()) * static_cast<size_t>(grid.size.height + 2 * margin) *
                static_cast<size_t>(grid.size.depth) * static_cast<size_t>(bytesOf(type))) {}

  VoxelType type;
  Grid grid;
  int32_t margin;
  bool biased = false;  // 16u voxels are those of a 16s volume, and 32768 more

  const VekrVolumeSize &size() const { return grid.size; }
  size_t count() const {
    return static_cast<size_t>(size().width) * static_cast<size_t>(size().height) *
           static_cast<size_t>(size().depth);
  }
  int32_t rowVoxels() const { return grid.size.width + 2 * margin; }
  int32_t step() const { return rowVoxels() * bytesOf(type); }

  template <class T>
  T *row(int32_t y, int32_t z) {
    return reinterpret_cast<T *>(voxels_.data()) + rowOffset(y, z);
  }
  template <class T>
  const T *row(int32_t y, int32_t z) const {
    return reinterpret_cast<const T *>(voxels_.data()) + rowOffset(y, z);
  }

  // The list that the library takes, of voxels (0, 0, z). T may be const.
  template <class T>
  std::vector<T *> planes() {
    std::vector<T *> list;
    for (int32_t z = 0; z < size().depth; ++z) list.push_back(row<T>(0, z));
    return list;
  }
  // The same with the margin on all sides: before the first plane and behind the last one these are repeated.
  template <class T>
  std::vector<const T *> planesWithMargin() const {
    std::vector<const T *> list;
    for (int32_t z = -margin; z < size().depth + margin; ++z)
      list.push_back(row<T>(-margin, std::clamp(z, 0, size().depth - 1)) - margin);
    return list;
  }
  VekrVolumeSize sizeWithMargin() const {
    return {size().width + 2 * margin, size().height + 2 * margin, size().depth + 2 * margin};
  }

  void fill(double value);
  void fillRow(int32_t y, int32_t z, int32_t from, int32_t end, double value);
  // Repeats the outermost voxels of plane z in its margin.
  void fillMargin(int32_t z);
  // As a number, without the bias.
  double valueAt(const std::array<int32_t, 3> &at) const;

 private:
  std::ptrdiff_t rowOffset(int32_t y, int32_t z) const {
    const std::ptrdiff_t rows = std::ptrdiff_t(z) * (grid.size.height + 2 * margin) + y + margin;
    return rows * rowVoxels() + margin;
  }

  std::vector<std::byte, ZeroPages<std::byte>> voxels_;
};

constexpr double kBias = 32768;  // of biased voxels

}  // namespace vekr_example
