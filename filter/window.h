// What the filter's kernels share: where a destination row's sources lie, and how a sum becomes a voxel.
#pragma once

#include <cstdint>

namespace vekr {

// The source rows under the kernel for one destination row. Row j of plane k, both counted against the source's rising
// coordinates, begins at planes[k] + offset + j * step; column x + i of it meets the row's tap i of voxel x.
struct SourceWindow {
  const int16_t *const *planes;
  int64_t offset;  // in elements
  int64_t step;    // in elements

  const int16_t *row(int32_t k, int32_t j) const { return planes[k] + offset + j * step; }
};

enum class Divide { notAtAll, byShift, byNumber };

struct Divisor {
  Divide how;
  int32_t shift;  // byShift
  float number;   // byNumber; the division in 64 bits too sees it rounded to float [C80]
};

}  // namespace vekr
