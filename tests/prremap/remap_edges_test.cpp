// Remap where a sentence of its contract can be checked by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "tests/prremap/remap_calls.h"
#include "tests/support/threads.h"
#include "tests/support/volume_faults.h"
#include "tests/support/volumes.h"

namespace {

using namespace vekr_test;

// A call with good arguments, to be spoilt one by one.
struct Call {
  SourcePlanes<uint8_t> src{{5, 5, 5}, 5};
  BytePlanes<float> map{4, 4, 4, 16};
  BytePlanes<uint8_t> dst{4, 4, 4, 4};
  const uint8_t *const *pSrc = src.list();
  const float *const *pXMap = map.constList(), *const *pYMap = map.constList(),
                     *const *pZMap = map.constList();
  uint8_t *const *pDst = dst.list();
  VekrVolumeSize srcSize{5, 5, 5}, dstSize{4, 4, 4};
  VekrVolumeBox srcBox{0, 0, 0, 5, 5, 5};
  int32_t interpolation = vekrInterNearest;

  VekStatus run() const {
    return vekrRemap_8u_C1PV(pSrc, srcSize, 5, srcBox, pXMap, pYMap, pZMap, 16, pDst, 4, dstSize,
                             interpolation);
  }
};

TEST(RemapStatus, EachFaultAloneAndTheEarlierOfTwo) {
  expectTheEarlierOfTwo<Call>({{{vekErrNullPtr, [](Call &c) { c.pSrc = nullptr; }},
                                {vekErrNullPtr, [](Call &c) { c.pDst = nullptr; }},
                                {vekErrNullPtr, [](Call &c) { c.pXMap = nullptr; }},
                                {vekErrNullPtr, [](Call &c) { c.pYMap = nullptr; }},
                                {vekErrNullPtr, [](Call &c) { c.pZMap = nullptr; }}},
                               sourceFaults<Call>(),
                               {{vekErrSize, [](Call &c) { c.dstSize.width = 0; }},
                                {vekErrSize, [](Call &c) { c.dstSize.height = 0; }},
                                {vekErrSize, [](Call &c) { c.dstSize.depth = -1; }}},
                               interpolationFaults<Call>(),
                               overlapFaults<Call>()});
}

TEST(RemapStatus, ABoxThatEndsBeyondTheVolumeIsCutWithoutAWarning) {
  Call call;
  call.srcBox = {4, 4, 4, INT32_MAX, INT32_MAX, INT32_MAX};
  EXPECT_EQ(call.run(), vekOk);
}

// One destination row over a source made by a function, with one map row for each axis.
template <class Voxel>
std::vector<Voxel> sampled(SourcePlanes<Voxel> &src, VekrVolumeSize size, VekrVolumeBox box,
                           const std::vector<std::array<float, 3>> &at, int32_t code, Voxel before = 77) {
  const int32_t width = static_cast<int32_t>(at.size());
  std::vector<float> maps[3];
  for (const auto &point : at) {
    for (size_t axis = 0; axis < 3; ++axis) maps[axis].push_back(point[axis]);
  }
  const float *const x[] = {maps[0].data()}, *const y[] = {maps[1].data()}, *const z[] = {maps[2].data()};
  std::vector<Voxel> row(at.size(), before);
  Voxel *const dst[] = {row.data()};
  EXPECT_EQ(remapOf<Voxel>()(src.list(), size, size.width * static_cast<int32_t>(sizeof(Voxel)), box, x, y, z,
                             0, dst, 0, {width, 1, 1}, code),
            vekOk);
  return row;
}

constexpr VekrVolumeSize kEight = {8, 8, 8};
constexpr VekrVolumeBox kWhole = {0, 0, 0, 8, 8, 8};

TEST(RemapRegion, IsAClosedInterval) {
  auto src = madeOf<uint8_t>(kEight, [](int x, int y, int z) { return x + 8 * y + 16 * z; });
  const VekrVolumeBox box = {2, 2, 2, 4, 4, 4};
  for (int32_t code : {vekrInterNearest, vekrInterLinear, vekrInterCubicLagrange}) {
    const auto row = sampled<uint8_t>(src, kEight, box,
                                      {{5, 3, 3},
                                       {5.001f, 3, 3},
                                       {5.25f, 3, 3},
                                       {2, 3, 3},
                                       {1.999f, 3, 3},
                                       {3, 5.001f, 3},
                                       {3, 1.999f, 3},
                                       {3, 3, 5.001f},
                                       {3, 3, 1.999f},
                                       {3, 5, 2}},
                                      code);
    EXPECT_EQ(row[0], 5 + 8 * 3 + 16 * 3);
    EXPECT_EQ(row[3], 2 + 8 * 3 + 16 * 3);
    EXPECT_EQ(row[9], 3 + 8 * 5 + 16 * 2);
    for (size_t skipped : {1, 2, 4, 5, 6, 7, 8}) EXPECT_EQ(row[skipped], 77) << skipped;
  }
}

TEST(RemapRegion, FarAndMeaninglessCoordinatesLeaveTheirVoxels) {
  auto src = madeOf<float>(kEight, [](int x, int, int) { return x; });
  const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
  for (int32_t code : kCodes) {
    const auto row = sampled<float>(
        src, kEight, kWhole,
        {{inf, 1, 1}, {1, -inf, 1}, {1, 1, 3e38f}, {nan, 1, 1}, {1, nan, 1}, {1, 1, nan}}, code);
    EXPECT_EQ(row, std::vector<float>(6, 77.0f)) << code;
  }
}

TEST(RemapNearest, TiesGoToTheEvenVoxel) {
  auto src = madeOf<uint16_t>(kEight, [](int x, int y, int z) { return x + 10 * y + 100 * z; });
  const auto row = sampled<uint16_t>(
      src, kEight, kWhole, {{0.5f, 0, 0}, {1.5f, 0, 0}, {2.5f, 3.5f, 4.5f}, {6.5f, 7, 7}, {7, 7, 6.5f}},
      vekrInterNearest);
  EXPECT_EQ(row, (std::vector<uint16_t>{0, 2, 442, 776, 677}));
}

TEST(RemapNearest, ATieAtTheEndOfTheRegionMayRoundOutOfItsFirstVoxelButNotPastTheLast) {
  auto src = madeOf<uint8_t>(kEight, [](int x, int, int) { return x; });
  const auto row = sampled<uint8_t>(src, kEight, {3, 0, 0, 2, 8, 8}, {{3.5f, 0, 0}, {3, 0, 0}, {4, 0, 0}},
                                    vekrInterNearest);
  EXPECT_EQ(row, (std::vector<uint8_t>{4, 3, 4}));
}

TEST(RemapLinear, ReproducesVoxelsAndRoundsTiesToEven) {
  auto src = madeOf<uint8_t>(kEight, [](int x, int, int) { return 2 * x + x % 2; });  // 0 3 4 7 8 11 12 15
  const auto row = sampled<uint8_t>(
      src, kEight, kWhole, {{0.5f, 1, 1}, {1.5f, 1, 1}, {2.5f, 1, 1}, {7, 7, 7}, {6.5f, 0, 7}, {5, 7, 0}},
      vekrInterLinear);
  EXPECT_EQ(row, (std::vector<uint8_t>{2, 4, 6, 15, 14, 11}));  // 1.5, 3.5, 5.5, ..., 13.5
}

TEST(RemapLinear, TheLastVoxelIsTheEndOfTheCellBeforeIt) {
  auto src = madeOf<float>(kEight, [](int x, int, int) { return x; });
  src.at(3, 2, 2) = std::numeric_limits<float>::infinity();
  // At x = 4, last of its region, the cell is 3 to 4 and voxel 3 counts with 0 times infinity; elsewhere it doesn't.
  EXPECT_TRUE(std::isnan(sampled<float>(src, kEight, {0, 0, 0, 5, 8, 8}, {{4, 2, 2}}, vekrInterLinear)[0]));
  EXPECT_EQ(sampled<float>(src, kEight, kWhole, {{4, 2, 2}}, vekrInterLinear)[0], 4.0f);
}

TEST(RemapLinear, ARegionOfOneVoxelAtTheOriginGivesThatVoxel) {
  auto src = madeOf<float>(kEight, [](int, int, int) { return 5.25f; });
  EXPECT_EQ(sampled<float>(src, kEight, {0, 0, 0, 1, 1, 1}, {{0, 0, 0}, {-0.0f, 0, -0.0f}}, vekrInterLinear),
            (std::vector<float>{5.25f, 5.25f}));
}

// From 2^24 on a float can't tell every voxel from the next: the last voxel of this region, 2^24 + 3, rounds to the one behind
// it, and a coordinate there counts as inside.
TEST(RemapLinear, ARegionWhoseEndNoFloatHoldsEndsOneVoxelLater) {
  constexpr int32_t kEnd = 1 << 24;
  const VekrVolumeSize size = {kEnd + 8, 2, 2};
  auto src = madeOf<uint8_t>(size, [](int x, int, int) { return x % 251; });
  std::vector<std::array<float, 3>> at;
  std::vector<uint8_t> expected;
  for (int32_t k = 0; k < 16; ++k) {
    const int32_t x = kEnd + 4 - 2 * (k % 8);
    at.push_back({static_cast<float>(x), 0, 0});
    expected.push_back(static_cast<uint8_t>(x % 251));
  }
  EXPECT_EQ(sampled<uint8_t>(src, size, {0, 0, 0, kEnd + 4, 2, 2}, at, vekrInterLinear), expected);
}

// Callers with sparse volumes leave pointers of planes out that no coordinate asks for.
template <class Voxel>
void expectsOnlyNeededPlanes() {
  auto src = madeOf<Voxel>(kEight, [](int x, int y, int z) { return x + 2 * y + 8 * z; });
  const Voxel *planes[8] = {};
  planes[3] = src.list()[3];
  planes[4] = src.list()[4];
  // Groups of eight and of four with one, some and all voxels inside; what is outside lies on other planes.
  const float x[] = {1, 1, 2, 3, 4, 5, 6, 2};
  for (unsigned inside = 1; inside < 256; inside += 2) {
    float z[8], y[8];
    for (unsigned k = 0; k < 8; ++k) {
      z[k] = (inside >> k) & 1 ? 3.5f : (k % 2 != 0 ? 0.0f : 6.5f);
      y[k] = (inside >> k) & 1 ? 2.0f : 100.0f;
    }
    const float *const maps[3][1] = {{x}, {y}, {z}};
    Voxel row[8];
    std::fill_n(row, 8, Voxel{77});
    Voxel *const dst[] = {row};
    ASSERT_EQ(remapOf<Voxel>()(planes, kEight, 8 * static_cast<int32_t>(sizeof(Voxel)), kWhole, maps[0],
                               maps[1], maps[2], 0, dst, 0, {8, 1, 1}, vekrInterLinear),
              vekOk);
    for (unsigned k = 0; k < 8; ++k) {
      const float expected = (inside >> k) & 1 ? x[k] + 4 + 28 : 77.0f;
      ASSERT_EQ(static_cast<float>(row[k]), expected) << inside << " " << k;
    }
  }
}

TEST(RemapLinear, PlanesThatNoVoxelInsideNeedsAreNotRead) {
  expectsOnlyNeededPlanes<uint8_t>();
  expectsOnlyNeededPlanes<uint16_t>();
  expectsOnlyNeededPlanes<float>();
}

// Values of 2 below x = 4 and 3 from there on: at x = 3.5 every interpolating cubic gives 2.5.
TEST(RemapCubic, TwoAndAHalfIsTwoInsideAndThreeAtABorder) {
  auto src = madeOf<uint8_t>(kEight, [](int x, int, int) { return x < 4 ? 2 : 3; });
  for (int32_t code : {vekrInterCubicLagrange, vekrInterCubicCatmullRom}) {
    const auto row = sampled<uint8_t>(
        src, kEight, kWhole,
        {{3.5f, 3, 3}, {3.5f, 0, 3}, {3.5f, 3, 0}, {3.5f, 6, 3}, {3.5f, 3, 7}, {3.5f, 5, 5}}, code);
    EXPECT_EQ(row, (std::vector<uint8_t>{2, 3, 3, 3, 3, 2}));
  }
}

TEST(RemapCubic, BordersAreTheFirstVoxelAndTheRegionsLastTwo) {
  auto src = madeOf<uint8_t>({12, 12, 12}, [](int x, int, int) { return x < 5 ? 2 : 3; });
  const auto row = sampled<uint8_t>(src, {12, 12, 12}, {4, 2, 1, 3, 8, 8},
                                    {{4.5f, 2, 1}, {4.5f, 7, 6}, {4.5f, 8, 6}, {4.5f, 7, 7}, {4.5f, 9, 6}},
                                    vekrInterCubicLagrange);
  EXPECT_EQ(row, (std::vector<uint8_t>{2, 2, 3, 3, 3}));  // 4.5 along x is interior: the region ends at 6
}

TEST(RemapCubic, ARegionThatStartsInsideReadsOneVoxelInFrontAndNoneBehind) {
  // A spike beside the region: its share shows through from the low side only.
  auto src = madeOf<float>({12, 12, 12}, [](int x, int, int) { return x == 3 || x == 8 ? 1024 : 0; });
  const auto low =
      sampled<float>(src, {12, 12, 12}, {4, 0, 0, 4, 12, 12}, {{4.5f, 5, 5}}, vekrInterCubicLagrange);
  const auto high = sampled<float>(src, {12, 12, 12}, {4, 0, 0, 4, 12, 12}, {{6.5f, 5, 5}, {7, 5, 5}},
                                   vekrInterCubicLagrange);
  EXPECT_EQ(low[0], -64.0f);
  EXPECT_EQ(high, (std::vector<float>{0.0f, 0.0f}));
}

TEST(RemapCubic, TheFirstTapsApplyEvenPastATinyRegion) {
  auto src = madeOf<float>(kEight, [](int x, int, int) { return x == 2 ? 1024 : 0; });
  for (int32_t width : {1, 2}) {
    const auto row = sampled<float>(src, kEight, {0, 0, 0, width, 8, 8}, {{0, 4, 4}}, vekrInterCubicBSpline);
    EXPECT_EQ(row[0], 0.0f) << "the spike is tap 3, of weight f(2) = 0";
    if (width == 2) {
      const auto half =
          sampled<float>(src, kEight, {0, 0, 0, 2, 8, 8}, {{0.5f, 4, 4}}, vekrInterCubicLagrange);
      EXPECT_EQ(half[0], -64.0f);
    }
  }
}

TEST(RemapCubic, FloatBordersAreWholeNumbersAndTheInteriorKeepsItsFraction) {
  auto src = madeOf<float>(kEight, [](int x, int, int) { return x + 0.75f; });
  const auto row = sampled<float>(src, kEight, kWhole,
                                  {{3, 3, 3}, {0, 3, 3}, {6, 3, 3}, {7, 3, 3}, {3, 0.5f, 3}, {3, 3, 6}},
                                  vekrInterCubicLagrange);
  EXPECT_EQ(row, (std::vector<float>{3.75f, 0, 6, 7, 3, 3}));
}

TEST(RemapCubic, NegativeFractionsAtABorderBecomePlusZeroAndHugeSumsDontTrap) {
  auto src = madeOf<float>(kEight, [](int, int, int z) { return z == 0 ? -0.5f : 1e30f; });
  const auto row = sampled<float>(src, kEight, kWhole, {{3, 3, 0}, {3, 3, 7}}, vekrInterCubicLagrange);
  EXPECT_TRUE(same(row[0], 0.0f));
}

TEST(RemapCubic, IntegersAreClampedAndFloatsOvershoot) {
  const auto step = [](int x, int, int) { return x < 4 ? 0 : 255; };
  auto bytes = madeOf<uint8_t>(kEight, step);
  auto words = madeOf<uint16_t>(kEight, [&](int x, int y, int z) { return 257 * step(x, y, z); });
  auto floats = madeOf<float>(kEight, step);
  const std::vector<std::array<float, 3>> at = {{2.5f, 3, 3}, {4.5f, 3, 3}, {2.5f, 0, 3}, {4.5f, 0, 3}};
  EXPECT_EQ(sampled<uint8_t>(bytes, kEight, kWhole, at, vekrInterCubicCatmullRom),
            (std::vector<uint8_t>{0, 255, 0, 255}));
  EXPECT_EQ(sampled<uint16_t>(words, kEight, kWhole, at, vekrInterCubicCatmullRom),
            (std::vector<uint16_t>{0, 65535, 0, 65535}));
  const auto overshot = sampled<float>(floats, kEight, kWhole, at, vekrInterCubicCatmullRom);
  EXPECT_LT(overshot[0], 0.0f);
  EXPECT_GT(overshot[1], 255.0f);
}

TEST(RemapCubic, OnlyTheSmoothingKernelsSmoothAtIntegerCoordinates) {
  auto src = madeOf<float>(kEight, [](int x, int y, int z) { return x == 3 && y == 3 && z == 3 ? 216 : 0; });
  const auto at3 = [&](int32_t code) { return sampled<float>(src, kEight, kWhole, {{3, 3, 3}}, code)[0]; };
  EXPECT_EQ(at3(vekrInterCubicLagrange), 216.0f);
  EXPECT_EQ(at3(vekrInterCubicCatmullRom), 216.0f);
  EXPECT_NEAR(at3(vekrInterCubicBSpline), 64.0f, 1e-3);
  EXPECT_NEAR(at3(vekrInterCubicMitchell), 125.0f, 1e-3);
}

}  // namespace
