// Volumes of the hash rows: planes with gaps between the rows, filled to the ends of their type's range.
#pragma once

#include <type_traits>

#include "hashes/rows.h"
#include "vekcore/vekcore.h"

namespace hashes {

inline constexpr struct {
  const char *name;
  int32_t code;
} kInterpolations[] = {{"/nearest", vekrInterNearest},
                       {"/linear", vekrInterLinear},
                       {"/lagrange", vekrInterCubicLagrange},
                       {"/b-spline", vekrInterCubicBSpline},
                       {"/catmull-rom", vekrInterCubicCatmullRom},
                       {"/mitchell", vekrInterCubicMitchell}};

template <class Voxel>
constexpr const char *typeName() {
  return sizeof(Voxel) == 1 ? "/8u" : sizeof(Voxel) == 2 ? "/16u" : "/32f";
}

// `wild`: infinities and NaN are among the floats.
template <class Voxel>
Voxel randomVoxel(Random &random, bool wild) {
  if constexpr (std::is_same_v<Voxel, float>) {
    const int32_t kind = random.below(32);
    if (kind == 0) return -0.0f;
    if (kind == 1) return 1e-41f;
    return kind == 2 && wild ? random.hostile() : random.within(-900.0f, 900.0f);
  } else {
    const int32_t kind = random.below(8);
    return kind == 0 ? Voxel(0) : kind <= 2 ? Voxel(~Voxel(0)) : static_cast<Voxel>(random.bits());
  }
}

// Planes, one behind the other in one block, so that both forms of argument fit; `rowBytes` from row to row.
template <class Element>
class Volume {
 public:
  Volume(VekrVolumeSize size, int32_t rowBytes)
      : size_(size),
        rowBytes_(rowBytes),
        bytes_(static_cast<size_t>(size.depth) * static_cast<size_t>(planeBytes())) {
    for (int32_t z = 0; z < size.depth; ++z) list_.push_back(reinterpret_cast<Element *>(row(0, z)));
  }
  Volume(const Volume &) = delete;
  Volume &operator=(const Volume &) = delete;
  int32_t rowBytes() const { return rowBytes_; }
  int32_t planeBytes() const { return rowBytes_ * size_.height; }
  VekrVolumeSize size() const { return size_; }
  VekrVolumeBox box() const { return {0, 0, 0, size_.width, size_.height, size_.depth}; }
  Element *data() { return list_[0]; }
  Element *const *list() { return list_.data(); }
  const Element *const *in() { return list_.data(); }

  // next(x, y, z): the value of an element; what lies between the rows keeps a pattern.
  template <class Next>
  Volume &fill(const Next &next) {
    for (int32_t z = 0; z < size_.depth; ++z) {
      for (int32_t y = 0; y < size_.height; ++y) {
        for (int32_t x = 0; x < size_.width; ++x) {
          const Element value = next(x, y, z);
          std::memcpy(row(y, z) + static_cast<size_t>(x) * sizeof value, &value, sizeof value);
        }
      }
    }
    return *this;
  }
  // Voxels as voxels, for the sake of NaN, and then every byte between the rows.
  void hashInto(Hash &hash) {
    for (int32_t z = 0; z < size_.depth; ++z) {
      for (int32_t y = 0; y < size_.height; ++y) {
        const size_t used = static_cast<size_t>(size_.width) * sizeof(Element);
        hash.add(reinterpret_cast<const Element *>(row(y, z)), static_cast<size_t>(size_.width));
        hash.add(row(y, z) + used, static_cast<size_t>(rowBytes_) - used);
      }
    }
  }

 private:
  uint8_t *row(int32_t y, int32_t z) {
    return bytes_.data() + static_cast<ptrdiff_t>(z) * planeBytes() + static_cast<ptrdiff_t>(y) * rowBytes_;
  }
  VekrVolumeSize size_;
  int32_t rowBytes_;
  Array<uint8_t> bytes_;
  std::vector<Element *> list_;
};

// A step of whole elements, and one more.
template <class Element>
int32_t paddedRow(int32_t width) {
  return (width + 1) * static_cast<int32_t>(sizeof(Element));
}

}  // namespace hashes
