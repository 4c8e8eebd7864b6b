#include "pr_avlopsahopt/psah_sweep.h"

namespace vekr {

bool cutEmptySpace(const AxisCell &cell, float first, float last, int64_t count, Best &best) {
  const float margin = kEmptyMargin * cell.extent();
  bool found = false;
  if (first - cell.lo > margin) found |= best.offer(countOf(count) * cell.above(first), first, 0, count, 1);
  if (cell.hi - last > margin) found |= best.offer(countOf(count) * cell.below(last), last, count, 0, 0);
  return found;
}

void offerWalls(const AxisCell &cell, int64_t atLo, int64_t atHi, int64_t count, Best &best) {
  const double whole = cell.offset + static_cast<double>(cell.extent()), nothing = cell.offset + 0.0;
  if (atLo > 0) {
    best.offer(kFavour * (nothing * countOf(atLo) + whole * countOf(count - atLo)), cell.lo, atLo,
               count - atLo, 0);
  }
  if (atHi > 0) {
    best.offer(kFavour * (countOf(count - atHi) * whole + countOf(atHi) * nothing), cell.hi, count - atHi,
               atHi, 1);
  }
}

void localLeftRightSearch(const AxisCell &cell, const SortedExtents &extents, Best &best) {
  const float *const starts = extents.starts, *const ends = extents.ends, *const flats = extents.flats;
  const int32_t spanCount = extents.spanCount, flatCount = extents.flatCount;
  const int64_t count = static_cast<int64_t>(spanCount) + flatCount;
  // Of each list a cursor that counts what lies below the position (ends: at or below), and one past what lies at it.
  int32_t start = 0, end = 0, flat = 0, nextStart = 0, nextFlat = 0;
  float plane = spanCount > 0 ? starts[0] : flats[0];
  if (flatCount > 0 && flats[0] < plane) plane = flats[0];
  for (;;) {
    while (nextStart < spanCount && !(starts[nextStart] > plane)) ++nextStart;
    while (nextFlat < flatCount && !(flats[nextFlat] > plane)) ++nextFlat;
    while (start < nextStart && starts[start] < plane) ++start;
    while (flat < nextFlat && flats[flat] < plane) ++flat;
    while (end < spanCount && !(ends[end] > plane)) ++end;
    const int64_t left = static_cast<int64_t>(start) + flat, right = count - flat - end,
                  atPlane = nextFlat - flat;
    const double below = cell.below(plane), above = cell.above(plane);
    best.offer(countOf(left) * below + countOf(right) * above, plane, left, right, 1);
    if (atPlane > 0) {
      best.offer(countOf(left + atPlane) * below + countOf(right - atPlane) * above, plane, left + atPlane,
                 right - atPlane, 0);
    }
    if (end == spanCount) return;
    float next = ends[end];
    if (nextStart < spanCount && starts[nextStart] < next) next = starts[nextStart];
    if (nextFlat < flatCount && flats[nextFlat] < next) next = flats[nextFlat];
    plane = next;
  }
}

}  // namespace vekr
