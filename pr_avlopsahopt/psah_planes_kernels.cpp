#include "pr_avlopsahopt/psah_planes_kernels.h"

#include "frame/lanes.h"

namespace vekr::VEKR_ISA {
namespace {

constexpr int N = kWidestGroup;
static_assert(kPlaneGroup % N == 0);

constexpr double kLargestDouble = 1.7976931348623157e308;

template <bool kHasFlats>
PlaneChoice tryPlanes(const PlaneTrial &trial) {
  const Float<N> lo = trial.lo, hi = trial.hi, lastEnd = trial.lastEnd;
  const Double<N> offset = trial.offset;
  const Int<N> patchCount = trial.patchCount;
  Double<N> bestCost = kLargestDouble, bestPlane = 0.0;
  const auto offer = [&](Int<N> left, Int<N> right, Double<N> below, Double<N> above, Float<N> plane) {
    Double<N> cost = widened(left) * below + widened(right) * above;
    if constexpr (kHasFlats)
      cost = widened(select(plane <= lastEnd, Float<N>(0.0f), Float<N>(__builtin_inff()))) + cost;
    const Double<N> position = widened(plane);
    const DoubleMask<N> isBetter = (cost < bestCost) | ((cost == bestCost) & (position < bestPlane));
    bestCost = select(isBetter, cost, bestCost);
    bestPlane = select(isBetter, position, bestPlane);
  };
  for (int32_t i = 0; i < trial.planeCount; i += N) {
    const Float<N> plane = Float<N>::load(trial.planes + i);
    Int<N> lowsBelow = Int<N>::load(trial.lowsBefore + i), highsPassed = Int<N>::load(trial.highsBefore + i);
    const int32_t both = trial.lowCount < trial.highCount ? trial.lowCount : trial.highCount;
    for (int32_t k = 0; k < both; ++k) {
      lowsBelow = countedIn(lowsBelow, Float<N>(trial.lows[k]) < plane);
      highsPassed = countedIn(highsPassed, Float<N>(trial.highs[k]) <= plane);
    }
    for (int32_t k = both; k < trial.lowCount; ++k)
      lowsBelow = countedIn(lowsBelow, Float<N>(trial.lows[k]) < plane);
    for (int32_t k = both; k < trial.highCount; ++k)
      highsPassed = countedIn(highsPassed, Float<N>(trial.highs[k]) <= plane);
    const Int<N> notPassed = patchCount - highsPassed;
    const Double<N> below = offset + widened(plane - lo), above = offset + widened(hi - plane);
    if constexpr (kHasFlats) {
      Int<N> inPlane = 0;
      for (int32_t k = 0; k < trial.flatCount; ++k)
        inPlane = countedIn(inPlane, Float<N>(trial.flats[k]) == plane);
      offer(lowsBelow, notPassed + inPlane, below, above, plane);
      offer(lowsBelow + inPlane, notPassed, below, above, plane);
    } else {
      offer(lowsBelow, notPassed, below, above, plane);
    }
  }
  double costs[N], planes[N];
  bestCost.store(costs);
  bestPlane.store(planes);
  int best = 0;
  for (int lane = 1; lane < N; ++lane) {
    if (costs[lane] < costs[best] || (costs[lane] == costs[best] && planes[lane] < planes[best])) best = lane;
  }
  return {costs[best], static_cast<float>(planes[best])};
}

}  // namespace

PlaneChoice ownTryPlanes(const PlaneTrial &trial) {
  // Lanes beyond the last plane hold a NaN, whose cost is never better than anything.
  for (int32_t i = trial.planeCount; i % N != 0; ++i) trial.planes[i] = __builtin_nanf("");
  return trial.flatCount > 0 ? tryPlanes<true>(trial) : tryPlanes<false>(trial);
}

}  // namespace vekr::VEKR_ISA
