// Runs the filter on arrays of exactly the size that a call covers, next to unreadable pages, and checks every voxel
// against the plain twin.
#pragma once

#include <algorithm>
#include <deque>
#include <string>

#include "tests/reference/filter.h"
#include "tests/support/arrays.h"
#include "tests/support/values.h"

namespace vekr_test {

using vekr_reference::FilterCall;

enum class Voxels { any, small, least, largest };

inline int16_t voxelOf(Random &random, Voxels kind) {
  switch (kind) {
    case Voxels::any:
      return static_cast<int16_t>(random.bits());
    case Voxels::small:
      return static_cast<int16_t>(random.below(201) - 100);
    case Voxels::least:
      return -32768;
    case Voxels::largest:
      return 32767;
  }
  return 0;
}

inline std::vector<int32_t> randomTaps(Random &random, VekrVolumeSize size, int32_t low, int32_t high) {
  std::vector<int32_t> taps(static_cast<size_t>(size.width) * size.height * size.depth);
  for (int32_t &tap : taps) tap = low + random.below(high - low + 1);
  return taps;
}

inline std::vector<int32_t> constantTaps(VekrVolumeSize size, int32_t value) {
  return std::vector<int32_t>(static_cast<size_t>(size.width) * size.height * size.depth, value);
}

// Elements whose first byte lies right behind an unreadable page, or whose last byte lies right before one.
class Plane {
 public:
  Plane(size_t count, bool atStart) : elements_(count, atStart ? (4096 - count * 2 % 4096) % 4096 : 0) {}
  int16_t *data() { return elements_.data(); }

 private:
  PageEnd<int16_t> elements_;
};

struct Layout {
  bool atStart = false;     // where the unreadable page lies
  int32_t rowGap = 0;       // elements between rows
  bool upsideDown = false;  // negative steps
  size_t bufferOffset = 0;  // bytes behind a multiple of 16
  int32_t oddStep = 0;      // bytes that the steps have beyond whole elements
};

class FilterRun {
 public:
  FilterRun(FilterCall call, Random &random, Voxels kind = Voxels::any, Layout layout = {})
      : call_(std::move(call)),
        layout_(layout),
        srcWidth_(call_.dst.width + call_.kernel.width - 1),
        srcHeight_(call_.dst.height + call_.kernel.height - 1),
        srcDepth_(call_.dst.depth + call_.kernel.depth - 1),
        srcStep_(srcWidth_ + layout.rowGap),
        dstStep_(call_.dst.width + layout.rowGap),
        srcList_(static_cast<size_t>(srcDepth_)),
        dstList_(static_cast<size_t>(call_.dst.depth)) {
    for (int32_t z = 0; z < srcDepth_; ++z) {
      const size_t count = static_cast<size_t>(srcHeight_ - 1) * srcStep_ + srcWidth_;
      source_.emplace_back(count, layout_.atStart);
      for (size_t i = 0; i < count; ++i) source_.back().data()[i] = voxelOf(random, kind);
      srcList_[z] = reinterpret_cast<const int16_t *>(reinterpret_cast<uintptr_t>(source_.back().data()) +
                                                      2 * srcOrigin());
    }
    for (int32_t z = 0; z < call_.dst.depth; ++z) {
      const size_t count = static_cast<size_t>(call_.dst.height - 1) * dstStep_ + call_.dst.width;
      result_.emplace_back(count, layout_.atStart);
      for (size_t i = 0; i < count; ++i) result_.back().data()[i] = kUntouched;
      dstList_[z] = result_.back().data() +
                    (layout_.upsideDown ? static_cast<int64_t>(call_.dst.height - 1) * dstStep_ : 0);
    }
  }

  const FilterCall &call() const { return call_; }
  // source()(x, y, z), in the destination's coordinates.
  auto source() {
    return [this](int32_t x, int32_t y, int32_t z) -> int16_t & {
      return source_[depthOf(z)].data()[placeOf(x, y)];
    };
  }
  int64_t wideSum(int32_t x, int32_t y, int32_t z) {
    return vekr_reference::wideSum(call_, source(), x, y, z);
  }
  // value(x, y, z) for every source voxel.
  template <class Value>
  void setSource(const Value &value) {
    const VekrVolumeSize kernel = call_.kernel;
    for (int32_t z = 0; z < srcDepth_; ++z) {
      for (int32_t y = 0; y < srcHeight_; ++y) {
        for (int32_t x = 0; x < srcWidth_; ++x) {
          const int32_t sx = x - (kernel.width - 1 - call_.anchor.x),
                        sy = y - (kernel.height - 1 - call_.anchor.y),
                        sz = z - (kernel.depth - 1 - call_.anchor.z);
          source()(sx, sy, sz) = static_cast<int16_t>(value(sx, sy, sz));
        }
      }
    }
  }
  int16_t voxel(int32_t x, int32_t y, int32_t z) {
    const int32_t row = layout_.upsideDown ? call_.dst.height - 1 - y : y;
    return result_[z].data()[static_cast<int64_t>(row) * dstStep_ + x];
  }

  VekStatus run() {
    int32_t size = 0;
    if (const VekStatus status = vekrFilterGetBufSize(call_.dst, call_.kernel, 1, &size); status != vekOk) {
      return status;
    }
    // The unreadable page follows at once, or behind the few bytes that put the buffer's start off a multiple of 16.
    const size_t gap = (16 - layout_.bufferOffset) % 16;
    PageEnd<uint8_t> buffer(static_cast<size_t>(size), gap);
    std::fill(buffer.data(), buffer.data() + buffer.size() + gap, kGarbage);
    PageEnd<int32_t> taps(call_.taps.size(),
                          layout_.atStart ? (4096 - call_.taps.size() * 4 % 4096) % 4096 : 0);
    std::copy(call_.taps.begin(), call_.taps.end(), taps.begin());
    const int32_t sign = layout_.upsideDown ? -1 : 1;
    const VekStatus status = vekrFilter_16s_C1PV(
        srcList_.data() + (call_.kernel.depth - 1 - call_.anchor.z), sign * srcStep_ * 2 + layout_.oddStep,
        dstList_.data(), sign * dstStep_ * 2 + layout_.oddStep, call_.dst, taps.data(), call_.kernel,
        call_.anchor, call_.divisor, buffer.data());
    for (size_t i = 0; i < gap; ++i)
      EXPECT_EQ(buffer.data()[buffer.size() + i], kGarbage) << "written behind the buffer";
    return status;
  }

  // Whether every voxel is as the twin has it and nothing has been written between rows.
  ::testing::AssertionResult asTwin() {
    ::testing::AssertionResult result = ::testing::AssertionSuccess();
    vekr_reference::filter(call_, source(), [&](int32_t x, int32_t y, int32_t z, int16_t expected) {
      if (result && voxel(x, y, z) != expected) {
        result = ::testing::AssertionFailure() << "voxel (" << x << ", " << y << ", " << z << ") is "
                                               << voxel(x, y, z) << " instead of " << expected << described();
      }
    });
    for (int32_t z = 0; result && z < call_.dst.depth; ++z) {
      for (int32_t y = 0; y + 1 < call_.dst.height; ++y) {
        for (int32_t x = call_.dst.width; x < dstStep_; ++x) {
          if (result_[z].data()[static_cast<int64_t>(y) * dstStep_ + x] != kUntouched) {
            return ::testing::AssertionFailure()
                   << "written behind row " << y << " of plane " << z << described();
          }
        }
      }
    }
    return result;
  }

 private:
  static constexpr int16_t kUntouched = 0x5AA5;
  static constexpr uint8_t kGarbage = 0xE7;  // nothing in the buffer counts before the call

  int32_t depthOf(int32_t z) const { return z + call_.kernel.depth - 1 - call_.anchor.z; }
  int64_t placeOf(int32_t x, int32_t y) const {
    const int64_t row = y + call_.kernel.height - 1 - call_.anchor.y;
    return (layout_.upsideDown ? srcHeight_ - 1 - row : row) * srcStep_ + x + call_.kernel.width - 1 -
           call_.anchor.x;
  }
  // Where voxel (0, 0) is: maybe outside of the array, if the anchor lies outside of the kernel.
  uintptr_t srcOrigin() const { return static_cast<uintptr_t>(placeOf(0, 0)); }

  std::string described() const {
    const auto text = [](int32_t a, int32_t b, int32_t c) {
      return std::to_string(a) + "x" + std::to_string(b) + "x" + std::to_string(c);
    };
    return ", destination " + text(call_.dst.width, call_.dst.height, call_.dst.depth) + ", kernel " +
           text(call_.kernel.width, call_.kernel.height, call_.kernel.depth) + ", divisor " +
           std::to_string(call_.divisor);
  }

  FilterCall call_;
  Layout layout_;
  int32_t srcWidth_, srcHeight_, srcDepth_;
  int32_t srcStep_, dstStep_;
  std::deque<Plane> source_, result_;
  PageEnd<const int16_t *> srcList_;
  PageEnd<int16_t *> dstList_;
};

#define EXPECT_AS_TWIN(filterRun)        \
  do {                                   \
    EXPECT_EQ((filterRun).run(), vekOk); \
    EXPECT_TRUE((filterRun).asTwin());   \
  } while (false)

}  // namespace vekr_test
