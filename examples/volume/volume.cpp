#include "volume.h"

#include <sys/mman.h>
#include <unistd.h>

#include <limits>
#include <new>
#include <type_traits>

namespace vekr_example {

std::byte *allocateZeroes(size_t bytes) {
  void *const made = std::calloc(std::max<size_t>(bytes, 1), 1);
  if (made == nullptr) throw std::bad_alloc();
  const auto page = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
  const auto from = (reinterpret_cast<uintptr_t>(made) + page - 1) / page * page;
  const auto end = (reinterpret_cast<uintptr_t>(made) + bytes) / page * page;
  if (from < end) madvise(reinterpret_cast<void *>(from), end - from, MADV_HUGEPAGE);  // a wish
  return static_cast<std::byte *>(made);
}

void Volume::fill(double value) {
  for (int32_t z = 0; z < size().depth; ++z) {
    for (int32_t y = 0; y < size().height; ++y) fillRow(y, z, 0, size().width, value);
  }
}

void Volume::fillRow(int32_t y, int32_t z, int32_t from, int32_t end, double value) {
  const double stored = biased ? value + kBias : value;
  withVoxelType(type, [&]<class T>() {
    T voxel;
    if constexpr (std::is_same_v<T, float>) {
      voxel = static_cast<float>(stored);
    } else {
      voxel = static_cast<T>(std::clamp<double>(std::nearbyint(stored), std::numeric_limits<T>::min(),
                                                std::numeric_limits<T>::max()));
    }
    std::fill(row<T>(y, z) + from, row<T>(y, z) + end, voxel);
  });
}

void Volume::fillMargin(int32_t z) {
  const int32_t width = size().width, height = size().height;
  withVoxelType(type, [&]<class T>() {
    for (int32_t y = 0; y < height; ++y) {
      T *const at = row<T>(y, z);
      std::fill_n(at - margin, margin, at[0]);
      std::fill_n(at + width, margin, at[width - 1]);
    }
    for (int32_t k = 1; k <= margin; ++k) {
      std::copy_n(row<T>(0, z) - margin, rowVoxels(), row<T>(-k, z) - margin);
      std::copy_n(row<T>(height - 1, z) - margin, rowVoxels(), row<T>(height - 1 + k, z) - margin);
    }
  });
}

double Volume::valueAt(const std::array<int32_t, 3> &at) const {
  double value = 0;
  withVoxelType(type, [&]<class T>() { value = static_cast<double>(row<T>(at[1], at[2])[at[0]]); });
  return std::isfinite(value) ? value - (biased ? kBias : 0) : 0;
}

}  // namespace vekr_example
