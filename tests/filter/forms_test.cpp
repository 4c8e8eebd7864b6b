// Which form of the filter takes a call, and what each gives, with expectations written out for themselves.
#include <gtest/gtest.h>

#include "tests/filter/run.h"

namespace vekr_test {
namespace {

constexpr VekrVolumeSize kCube3 = {3, 3, 3};

enum class Ran { vectorForm, wideForm, neither };

// Taps of alternating sign over a chessboard of voxels: the sum leaves 32 bits, and its low 32 bits have the other sign.
// One form saturates at the true end then, the other at the wrong one.
Ran formOf(FilterCall call) {
  int64_t weight = 0;
  for (int32_t tap : call.taps) weight += std::abs(int64_t{tap});
  int32_t height = 32767;
  for (; height > 0; --height) {
    if (weight * height > INT32_MAX &&
        vekr_reference::wrapped(static_cast<uint64_t>(weight * height)) < -32768)
      break;
  }
  EXPECT_GT(height, 0);
  Random random(1);
  FilterRun run(call, random);
  // Voxels of the signs of the mirrored taps, at destination voxel (0, 0, 0).
  run.setSource([&](int32_t x, int32_t y, int32_t z) {
    const int32_t i = call.anchor.x - x, j = call.anchor.y - y, k = call.anchor.z - z;
    const bool under = i >= 0 && j >= 0 && k >= 0 && i < call.kernel.width && j < call.kernel.height &&
                       k < call.kernel.depth;
    return under && call.tap(k, j, i) < 0 ? -height : height;
  });
  EXPECT_AS_TWIN(run);
  EXPECT_EQ(run.wideSum(0, 0, 0), weight * height);
  return run.voxel(0, 0, 0) == 32767    ? Ran::wideForm
         : run.voxel(0, 0, 0) == -32768 ? Ran::vectorForm
                                        : Ran::neither;
}

std::vector<int32_t> alternatingTaps(VekrVolumeSize size) {
  std::vector<int32_t> taps = constantTaps(size, 20000);
  for (size_t i = 1; i < taps.size(); i += 2) taps[i] = -20000;
  return taps;
}

FilterCall alternating(int32_t width, VekrVolumeSize kernel) {
  return {{width, 2, 1},
          kernel,
          {kernel.width / 2, kernel.height / 2, kernel.depth / 2},
          1,
          alternatingTaps(kernel)};
}

TEST(FilterForms, WidthOf15IsWideAnd16IsVector) {
  for (VekrVolumeSize kernel : {kCube3, VekrVolumeSize{5, 5, 5}, {3, 3, 5}, {7, 3, 3}}) {
    EXPECT_EQ(formOf(alternating(1, kernel)), Ran::wideForm);
    EXPECT_EQ(formOf(alternating(15, kernel)), Ran::wideForm);
    EXPECT_EQ(formOf(alternating(16, kernel)), Ran::vectorForm);
    EXPECT_EQ(formOf(alternating(17, kernel)), Ran::vectorForm);
  }
}

TEST(FilterForms, KernelsThinnerThan3AreWide) {
  for (VekrVolumeSize kernel :
       {VekrVolumeSize{2, 5, 5}, {5, 2, 5}, {5, 5, 2}, {9, 9, 1}, {1, 9, 9}, {9, 1, 9}}) {
    EXPECT_EQ(formOf(alternating(16, kernel)), Ran::wideForm);
  }
  for (VekrVolumeSize kernel : {VekrVolumeSize{3, 3, 4}, {3, 4, 3}, {4, 3, 3}, {5, 5, 3}}) {
    EXPECT_EQ(formOf(alternating(16, kernel)), Ran::vectorForm);
  }
}

TEST(FilterForms, TapsAtTheLimits) {
  for (VekrVolumeSize kernel : {kCube3, VekrVolumeSize{5, 5, 5}, {3, 3, 5}, {6, 3, 3}}) {
    for (size_t place : {size_t{0}, static_cast<size_t>(kernel.width) * kernel.height * kernel.depth - 1}) {
      const auto with = [&](int32_t tap) {
        FilterCall call = alternating(16, kernel);
        call.taps[place] = tap;
        return formOf(call);
      };
      EXPECT_EQ(with(32766), Ran::vectorForm);
      EXPECT_EQ(with(32767), Ran::wideForm);
      EXPECT_EQ(with(40000), Ran::wideForm);
      EXPECT_EQ(with(-32767), Ran::vectorForm);
      EXPECT_EQ(with(-32768), Ran::wideForm);
      EXPECT_EQ(with(-40000), Ran::wideForm);
    }
  }
}

TEST(FilterForms, SumsOfTapsAtTheLimitAndWithoutALowerOne) {
  const auto withSum = [](int32_t sum) {
    FilterCall call = alternating(16, kCube3);
    int32_t left = sum - 20000;
    for (size_t i = 0; left != 0; i += 2) {
      const int32_t more = std::min(left, 12766);
      call.taps[i] += more;
      left -= more;
    }
    return formOf(call);
  };
  EXPECT_EQ(withSum(98300), Ran::vectorForm);
  EXPECT_EQ(withSum(98301), Ran::vectorForm);
  EXPECT_EQ(withSum(98302), Ran::wideForm);
  EXPECT_EQ(withSum(150000), Ran::wideForm);
  FilterCall low = {{16, 1, 1}, kCube3, {1, 1, 1}, 1, constantTaps(kCube3, -32767)};
  EXPECT_EQ(formOf(low), Ran::vectorForm);
}

// In 32 bits the sum of these would be far below the limit.
TEST(FilterForms, SumOfTapsDoesNotWrap) {
  const VekrVolumeSize kernel = {4, 128, 256};
  FilterCall call = {{16, 1, 1}, kernel, {0, 0, 0}, 1, constantTaps(kernel, 32766)};
  Random random(1);
  FilterRun run(call, random);
  run.setSource([](int32_t, int32_t, int32_t) { return 1; });
  EXPECT_EQ(run.run(), vekOk);
  for (int32_t x = 0; x < 16; ++x) EXPECT_EQ(run.voxel(x, 0, 0), 32767);  // wrapped: -2^18
}

// ---------------------------------------------------------------- values

TEST(FilterValues, OneTapOf1CopiesTheSource) {
  Random random(2);
  for (int32_t width : {1, 5, 16, 40}) {
    FilterRun run({{width, 3, 2}, {1, 1, 1}, {0, 0, 0}, 1, {1}}, random);
    ASSERT_EQ(run.run(), vekOk);
    for (int32_t z = 0; z < 2; ++z) {
      for (int32_t y = 0; y < 3; ++y) {
        for (int32_t x = 0; x < width; ++x) EXPECT_EQ(run.voxel(x, y, z), run.source()(x, y, z));
      }
    }
  }
}

// A kernel whose only tap is 1 at the anchor, in the form that the width asks for.
int32_t dividedBy(int32_t divisor, int16_t value, int32_t width) {
  std::vector<int32_t> taps = constantTaps(kCube3, 0);
  taps[13] = 1;
  Random random(3);
  FilterRun run({{width, 1, 1}, kCube3, {1, 1, 1}, divisor, taps}, random);
  run.setSource([&](int32_t x, int32_t, int32_t) { return x == 3 ? value : 0; });
  EXPECT_EQ(run.run(), vekOk);
  EXPECT_EQ(run.voxel(2, 0, 0), 0);
  EXPECT_EQ(run.voxel(4, 0, 0), 0);
  return run.voxel(3, 0, 0);
}

TEST(FilterValues, TiesGoToEvenInBothForms) {
  for (int32_t width : {15, 16}) {
    EXPECT_EQ(dividedBy(2, 5, width), 2);
    EXPECT_EQ(dividedBy(2, 7, width), 4);
    EXPECT_EQ(dividedBy(2, -5, width), -2);
    EXPECT_EQ(dividedBy(2, -7, width), -4);
    EXPECT_EQ(dividedBy(2, 1, width), 0);
    EXPECT_EQ(dividedBy(2, -1, width), 0);
    EXPECT_EQ(dividedBy(8, 12, width), 2);
    EXPECT_EQ(dividedBy(8, 20, width), 2);
    EXPECT_EQ(dividedBy(8, 19, width), 2);
    EXPECT_EQ(dividedBy(8, 21, width), 3);
    EXPECT_EQ(dividedBy(-2, 5, width), -2);
    EXPECT_EQ(dividedBy(-2, 7, width), -4);
    EXPECT_EQ(dividedBy(-2, -7, width), 4);
    EXPECT_EQ(dividedBy(6, 9, width), 2);
    EXPECT_EQ(dividedBy(6, 15, width), 2);
    EXPECT_EQ(dividedBy(6, 3, width), 0);
    EXPECT_EQ(dividedBy(6, -3, width), 0);
  }
}

TEST(FilterValues, DivisorOfMinus1NegatesAndSaturates) {
  for (int32_t width : {15, 16}) {
    EXPECT_EQ(dividedBy(-1, 5, width), -5);
    EXPECT_EQ(dividedBy(-1, -32767, width), 32767);
    EXPECT_EQ(dividedBy(-1, -32768, width), 32767);
    EXPECT_EQ(dividedBy(-1, 32767, width), -32767);
    EXPECT_EQ(dividedBy(3, 3, width), 1);
    EXPECT_EQ(dividedBy(1, -32768, width), -32768);
  }
}

TEST(FilterValues, PlaneListIsReadBesideBothOfItsEnds) {
  for (int32_t width : {15, 16}) {
    for (int32_t tapPlane : {0, 2}) {
      std::vector<int32_t> taps = constantTaps(kCube3, 0);
      taps[static_cast<size_t>(tapPlane) * 9 + 4] = 1;
      Random random(4);
      FilterRun run({{width, 2, 3}, kCube3, {1, 1, 1}, 1, taps}, random);
      ASSERT_EQ(run.run(), vekOk);
      for (int32_t z = 0; z < 3; ++z) {
        for (int32_t x = 0; x < width; ++x)
          EXPECT_EQ(run.voxel(x, 1, z), run.source()(x, 1, z + 1 - tapPlane));
      }
    }
  }
}

TEST(FilterValues, MirrorsTheKernel) {
  for (int32_t width : {3, 20}) {
    std::vector<int32_t> taps(27);
    for (int32_t i = 0; i < 27; ++i) taps[i] = i + 1;
    Random random(5);
    FilterRun run({{width, 3, 3}, kCube3, {1, 1, 1}, 1, taps}, random);
    run.setSource([](int32_t x, int32_t y, int32_t z) { return x == 1 && y == 1 && z == 1 ? 1 : 0; });
    ASSERT_EQ(run.run(), vekOk);
    // The response to a single voxel is the kernel as it was given.
    for (int32_t i = 0; i < 27; ++i) EXPECT_EQ(run.voxel(i % 3, i / 3 % 3, i / 9), i + 1);
  }
}

// Sums of more than 24 bits: one form rounds them to float, and multiplies by a rounded factor.
TEST(FilterValues, FormsDivideDifferentlyNearTies) {
  std::vector<int32_t> taps = constantTaps(kCube3, 0);
  taps[12] = 30000;
  taps[13] = 1;
  const int32_t divisor = 60002;
  Random random(6);
  int32_t different = 0;
  for (int32_t width : {15, 512}) {
    FilterRun run({{width, 8, 8}, kCube3, {1, 1, 1}, divisor, taps}, random);
    EXPECT_AS_TWIN(run);
    if (width < 16) continue;
    for (int32_t i = 0; i < 512 * 64; ++i) {
      const int64_t sum = run.wideSum(i % 512, i / 512 % 8, i / 4096);
      const int32_t apart =
          vekr_reference::wideVoxel(sum, divisor) - run.voxel(i % 512, i / 512 % 8, i / 4096);
      EXPECT_LE(std::abs(apart), 1);
      different += apart != 0;
    }
  }
  EXPECT_GT(different, 0);
}

// 2^24 + 1 is 2^24 as a float, so that 3 * 2^23 is a tie of 1 and 2; divided by the number itself it would be 1.
TEST(FilterValues, WideFormRoundsTheDivisorToFloat) {
  const VekrVolumeSize one = {1, 1, 1};
  Random random(9);
  for (const int32_t sign : {1, -1}) {
    FilterRun run({{5, 1, 1}, one, {0, 0, 0}, sign * ((1 << 24) + 1), constantTaps(one, 1536)}, random);
    run.setSource([](int32_t, int32_t, int32_t) { return 16384; });
    ASSERT_EQ(run.run(), vekOk);
    EXPECT_EQ(run.voxel(0, 0, 0), sign * 2);
  }
}

TEST(FilterValues, ExtremesOfVoxelsAndTaps) {
  Random random(7);
  for (Voxels kind : {Voxels::least, Voxels::largest}) {
    for (VekrVolumeSize kernel :
         {kCube3, VekrVolumeSize{5, 5, 5}, {4, 3, 3}, {7, 3, 3}, {3, 1, 1}, {2, 2, 2}}) {
      for (int32_t tap : {-32767, 32766, -32768, 32767, 32768, -32769, 65535, 65536, -65535, -65536, -65537,
                          INT32_MIN, INT32_MAX}) {
        for (int32_t divisor : {1, 2, 1 << 30, 1 << 20, 3, -1, 999999937}) {
          for (int32_t width : {15, 47}) {
            FilterRun run({{width, 1, 1}, kernel, {1, 0, 0}, divisor, constantTaps(kernel, tap)}, random,
                          kind);
            EXPECT_AS_TWIN(run);
            if (HasFailure()) return;
          }
        }
      }
    }
  }
}

// More products than the wide form adds up before it goes over to 64 bits, each at an end of its range.
TEST(FilterValues, WideSumsOfVeryManyProducts) {
  Random random(8);
  const VekrVolumeSize kernel = {70000, 1, 2};
  for (int32_t tap : {65536, -65535}) {
    for (int32_t divisor : {1 << 30, 2147483647, -1000000007}) {
      FilterCall call = {{13, 1, 1}, kernel, {5, 0, 0}, divisor, constantTaps(kernel, tap)};
      call.taps[7] += 12345;
      FilterRun run(call, random, Voxels::least);
      EXPECT_AS_TWIN(run);
      FilterRun mixed(call, random);
      EXPECT_AS_TWIN(mixed);
    }
  }
}

// The same around the number of taps up to which they are taken in pairs.
TEST(FilterValues, WideSumsOfManyPairs) {
  Random random(10);
  for (VekrVolumeSize kernel : {VekrVolumeSize{256, 256, 1}, {3, 21845, 1}, {512, 300, 1}, {2, 200, 200}}) {
    for (int32_t tap : {32767, -32768}) {
      for (Voxels kind : {Voxels::least, Voxels::any}) {
        FilterCall call = {{17, 1, 1}, kernel, {1, 0, 0}, 1 << 30, constantTaps(kernel, tap)};
        FilterRun run(call, random, kind);
        EXPECT_AS_TWIN(run);
        if (HasFailure()) return;
      }
    }
  }
}

// ---------------------------------------------------------------- kernel widths other than 3 and 5, vector form

// Small taps and voxels, so that nothing wraps or saturates and a voxel is its sum.
class FilterParts : public ::testing::Test {
 protected:
  FilterCall call(int32_t kw, int32_t width) {
    const VekrVolumeSize kernel = {kw, 3, 3};
    return {{width, 2, 1}, kernel, {kw / 2, 1, 1}, 1, randomTaps(random_, kernel, -9, 9)};
  }
  // Sum at voxel x over kernel rows `rows` (the first one is that of the last tap), with tap(row, i) for source column i.
  template <class Tap>
  static int32_t sum(FilterRun &run, int32_t x, int32_t y, int32_t firstRow, int32_t taps, const Tap &tap) {
    int32_t sum = 0;
    for (int32_t row = firstRow; row < 9; ++row) {
      for (int32_t i = 0; i < taps; ++i) {
        const int32_t kw = run.call().kernel.width;
        sum += tap(row, i) * run.source()(x + i - (kw - 1 - kw / 2), y - 1 + row % 3, row / 3 - 1);
      }
    }
    return sum;
  }
  // t0, t1, ... of a row, in the order of rising source columns.
  static auto own(FilterRun &run) {
    return [&run](int32_t row, int32_t i) {
      const auto &taps = run.call().taps;
      return taps[taps.size() - 1 - (static_cast<size_t>(row) * run.call().kernel.width + i)];
    };
  }

  Random random_{9};
};

TEST_F(FilterParts, RowsBelow32AreTrueSumsForWidths4And6And7And9) {
  for (int32_t kw : {4, 6, 7, 9}) {
    for (int32_t width : {16, 17, 20, 31}) {
      FilterRun run(call(kw, width), random_, Voxels::small);
      EXPECT_AS_TWIN(run);
      for (int32_t x = 0; x < width; ++x) EXPECT_EQ(run.voxel(x, 1, 0), run.wideSum(x, 1, 0));
    }
  }
}

TEST_F(FilterParts, Widths8And10AndMoreUseFourTapsInWholeBlocks) {
  for (int32_t kw : {8, 10, 11, 16}) {
    for (int32_t width : {16, 20, 31}) {
      FilterRun run(call(kw, width), random_, Voxels::small);
      EXPECT_AS_TWIN(run);
      for (int32_t x = 0; x < 16; ++x) EXPECT_EQ(run.voxel(x, 1, 0), sum(run, x, 1, 0, 4, own(run)));
      for (int32_t x = 16; x < width; ++x) EXPECT_EQ(run.voxel(x, 1, 0), run.wideSum(x, 1, 0));
    }
  }
}

TEST_F(FilterParts, Width8UsesAllTapsInTheWideForm) {
  const VekrVolumeSize kernel = {8, 3, 3};
  FilterCall large = {{40, 1, 1}, kernel, {4, 1, 1}, 1, randomTaps(random_, kernel, -9, 9)};
  large.taps[3] = 32767;
  FilterRun run(large, random_);
  run.setSource([&](int32_t, int32_t, int32_t) { return random_.below(3) - 1; });
  ASSERT_EQ(run.run(), vekOk);
  for (int32_t x = 0; x < 40; ++x)
    EXPECT_EQ(run.voxel(x, 0, 0), std::clamp<int64_t>(run.wideSum(x, 0, 0), -32768, 32767));
}

TEST_F(FilterParts, Width7AtRowsOf40) {
  FilterRun run(call(7, 40), random_, Voxels::small);
  EXPECT_AS_TWIN(run);
  const auto taps = own(run);
  const auto replaced = [&](int32_t row, int32_t i) { return taps(row, i == 2 || i == 3 ? i + 2 : i); };
  for (int32_t x = 0; x < 40; ++x) {
    const int32_t truth = sum(run, x, 1, 0, 7, taps);
    EXPECT_EQ(truth, run.wideSum(x, 1, 0));
    int32_t expected = truth;
    if ((x >= 12 && x < 16) || (x >= 28 && x < 32)) expected = sum(run, x, 1, 0, 7, replaced);
    if (x >= 16 && x < 24) expected = truth + sum(run, x, 1, 1, 7, taps);
    if (x >= 32) expected = sum(run, x, 1, 0, 4, taps);
    EXPECT_EQ(run.voxel(x, 1, 0), expected) << "voxel " << x;
  }
}

// Voxels 28 to 30 are both among those that get the row twice and among those with other taps; voxels 60 to 62 both lack
// taps and have others.
TEST_F(FilterParts, RulesMeetAtRowsOf63) {
  for (int32_t kw : {6, 7, 8, 9, 12}) {
    FilterRun run(call(kw, 63), random_, Voxels::small);
    EXPECT_AS_TWIN(run);
    const int32_t used = kw == 8 || kw == 12 ? 4 : kw;
    const auto taps = own(run);
    for (int32_t x = 0; x < 63; ++x) {
      const auto inBlocks = [&](int32_t row, int32_t i) {
        return taps(row, x % 16 >= 12 && (i == 2 || i == 3) ? i + 2 : i);
      };
      const int32_t expected = x >= 48 ? sum(run, x, 1, 0, 4, inBlocks)
                               : x >= 16 && x < 31
                                   ? sum(run, x, 1, 0, kw, taps) + sum(run, x, 1, 1, used, inBlocks)
                                   : sum(run, x, 1, 0, used, inBlocks);
      EXPECT_EQ(run.voxel(x, 1, 0), expected) << "voxel " << x << ", kernel width " << kw;
    }
  }
}

TEST_F(FilterParts, Width4TakesWhatStandsBehindTheRow) {
  FilterRun run(call(4, 63), random_, Voxels::small);
  EXPECT_AS_TWIN(run);
  const auto taps = own(run);
  const int32_t behind[4] = {run.voxel(0, 1, 0), run.voxel(1, 1, 0), run.voxel(2, 1, 0), run.voxel(3, 1, 0)};
  for (int32_t x = 0; x < 63; ++x) {
    const auto inBlocks = [&](int32_t row, int32_t i) -> int32_t {
      if (x % 16 < 12 || i < 2) return taps(row, i);
      if (row < 8) return taps(row + 1, i - 2);
      return i == 2 ? static_cast<int16_t>(behind[x % 4]) : behind[x % 4] < 0 ? -1 : 0;
    };
    const int32_t expected = x >= 16 && x < 31 ? sum(run, x, 1, 0, 4, taps) + sum(run, x, 1, 1, 4, inBlocks)
                                               : sum(run, x, 1, 0, 4, inBlocks);
    EXPECT_EQ(run.voxel(x, 1, 0), std::clamp(expected, -32768, 32767)) << "voxel " << x;
  }
}

}  // namespace
}  // namespace vekr_test
