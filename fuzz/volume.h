// Volumes from bytes: every plane ends where its allocation ends, rows may have gaps and run backwards.
#pragma once

#include "input.h"
#include "support/volumes.h"

namespace vekr_fuzz {

// `step` in bytes, at least the width's; negative: the first row is the last in memory.
template <class Voxel>
class Volume {
 public:
  Volume(VekrVolumeSize size, int32_t step) : size_(size), step_(step) {
    const auto rows = static_cast<size_t>(size.height - 1) * static_cast<size_t>(std::abs(step));
    for (int32_t z = 0; z < size.depth; ++z) {
      planes_.emplace_back(rows + static_cast<size_t>(size.width) * sizeof(Voxel), 0);
    }
    relist();
  }
  Volume(const Volume &other) : size_(other.size_), step_(other.step_), planes_(other.planes_) { relist(); }
  Volume &operator=(const Volume &) = delete;
  Voxel *const *list() const { return list_.data(); }
  const Voxel *const *in() const { return list_.data(); }
  int32_t step() const { return step_; }
  VekrVolumeSize size() const { return size_; }
  Voxel get(int32_t x, int32_t y, int32_t z) const {
    Voxel voxel;
    std::memcpy(&voxel, at(x, y, z), sizeof voxel);
    return voxel;
  }
  void set(int32_t x, int32_t y, int32_t z, Voxel voxel) { std::memcpy(at(x, y, z), &voxel, sizeof voxel); }
  template <class Next>
  void fill(const Next &next) {
    for (int32_t z = 0; z < size_.depth; ++z) {
      for (int32_t y = 0; y < size_.height; ++y) {
        for (int32_t x = 0; x < size_.width; ++x) set(x, y, z, next());
      }
    }
  }
  // Voxels; what lies between rows is compared too, as bytes.
  friend bool operator==(const Volume &a, const Volume &b) {
    Volume<Voxel> rest(b);
    for (int32_t z = 0; z < a.size_.depth; ++z) {
      for (int32_t y = 0; y < a.size_.height; ++y) {
        for (int32_t x = 0; x < a.size_.width; ++x) {
          if (!same(a.get(x, y, z), b.get(x, y, z))) return false;
          rest.set(x, y, z, a.get(x, y, z));
        }
      }
    }
    return a.planes_ == rest.planes_;
  }

 private:
  char *at(int32_t x, int32_t y, int32_t z) const {
    return reinterpret_cast<char *>(list_[static_cast<size_t>(z)]) + static_cast<int64_t>(y) * step_ +
           x * static_cast<int64_t>(sizeof(Voxel));
  }
  void relist() {
    list_.clear();
    for (auto &plane : planes_) {
      const int64_t origin = step_ < 0 ? static_cast<int64_t>(size_.height - 1) * -step_ : 0;
      list_.push_back(reinterpret_cast<Voxel *>(plane.data() + origin));
    }
  }
  VekrVolumeSize size_;
  int32_t step_;
  std::vector<Array<uint8_t>> planes_;
  std::vector<Voxel *> list_;
};

inline VekrVolumeSize sizeFrom(Input &in, int32_t most) {
  return {in.within(1, most), in.within(1, most), in.within(1, most)};
}

// A box that begins within the size and may reach beyond it.
inline VekrVolumeBox boxFrom(Input &in, VekrVolumeSize size) {
  VekrVolumeBox box = {in.below(size.width), in.below(size.height), in.below(size.depth), 0, 0, 0};
  box.width = in.within(1, size.width + 3);
  box.height = in.within(1, size.height + 3);
  box.depth = in.flag() ? INT32_MAX : in.within(1, size.depth + 3);
  return box;
}

// Whole voxels, some more between rows, forwards or backwards.
template <class Voxel>
int32_t stepFrom(Input &in, int32_t width) {
  const int32_t step = (width + in.below(3)) * static_cast<int32_t>(sizeof(Voxel));
  return in.below(4) == 3 ? -step : step;
}

inline int32_t codeFrom(Input &in) {
  static constexpr int32_t kCodes[] = {1, 2, 4, 5, 6, 7};
  return kCodes[in.below(6)];
}

template <class Voxel>
Volume<Voxel> sourceFrom(Input &in, VekrVolumeSize size) {
  Volume<Voxel> source(size, stepFrom<Voxel>(in, size.width));
  Random random = in.contents();
  source.fill([&] { return vekr_test::randomVoxel<Voxel>(random); });
  return source;
}

// That of a voxel type among the functions for 8u, 16u and 32f.
template <class Voxel, class F8, class F16, class F32>
constexpr auto forVoxel(F8 f8, F16 f16, F32 f32) {
  if constexpr (sizeof(Voxel) == 1) {
    return f8;
  } else if constexpr (sizeof(Voxel) == 2) {
    return f16;
  } else {
    return f32;
  }
}

}  // namespace vekr_fuzz
