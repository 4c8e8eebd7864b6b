// The cheapest plane of one axis, for nodes of many patches.
//
// Only a few planes can be the cheapest, so not all extents are sorted. They are counted into bins along the axis; the
// counts bound the costs within each bin from below and above; bins whose lower bound is above the least upper bound
// are out. What is left is tried exactly. Bounds take in every rounding, so the result is that of trying all planes.
#pragma once

#include <cstdint>

#include "pr_avlopsahopt/psah_axis.h"
#include "pr_avlopsahopt/psah_planes_kernels.h"

namespace vekr {

struct BinnedSearch {
  const AxisCell &cell;
  const VekrPatchBounds *bounds;
  int32_t count;
  int32_t axis;
  int32_t flatCount;
  float greatest;  // of all extents
  bool mayPrune;  // all extents lie within the cell; if not, bounds don't hold
  double limit;   // planes that cost more are of no use
};

// The cheapest plane, the lowest one of several, or a cost as large as can be if none is within the limit.
// `scratch`: four arrays of `count` words.
PlaneChoice searchByBins(const BinnedSearch &search, void *const *scratch);

}  // namespace vekr
