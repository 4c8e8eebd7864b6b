// A leaf's triangles against a segment, several at once.
//
// A segment ends at its first blocker, and the numbers behind it in the leaf need not be those of records. So triangles are
// tested several at once only where their records are known to be there: between two that have been read.
#pragma once

#include <algorithm>

#include "intersect/records_test.h"
#include "intersect/segments.h"

namespace vekr::VEKR_ISA {

inline bool areThere(const RecordsMet &met, const int32_t *numbers, int32_t count) {
  for (int32_t k = 0; k < count; ++k) {
    if (numbers[k] < met.lowest || met.highest < numbers[k]) return false;
  }
  return true;
}

// The first of `count` triangles, in their order, that blocks the segment, or -1.
inline int32_t firstBlocker(const VekrTriangleAccel *records, const int32_t *numbers, int32_t count,
                            const Ray &segment, RecordsMet &met) {
  const auto mayHit = [&]<int W>(const RecordsTest<W> &test) { return test.t < Float<W>(kSegmentEnd); };
  int32_t blocker = -1;
  const auto take = [&](const Candidate &hit) { blocker = blocker < 0 ? hit.triangle : blocker; };
  while (count > 0 && blocker < 0) {
    int32_t tested = std::min(count, 8);
    if (!areThere(met, numbers, tested)) {
      tested = 1;
      met.lowest = std::min(met.lowest, numbers[0]);
      met.highest = std::max(met.highest, numbers[0]);
      if (isBlocked(records[numbers[0]], segment)) blocker = numbers[0];
    } else if (tested > 4) {
      testGroup<RecordsTest, 8>(records, numbers, tested, segment, mayHit, take);
    } else {
      testGroup<RecordsTest, 4>(records, numbers, tested, segment, mayHit, take);
    }
    numbers += tested, count -= tested;
  }
  return blocker;
}

}  // namespace vekr::VEKR_ISA
