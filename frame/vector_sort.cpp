#include "frame/vector_sort.h"

#include "frame/checks.h"

namespace vekr {
namespace {

// A range of at most this many values is finished by selection.
constexpr int32_t kSelectionLimit = 9;

// The smaller half of a range goes on at once and the larger waits, so that a waiting range is at least half of what
// was left above it: 32 entries do for any 32-bit length.
constexpr int kStackDepth = 32;

inline void exchange(float &a, float &b) {
  const float kept = a;
  a = b;
  b = kept;
}

inline void orderPair(float &a, float &b) {
  if (a > b) exchange(a, b);
}

void sortBySelection(float *first, float *last) {
  for (; last > first; --last) {
    float *greatest = first;
    for (float *p = first + 1; p <= last; ++p) {
      if (*p > *greatest) greatest = p;
    }
    exchange(*greatest, *last);
  }
}

// What is left to sort after a partition: first..left and right..last; values equal to the pivot next to the meeting
// point stand in neither.
struct Halves {
  float *left;
  float *right;
};

Halves partition(float *first, float *last) {
  float *middle = first + ((last - first + 1) >> 1);
  orderPair(*first, *last);
  orderPair(*middle, *last);
  orderPair(*first, *middle);
  const float pivot = *middle;
  float *up = first + 1, *down = last;
  for (;;) {
    while (up <= down && !(*up > pivot)) ++up;
    while (*down > pivot) --down;  // stops at the first value at the latest
    if (up >= down) break;
    exchange(*up++, *down--);
  }
  Halves halves = {down, up};  // what lies from `up` on is above the pivot
  while (halves.left > first && !(*halves.left < pivot)) --halves.left;
  return halves;
}

}  // namespace

VekStatus veksSortAscend_32f_I(float *pSrcDst, int32_t len) {
  if (anyNull(pSrcDst)) return vekErrNullPtr;
  if (len < 1) return vekErrSize;
  if (len == 1) return vekOk;
  struct Range {
    float *first;
    float *last;
  };
  Range waiting[kStackDepth];
  int count = 0;
  Range range = {pSrcDst, pSrcDst + (len - 1)};
  for (;;) {
    if (range.last - range.first < kSelectionLimit) {
      sortBySelection(range.first, range.last);
      if (count == 0) return vekOk;
      range = waiting[--count];
      continue;
    }
    const Halves halves = partition(range.first, range.last);
    const Range left = {range.first, halves.left}, right = {halves.right, range.last};
    const bool leftDone = left.last <= left.first, rightDone = right.first >= right.last;
    const bool leftIsSmaller = left.last - left.first < right.last - right.first;
    if (leftDone || rightDone) {
      range = leftDone ? right : left;  // of one value or none if both are done: selection ends it
    } else {
      waiting[count++] = leftIsSmaller ? right : left;
      range = leftIsSmaller ? left : right;
    }
  }
}

}  // namespace vekr
