#include "pr_avlopsahopt/psah_axis.h"

namespace vekr {

float gatherFlats(const float *lows, const float *highs, int32_t count, float *flats, int32_t *pFlatCount) {
  int32_t flatCount = 0;
  bool hasEnd = false;
  float first = lows[0], last = lows[0];
  // Without branches: which patches are flat can't be foretold.
  for (int32_t i = 0; i < count; ++i) {
    const float low = lows[i], high = highs[i];
    const bool isFlat = low == high, isEnd = (!isFlat) & ((!hasEnd) | (high > last));
    flats[flatCount] = low;
    flatCount += isFlat;
    first = (isFlat & (low < first)) ? low : first;
    last = isEnd ? high : last;
    hasEnd |= !isFlat;
  }
  *pFlatCount = flatCount;
  return hasEnd ? last : first;
}

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

}  // namespace vekr
