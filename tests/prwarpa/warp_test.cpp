// Affine warp against its scalar twin, bit for bit, for all members.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/prwarpa/warp_calls.h"
#include "tests/reference/volume_reference.h"
#include "tests/support/threads.h"
#include "tests/support/volumes.h"

namespace {

using namespace vekr_test;

struct Case {
  VekrVolumeSize srcSize;
  int32_t srcStepBytes;  // of the call; the planes are laid out by what remains of it
  VekrVolumeBox srcBox;
  VekrVolumeBox dstBox;
  int32_t dstStepExtra;  // bytes beyond the row
  size_t offset;         // of the destination from an aligned address
};

template <class Voxel>
void expectTwin(const Case &c, const Matrix &matrix, int32_t code, uint32_t seed, int32_t team = 1) {
  Random random(seed);
  const SourcePlanes<Voxel> src = randomSource<Voxel>(c.srcSize, c.srcStepBytes, random);
  const int32_t width = c.dstBox.x + c.dstBox.width + 2, height = c.dstBox.y + c.dstBox.height + 1,
                depth = c.dstBox.z + c.dstBox.depth + 1;
  const int32_t dstStep = width * static_cast<int32_t>(sizeof(Voxel)) + c.dstStepExtra;
  BytePlanes<Voxel> actual(width, height, depth, dstStep, c.offset);
  BytePlanes<Voxel> expected(width, height, depth, dstStep, c.offset);
  ASSERT_EQ(warpOf<Voxel>()(src.list(), c.srcSize, c.srcStepBytes, c.srcBox, actual.list(), dstStep, c.dstBox,
                            matrix.data(), code),
            vekOk);
  reference::warpAffine(src.list(), c.srcSize, c.srcStepBytes, c.srcBox, expected.list(), dstStep, c.dstBox,
                        matrix.data(), code, team);
  EXPECT_TRUE(actual == expected) << "code " << code << ", " << sizeof(Voxel) << " bytes a voxel, seed "
                                  << seed;
  EXPECT_TRUE(actual.intact());
}

// Turns, halves that end in ties, steps whose sums drift, mirrors, and shears.
const std::array<Matrix, 12> &matrices() {
  static const std::array<Matrix, 12> all = {
      kIdentity,
      scaledAndMoved(1, 1, 1, 0.5, -0.5, 1.5),
      scaledAndMoved(2, 2, 2, 0, 0, 0),
      scaledAndMoved(1 / 0.3, 1 / 0.1, 1 / 0.7, 0.1, 0, 0.2),
      scaledAndMoved(-1, 1, -1, 12, 0, 6),
      scaledAndMoved(0.5, 0.25, 0.75, 1, 2, 0),
      turned(0.1, 0.2, 0.3, 1.3, 2, -1, 1),
      turned(-0.7, 0.4, 2.5, 0.8, 9, 9, 3),
      turned(0, 0, std::acos(-1.0) / 4, 1, 5, -2, 0),
      {1, 0.3, 0, 0, 0, 1, 0.2, 0, 0.1, 0, 1, 0},
      {1, 0.25, 0.5, -1, 0.5, 1, 0.125, 0.5, 0, 0.25, 1, 0.25},
      {0.9999999999, 1e-11, 0, 1e-12, 0, 1.0000000001, 0, -1e-12, 0, 0, 1, 0}};
  return all;
}

template <class Voxel>
class Warp : public testing::Test {};
using Voxels = testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(Warp, Voxels);

TYPED_TEST(Warp, EveryMemberEqualsItsTwinUnderAllMatrices) {
  constexpr int32_t size = sizeof(TypeParam);
  uint32_t seed = 1;
  for (const Matrix &matrix : matrices()) {
    for (int32_t code : kCodes) {
      expectTwin<TypeParam>({{13, 9, 7}, 13 * size, {0, 0, 0, 13, 9, 7}, {0, 0, 0, 45, 14, 9}, 0, 0}, matrix,
                            code, ++seed);
    }
  }
}

TYPED_TEST(Warp, RowsOfAnyWidthFromAnyPlace) {
  constexpr int32_t size = sizeof(TypeParam);
  for (int32_t code : kCodes) {
    for (int32_t width = 1; width <= 200; width += width < 70 ? 1 : 57) {
      const Case c = {{13, 9, 7}, 13 * size, {0, 0, 0, 13, 9, 7}, {width % 5, 2, 1, width, 5, 3},
                      width % 3,  0};
      expectTwin<TypeParam>(c, turned(0.05, 0.02, 0.1, 3, 1, -1, 2), code, static_cast<uint32_t>(width));
    }
  }
}

TYPED_TEST(Warp, RegionsInsideAndBeyondTheSource) {
  constexpr int32_t size = sizeof(TypeParam);
  const VekrVolumeBox boxes[] = {{2, 3, 1, 6, 5, 4}, {5, 2, 2, 100, INT32_MAX, INT32_MAX},
                                 {0, 0, 0, 5, 5, 3}, {3, 1, 2, 4, 4, 4},
                                 {4, 4, 3, 1, 5, 1}, {0, 0, 0, 1, 1, 1},
                                 {0, 0, 0, 2, 1, 3}, {0, 0, 0, 13, 1, 7},
                                 {0, 0, 0, 3, 9, 1}};
  uint32_t seed = 100;
  for (const VekrVolumeBox &box : boxes) {
    for (int32_t code : kCodes) {
      for (size_t matrix : {0, 1, 6, 8}) {
        expectTwin<TypeParam>({{13, 9, 7}, 16 * size, box, {0, 1, 0, 35, 11, 6}, 0, 0}, matrices()[matrix],
                              code, ++seed);
      }
    }
  }
}

TYPED_TEST(Warp, SmallSourcesUseASimplerCode) {
  constexpr int32_t size = sizeof(TypeParam);
  uint32_t seed = 300;
  for (const VekrVolumeSize &s : kSmallSources) {
    for (int32_t code : kCodes) {
      expectTwin<TypeParam>(
          {s, s.width * size, {0, 0, 0, s.width, s.height, s.depth}, {0, 0, 0, 20, 9, 8}, 0, 0},
          scaledAndMoved(2, 1, 1, 0, 0, 0), code, ++seed);
    }
  }
}

TYPED_TEST(Warp, StepsOfAnyByteCountAndSign) {
  constexpr int32_t size = sizeof(TypeParam);
  uint32_t seed = 400;
  for (int32_t code : kCodes) {
    for (int32_t srcStep : {13 * size + 1, 101, -101, -13 * size - 3, 200 * size}) {
      expectTwin<TypeParam>({{13, 9, 7}, srcStep, {1, 0, 0, 12, 9, 7}, {0, 0, 0, 35, 12, 6}, 5, 0},
                            matrices()[6], code, ++seed);
    }
    for (size_t offset : {1, 2, 3, 5}) {
      expectTwin<TypeParam>({{13, 9, 7}, 13 * size, {0, 0, 0, 13, 9, 7}, {1, 0, 0, 66, 12, 3}, 1, offset},
                            matrices()[3], code, ++seed);
    }
    // Rows from the bottom up; the box is two voxels narrower than the plane and begins at 0.
    expectTwin<TypeParam>(
        {{13, 9, 7}, 13 * size, {0, 0, 0, 13, 9, 7}, {0, 0, 0, 33, 9, 4}, -2 * 35 * size - 3, 1},
        matrices()[3], code, ++seed);
  }
}

// The sums are made so that every plane's coordinates, or a bound of the region among them, hang on where a thread began.
TYPED_TEST(Warp, EachThreadHasItsOwnRunningSums) {
  constexpr int32_t size = sizeof(TypeParam);
  uint32_t seed = 500;
  for (int32_t threads : {1, 2, 3, 5, 16, 19, 20, 32, 100000}) {
    const ThreadCount count(threads);
    for (int32_t code : kCodes) {
      for (size_t matrix : {3, 6, 8}) {
        expectTwin<TypeParam>({{13, 9, 7}, 13 * size, {0, 0, 0, 13, 9, 7}, {0, 0, 0, 17, 16, 19}, 3, 0},
                              matrices()[matrix], code, ++seed, threads);
      }
    }
  }
}

// The row's term and the constant are huge and cancel, so that what is left of the plane's term hangs on their order: each
// axis in turn is 2^k y + 0.4 z - 2^k (z: 0.5 z) in source coordinates.
TYPED_TEST(Warp, StartValuesAreFormedFromLeftToRight) {
  constexpr int32_t size = sizeof(TypeParam);
  constexpr double huge = 0x1p52, large = 0x1p32;  // a determinant of 2^-32 is still accepted
  const Matrix alongX = {1, -huge, -0.4, huge, 0, 1, 0, 0, 0, 0, 1, 0};
  const Matrix alongY = {1, 0, 0, 0, 0, 1 / large, -0.4 / large, 1, 0, 0, 1, 0};
  const Matrix alongZ = {1, 0, 0, 0, 0, 1, 0, 0, 0, -2 * huge, 2, 2 * huge};
  uint32_t seed = 700;
  for (const Matrix &matrix : {alongX, alongY, alongZ}) {
    for (int32_t code : kCodes) {
      expectTwin<TypeParam>({{13, 9, 7}, 13 * size, {0, 0, 0, 13, 9, 7}, {0, 1, 1, 8, 2, 4}, 0, 0}, matrix,
                            code, ++seed);
      expectTwin<TypeParam>({{13, 9, 7}, 13 * size, {0, 0, 0, 13, 9, 7}, {0, 1, 3, 8, 2, 2}, 0, 0}, matrix,
                            code, ++seed);
    }
  }
}

TYPED_TEST(Warp, BoxesWithASideBelowSixteenRunOnOneThread) {
  constexpr int32_t size = sizeof(TypeParam);
  const ThreadCount count(4);
  const VekrVolumeBox boxes[] = {{0, 0, 2, 15, 17, 18}, {0, 3, 0, 17, 15, 18}, {1, 0, 1, 17, 17, 15}};
  uint32_t seed = 600;
  for (const VekrVolumeBox &box : boxes) {
    for (int32_t code : kCodes) {
      expectTwin<TypeParam>({{13, 9, 7}, 13 * size, {0, 0, 0, 13, 9, 7}, box, 0, 0}, matrices()[3], code,
                            ++seed);
    }
  }
}

}  // namespace
