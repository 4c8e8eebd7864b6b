#include "pr_avlopsahopt/psah_search.h"

#include <bit>

#include "frame/vector_sort.h"
#include "pr_avlopsahopt/psah_radix_sort.h"

namespace vekr {
namespace {

// Nodes of more patches give each axis a thread.
constexpr int32_t kSearchWidthLimit = 8192;

// Longer lists go to the radix sort.
constexpr int32_t kRadixLimit = 320;

void sortExtents(float *values, float *work, int32_t count) {
  if (count > kRadixLimit) {
    ownRadixSortAccend_32f_w7(values, work, count);
  } else {
    veksSortAscend_32f_I(values, count);
  }
}

int32_t countEqual(const float *values, int32_t count, float wanted) {
  int32_t equal = 0;
  for (int32_t i = 0; i < count; ++i) equal += values[i] == wanted;
  return equal;
}

constexpr uint32_t kNegativeZero = 0x80000000u;

// Zeros of different sign are equal, so methods of sorting differ in which one they bring up. The result takes the
// one that a total order of floats would: -0 where a plane is reached from below, +0 for the last end.
float signZero(float plane, bool isLastEnd, const SearchNode &node, int32_t axis) {
  if (plane != 0.0f) return plane;
  bool negative = false, positive = false;
  for (int32_t i = 0; i < node.count; ++i) {
    const float extremes[] = {node.bounds[i].low[axis], node.bounds[i].high[axis]};
    for (const float x : extremes) {
      negative |= std::bit_cast<uint32_t>(x) == kNegativeZero;
      positive |= std::bit_cast<uint32_t>(x) == 0;
    }
  }
  return isLastEnd ? (positive ? 0.0f : -0.0f) : (negative ? -0.0f : 0.0f);
}

void searchAxis(VekrSplitRecord &record, const SearchNode &node, int32_t axis, void *const *scratch) {
  auto *starts = static_cast<float *>(scratch[0]), *ends = static_cast<float *>(scratch[1]);
  auto *flats = static_cast<float *>(scratch[2]), *work = static_cast<float *>(scratch[3]);
  int32_t spanCount = 0, flatCount = 0;
  for (int32_t i = 0; i < node.count; ++i) {
    const float low = node.bounds[i].low[axis], high = node.bounds[i].high[axis];
    if (low == high) {
      flats[flatCount++] = low;
    } else {
      starts[spanCount] = low;
      ends[spanCount++] = high;
    }
  }
  sortExtents(starts, work, spanCount);
  sortExtents(ends, work, spanCount);
  sortExtents(flats, work, flatCount);

  const AxisCell cell(node.box, axis);
  // Without spans the cell's walls stand in, so that no empty space is cut off a node of flat patches alone.
  float first = spanCount > 0 ? starts[0] : cell.lo, last = spanCount > 0 ? ends[spanCount - 1] : cell.hi;
  if (flatCount > 0) {
    first = flats[0] < first ? flats[0] : first;
    last = flats[flatCount - 1] > last ? flats[flatCount - 1] : last;
  }
  Best best;
  double factor = cell.rim;
  bool zeroIsMeant = false;
  if (cutEmptySpace(cell, first, last, node.count, best)) {
    factor = cell.rim * kFavour;
  } else {
    if (flatCount > 0) {
      const int32_t atLo = flats[0] == cell.lo ? countEqual(flats, flatCount, cell.lo) : 0;
      const int32_t atHi = flats[flatCount - 1] == cell.hi ? countEqual(flats, flatCount, cell.hi) : 0;
      offerWalls(cell, atLo, atHi, node.count, best);
    }
    const double wallCost = best.cost;
    localLeftRightSearch(cell, {starts, ends, flats, spanCount, flatCount}, best);
    zeroIsMeant = best.cost == wallCost;  // the walls' own zero
  }
  record.cost = factor * best.cost;
  record.plane =
      zeroIsMeant ? best.plane : signZero(best.plane, best.right == 0 && factor != cell.rim, node, axis);
  record.left = static_cast<int32_t>(best.left);
  record.right = static_cast<int32_t>(best.right);
  record.sideFlag = best.sideFlag;
}

}  // namespace

void localFindBestSplitSortSearch_MT(VekrSplitRecord *pRecord, const SearchNode &node,
                                     void *const (*scratch)[4], float traversalCost) {
  const double unsplit = pRecord->cost;
  pRecord->axis = -1;
  VekrSplitRecord records[3];
  int32_t wide[3], wideCount = 0;
  for (int32_t axis = 0; axis < 3; ++axis) {
    records[axis] = {unsplit, 0.0f, axis, 0, 0, 1};
    if (node.box[axis + 3] - node.box[axis] > kLeastExtent) wide[wideCount++] = axis;
  }
  if (wideCount < 2) return;

#pragma omp parallel for schedule(static) num_threads(wideCount) if (node.count > kSearchWidthLimit)
  for (int32_t i = 0; i < wideCount; ++i) searchAxis(records[wide[i]], node, wide[i], scratch[wide[i]]);

  // Equal costs fall to the higher axis.
  int32_t axis;
  if (records[1].cost > records[0].cost) {
    axis = records[2].cost > records[0].cost ? 0 : 2;
  } else {
    axis = records[2].cost > records[1].cost ? 1 : 2;
  }
  // The surface area heuristic, multiplied out: patches times what is saved, against a step of traversal. The floor
  // keeps a cell without surface from splitting.
  const double floor = static_cast<double>(kLeastExtent), step = unsplit * static_cast<double>(traversalCost);
  const double gain = static_cast<double>(node.count) * (unsplit - records[axis].cost);
  if (gain > (floor < step ? step : floor)) *pRecord = records[axis];
}

}  // namespace vekr
