// The surface area heuristic along one axis of a node's cell.
#pragma once

#include <bit>
#include <cstdint>

#include "pr_avlopsahopt/psah_state.h"

namespace vekr {

struct VekrSplitRecord {
  double cost;  // of the split; for a whole node, on entry, of not splitting
  float plane;
  int32_t axis;      // 0, 1, 2; -1: no split
  int32_t left;      // patches below the plane
  int32_t right;     // patches above the plane
  int32_t sideFlag;  // 0: patches that lie in the plane go left; else they go right
};

// An axis with no more extent than this isn't searched: 0.00001.
constexpr float kLeastExtent = std::bit_cast<float>(0x3727C5ACu);

// Share of the cell's extent that must lie empty for a cut of empty space.
constexpr float kEmptyMargin = 0.1f;

// 0.7: multiplies the cost of cuts of empty space and of planes with flat patches on a wall.
constexpr double kFavour = static_cast<double>(std::bit_cast<float>(0x3F333333u));

// Below this a cross-section counts as a line.
constexpr double kLeastArea = 1e-9;

// Counts go through float on their way to double.
inline double countOf(int64_t n) { return static_cast<double>(static_cast<float>(n)); }

// A cell along an axis. The half surface of a part of length L is rim * (L + offset), so the rim is left out of all
// comparisons along the axis and multiplied in at the end.
struct AxisCell {
  float lo;
  float hi;
  double rim;
  double offset;

  AxisCell(const float *box, int32_t axis) : lo(box[axis]), hi(box[axis + 3]) {
    const int32_t second = axis == 2 ? 0 : axis + 1, third = axis == 0 ? 2 : axis - 1;
    const float extent1 = box[second + 3] - box[second], extent2 = box[third + 3] - box[third];
    const float area = extent1 * extent2, sum = extent1 + extent2;
    rim = static_cast<double>(sum);
    offset = static_cast<double>(area) < kLeastArea ? 0.0 : static_cast<double>(area) / rim;
  }

  float extent() const { return hi - lo; }
  // Half surface below and above a plane, over the rim. Lengths are taken in float.
  double below(float plane) const { return offset + static_cast<double>(plane - lo); }
  double above(float plane) const { return offset + static_cast<double>(hi - plane); }
};

// The best candidate so far; of equal costs the first one stays.
struct Best {
  double cost = std::bit_cast<double>(0x7FEFFFFFFFFFFFFFull);  // the largest double
  float plane = 0.0f;
  int64_t left = 0;
  int64_t right = 0;
  int32_t sideFlag = 1;

  bool offer(double newCost, float newPlane, int64_t newLeft, int64_t newRight, int32_t newSideFlag) {
    if (!(cost > newCost)) return false;
    *this = {newCost, newPlane, newLeft, newRight, newSideFlag};
    return true;
  }

  // A plane with `lowsBelow` patches that start below it, `notPassed` that end above it, and flat patches in it, which may
  // stand on either side; on the right first.
  void offerSides(const AxisCell &cell, float newPlane, int64_t lowsBelow, int64_t notPassed,
                  int64_t inPlane) {
    const double below = cell.below(newPlane), above = cell.above(newPlane);
    offer(countOf(lowsBelow) * below + countOf(notPassed + inPlane) * above, newPlane, lowsBelow,
          notPassed + inPlane, 1);
    if (inPlane == 0) return;
    offer(countOf(lowsBelow + inPlane) * below + countOf(notPassed) * above, newPlane, lowsBelow + inPlane,
          notPassed, 0);
  }
};

// Gathers the flat ones of `count` patches, by their extents. Returns the last end of a patch that isn't flat; with flats
// alone, the first of them: it is the only plane then [C08].
float gatherFlats(const float *lows, const float *highs, int32_t count, float *flats, int32_t *pFlatCount);

// What cuts of empty space and the walls offer.
// Returns whether a cut was found: it takes precedence over all planes of the sweep [C07].
bool cutEmptySpace(const AxisCell &cell, float first, float last, int64_t count, Best &best);

// Planes on the cell's walls, if `atLo` or `atHi` flat patches, the outermost ones, lie in them.
void offerWalls(const AxisCell &cell, int64_t atLo, int64_t atHi, int64_t count, Best &best);

}  // namespace vekr
