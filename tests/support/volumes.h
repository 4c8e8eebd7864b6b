// Volumes for tests: planes that don't lie in one allocation, each flush against an unreadable page or between guards.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <type_traits>
#include <vector>

#include "tests/support/arrays.h"
#include "tests/support/values.h"
#include "vekr.h"

namespace vekr_test {

// Source planes: nothing in front of voxel (0, 0) and nothing behind the last voxel of the last row can be read. `step` is
// in elements and may be negative.
template <class Voxel>
class SourcePlanes {
 public:
  SourcePlanes(VekrVolumeSize size, int32_t step) : step_(step) {
    const size_t between = static_cast<size_t>(size.height - 1) * static_cast<size_t>(std::abs(step));
    for (int32_t z = 0; z < size.depth; ++z) {
      planes_.push_back(std::make_unique<PageEnd<Voxel>>(between + static_cast<size_t>(size.width)));
      list_.push_back(planes_.back()->data() + (step < 0 ? between : 0));
    }
  }
  const Voxel *const *list() const { return list_.data(); }
  Voxel &at(int32_t x, int32_t y, int32_t z) { return list_[static_cast<size_t>(z)][int64_t(y) * step_ + x]; }

  // fill(): the value of the next voxel, x fastest. What lies between the rows is filled too.
  template <class Fill>
  void fill(const Fill &next) {
    for (auto &plane : planes_) {
      for (Voxel &voxel : *plane) voxel = next();
    }
  }

 private:
  int32_t step_;
  std::vector<std::unique_ptr<PageEnd<Voxel>>> planes_;
  std::vector<Voxel *> list_;
};

// Planes of rows that may begin at any byte: destinations and maps.
template <class Element>
class BytePlanes {
 public:
  BytePlanes(int32_t width, int32_t height, int32_t depth, int32_t byteStep, size_t offset = 0)
      : bytes_(static_cast<size_t>(height - 1) * static_cast<size_t>(std::abs(byteStep)) +
               static_cast<size_t>(width) * sizeof(Element)),
        byteStep_(byteStep) {
    const size_t origin = byteStep < 0 ? static_cast<size_t>(height - 1) * static_cast<size_t>(-byteStep) : 0;
    for (int32_t z = 0; z < depth; ++z) {
      planes_.emplace_back(bytes_, offset);
      for (size_t i = 0; i < bytes_; ++i) planes_.back()[i] = static_cast<unsigned char>(0x40 + i % 61);
      list_.push_back(reinterpret_cast<Element *>(planes_.back().data() + origin));
    }
  }
  Element *const *list() const { return list_.data(); }
  const Element *const *constList() const { return list_.data(); }

  void set(int32_t x, int32_t y, int32_t z, Element value) {
    std::memcpy(address(x, y, z), &value, sizeof value);
  }
  Element get(int32_t x, int32_t y, int32_t z) const {
    Element value;
    std::memcpy(&value, address(x, y, z), sizeof value);
    return value;
  }
  bool intact() const {
    for (const auto &plane : planes_) {
      if (!plane.intact()) return false;
    }
    return true;
  }
  // Every byte, also those between the rows.
  friend bool operator==(const BytePlanes &a, const BytePlanes &b) {
    if (a.planes_.size() != b.planes_.size() || a.bytes_ != b.bytes_) return false;
    for (size_t z = 0; z < a.planes_.size(); ++z) {
      if (std::memcmp(a.planes_[z].data(), b.planes_[z].data(), a.bytes_) != 0) return false;
    }
    return true;
  }

 private:
  char *address(int32_t x, int32_t y, int32_t z) const {
    return reinterpret_cast<char *>(list_[static_cast<size_t>(z)]) + int64_t(y) * byteStep_ +
           x * int64_t(sizeof(Element));
  }
  size_t bytes_;
  int32_t byteStep_;
  std::vector<Guarded<unsigned char>> planes_;
  std::vector<Element *> list_;
};

// Planes without gaps, by value(x, y, z).
template <class Voxel, class Value>
SourcePlanes<Voxel> madeOf(VekrVolumeSize size, const Value &value) {
  SourcePlanes<Voxel> src(size, size.width);
  for (int32_t z = 0; z < size.depth; ++z) {
    for (int32_t y = 0; y < size.height; ++y) {
      for (int32_t x = 0; x < size.width; ++x) src.at(x, y, z) = static_cast<Voxel>(value(x, y, z));
    }
  }
  return src;
}

// Voxels over their whole range, with some at its ends, so that cubic codes overshoot.
template <class Voxel, class Numbers>
Voxel randomVoxel(Numbers &random) {
  if constexpr (std::is_same_v<Voxel, float>) {
    const int32_t kind = random.below(16);
    return kind == 0 ? -0.0f : kind == 1 ? 1e-41f : random.within(-1000.0f, 1000.0f);
  } else {
    const int32_t kind = random.below(8);
    return kind == 0 ? Voxel(0) : kind <= 2 ? Voxel(~Voxel(0)) : static_cast<Voxel>(random.bits());
  }
}

// Random planes for a call with a step of `byteStep`: they are laid out by the whole voxels in it.
template <class Voxel>
SourcePlanes<Voxel> randomSource(VekrVolumeSize size, int32_t byteStep, Random &random) {
  SourcePlanes<Voxel> source(size,
                             static_cast<int32_t>(std::floor(static_cast<double>(byteStep) / sizeof(Voxel))));
  source.fill([&] { return randomVoxel<Voxel>(random); });
  return source;
}

// Sources that are smaller than the taps of some codes, along one axis or all.
inline constexpr VekrVolumeSize kSmallSources[] = {{3, 8, 8}, {8, 3, 8}, {8, 8, 3}, {1, 8, 8},
                                                   {8, 1, 8}, {8, 8, 1}, {2, 2, 2}, {1, 1, 1}};

}  // namespace vekr_test
