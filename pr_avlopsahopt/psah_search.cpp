#include "pr_avlopsahopt/psah_search.h"

#include <omp.h>

#include <algorithm>
#include <bit>

#include "frame/lanes.h"
#include "pr_avlopsahopt/psah_bins.h"
#include "pr_avlopsahopt/psah_planes_kernels.h"

namespace vekr {
namespace {

// Up to this many patches all planes are tried by counting; above, bins narrow them down.
constexpr int32_t kFewPatches = 36;

// Nodes of more patches give each axis a thread: below, a fork costs more than it saves.
constexpr int32_t kSearchWidthLimit = 4096;

// Costs this close to a limit, as a share of the cost of not splitting, are computed and not pruned.
constexpr double kCostSlack = 1e-9;

// Extremes of a node's patches in lanes of axes.
struct NodeExtremes {
  float low[4];
  float high[4];
  int32_t flats[4];
};

using AxisLanes = VEKR_ISA::Float<4>;
using AxisCounts = VEKR_ISA::Int<4>;

NodeExtremes measure(const SearchNode &node) {
  AxisLanes low = AxisLanes::load(node.bounds[0].low), high = AxisLanes::load(node.bounds[0].high);
  AxisCounts flats = 0;
  for (int32_t i = 0; i < node.count; ++i) {
    const AxisLanes from = AxisLanes::load(node.bounds[i].low), to = AxisLanes::load(node.bounds[i].high);
    low = minOf(low, from);
    high = maxOf(high, to);
    flats = countedIn(flats, from == to);
  }
  NodeExtremes extremes;
  low.store(extremes.low);
  high.store(extremes.high);
  flats.store(extremes.flats);
  return extremes;
}

// What an axis has to offer.
struct AxisFinding {
  enum Kind { none, emptySpace, wall, plane } kind = none;
  double cost;  // as compared between axes
  Best best;    // a plane's counts are not known yet
};

class Search {
 public:
  Search(const SearchNode &node, double unsplit, double leastGain, void *const (*scratch)[4])
      : node_(node),
        unsplit_(unsplit),
        scratch_(scratch),
        extremes_(measure(node)),
        cells_{AxisCell(node.box, 0), AxisCell(node.box, 1), AxisCell(node.box, 2)} {
    worth_ = unsplit - leastGain / node.count + kCostSlack * unsplit;
    isInside_ = node.count <= kExactCount;
    for (int32_t axis = 0; axis < 3; ++axis) {
      findings_[axis].cost = unsplit;
      isInside_ &= extremes_.low[axis] >= node.box[axis] && extremes_.high[axis] <= node.box[axis + 3];
    }
  }

  // Searches the axes of a list.
  void run(const int32_t *axes, int32_t axisCount) {
    int32_t pending[3], pendingCount = 0;
    for (int32_t i = 0; i < axisCount; ++i) {
      if (!searchAround(axes[i])) pending[pendingCount++] = axes[i];
    }
    if (node_.count <= kFewPatches) {
      if (pendingCount > 0) tryFew(pending, pendingCount);
    } else if (pendingCount > 0) {
      tryMany(pending, pendingCount);
    }
  }

  double cost(int32_t axis) const { return findings_[axis].cost; }

  VekrSplitRecord record(int32_t axis) const {
    const AxisFinding &finding = findings_[axis];
    Best best = finding.best;
    if (finding.kind == AxisFinding::plane) countSides(axis, best);
    if (finding.kind != AxisFinding::wall) {
      best.plane = signZero(best.plane, axis, finding.kind == AxisFinding::emptySpace && best.right == 0);
    }
    return {finding.cost, best.plane, axis, static_cast<int32_t>(best.left), static_cast<int32_t>(best.right),
            best.sideFlag};
  }

 private:
  // Looks for empty space and at the walls. Returns whether the axis is done.
  bool searchAround(int32_t axis) {
    AxisFinding &finding = findings_[axis];
    const AxisCell &cell = cells_[axis];
    float first = extremes_.low[axis], last = extremes_.high[axis];
    const int32_t flatCount = extremes_.flats[axis];
    if (flatCount == node_.count) {
      // Without spans the walls stand in, so that no empty space is cut off a node of flat patches alone.
      first = cell.lo < first ? cell.lo : first;
      last = cell.hi > last ? cell.hi : last;
    }
    if (cutEmptySpace(cell, first, last, node_.count, finding.best)) {
      finding.kind = AxisFinding::emptySpace;
      finding.cost = (cell.rim * kFavour) * finding.best.cost;
      tightenWorth(finding.cost);
      return true;
    }
    if (flatCount > 0 && (first <= cell.lo || last >= cell.hi)) searchWalls(axis, cell, finding);
    return false;
  }

  void tightenWorth(double cost) {
    const double bound = cost + kCostSlack * unsplit_;
    worth_ = bound < worth_ ? bound : worth_;
  }

  void searchWalls(int32_t axis, const AxisCell &cell, AxisFinding &finding) {
    int32_t atLo = 0, atHi = 0, beyondLo = 0, beyondHi = 0;
    for (int32_t i = 0; i < node_.count; ++i) {
      const float low = node_.bounds[i].low[axis], high = node_.bounds[i].high[axis];
      const bool isFlat = low == high;
      atLo += isFlat & (low == cell.lo);
      atHi += isFlat & (low == cell.hi);
      beyondLo += isFlat & (low < cell.lo);
      beyondHi += isFlat & (low > cell.hi);
    }
    const bool isLoOutermost = beyondLo == 0, isHiOutermost = beyondHi == 0;
    offerWalls(cell, isLoOutermost ? atLo : 0, isHiOutermost ? atHi : 0, node_.count, finding.best);
    if (finding.best.cost < Best().cost) {
      finding.kind = AxisFinding::wall;
      finding.cost = cell.rim * finding.best.cost;
    }
  }

  // Whether no plane of the sweep can be of use. With patches on both sides a plane costs at least what one of them does
  // all along the cell; with a side empty, at least what all cost in the nine tenths that aren't empty space.
  bool isHopeless(int32_t axis, const AxisCell &cell) const {
    if (!isInside_ || extremes_.flats[axis] == node_.count) return false;
    const double count = node_.count, most = 0.899 * count;
    const double least =
        count * cell.offset + static_cast<double>(cell.extent()) * (most < 1.0 ? most : 0.999999);
    return cell.rim * least > worth_;
  }

  void takeChoice(AxisFinding &finding, const AxisCell &cell, const PlaneChoice &choice) {
    if (!(choice.cost < finding.best.cost)) return;
    finding.best.cost = choice.cost;
    finding.best.plane = choice.plane;
    finding.kind = AxisFinding::plane;
    finding.cost = cell.rim * choice.cost;
  }

  void tryFew(const int32_t *axes, int32_t axisCount) {
    constexpr int32_t kRow = 2 * kFewPatches + kPlaneGroup;
    static constexpr int32_t kNone[kRow] = {};
    float planes[4][kRow];
    bool isFilled = false;
    for (int32_t i = 0; i < axisCount; ++i) {
      const int32_t axis = axes[i];
      const AxisCell &cell = cells_[axis];
      if (isHopeless(axis, cell)) continue;
      if (!isFilled) fillPlanes(planes[0], kRow);
      isFilled = true;
      const int32_t count = node_.count;
      float flats[kFewPatches];
      int32_t flatCount = 0;
      float lastEnd = cell.hi;
      if (extremes_.flats[axis] > 0)
        lastEnd = gatherFlats(planes[axis], planes[axis] + count, count, flats, &flatCount);
      const PlaneTrial trial = {cell.lo, cell.hi,   cell.offset,  count, planes[axis],         2 * count,
                                kNone,   kNone,     planes[axis], count, planes[axis] + count, count,
                                flats,   flatCount, lastEnd};
      takeChoice(findings_[axis], cell, VEKR_DISPATCH(ownTryPlanes)(trial));
    }
  }

  // Lows and highs, a row for each axis.
  void fillPlanes(float *planes, int32_t row) const {
    int32_t at = 0;
    for (int32_t half = 0; half < 8; half += 4) {
      for (int32_t i = 0; i < node_.count; i += 4, at += 4) {
        AxisLanes v[4];
        for (int32_t k = 0; k < 4; ++k) {
          const int32_t patch = i + k < node_.count ? i + k : node_.count - 1;
          v[k] = AxisLanes::load(half == 0 ? node_.bounds[patch].low : node_.bounds[patch].high);
        }
        transpose(v);
        for (int32_t axis = 0; axis < 3; ++axis) v[axis].store(planes + axis * row + at);
      }
      at = node_.count;
    }
  }

  // Counting comes first on every axis, so that each is chosen from with the bounds of all; without threads, the most
  // promising axis first, and the others with its cost as a limit. Limits only spare work: the result is the same.
  void tryMany(const int32_t *axes, int32_t axisCount) {
    const auto searchOf = [&](int32_t axis) {
      return AxisSearch{cells_[axis],          node_.bounds,         node_.count, axis,
                        extremes_.flats[axis], extremes_.high[axis], isInside_,   scratch_[axis]};
    };
    AxisBins bins[3] = {AxisBins(searchOf(0)), AxisBins(searchOf(1)), AxisBins(searchOf(2))};
    double bounds[3];
    const auto bound = [&](int32_t axis) { bounds[axis] = cells_[axis].rim * bins[axis].leastUpperBound(); };
    const auto choose = [&](int32_t axis) {
      takeChoice(findings_[axis], cells_[axis], bins[axis].choosePlane(worth_ / cells_[axis].rim));
    };
    if (node_.count > kSearchWidthLimit && axisCount > 1) {
      // A team larger than the machine sleeps and wakes at each region, which costs more than an axis.
      const int32_t team = std::min(axisCount, omp_get_num_procs());
#pragma omp parallel for schedule(static) num_threads(team)
      for (int32_t i = 0; i < axisCount; ++i) {
        AxisBins *one[3] = {};
        one[axes[i]] = &bins[axes[i]];
        AxisBins::countExtents(one);
        bound(axes[i]);
      }
      for (int32_t i = 0; i < axisCount; ++i) tightenWorth(bounds[axes[i]]);
#pragma omp parallel for schedule(static) num_threads(team)
      for (int32_t i = 0; i < axisCount; ++i) choose(axes[i]);
      return;
    }
    AxisBins *all[3] = {};
    for (int32_t i = 0; i < axisCount; ++i) all[axes[i]] = &bins[axes[i]];
    AxisBins::countExtents(all);
    int32_t order[3];
    for (int32_t i = 0; i < axisCount; ++i) {
      bound(axes[i]);
      tightenWorth(bounds[axes[i]]);
      int32_t place = i;
      for (; place > 0 && bounds[axes[i]] < bounds[order[place - 1]]; --place)
        order[place] = order[place - 1];
      order[place] = axes[i];
    }
    for (int32_t i = 0; i < axisCount; ++i) {
      choose(order[i]);
      tightenWorth(findings_[order[i]].cost);
    }
  }

  // Counts the sides of a plane that was chosen for its cost alone. Of the two sides that patches in the plane may go
  // to, the right one comes first.
  void countSides(int32_t axis, Best &best) const {
    const float plane = best.plane;
    int64_t lowsBelow = 0, highsPassed = 0, inPlane = 0;
    for (int32_t i = 0; i < node_.count; ++i) {
      const float low = node_.bounds[i].low[axis], high = node_.bounds[i].high[axis];
      lowsBelow += low < plane;
      highsPassed += high <= plane;
      inPlane += low == plane && high == plane;
    }
    best.cost = Best().cost;
    best.offerSides(cells_[axis], plane, lowsBelow, node_.count - highsPassed, inPlane);
  }

  // Zeros of different sign are equal, so which one comes up as a plane depends on the method of search. The result takes
  // the one that a total order would: -0 where planes are reached from below, 0 for the last end [C11].
  float signZero(float plane, int32_t axis, bool isLastEnd) const {
    if (plane != 0.0f) return plane;
    bool hasNegative = false, hasPositive = false;
    for (int32_t i = 0; i < node_.count; ++i) {
      const float extremes[] = {node_.bounds[i].low[axis], node_.bounds[i].high[axis]};
      for (const float x : extremes) {
        hasNegative |= std::bit_cast<uint32_t>(x) == 0x80000000u;
        hasPositive |= std::bit_cast<uint32_t>(x) == 0u;
      }
    }
    return isLastEnd ? (hasPositive ? 0.0f : -0.0f) : (hasNegative ? -0.0f : 0.0f);
  }

  const SearchNode &node_;
  const double unsplit_;
  void *const (*const scratch_)[4];
  const NodeExtremes extremes_;
  const AxisCell cells_[3];
  double worth_;   // what costs more is of no use
  bool isInside_;  // all extents lie within the cell, and counts are exact: bounds on costs hold
  AxisFinding findings_[3];
};

}  // namespace

void localFindBestSplitSortSearch_MT(VekrSplitRecord *pRecord, const SearchNode &node,
                                     void *const (*scratch)[4], float traversalCost) {
  const double unsplit = pRecord->cost;
  pRecord->axis = -1;
  int32_t wide[3], wideCount = 0;
  for (int32_t axis = 0; axis < 3; ++axis) {
    if (node.box[axis + 3] - node.box[axis] > kLeastExtent) wide[wideCount++] = axis;
  }
  if (wideCount < 2) return;

  // The surface area heuristic, multiplied out: patches times what is saved, against a step of traversal. The floor
  // keeps a cell without surface from splitting.
  const double floor = static_cast<double>(kLeastExtent), step = unsplit * static_cast<double>(traversalCost);
  const double leastGain = floor < step ? step : floor;
  Search search(node, unsplit, leastGain, scratch);
  search.run(wide, wideCount);

  // Equal costs fall to the higher axis [C10].
  int32_t axis;
  if (search.cost(1) > search.cost(0)) {
    axis = search.cost(2) > search.cost(0) ? 0 : 2;
  } else {
    axis = search.cost(2) > search.cost(1) ? 1 : 2;
  }
  const double gain = static_cast<double>(node.count) * (unsplit - search.cost(axis));
  if (gain > leastGain) *pRecord = search.record(axis);
}

}  // namespace vekr
