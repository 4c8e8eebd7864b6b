// The filter against its plain twin, over sizes, anchors, divisors and layouts.
#include <gtest/gtest.h>

#include "tests/filter/run.h"

namespace vekr_test {
namespace {

constexpr int32_t kDivisors[] = {1,    2,        4,          64, 1 << 15, 1 << 16, 1 << 30, 3,          7, 27,
                                 1000, 16777217, 2147483647, -1, -2,      -3,      -1000,   -2147483647};

int32_t someDivisor(Random &random) {
  return kDivisors[random.below(static_cast<int32_t>(std::size(kDivisors)))];
}

VekrVolumePoint centreOf(VekrVolumeSize kernel) {
  return {kernel.width / 2, kernel.height / 2, kernel.depth / 2};
}

// Taps that fill the range of the vector form, or small ones; both of random sign.
std::vector<int32_t> someTaps(Random &random, VekrVolumeSize kernel) {
  std::vector<int32_t> taps = random.below(2) == 0 ? randomTaps(random, kernel, -300, 300)
                                                   : randomTaps(random, kernel, -32767, 32766);
  // The sum decides on the form: one tap after the other goes negative until it is low enough.
  int64_t sum = 0;
  for (int32_t tap : taps) sum += tap;
  for (size_t i = 0; sum > 98301; ++i) {
    if (taps[i] > 0) {
      sum -= 2 * int64_t{taps[i]};
      taps[i] = -taps[i];
    }
  }
  return taps;
}

TEST(FilterSweep, EveryWidthTo100WithEveryKernelWidthTo12) {
  Random random(1);
  for (int32_t kw = 1; kw <= 12; ++kw) {
    for (int32_t width = 1; width <= 100; ++width) {
      const VekrVolumeSize kernel = {kw, 3, 3};
      FilterCall call = {
          {width, 2, 2}, kernel, centreOf(kernel), someDivisor(random), someTaps(random, kernel)};
      FilterRun run(call, random, Voxels::any,
                    {.atStart = width % 2 == 0, .bufferOffset = static_cast<size_t>(width % 16)});
      EXPECT_AS_TWIN(run);
      if (HasFailure()) return;
    }
  }
}

TEST(FilterSweep, EveryWidthTo100WithCubes) {
  Random random(2);
  for (int32_t edge : {1, 2, 3, 4, 5, 6, 7, 8, 9}) {
    for (int32_t width = 1; width <= 100; width += edge > 5 ? 3 : 1) {
      const VekrVolumeSize kernel = {edge, edge, edge};
      FilterCall call = {
          {width, 1, 2}, kernel, centreOf(kernel), someDivisor(random), someTaps(random, kernel)};
      FilterRun run(call, random, Voxels::any, {.atStart = width % 2 != 0});
      EXPECT_AS_TWIN(run);
      if (HasFailure()) return;
    }
  }
}

TEST(FilterSweep, KernelsOfAllShapesTo9) {
  Random random(3);
  for (int32_t kd : {1, 2, 3, 4, 5, 9}) {
    for (int32_t kh : {1, 2, 3, 5, 8}) {
      for (int32_t kw = 1; kw <= 9; ++kw) {
        const VekrVolumeSize kernel = {kw, kh, kd};
        FilterCall call = {{16 + random.below(48), 2, 1},
                           kernel,
                           centreOf(kernel),
                           someDivisor(random),
                           someTaps(random, kernel)};
        FilterRun run(call, random);
        EXPECT_AS_TWIN(run);
        if (HasFailure()) return;
      }
    }
  }
}

TEST(FilterSweep, WideRowsKeepTheirRemainderRules) {
  Random random(4);
  for (int32_t kw : {3, 4, 5, 6, 7, 8, 9, 10, 11, 16, 17}) {
    for (int32_t width : {127, 128, 129, 143, 160, 255, 256, 257, 1000}) {
      const VekrVolumeSize kernel = {kw, 3, 4};
      FilterCall call = {
          {width, 1, 1}, kernel, centreOf(kernel), someDivisor(random), someTaps(random, kernel)};
      FilterRun run(call, random, Voxels::any, {.bufferOffset = 1});
      EXPECT_AS_TWIN(run);
      if (HasFailure()) return;
    }
  }
}

TEST(FilterSweep, AnchorsInsideAndOutsideOfTheKernel) {
  Random random(5);
  for (VekrVolumeSize kernel : {VekrVolumeSize{3, 3, 3}, {5, 5, 5}, {7, 3, 4}, {2, 3, 1}, {1, 1, 1}}) {
    for (VekrVolumePoint anchor : {VekrVolumePoint{0, 0, 0},
                                   {2, 2, 2},
                                   {1, 0, 2},
                                   {-1, -7, -100},
                                   {10, 3, 40},
                                   {1000000, -1000000, 1000},
                                   {-3, 2, 1}}) {
      for (int32_t width : {9, 40}) {
        FilterCall call = {{width, 3, 2}, kernel, anchor, someDivisor(random), someTaps(random, kernel)};
        FilterRun run(call, random, Voxels::any, {.rowGap = 5});
        EXPECT_AS_TWIN(run);
        if (HasFailure()) return;
      }
    }
  }
}

TEST(FilterSweep, EveryDivisorOnBothForms) {
  Random random(6);
  for (int32_t shift = 0; shift <= 30; ++shift) {
    for (int32_t near : {-1, 0, 1}) {
      for (int32_t sign : {1, -1}) {
        const int32_t divisor = sign * ((int32_t{1} << shift) + near);
        if (divisor == 0) continue;
        for (VekrVolumeSize kernel : {VekrVolumeSize{3, 3, 3}, {6, 3, 3}, {3, 2, 3}}) {
          FilterCall call = {{35, 1, 2}, kernel, centreOf(kernel), divisor, someTaps(random, kernel)};
          FilterRun run(call, random);
          EXPECT_AS_TWIN(run);
          if (HasFailure()) return;
        }
      }
    }
  }
}

TEST(FilterSweep, StepsWithGapsUpsideDownAndOdd) {
  Random random(7);
  for (VekrVolumeSize kernel : {VekrVolumeSize{3, 3, 3}, {5, 5, 5}, {4, 3, 3}, {3, 1, 3}}) {
    for (int32_t gap : {0, 1, 7, 16}) {
      for (bool upsideDown : {false, true}) {
        for (int32_t odd : {0, 1}) {
          FilterCall call = {
              {37, 4, 2}, kernel, centreOf(kernel), someDivisor(random), someTaps(random, kernel)};
          FilterRun run(call, random, Voxels::any,
                        {.atStart = gap % 2 != 0,
                         .rowGap = gap,
                         .upsideDown = upsideDown,
                         .bufferOffset = 15,
                         .oddStep = odd});
          EXPECT_AS_TWIN(run);
          if (HasFailure()) return;
        }
      }
    }
  }
}

TEST(FilterSweep, TapsOfAll32Bits) {
  Random random(8);
  for (VekrVolumeSize kernel : {VekrVolumeSize{3, 3, 3}, {5, 5, 5}, {4, 3, 3}, {7, 7, 7}, {1, 2, 3}}) {
    for (int32_t width : {1, 3, 4, 7, 8, 15, 16, 31, 33, 64, 77}) {
      std::vector<int32_t> taps = constantTaps(kernel, 0);
      for (int32_t &tap : taps) tap = static_cast<int32_t>(random.bits());
      FilterCall call = {{width, 2, 1}, kernel, centreOf(kernel), someDivisor(random), taps};
      FilterRun run(call, random);
      EXPECT_AS_TWIN(run);
      if (HasFailure()) return;
    }
  }
}

}  // namespace
}  // namespace vekr_test
