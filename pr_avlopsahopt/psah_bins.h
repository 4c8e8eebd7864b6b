// The cheapest plane of one axis, for nodes of many patches.
//
// Only a few planes can be the cheapest, so not all extents are sorted. They are counted into bins along the axis; the
// counts bound the costs within each bin from below and above; bins whose lower bound is above the least upper bound,
// or above what another axis offers, are out. What is left is tried exactly. The bounds take in every rounding, so the
// result is that of trying all planes.
#pragma once

#include <cstdint>

#include "frame/lanes.h"
#include "pr_avlopsahopt/psah_axis.h"
#include "pr_avlopsahopt/psah_planes_kernels.h"

namespace vekr {

// Counts up to here are the same in float; with more, bounds on costs would have to take in their rounding.
constexpr int32_t kExactCount = 1 << 24;

// What there is to search along an axis.
struct AxisSearch {
  AxisCell cell;
  const VekrPatchBounds *bounds;
  int32_t count;
  int32_t axis;
  int32_t flatCount;
  float greatest;  // of all extents
  bool mayPrune;   // all extents lie within the cell and the count is exact; otherwise bounds don't hold
  void *const *scratch;  // four arrays of `count` words
};

class AxisBins {
 public:
  explicit AxisBins(const AxisSearch &search);

  // Gathers and counts the extents along the axes that aren't null, all of one node, in one pass: neighbours often share a
  // bin, and while one axis waits for its count the others go on.
  static void countExtents(AxisBins *const (&axes)[3]);

  // A cost that the cheapest plane doesn't exceed.
  double leastUpperBound() const;

  // The cheapest plane, the lowest one of several. If it costs more than `limit`, whatever was found on the way, or a cost
  // as large as can be.
  PlaneChoice choosePlane(double limit);

 private:
  static constexpr int32_t kMostBins = 1024;

  // A bin's walls are known up to this share of the cell's extent: bin numbers come from a float difference, a product
  // and a rounded scale, three roundings of 2^-24 each, and the distance to the far wall from two more.
  static constexpr double kWallSlack = 1e-6;

  static int32_t binCountFor(int32_t patchCount);
  template <int N>
  VEKR_ISA::Int<N> binsOf(VEKR_ISA::Float<N> x) const;
  int32_t binOf(float x) const { return binsOf<1>(x).v; }
  template <int N>
  void countGroup(int32_t i, VEKR_ISA::Float<N> low, VEKR_ISA::Float<N> high);
  void clearCounts();
  void finishCounts();
  bool mark(double limit);
  template <class BinAt>
  int32_t keepMarked(float *values, int32_t count, const BinAt &binAt) const;
  PlaneChoice tryPlanes() const;
  PlaneChoice sweepPlanes() const;

  const AxisSearch search_;
  const int32_t binCount_;
  const float lastBin_;
  const float scale_;

  // The extents, after marking those in marked bins; flat patches stand in all three lists.
  float *const lows_;
  float *const highs_;
  float *const flats_;
  int32_t *const places_;  // of each patch, the bin of its low, and from bit 16 on that of its high
  int32_t lowCount_ = 0;
  int32_t highCount_ = 0;
  int32_t flatCount_ = 0;
  float lastEnd_ = 0.0f;  // planes beyond it are no candidates

  // How many extents lie in the bins below each, and below the end; while they are counted, how many lie in the bin before.
  int32_t lowsBelow_[kMostBins + 1];
  int32_t highsBelow_[kMostBins + 1];

  // Of marked bins, how many of the extents that are left out lie below.
  int32_t lowsOut_[kMostBins];
  int32_t highsOut_[kMostBins];
  bool marked_[kMostBins];
};

}  // namespace vekr
