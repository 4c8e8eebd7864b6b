#include "pr_avlopsahopt/psah_bins.h"

#include <cstring>

#include "frame/vector_sort.h"
#include "pr_avlopsahopt/psah_radix_sort.h"

namespace vekr {
namespace {

constexpr int32_t kLeastBins = 16;
constexpr int32_t kPatchesPerBin = 4;

// Up to this many planes are tried by counting; more are sorted and swept.
constexpr int32_t kTrialLimit = 192;

// Longer lists go to the radix sort.
constexpr int32_t kRadixLimit = 320;

void sortValues(float *values, float *work, int32_t count) {
  if (count > kRadixLimit) {
    ownRadixSortAccend_32f_w7(values, work, count);
  } else {
    veksSortAscend_32f_I(values, count);
  }
}

inline double positive(double x) { return x > 0.0 ? x : 0.0; }

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
      flats_(static_cast<float *>(search.scratch[2])) {}

// Greater values never have lower bins. What lies outside the cell, or is a NaN, goes to the bins at the ends.
inline int32_t AxisBins::binOf(float x) const {
  float position = (x - search_.cell.lo) * scale_;
  position = position > 0.0f ? position : 0.0f;
  return static_cast<int32_t>(position < lastBin_ ? position : lastBin_);
}

double AxisBins::countExtents() {
  std::memset(lowsIn_, 0, sizeof(int32_t) * static_cast<size_t>(binCount_));
  std::memset(highsIn_, 0, sizeof(int32_t) * static_cast<size_t>(binCount_));
  const VekrPatchBounds *bounds = search_.bounds;
  const int32_t axis = search_.axis;
  for (int32_t i = 0; i < search_.count; ++i) {
    const float low = bounds[i].low[axis], high = bounds[i].high[axis];
    lows_[i] = low;
    highs_[i] = high;
    ++lowsIn_[binOf(low)];
    ++highsIn_[binOf(high)];
  }
  lowCount_ = highCount_ = search_.count;
  lastEnd_ = search_.greatest;
  if (search_.flatCount > 0) gatherFlats();
  return search_.mayPrune ? leastUpperBound() : Best().cost;
}

void AxisBins::gatherFlats() {
  bool hasEnd = false;
  float first = lows_[0];
  for (int32_t i = 0; i < search_.count; ++i) {
    const float low = lows_[i], high = highs_[i];
    if (low == high) {
      flats_[flatCount_++] = low;
      first = low < first ? low : first;
    } else if (!hasEnd || high > lastEnd_) {
      lastEnd_ = high;
      hasEnd = true;
    }
  }
  // With flats alone the first one is the only plane [C08].
  if (!hasEnd) lastEnd_ = first;
}

// A bin with an extent in it holds a plane, which costs no more than all that could lie on either side would at the bin's
// far wall.
double AxisBins::leastUpperBound() const {
  const double offset = search_.cell.offset, extent = static_cast<double>(search_.cell.extent());
  const double width = extent / binCount_, slack = extent * kWallSlack;
  const int32_t end = binOf(lastEnd_) + 1;
  double least = Best().cost;
  int32_t lowsWithin = 0, highsBefore = 0;
  for (int32_t bin = 0; bin < end; ++bin) {
    lowsWithin += lowsIn_[bin];
    const double below = offset + ((bin + 1) * width + slack),
                 above = offset + (extent - bin * width + slack);
    const double upper = lowsWithin * below + (search_.count - highsBefore) * above;
    highsBefore += highsIn_[bin];
    const bool isEmpty = (lowsIn_[bin] | highsIn_[bin]) == 0;
    least = !isEmpty && upper < least ? upper : least;
  }
  return least;
}

// Marks the bins that may hold a plane within the limit, and replaces the counts: what is not marked is left out of the
// lists, and counted by bin from here on. False if no extent is left.
bool AxisBins::mark(double limit) {
  const double offset = search_.cell.offset, extent = static_cast<double>(search_.cell.extent());
  const double width = extent / binCount_, slack = extent * kWallSlack;
  const int32_t lastBin = binOf(lastEnd_);
  bool hasMarks = false;
  int32_t lowsBefore = 0, highsWithin = 0, lowsOut = 0, highsOut = 0;
  for (int32_t bin = 0; bin < binCount_; ++bin) {
    const int32_t lows = lowsIn_[bin], highs = highsIn_[bin];
    highsWithin += highs;
    const double below = offset + positive(bin * width - slack);
    const double above = offset + positive(extent - (bin + 1) * width - slack);
    const double lower = lowsBefore * below + (search_.count - highsWithin) * above;
    const bool isMarked = !search_.mayPrune || (bin <= lastBin && !(lower > limit));
    lowsBefore += lows;
    marked_[bin] = isMarked;
    hasMarks |= isMarked && (lows | highs) != 0;
    lowsIn_[bin] = lowsOut;
    highsIn_[bin] = highsOut;
    lowsOut += isMarked ? 0 : lows;
    highsOut += isMarked ? 0 : highs;
  }
  return hasMarks;
}

int32_t AxisBins::keepMarked(float *values, int32_t count) const {
  int32_t kept = 0;
  for (int32_t i = 0; i < count; ++i) {
    const float value = values[i];
    values[kept] = value;
    kept += marked_[binOf(value)];
  }
  return kept;
}

PlaneChoice AxisBins::choosePlane(double limit) {
  if (!mark(limit)) return {Best().cost, 0.0f};
  lowCount_ = keepMarked(lows_, lowCount_);
  highCount_ = keepMarked(highs_, highCount_);
  flatCount_ = keepMarked(flats_, flatCount_);
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
      lowsBefore[count] = lowsIn_[bin];
      highsBefore[count] = highsIn_[bin];
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
    const int64_t lowsBelow = static_cast<int64_t>(lowsIn_[bin]) + low;
    while (low < lowCount_ && !(lows_[low] > plane)) ++low;
    while (high < highCount_ && !(highs_[high] > plane)) ++high;
    while (flat < flatCount_ && flats_[flat] < plane) ++flat;
    const int32_t firstInPlane = flat;
    while (flat < flatCount_ && !(flats_[flat] > plane)) ++flat;
    const int64_t notPassed = static_cast<int64_t>(search_.count) - highsIn_[bin] - high;
    best.offerSides(cell, plane, lowsBelow, notPassed, flat - firstInPlane);
  }
  return {best.cost, best.plane};
}

}  // namespace vekr
