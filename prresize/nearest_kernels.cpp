#include <cstring>

#include "prresize/kernels.h"
#include "prresize/prefetch.h"
#include "volume/convert.h"

namespace vekr::VEKR_ISA {

namespace {

// Rows go by faster than where they are interpolated.
constexpr int32_t kNearestAhead = 8;

}  // namespace

// A row that repeats is copied from the one above, which holds the same voxels and lies in the cache; moved, so that even
// rows that overlap end as if each had been sampled.
template <class Voxel>
void ownResizeN(Rows<const Voxel> source, Rows<Voxel> destination, const NearestAxes &axes) {
  const int32_t *const columns = axes.x;
  for (int32_t y = 0; y < axes.height; ++y) {
    Voxel *const out = destination.row(y);
    if (y > 0 && axes.y[y] == axes.y[y - 1]) {
      std::memmove(out, destination.row(y - 1), static_cast<size_t>(axes.width) * sizeof(Voxel));
      continue;
    }
    const Voxel *const row = source.row(axes.y[y]);
    const Voxel *const ahead = source.row(axes.y[y + kNearestAhead < axes.height ? y + kNearestAhead : y]);
    int32_t x = 0;
    for (; x + 8 <= axes.width; x += 8) {
      prefetchGroup(ahead, columns + x);
      for (int32_t i = x; i < x + 8; ++i) storeAs(out + i, loadAs<Voxel>(row + columns[i]));
    }
    for (; x < axes.width; ++x) storeAs(out + x, loadAs<Voxel>(row + columns[x]));
  }
}

template void ownResizeN(Rows<const uint8_t>, Rows<uint8_t>, const NearestAxes &);
template void ownResizeN(Rows<const uint16_t>, Rows<uint16_t>, const NearestAxes &);
template void ownResizeN(Rows<const float>, Rows<float>, const NearestAxes &);

}  // namespace vekr::VEKR_ISA
