// The best plane of a node.
#pragma once

#include <cstdint>

#include "pr_avlopsahopt/psah_axis.h"

namespace vekr {

// What the search sees of a node.
struct SearchNode {
  const VekrPatchBounds *bounds;  // of its patches
  int32_t count;
  const float *box;  // of its cell
};

// Finds the plane of least cost. `pRecord` holds the cost of not splitting; its axis is -1 afterwards if no split is
// worth it, otherwise the whole record tells the split. `scratch`: four arrays an axis, of `count` words at least.
// The result doesn't depend on threads.
void localFindBestSplitSortSearch_MT(VekrSplitRecord *pRecord, const SearchNode &node,
                                     void *const (*scratch)[4], float traversalCost);

}  // namespace vekr
