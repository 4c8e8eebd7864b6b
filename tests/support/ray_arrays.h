// The arrays of one call on ray planes, and the comparison of a function with its scalar twin over lengths, alignments,
// mask patterns and awkward values.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "support/arrays.h"
#include "support/values.h"

namespace vekr_test {

// Float planes, numbered, and a mask plane behind them: plane number planeCount() stands for the mask wherever planes
// are numbered.
class RayArrays {
 public:
  enum class Place { guarded, pageEnd };

  // Plane `misaligned` starts 4, 8 or 12 bytes behind a 64-byte boundary, the others on one. -1: all planes start on
  // one; -2: all are aligned to 16 bytes and to no more.
  RayArrays(int planeCount, int32_t length, int misaligned = -1) {
    for (int p = 0; p <= planeCount; ++p) {
      const auto offset = static_cast<size_t>(misaligned == -2  ? 16
                                              : p == misaligned ? 4 * (1 + length % 3)
                                                                : 0);
      add(length, Place::guarded, offset, p == planeCount);
    }
  }
  // Plane p has counts[p] entries and lies at places[p].
  RayArrays(const std::vector<int32_t> &counts, const std::vector<Place> &places) {
    for (size_t p = 0; p < counts.size(); ++p) add(counts[p], places[p], 0, p + 1 == counts.size());
  }

  int planeCount() const { return static_cast<int>(planes_.size()); }
  float *plane(int p) { return planes_[static_cast<size_t>(p)]; }
  int32_t *mask() { return mask_; }
  // Planes first, first + 1, first + 2 as a list, as functions take it.
  float *const *triple(int first) { return &planes_[static_cast<size_t>(first)]; }
  int32_t count(int p) const { return counts_[static_cast<size_t>(p)]; }

  bool intact() const {
    return std::all_of(floats_.begin(), floats_.end(), [](const auto &a) { return a->intact(); }) &&
           std::all_of(ints_.begin(), ints_.end(), [](const auto &a) { return a->intact(); });
  }

 private:
  void add(int32_t count, Place place, size_t offset, bool isMask) {
    const auto n = static_cast<size_t>(count);
    counts_.push_back(count);
    if (place == Place::pageEnd && isMask) {
      pageInts_.push_back(std::make_unique<PageEnd<int32_t>>(n));
      mask_ = pageInts_.back()->data();
    } else if (place == Place::pageEnd) {
      pageFloats_.push_back(std::make_unique<PageEnd<float>>(n));
      planes_.push_back(pageFloats_.back()->data());
    } else if (isMask) {
      ints_.push_back(std::make_unique<Guarded<int32_t>>(n, offset));
      mask_ = ints_.back()->data();
    } else {
      floats_.push_back(std::make_unique<Guarded<float>>(n, offset));
      planes_.push_back(floats_.back()->data());
    }
  }

  std::vector<int32_t> counts_;
  std::vector<float *> planes_;
  int32_t *mask_ = nullptr;
  std::vector<std::unique_ptr<Guarded<float>>> floats_;
  std::vector<std::unique_ptr<Guarded<int32_t>>> ints_;
  std::vector<std::unique_ptr<PageEnd<float>>> pageFloats_;
  std::vector<std::unique_ptr<PageEnd<int32_t>>> pageInts_;
};

enum class MaskPattern { allLive, allDead, random, byGroups, halves, oneDead, oneLive, last };

inline void fillMask(int32_t *mask, int32_t length, MaskPattern pattern, Random &random) {
  static constexpr int32_t kLive[] = {0, 1, 7, INT32_MAX};
  static constexpr int32_t kDead[] = {-1, -5, INT32_MIN, -2};
  for (int32_t i = 0; i < length; ++i) {
    bool live = true;
    switch (pattern) {
      case MaskPattern::allLive:
        live = true;
        break;
      case MaskPattern::allDead:
        live = false;
        break;
      case MaskPattern::random:
        live = random.below(2) == 0;
        break;
      case MaskPattern::byGroups:
        live = i / 4 % 2 == 0;
        break;
      case MaskPattern::halves:
        live = i % 8 < 2 || i % 8 >= 6;
        break;
      case MaskPattern::oneDead:
        live = i % 4 != i / 4 % 4;
        break;
      default:
        live = i % 4 == i / 4 % 4;
        break;
    }
    mask[i] = live ? kLive[random.below(4)] : kDead[random.below(4)];
  }
}

enum class Values { ordinary, deadLanesNan, awkward, tiny, last };

// Fills the planes after the mask.
inline void fillPlanes(RayArrays &arrays, Values values, Random &random) {
  for (int p = 0; p < arrays.planeCount(); ++p) {
    for (int32_t i = 0; i < arrays.count(p); ++i) {
      float x = random.within(-4.0f, 4.0f);
      if (values == Values::awkward) x = random.awkward();
      if (values == Values::tiny) x *= random.below(2) == 0 ? 1e-22f : 1e-38f;
      // Bits that come through only if nobody has computed with them.
      if (values == Values::deadLanesNan && arrays.mask()[i] < 0)
        x = fromBits(random.below(2) ? 0xffa12345u : 0x7fb00001u);
      arrays.plane(p)[i] = x;
    }
  }
}

inline void copyArrays(RayArrays &to, RayArrays &from) {
  for (int p = 0; p < to.planeCount(); ++p) {
    std::copy_n(from.plane(p), std::min(to.count(p), from.count(p)), to.plane(p));
  }
  std::copy_n(from.mask(), std::min(to.count(to.planeCount()), from.count(to.planeCount())), to.mask());
}

// Live lanes agree bit for bit, NaN with NaN; in dead lanes, where nothing is computed, even the bits of a NaN agree.
inline ::testing::AssertionResult sameRays(RayArrays &actual, RayArrays &expected,
                                           const int32_t *maskBefore) {
  for (int p = 0; p < actual.planeCount(); ++p) {
    const int32_t count = std::min(actual.count(p), expected.count(p));
    for (int32_t i = 0; i < count; ++i) {
      const float a = actual.plane(p)[i], e = expected.plane(p)[i];
      if (!same(a, e) || (maskBefore[i] < 0 && bitsOf(a) != bitsOf(e))) {
        return ::testing::AssertionFailure()
               << "plane " << p << " at " << i << " (mask " << maskBefore[i] << "): " << a << " instead of "
               << e << std::hex << " (" << bitsOf(a) << ", " << bitsOf(e) << ")";
      }
    }
  }
  for (int32_t i = 0; i < actual.count(actual.planeCount()); ++i) {
    if (actual.mask()[i] != expected.mask()[i]) {
      return ::testing::AssertionFailure()
             << "mask at " << i << ": " << actual.mask()[i] << " instead of " << expected.mask()[i];
    }
  }
  return ::testing::AssertionSuccess();
}

// library(arrays, length) and twin(arrays, length, aligned) over all lengths from 0 to 67, with each plane misaligned
// in turn. `listed`: numbers of the planes whose alignment counts.
template <class Library, class Twin>
void compareWithTwin(int planeCount, const std::vector<int> &listed, Library library, Twin twin) {
  Random random(20101117);
  for (int32_t length = 0; length <= 67; ++length) {
    for (int misaligned = -2; misaligned <= planeCount; ++misaligned) {
      const bool aligned = std::find(listed.begin(), listed.end(), misaligned) == listed.end();
      for (int m = 0; m < static_cast<int>(MaskPattern::last); ++m) {
        RayArrays actual(planeCount, length, misaligned), expected(planeCount, length);
        fillMask(actual.mask(), length, static_cast<MaskPattern>(m), random);
        fillPlanes(actual, static_cast<Values>(random.below(static_cast<int32_t>(Values::last))), random);
        copyArrays(expected, actual);
        const std::vector<int32_t> maskBefore(actual.mask(), actual.mask() + length);
        library(actual, length);
        twin(expected, length, aligned);
        ASSERT_TRUE(sameRays(actual, expected, maskBefore.data()))
            << "length " << length << ", misaligned plane " << misaligned << ", mask pattern " << m;
        ASSERT_TRUE(actual.intact()) << "length " << length << ", misaligned plane " << misaligned;
      }
    }
  }
}

// All arrays end at an unreadable page.
template <class Library, class Twin>
void compareAtPageEnd(int planeCount, const std::vector<int> &listed, Library library, Twin twin) {
  Random random(7);
  const std::vector<RayArrays::Place> places(static_cast<size_t>(planeCount) + 1, RayArrays::Place::pageEnd);
  for (int32_t length = 1; length <= 13; ++length) {
    const std::vector<int32_t> counts(static_cast<size_t>(planeCount) + 1, length);
    for (const MaskPattern pattern : {MaskPattern::allLive, MaskPattern::allDead, MaskPattern::random}) {
      RayArrays actual(counts, places), expected(planeCount, length);
      fillMask(actual.mask(), length, pattern, random);
      fillPlanes(actual, Values::ordinary, random);
      copyArrays(expected, actual);
      const std::vector<int32_t> maskBefore(actual.mask(), actual.mask() + length);
      library(actual, length);
      twin(expected, length, length % 4 == 0 || listed.empty());
      ASSERT_TRUE(sameRays(actual, expected, maskBefore.data())) << "length " << length;
    }
  }
}

// Planes in `unread` have no entries for a last group of four dead rays: the page there is unreadable.
template <class Library, class Twin>
void compareWithUnreadableDeadGroup(int planeCount, const std::vector<int> &unread, Library library,
                                    Twin twin) {
  Random random(8);
  for (const int32_t length : {4, 8, 12, 36}) {
    std::vector<int32_t> counts(static_cast<size_t>(planeCount) + 1, length);
    std::vector<RayArrays::Place> places(counts.size(), RayArrays::Place::guarded);
    for (const int p : unread) {
      counts[static_cast<size_t>(p)] = length - 4;
      places[static_cast<size_t>(p)] = RayArrays::Place::pageEnd;
    }
    RayArrays actual(counts, places), expected(planeCount, length);
    fillMask(actual.mask(), length, MaskPattern::random, random);
    fillMask(actual.mask() + (length - 4), 4, MaskPattern::allDead, random);
    fillPlanes(actual, Values::ordinary, random);
    copyArrays(expected, actual);
    const std::vector<int32_t> maskBefore(actual.mask(), actual.mask() + length);
    library(actual, length);
    twin(expected, length, true);
    ASSERT_TRUE(sameRays(actual, expected, maskBefore.data())) << "length " << length;
    ASSERT_TRUE(actual.intact());
  }
}

// A non-null address that can't be read or written: for calls that must touch nothing.
class Untouchable {
 public:
  template <class T>
  T *as() {
    return reinterpret_cast<T *>(page_.data() + 1);
  }

 private:
  PageEnd<uint64_t> page_{1};
};

inline constexpr int32_t kNoLengths[] = {0, -1, -2, -3, -4, -8, INT32_MIN};

}  // namespace vekr_test
