#include "pr_avlopsahopt/psah_bins.h"

#include <cstring>

#include "frame/vector_sort.h"
#include "pr_avlopsahopt/psah_radix_sort.h"

namespace vekr {
namespace {

constexpr int32_t kLeastBins = 16;
constexpr int32_t kMostBins = 1024;
constexpr int32_t kPatchesPerBin = 4;

// Up to this many planes are tried by counting; more are sorted and swept.
constexpr int32_t kTrialLimit = 192;

// Longer lists go to the radix sort.
constexpr int32_t kRadixLimit = 320;

// A bin's walls are known up to this share of the cell's extent: bin numbers come from a float difference, a product and
// a rounded scale, three roundings of 2^-24 each, and the distance to the far wall from two more.
constexpr double kWallSlack = 1e-6;

int32_t binCountFor(int32_t patchCount) {
  int32_t bins = kLeastBins;
  while (bins < kMostBins && bins * kPatchesPerBin < patchCount) bins *= 2;
  return bins;
}

void sortValues(float *values, float *work, int32_t count) {
  if (count > kRadixLimit) {
    ownRadixSortAccend_32f_w7(values, work, count);
  } else {
    veksSortAscend_32f_I(values, count);
  }
}

// The extents of the patches; flat ones stand in all three lists.
struct Extents {
  float *lows;
  float *highs;
  float *flats;
  int32_t lowCount;
  int32_t highCount;
  int32_t flatCount;
};

class Bins {
 public:
  Bins(const BinnedSearch &search, const Extents &extents, float *work)
      : search_(search),
        cell_(search.cell),
        binCount_(binCountFor(search.count)),
        lastBin_(static_cast<float>(binCount_ - 1)),
        scale_(static_cast<float>(binCount_) / search.cell.extent()),
        extents_(extents),
        work_(work) {
    std::memset(lows_, 0, sizeof(int32_t) * static_cast<size_t>(binCount_));
    std::memset(highs_, 0, sizeof(int32_t) * static_cast<size_t>(binCount_));
  }

  PlaneChoice search() {
    gather();
    if (!mark()) return {Best().cost, 0.0f};
    keepMarked();
    return extents_.lowCount + extents_.highCount <= kTrialLimit && search_.count <= kExactCount ? tryAll()
                                                                                                 : sweep();
  }

 private:
  // Counts up to here are the same in float.
  static constexpr int32_t kExactCount = 1 << 24;

  // Greater values never have lower bins. What lies outside the cell, or is a NaN, goes to the bins at the ends.
  int32_t binOf(float x) const {
    float position = (x - cell_.lo) * scale_;
    position = position > 0.0f ? position : 0.0f;
    return static_cast<int32_t>(position < lastBin_ ? position : lastBin_);
  }

  void gather() {
    const VekrPatchBounds *bounds = search_.bounds;
    const int32_t axis = search_.axis;
    for (int32_t i = 0; i < search_.count; ++i) {
      const float low = bounds[i].low[axis], high = bounds[i].high[axis];
      extents_.lows[i] = low;
      extents_.highs[i] = high;
      ++lows_[binOf(low)];
      ++highs_[binOf(high)];
    }
    extents_.lowCount = extents_.highCount = search_.count;
    lastEnd_ = search_.greatest;
    if (search_.flatCount > 0) gatherFlats();
  }

  void gatherFlats() {
    int32_t flatCount = 0;
    bool hasEnd = false;
    float first = extents_.lows[0];
    for (int32_t i = 0; i < search_.count; ++i) {
      const float low = extents_.lows[i], high = extents_.highs[i];
      if (low == high) {
        extents_.flats[flatCount++] = low;
        first = low < first ? low : first;
      } else if (!hasEnd || high > lastEnd_) {
        lastEnd_ = high;
        hasEnd = true;
      }
    }
    extents_.flatCount = flatCount;
    // With flats alone the first one is the only plane.
    if (!hasEnd) lastEnd_ = first;
  }

  // Marks the bins that may hold the cheapest plane, and counts what lies in those before them; false if there are none.
  bool mark() {
    const double count = static_cast<double>(search_.count), offset = cell_.offset;
    const double extent = static_cast<double>(cell_.extent());
    const double width = extent / binCount_, slack = extent * kWallSlack;
    const int32_t lastBin = binOf(lastEnd_);
    double lower[kMostBins];
    double limit = search_.limit;
    int32_t lowsBefore = 0, highsBefore = 0;
    for (int32_t bin = 0; bin <= lastBin; ++bin) {
      const int32_t lowsWithin = lowsBefore + lows_[bin], highsWithin = highsBefore + highs_[bin];
      const double nearBelow = bin * width - slack, nearAbove = extent - (bin + 1) * width - slack;
      const double farBelow = (bin + 1) * width + slack, farAbove = extent - bin * width + slack;
      lower[bin] = lowsBefore * (offset + (nearBelow > 0.0 ? nearBelow : 0.0)) +
                   (count - highsWithin) * (offset + (nearAbove > 0.0 ? nearAbove : 0.0));
      const double upper = lowsWithin * (offset + farBelow) + (count - highsBefore) * (offset + farAbove);
      const bool isEmpty = lows_[bin] + highs_[bin] == 0;
      limit = !isEmpty && upper < limit ? upper : limit;
      lowsBefore = lowsWithin;
      highsBefore = highsWithin;
    }
    // What is not marked is left out of the lists; from here on it is counted by bin.
    bool hasMarks = false;
    int32_t lowsOut = 0, highsOut = 0;
    for (int32_t bin = 0; bin < binCount_; ++bin) {
      const bool isMarked = !search_.mayPrune || (bin <= lastBin && !(lower[bin] > limit));
      const int32_t lows = lows_[bin], highs = highs_[bin];
      marked_[bin] = isMarked;
      hasMarks |= isMarked && lows + highs > 0;
      lows_[bin] = lowsOut;
      highs_[bin] = highsOut;
      lowsOut += isMarked ? 0 : lows;
      highsOut += isMarked ? 0 : highs;
    }
    return hasMarks;
  }

  int32_t keepMarked(float *values, int32_t count) const {
    int32_t kept = 0;
    for (int32_t i = 0; i < count; ++i) {
      const float value = values[i];
      values[kept] = value;
      kept += marked_[binOf(value)];
    }
    return kept;
  }

  void keepMarked() {
    extents_.lowCount = keepMarked(extents_.lows, extents_.lowCount);
    extents_.highCount = keepMarked(extents_.highs, extents_.highCount);
    extents_.flatCount = keepMarked(extents_.flats, extents_.flatCount);
  }

  PlaneChoice tryAll() const {
    float planes[kTrialLimit + kPlaneGroup];
    int32_t lowsBefore[kTrialLimit + kPlaneGroup] = {}, highsBefore[kTrialLimit + kPlaneGroup] = {};
    int32_t count = 0;
    const auto add = [&](const float *values, int32_t valueCount) {
      for (int32_t i = 0; i < valueCount; ++i, ++count) {
        const int32_t bin = binOf(values[i]);
        planes[count] = values[i];
        lowsBefore[count] = lows_[bin];
        highsBefore[count] = highs_[bin];
      }
    };
    add(extents_.lows, extents_.lowCount);
    add(extents_.highs, extents_.highCount);
    const PlaneTrial trial = {
        cell_.lo,       cell_.hi,           cell_.offset,   search_.count,      planes,
        count,          lowsBefore,         highsBefore,    extents_.lows,      extents_.lowCount,
        extents_.highs, extents_.highCount, extents_.flats, extents_.flatCount, lastEnd_};
    return VEKR_DISPATCH(ownTryPlanes)(trial);
  }

  // Walks all planes in ascending order, each list with a cursor of its own.
  PlaneChoice sweep() {
    const Extents &e = extents_;
    sortValues(e.lows, work_, e.lowCount);
    sortValues(e.highs, work_, e.highCount);
    sortValues(e.flats, work_, e.flatCount);
    Best best;
    int32_t low = 0, high = 0, flat = 0;
    for (;;) {
      float plane;
      if (low < e.lowCount) {
        plane = high < e.highCount && e.highs[high] < e.lows[low] ? e.highs[high] : e.lows[low];
      } else if (high < e.highCount) {
        plane = e.highs[high];
      } else {
        break;
      }
      if (plane > lastEnd_) break;
      const int32_t bin = binOf(plane);
      const int64_t lowsBelow = static_cast<int64_t>(lows_[bin]) + low;
      while (low < e.lowCount && !(e.lows[low] > plane)) ++low;
      while (high < e.highCount && !(e.highs[high] > plane)) ++high;
      while (flat < e.flatCount && e.flats[flat] < plane) ++flat;
      const int32_t firstInPlane = flat;
      while (flat < e.flatCount && !(e.flats[flat] > plane)) ++flat;
      const int64_t inPlane = flat - firstInPlane,
                    notPassed = search_.count - highs_[bin] - static_cast<int64_t>(high);
      const double below = cell_.below(plane), above = cell_.above(plane);
      best.offer(countOf(lowsBelow) * below + countOf(notPassed + inPlane) * above, plane, 0, 0, 1);
      best.offer(countOf(lowsBelow + inPlane) * below + countOf(notPassed) * above, plane, 0, 0, 0);
    }
    return {best.cost, best.plane};
  }

  const BinnedSearch &search_;
  const AxisCell &cell_;
  const int32_t binCount_;
  const float lastBin_;
  const float scale_;
  Extents extents_;
  float *const work_;
  float lastEnd_ = 0.0f;  // planes beyond it are no candidates
  // Extents by bin; after marking, how many of those left out lie in lower bins.
  int32_t lows_[kMostBins];
  int32_t highs_[kMostBins];
  bool marked_[kMostBins];
};

}  // namespace

PlaneChoice searchByBins(const BinnedSearch &search, void *const *scratch) {
  const Extents extents = {static_cast<float *>(scratch[0]),
                           static_cast<float *>(scratch[1]),
                           static_cast<float *>(scratch[2]),
                           0,
                           0,
                           0};
  return Bins(search, extents, static_cast<float *>(scratch[3])).search();
}

}  // namespace vekr
