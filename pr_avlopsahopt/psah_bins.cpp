#include "pr_avlopsahopt/psah_bins.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "frame/vector_sort.h"
#include "pr_avlopsahopt/psah_radix_sort.h"

namespace vekr {
namespace {

using VEKR_ISA::Float;
using VEKR_ISA::Int;

constexpr int32_t kLeastBins = 16;
constexpr int32_t kPatchesPerBin = 4;

// Up to this many planes are tried by counting; more are sorted and swept.
constexpr int32_t kTrialLimit = 192;

// Patches that are counted at once, and bins whose costs are bounded at once.
constexpr int32_t kGroup = 4;
using Bins = Int<kGroup>;
using Bounds = VEKR_ISA::Double<kGroup>;
constexpr int32_t kFirstBins[kGroup] = {0, 1, 2, 3};

// A place has the bin of the low in its lower half, that of the high in its upper half.
constexpr int kHighShift = 16;
constexpr int32_t kBinMask = 0xFFFF;

// Longer lists go to the radix sort.
constexpr int32_t kRadixLimit = 320;

void sortValues(float *values, float *work, int32_t count) {
  if (count > kRadixLimit) {
    ownRadixSortAccend_32f_w7(values, work, count);
  } else {
    veksSortAscend_32f_I(values, count);
  }
}

}  // namespace

int32_t AxisBins::binCountFor(int32_t patchCount) {
  int32_t bins = kLeastBins;
  while (bins < kMostBins && bins * kPatchesPerBin < patchCount) bins *= 2;
  return bins;
}

AxisBins::AxisBins(const AxisSearch &search)
    : search_(search),
      binCount_(binCountFor(search.count)),
      lastBin_(static_cast<float>(binCount_ - 1)),
      scale_(static_cast<float>(binCount_) / search.cell.extent()),
      lows_(static_cast<float *>(search.scratch[0])),
      highs_(static_cast<float *>(search.scratch[1])),
      flats_(static_cast<float *>(search.scratch[2])),
      places_(static_cast<int32_t *>(search.scratch[3])) {}

// Greater values never have lower bins. What lies outside the cell, or is a NaN, goes to the bins at the ends.
template <int N>
inline Int<N> AxisBins::binsOf(Float<N> x) const {
  const Float<N> position = maxOf((x - Float<N>(search_.cell.lo)) * Float<N>(scale_), Float<N>(0.0f));
  return truncated(minOf(position, Float<N>(lastBin_)));
}

void AxisBins::clearCounts() {
  std::memset(lowsBelow_, 0, sizeof(int32_t) * static_cast<size_t>(binCount_ + 1));
  std::memset(highsBelow_, 0, sizeof(int32_t) * static_cast<size_t>(binCount_ + 1));
}

template <int N>
inline void AxisBins::countGroup(int32_t i, Float<N> low, Float<N> high) {
  low.store(lows_ + i);
  high.store(highs_ + i);
  const Int<N> places = binsOf(low) + shiftedLeft<kHighShift>(binsOf(high));
  places.store(places_ + i);
  for (int lane = 0; lane < N; ++lane) {
    const int32_t place = places_[i + lane];
    ++lowsBelow_[(place & kBinMask) + 1];
    ++highsBelow_[(place >> kHighShift) + 1];
  }
}

void AxisBins::finishCounts() {
  for (int32_t bin = 0; bin < binCount_; ++bin) {
    lowsBelow_[bin + 1] += lowsBelow_[bin];
    highsBelow_[bin + 1] += highsBelow_[bin];
  }
  lowCount_ = highCount_ = search_.count;
  lastEnd_ = search_.greatest;
  if (search_.flatCount > 0) lastEnd_ = gatherFlats(lows_, highs_, search_.count, flats_, &flatCount_);
}

void AxisBins::countExtents(AxisBins *const (&axes)[3]) {
  AxisBins *const any = axes[0] != nullptr ? axes[0] : axes[1] != nullptr ? axes[1] : axes[2];
  const VekrPatchBounds *const bounds = any->search_.bounds;
  const int32_t count = any->search_.count;
  for (AxisBins *bins : axes) {
    if (bins != nullptr) bins->clearCounts();
  }
  int32_t i = 0;
  for (; i + kGroup <= count; i += kGroup) {
    Float<kGroup> low[kGroup], high[kGroup];
    for (int32_t k = 0; k < kGroup; ++k) {
      low[k] = Float<kGroup>::load(bounds[i + k].low);
      high[k] = Float<kGroup>::load(bounds[i + k].high);
    }
    transpose(low);
    transpose(high);
    for (int32_t axis = 0; axis < 3; ++axis) {
      if (axes[axis] != nullptr) axes[axis]->countGroup(i, low[axis], high[axis]);
    }
  }
  for (; i < count; ++i) {
    for (int32_t axis = 0; axis < 3; ++axis) {
      if (axes[axis] != nullptr) axes[axis]->countGroup<1>(i, bounds[i].low[axis], bounds[i].high[axis]);
    }
  }
  for (AxisBins *bins : axes) {
    if (bins != nullptr) bins->finishCounts();
  }
}

// A bin with an extent in it holds a plane, which costs no more than all that could lie on either side would at the bin's
// far wall.
double AxisBins::leastUpperBound() const {
  if (!search_.mayPrune) return Best().cost;
  const double wide = static_cast<double>(search_.cell.extent());
  const Bounds offset = search_.cell.offset, extent = wide, width = wide / binCount_,
               slack = wide * kWallSlack;
  const int32_t lastBin = binOf(lastEnd_);
  const Bins count = search_.count, end = lastBin + 1;
  Bounds least = Best().cost;
  Bins number = Bins::load(kFirstBins);
  for (int32_t bin = 0; bin <= lastBin; bin += kGroup, number = number + Bins(kGroup)) {
    const Bins lowsBefore = Bins::load(lowsBelow_ + bin), lowsWithin = Bins::load(lowsBelow_ + bin + 1);
    const Bins highsBefore = Bins::load(highsBelow_ + bin), highsWithin = Bins::load(highsBelow_ + bin + 1);
    const Bounds below = offset + (widened(number + Bins(1)) * width + slack);
    const Bounds above = offset + (extent - widened(number) * width + slack);
    const Bounds upper = widened(lowsWithin) * below + widened(count - highsBefore) * above;
    const auto isOut = ((lowsBefore == lowsWithin) & (highsBefore == highsWithin)) | !(number < end);
    least = minOf(upper + widened(kept(isOut, Float<kGroup>(__builtin_inff()))), least);
  }
  double lanes[kGroup];
  least.store(lanes);
  return std::min(std::min(lanes[0], lanes[1]), std::min(lanes[2], lanes[3]));
}

// Marks the bins that may hold a plane within the limit, and counts what lies in the others: it is left out of the lists.
// False if no extent is left.
bool AxisBins::mark(double limit) {
  const double wide = static_cast<double>(search_.cell.extent());
  const Bounds offset = search_.cell.offset, extent = wide, width = wide / binCount_,
               slack = wide * kWallSlack;
  const Bins count = search_.count, lastBin = binOf(lastEnd_);
  std::memset(marked_, 0, static_cast<size_t>(binCount_));
  bool hasMarks = false;
  int32_t lowsMarked = 0, highsMarked = 0;
  Bins number = Bins::load(kFirstBins);
  for (int32_t bin = 0; bin < binCount_; bin += kGroup, number = number + Bins(kGroup)) {
    const Bins lowsBefore = Bins::load(lowsBelow_ + bin), highsWithin = Bins::load(highsBelow_ + bin + 1);
    const Bounds below = offset + maxOf(widened(number) * width - slack, Bounds(0.0));
    const Bounds above = offset + maxOf(extent - widened(number + Bins(1)) * width - slack, Bounds(0.0));
    const Bounds lower = widened(lowsBefore) * below + widened(count - highsWithin) * above;
    const auto isOut = narrowed(Bounds(limit) < lower) | (lastBin < number);
    auto marks = static_cast<uint32_t>(search_.mayPrune ? bits(!isOut) : (1 << kGroup) - 1);
    for (; marks != 0; marks &= marks - 1) {
      const int32_t one = bin + std::countr_zero(marks);
      const int32_t lows = lowsBelow_[one + 1] - lowsBelow_[one],
                    highs = highsBelow_[one + 1] - highsBelow_[one];
      marked_[one] = true;
      hasMarks |= (lows | highs) != 0;
      lowsOut_[one] = lowsBelow_[one] - lowsMarked;
      highsOut_[one] = highsBelow_[one] - highsMarked;
      lowsMarked += lows;
      highsMarked += highs;
    }
  }
  return hasMarks;
}

// binAt(i): the bin of values[i].
template <class BinAt>
inline int32_t AxisBins::keepMarked(float *values, int32_t count, const BinAt &binAt) const {
  int32_t kept = 0;
  for (int32_t i = 0; i < count; ++i) {
    const float value = values[i];
    const int32_t bin = binAt(i);
    values[kept] = value;
    kept += marked_[bin];
  }
  return kept;
}

PlaneChoice AxisBins::choosePlane(double limit) {
  if (!mark(limit)) return {Best().cost, 0.0f};
  lowCount_ = keepMarked(lows_, lowCount_, [&](int32_t i) { return places_[i] & kBinMask; });
  highCount_ = keepMarked(highs_, highCount_, [&](int32_t i) { return places_[i] >> kHighShift; });
  flatCount_ = keepMarked(flats_, flatCount_, [&](int32_t i) { return binOf(flats_[i]); });
  return lowCount_ + highCount_ <= kTrialLimit && search_.count <= kExactCount ? tryPlanes() : sweepPlanes();
}

PlaneChoice AxisBins::tryPlanes() const {
  float planes[kTrialLimit + kPlaneGroup];
  int32_t lowsBefore[kTrialLimit + kPlaneGroup] = {}, highsBefore[kTrialLimit + kPlaneGroup] = {};
  int32_t count = 0;
  const auto add = [&](const float *values, int32_t valueCount) {
    for (int32_t i = 0; i < valueCount; ++i, ++count) {
      const int32_t bin = binOf(values[i]);
      planes[count] = values[i];
      lowsBefore[count] = lowsOut_[bin];
      highsBefore[count] = highsOut_[bin];
    }
  };
  add(lows_, lowCount_);
  add(highs_, highCount_);
  const AxisCell &cell = search_.cell;
  const PlaneTrial trial = {cell.lo, cell.hi,    cell.offset, search_.count, planes,
                            count,   lowsBefore, highsBefore, lows_,         lowCount_,
                            highs_,  highCount_, flats_,      flatCount_,    lastEnd_};
  return VEKR_DISPATCH(ownTryPlanes)(trial);
}

// Walks all planes in ascending order, each list with a cursor of its own.
PlaneChoice AxisBins::sweepPlanes() const {
  auto *work = static_cast<float *>(search_.scratch[3]);
  sortValues(lows_, work, lowCount_);
  sortValues(highs_, work, highCount_);
  sortValues(flats_, work, flatCount_);
  const AxisCell &cell = search_.cell;
  Best best;
  int32_t low = 0, high = 0, flat = 0;
  while (low < lowCount_ || high < highCount_) {
    float plane;
    if (low < lowCount_) {
      plane = high < highCount_ && highs_[high] < lows_[low] ? highs_[high] : lows_[low];
    } else {
      plane = highs_[high];
    }
    if (plane > lastEnd_) break;
    const int32_t bin = binOf(plane);
    const int64_t lowsBelow = static_cast<int64_t>(lowsOut_[bin]) + low;
    while (low < lowCount_ && !(lows_[low] > plane)) ++low;
    while (high < highCount_ && !(highs_[high] > plane)) ++high;
    while (flat < flatCount_ && flats_[flat] < plane) ++flat;
    const int32_t firstInPlane = flat;
    while (flat < flatCount_ && !(flats_[flat] > plane)) ++flat;
    const int64_t notPassed = static_cast<int64_t>(search_.count) - highsOut_[bin] - high;
    best.offerSides(cell, plane, lowsBelow, notPassed, flat - firstInPlane);
  }
  return {best.cost, best.plane};
}

}  // namespace vekr
