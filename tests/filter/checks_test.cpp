// Statuses of the filter's functions, and the order in which they are found.
#include <gtest/gtest.h>

#include <climits>

#include "tests/filter/run.h"

namespace vekr_test {
namespace {

TEST(FilterBufferSize, ChecksInOrderAndLeavesTheSizeAlone) {
  int32_t size = -77;
  EXPECT_EQ(vekrFilterGetBufSize({0, 1, 1}, {1, 1, 1}, 2, nullptr), vekErrNullPtr);
  for (int32_t bad : {0, -1, INT_MIN}) {
    EXPECT_EQ(vekrFilterGetBufSize({bad, 1, 1}, {1, 1, 1}, 2, &size), vekErrSize);
    EXPECT_EQ(vekrFilterGetBufSize({1, bad, 1}, {1, 1, 1}, 2, &size), vekErrSize);
    EXPECT_EQ(vekrFilterGetBufSize({1, 1, bad}, {1, 1, 1}, 2, &size), vekErrSize);
    EXPECT_EQ(vekrFilterGetBufSize({1, 1, 1}, {bad, 1, 1}, 2, &size), vekErrSize);
    EXPECT_EQ(vekrFilterGetBufSize({1, 1, 1}, {1, bad, 1}, 2, &size), vekErrSize);
    EXPECT_EQ(vekrFilterGetBufSize({1, 1, 1}, {1, 1, bad}, 2, &size), vekErrSize);
  }
  for (int32_t channels : {0, -1, 2, 3, INT_MIN}) {
    EXPECT_EQ(vekrFilterGetBufSize({1, 1, 1}, {1, 1, 1}, channels, &size), vekErrChannel);
  }
  EXPECT_EQ(size, -77);
}

TEST(FilterBufferSize, IsTwiceTheTapsAndOneRowOfSums) {
  int32_t size = 0;
  EXPECT_EQ(vekrFilterGetBufSize({100, 1, 1}, {3, 3, 3}, 1, &size), vekOk);
  EXPECT_EQ(size, 1024);
  EXPECT_EQ(vekrFilterGetBufSize({100, 77, 1000}, {3, 3, 3}, 1, &size), vekOk);
  EXPECT_EQ(size, 1024);
  EXPECT_EQ(vekrFilterGetBufSize({16, 1, 1}, {1, 1, 1}, 1, &size), vekOk);
  EXPECT_EQ(size, 2 * 16 + 4 * 16);
  EXPECT_EQ(vekrFilterGetBufSize({17, 1, 1}, {6, 5, 4}, 1, &size), vekOk);
  EXPECT_EQ(size, 2 * 48 * 20 + 4 * 32);
  for (int32_t kw = 1; kw < 20; ++kw) {
    for (int32_t width = 1; width < 70; ++width) {
      EXPECT_EQ(vekrFilterGetBufSize({width, 3, 4}, {kw, 5, 7}, 1, &size), vekOk);
      EXPECT_EQ(size, vekr_reference::filterBufferBytes({width, 3, 4}, {kw, 5, 7}));
    }
  }
}

TEST(FilterBufferSize, WrapsIn32Bits) {
  int32_t size = -77;
  EXPECT_EQ(vekrFilterGetBufSize({INT_MAX, 1, 1}, {1, 1, 1}, 1, &size), vekOk);
  EXPECT_EQ(size, 32);  // 4 * 2^31 is 0
  EXPECT_EQ(vekrFilterGetBufSize({1, 1, 1}, {INT_MAX, 1, 1}, 1, &size), vekOk);
  EXPECT_EQ(size, 64);
  EXPECT_EQ(vekrFilterGetBufSize({1, 1, 1}, {2, 10000, 10000}, 1, &size), vekOk);
  EXPECT_EQ(size, static_cast<int32_t>(3200000000u + 64));
  EXPECT_EQ(vekrFilterGetBufSize({1, 1, 1}, {1000, 1000, 1000}, 1, &size), vekOk);
  EXPECT_EQ(size, vekr_reference::filterBufferBytes({1, 1, 1}, {1000, 1000, 1000}));
}

class FilterChecks : public ::testing::Test {
 protected:
  VekStatus call(VekrVolumeSize dst, VekrVolumeSize kernel, int32_t divisor, int null = -1) {
    const int16_t *srcList[1] = {src_};
    int16_t *dstList[1] = {dst_};
    return vekrFilter_16s_C1PV(null == 0 ? nullptr : srcList, 2, null == 1 ? nullptr : dstList, 2, dst,
                               null == 2 ? nullptr : taps_, kernel, {0, 0, 0}, divisor,
                               null == 3 ? nullptr : buffer_);
  }

  int16_t src_[4] = {9, 9, 9, 9};
  int16_t dst_[4] = {1, 2, 3, 4};
  int32_t taps_[1] = {1};
  uint8_t buffer_[256] = {};
};

TEST_F(FilterChecks, NullComesBeforeSizesAndNothingIsWritten) {
  for (int null = 0; null < 4; ++null) {
    EXPECT_EQ(call({1, 1, 1}, {1, 1, 1}, 1, null), vekErrNullPtr);
    EXPECT_EQ(call({0, 1, 1}, {1, 1, 1}, 0, null), vekErrNullPtr);
  }
  for (int32_t bad : {0, -1, INT_MIN}) {
    EXPECT_EQ(call({bad, 1, 1}, {1, 1, 1}, 1), vekErrSize);
    EXPECT_EQ(call({1, bad, 1}, {1, 1, 1}, 1), vekErrSize);
    EXPECT_EQ(call({1, 1, bad}, {1, 1, 1}, 1), vekErrSize);
    EXPECT_EQ(call({1, 1, 1}, {bad, 1, 1}, 1), vekErrSize);
    EXPECT_EQ(call({1, 1, 1}, {1, bad, 1}, 1), vekErrSize);
    EXPECT_EQ(call({1, 1, 1}, {1, 1, bad}, 1), vekErrSize);
  }
  EXPECT_EQ(call({1, 1, 1}, {1, 1, 1}, 0), vekErrSize);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(dst_[i], i + 1);
  EXPECT_EQ(call({1, 1, 1}, {1, 1, 1}, 1), vekOk);
  EXPECT_EQ(dst_[0], 9);
  EXPECT_EQ(dst_[1], 2);
}

// No shift and no rounding term fits this divisor, but a call with it comes back.
TEST(FilterDivisor, LeastNumberEnds) {
  Random random(1);
  for (int32_t width : {15, 16}) {
    FilterRun run({{width, 1, 1}, {3, 3, 3}, {1, 1, 1}, INT_MIN, constantTaps({3, 3, 3}, 1)}, random);
    EXPECT_EQ(run.run(), vekOk);
  }
}

}  // namespace
}  // namespace vekr_test
