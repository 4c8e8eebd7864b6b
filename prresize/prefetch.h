// Source rows, asked for before they are needed: a reduction reads more than it computes, and would wait for memory row by
// row. One line is asked for beside each group of columns, for a burst of requests stalls what it should hide. For kernel
// files.
#pragma once

#include <cstdint>

#include "frame/lanes.h"
#include "prresize/axis.h"

namespace vekr::VEKR_ISA {

// Destination rows between request and use: longer than memory takes, and few enough for the first-level cache.
constexpr int32_t kRowsAhead = 4;

// How many source rows the taps of row j move in kRowsAhead rows, not beyond `end`.
inline int32_t rowsAhead(const int32_t *index, int32_t j, int32_t end) {
  return index[j + kRowsAhead < end ? j + kRowsAhead : end - 1] - index[j];
}

// What eight columns will need; a reduction to less than a half spreads them over several lines.
template <class Voxel>
void prefetchGroup(const Voxel *row, const int32_t *index) {
  prefetchLine(row + index[0]);
  if constexpr (sizeof(Voxel) == 4) prefetchLine(row + index[4]);
}

// The same of a group of N; of fewer than eight nothing.
template <int N, class Voxel>
void prefetchGroups(const Voxel *row, const int32_t *index) {
  for (int first = 0; first + 8 <= N; first += 8) prefetchGroup(row, index + first);
}

}  // namespace vekr::VEKR_ISA
