// Affine warp where a sentence of its contract can be checked by hand.
#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "tests/prwarpa/warp_calls.h"
#include "tests/support/volume_faults.h"
#include "tests/support/volumes.h"

namespace {

using namespace vekr_test;

constexpr Matrix kEmptyDiagonal = {0, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0};  // a permutation
constexpr Matrix kEqualLowerRows = {1, 0, 0, 0, 0, 1, 2, 0, 0, 1, 2, 5};
constexpr Matrix kEqualUpperRows = {1, 1, 0, 0, 1, 1, 0, 0, 0, 0, 1, 0};

// A call with good arguments, to be spoilt one by one.
struct Call {
  SourcePlanes<uint8_t> src{{5, 5, 5}, 5};
  BytePlanes<uint8_t> dst{5, 5, 5, 5};
  const uint8_t *const *pSrc = src.list();
  uint8_t *const *pDst = dst.list();
  VekrVolumeSize srcSize{5, 5, 5};
  VekrVolumeBox srcBox{0, 0, 0, 5, 5, 5}, dstBox{1, 1, 1, 4, 4, 4};
  Matrix matrix = kIdentity;
  const double *pCoeffs = matrix.data();
  int32_t interpolation = vekrInterNearest;

  Call() = default;
  Call(const Call &) = delete;
  VekStatus run() const {
    return vekrWarpAffine_8u_C1PV(pSrc, srcSize, 5, srcBox, pDst, 5, dstBox, pCoeffs, interpolation);
  }
};

TEST(WarpStatus, EachFaultAloneAndTheEarlierOfTwo) {
  const auto scaledTooSmall = [](Call &c) { c.matrix = scaledAndMoved(2e-4, 2e-4, 2e-4, 0, 0, 0); };
  expectTheEarlierOfTwo<Call>(
      {{{vekErrNullPtr, [](Call &c) { c.pSrc = nullptr; }},
        {vekErrNullPtr, [](Call &c) { c.pDst = nullptr, c.pCoeffs = nullptr; }},
        {vekErrSize, [](Call &c) { c.srcSize.width = 0, c.pCoeffs = nullptr; }}},
       sourceFaults<Call>(),
       {{vekErrSize, [](Call &c) { c.dstBox.x = -1; }},
        {vekErrSize, [](Call &c) { c.dstBox.width = 0; }},
        {vekErrSize, [](Call &c) { c.dstBox.y = -1; }},
        {vekErrSize, [](Call &c) { c.dstBox.height = 0; }},
        {vekErrSize, [](Call &c) { c.dstBox.z = INT32_MIN; }},
        {vekErrSize, [](Call &c) { c.dstBox.depth = 0; }},
        {vekErrCoeff, [](Call &c) { c.matrix = kEmptyDiagonal; }},
        {vekErrCoeff, [](Call &c) { c.matrix = kEqualLowerRows; }}},
       interpolationFaults<Call>(),
       overlapFaults<Call>(),
       {{vekErrCoeff, [](Call &c) { c.matrix = kEqualUpperRows; }}, {vekErrCoeff, scaledTooSmall}}});
}

TEST(WarpStatus, ThresholdsOfTheMatrixTests) {
  const auto status = [](const Matrix &matrix, int32_t code) {
    Call call;
    call.matrix = matrix;
    call.interpolation = code;
    return call.run();
  };
  // Empty diagonal: at 1e-100 each entry is none, above it isn't. The bad code tells which test came first.
  EXPECT_EQ(status({1e-100, 1, 0, 0, 0, -1e-100, 1, 0, 1, 0, 1e-100, 0}, 3), vekErrCoeff);
  EXPECT_EQ(status({1.01e-100, 1, 0, 0, 0, 0, 1, 0, 1, 0, 0, 0}, 3), vekErrInterpolation);
  EXPECT_EQ(status({0, 1, 0, 0, 0, -1.01e-100, 1, 0, 1, 0, 0, 0}, 3), vekErrInterpolation);
  // Dependent rows: a relative difference of the products up to 1e-10; for an empty product the other one itself.
  EXPECT_EQ(status({1, 0, 0, 0, 0, 1, 1, 0, 0, 1, 1 + 0.99e-10, 0}, 3), vekErrCoeff);
  EXPECT_EQ(status({1, 0, 0, 0, 0, 1, 1, 0, 0, 1, 1 + 1.01e-10, 0}, 3), vekErrInterpolation);
  EXPECT_EQ(status({1, 0, 0, 0, 0, 0, 1, 0, 0, 1e-10, 0, 0}, 3), vekErrCoeff);
  EXPECT_EQ(status({1, 0, 0, 0, 0, 0, 1, 0, 0, 1.01e-10, 0, 0}, 3), vekErrInterpolation);
  // A product counts as empty up to 1e-200, not as an entry of the diagonal does.
  EXPECT_EQ(status({1, 0, 0, 0, 0, 1e-75, 0, 0, 0, 0, 1e-75, 0}, 3), vekErrInterpolation);
  EXPECT_EQ(status({1, 0, 0, 0, 0, 1e-101, 0, 0, 0, 0, 1e-100, 0}, 3), vekErrCoeff);
  // The second and the third pair are looked at as well.
  EXPECT_EQ(status({1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0}, 3), vekErrInterpolation);
  EXPECT_EQ(status({1, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0}, 3), vekErrInterpolation);
  EXPECT_EQ(status({1, 0, 0, 0, 2, 4, 8, 0, -1, -2, -4, 0}, 3), vekErrCoeff);
  // Determinant: within 1e-10, both ends excluded.
  EXPECT_EQ(status(scaledAndMoved(1e-10, 1, 1, 0, 0, 0), 1), vekOk);
  EXPECT_EQ(status(scaledAndMoved(-1e-10, 1, 1, 0, 0, 0), 1), vekOk);
  EXPECT_EQ(status(scaledAndMoved(0.99e-10, 1, 1, 0, 0, 0), 1), vekErrCoeff);
  EXPECT_EQ(status(scaledAndMoved(-0.99e-10, 1, 1, 0, 0, 0), 1), vekErrCoeff);
}

TEST(WarpStatus, CoefficientsAreReadAfterPointersAndSizes) {
  Call call;
  call.pCoeffs = nullptr;
  call.dstBox.depth = 0;
  EXPECT_EQ(call.run(), vekErrSize);
}

TEST(WarpGetBufSize, ChecksInOrderAndAnswersZero) {
  const VekrVolumeBox good = {0, 0, 0, 1, 1, 1};
  int32_t size = 77;
  EXPECT_EQ(vekrWarpAffineGetBufSize({-1, 0, 0, 0, 0, 0}, good, 3, 9, nullptr), vekErrNullPtr);
  for (int field = 0; field < 6; ++field) {
    int32_t f[6] = {0, 0, 0, 1, 1, 1};
    f[field] -= 1;
    const VekrVolumeBox bad = {f[0], f[1], f[2], f[3], f[4], f[5]};
    EXPECT_EQ(vekrWarpAffineGetBufSize(bad, good, 3, 9, &size), vekErrSize);
    EXPECT_EQ(vekrWarpAffineGetBufSize(good, bad, 3, 9, &size), vekErrSize);
  }
  EXPECT_EQ(vekrWarpAffineGetBufSize(good, good, 3, 9, &size), vekErrChannel);
  EXPECT_EQ(vekrWarpAffineGetBufSize(good, good, 0, 1, &size), vekErrChannel);
  for (int32_t code : {0, 3, 8, -1}) {
    EXPECT_EQ(vekrWarpAffineGetBufSize(good, good, 1, code, &size), vekErrInterpolation);
  }
  EXPECT_EQ(size, 77);
  for (int32_t code : kCodes) {
    size = 77;
    EXPECT_EQ(vekrWarpAffineGetBufSize(good, good, 1, code, &size), vekOk);
    EXPECT_EQ(size, 0);
  }
}

template <class Voxel>
struct Warped {
  SourcePlanes<Voxel> src;
  BytePlanes<Voxel> dst{8, 8, 8, 8 * static_cast<int32_t>(sizeof(Voxel))};
  template <class Value>
  explicit Warped(const Value &value) : src(madeOf<Voxel>({8, 8, 8}, value)) {
    for (int32_t i = 0; i < 8 * 8 * 8; ++i) dst.set(i % 8, i / 8 % 8, i / 64, 77);
  }
  void warp(const Matrix &matrix, int32_t code, VekrVolumeBox srcBox = {0, 0, 0, 8, 8, 8},
            VekrVolumeBox dstBox = {0, 0, 0, 8, 8, 8}) {
    constexpr int32_t step = 8 * sizeof(Voxel);
    EXPECT_EQ(
        warpOf<Voxel>()(src.list(), {8, 8, 8}, step, srcBox, dst.list(), step, dstBox, matrix.data(), code),
        vekOk);
  }
};

TEST(WarpIdentity, NearestCopiesTheBoxIntoItsPlaceAndNothingElse) {
  Warped<uint8_t> v([](int x, int y, int z) { return x + 8 * y + 21 * z; });
  v.warp(kIdentity, vekrInterNearest, {2, 3, 4, 3, 100, 2}, {1, 1, 1, 6, 6, 6});
  for (int32_t z = 0; z < 8; ++z) {
    for (int32_t y = 0; y < 8; ++y) {
      for (int32_t x = 0; x < 8; ++x) {
        const bool in = x >= 2 && x <= 4 && y >= 3 && y <= 6 && z >= 4 && z <= 5;
        ASSERT_EQ(v.dst.get(x, y, z), in ? v.src.at(x, y, z) : 77) << x << " " << y << " " << z;
      }
    }
  }
}

TEST(WarpIdentity, TheBSplineSmooths) {
  Warped<float> v([](int x, int y, int z) { return x == 3 && y == 3 && z == 3 ? 216 : 0; });
  v.warp(kIdentity, vekrInterCubicBSpline);
  EXPECT_NEAR(v.dst.get(3, 3, 3), 64.0f, 1e-3);
  EXPECT_NEAR(v.dst.get(2, 3, 3), 16.0f, 1e-3);
}

TEST(WarpCubic, TwoAndAHalfIsTwoInsideAndThreeAtABorder) {
  Warped<uint8_t> v([](int x, int, int) { return x < 4 ? 2 : 3; });
  v.warp(scaledAndMoved(1, 1, 1, 0.5, 0, 0), vekrInterCubicLagrange);  // destination 4 is source 3.5
  EXPECT_EQ(v.dst.get(4, 3, 3), 2);
  EXPECT_EQ(v.dst.get(4, 0, 3), 3);
  EXPECT_EQ(v.dst.get(4, 3, 6), 3);
  EXPECT_EQ(v.dst.get(0, 3, 3), 77);  // -0.5 is outside
}

TEST(WarpCubic, FloatBordersKeepTheirFraction) {
  Warped<float> v([](int x, int, int) { return x + 0.75f; });
  v.warp(kIdentity, vekrInterCubicLagrange);
  for (int32_t x = 0; x < 8; ++x) EXPECT_EQ(v.dst.get(x, 0, 7), static_cast<float>(x) + 0.75f);
}

// 2.9999999999 has index 2; as a float it is 3, and the fraction 1.
TEST(WarpSampling, IndexesComeFromDoublesAndFractionsFromFloats) {
  const Matrix nearlyOne = scaledAndMoved(1, 1, 1, 1e-10, 0, 0);  // destination 3 is source 2.9999999999
  Warped<float> linear([](int x, int, int) { return x == 2 ? std::numeric_limits<float>::infinity() : x; });
  linear.warp(nearlyOne, vekrInterLinear);
  EXPECT_TRUE(std::isnan(linear.dst.get(3, 3, 3)));  // cell 2 to 3: infinity times 0 plus 3 times 1
  EXPECT_EQ(linear.dst.get(5, 3, 3), 5.0f);
  Warped<uint8_t> nearest([](int x, int, int) { return x; });
  nearest.warp(nearlyOne, vekrInterNearest);
  EXPECT_EQ(nearest.dst.get(3, 3, 3), 3);
  EXPECT_EQ(nearest.dst.get(0, 3, 3), 77);  // -1e-10 is outside, though it is 0 as a float index
  Warped<float> cubic([](int x, int, int) { return x; });
  cubic.warp(nearlyOne, vekrInterCubicLagrange);
  EXPECT_EQ(cubic.dst.get(3, 3, 3), 3.0f);
  // Source 6.9999999999 has index 6, the region's last but one: taps 5, 6, 7, 7.
  EXPECT_EQ(cubic.dst.get(7, 3, 3), 7.0f);
}

// An axis of one voxel has no cell: the one in front of the volume is asked for with a weight of 0, and isn't read, whatever
// lies there.
TEST(WarpSampling, NothingInFrontOfTheVolumeCounts) {
  constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
  for (unsigned thin = 1; thin < 8; ++thin) {
    const int32_t side[3] = {thin & 1 ? 1 : 5, thin & 2 ? 1 : 5, thin & 4 ? 1 : 5};
    const int32_t step = side[0] + 1;
    std::vector<std::vector<float>> source(6, std::vector<float>(64, kNaN)),
        result(5, std::vector<float>(25, 77));
    std::vector<const float *> planes = {source[0].data() + 12};  // in front of the first one that counts
    std::vector<float *> results;
    for (int32_t z = 0; z < side[2]; ++z) {
      float *const plane = source[static_cast<size_t>(z) + 1].data() + 12;
      for (int32_t y = 0; y < side[1]; ++y) {
        for (int32_t x = 0; x < side[0]; ++x) plane[y * step + x] = static_cast<float>(100 * z + 10 * y + x);
      }
      planes.push_back(plane);
    }
    for (std::vector<float> &plane : result) results.push_back(plane.data());
    const VekrVolumeBox box = {0, 0, 0, side[0], side[1], side[2]};
    ASSERT_EQ(vekrWarpAffine_32f_C1PV(planes.data() + 1, {side[0], side[1], side[2]}, step * 4, box,
                                      results.data(), side[0] * 4, box, kIdentity.data(), vekrInterLinear),
              vekOk);
    for (int32_t z = 0; z < side[2]; ++z) {
      for (int32_t y = 0; y < side[1]; ++y) {
        for (int32_t x = 0; x < side[0]; ++x) {
          EXPECT_EQ(results[static_cast<size_t>(z)][y * side[0] + x],
                    static_cast<float>(100 * z + 10 * y + x))
              << side[0] << "x" << side[1] << "x" << side[2];
        }
      }
    }
  }
}

TEST(WarpSampling, MatricesThatArentNumbersWriteNothing) {
  for (int32_t code : kCodes) {
    Warped<uint16_t> v([](int x, int, int) { return x; });
    Matrix matrix = kIdentity;
    matrix[3] = std::numeric_limits<double>::quiet_NaN();
    v.warp(matrix, code);
    EXPECT_EQ(v.dst.get(3, 3, 3), 77);
  }
}

TEST(WarpSampling, ATransformThatLeavesTheRegionWritesNothing) {
  Warped<uint16_t> v([](int x, int, int) { return x; });
  const Warped<uint16_t> untouched([](int x, int, int) { return x; });
  v.warp(scaledAndMoved(1, 1, 1, 0, 0, 8), vekrInterLinear);
  EXPECT_TRUE(v.dst == untouched.dst);
}

}  // namespace
