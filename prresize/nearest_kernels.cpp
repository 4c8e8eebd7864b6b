#include <cstring>

#include "prresize/kernels.h"
#include "volume/convert.h"

namespace vekr::VEKR_ISA {

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
    for (int32_t x = 0; x < axes.width; ++x) storeAs(out + x, loadAs<Voxel>(row + columns[x]));
  }
}

template void ownResizeN(Rows<const uint8_t>, Rows<uint8_t>, const NearestAxes &);
template void ownResizeN(Rows<const uint16_t>, Rows<uint16_t>, const NearestAxes &);
template void ownResizeN(Rows<const float>, Rows<float>, const NearestAxes &);

}  // namespace vekr::VEKR_ISA
