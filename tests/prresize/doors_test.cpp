// Statuses in their order, sizes of the work buffer, and what is left alone.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

#include "resize_case.h"
#include "tests/support/threads.h"

namespace {

using namespace vekr_test;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// ---------------------------------------------------------------- the work buffer

class ResizeBufferSize : public ::testing::Test {
 protected:
  static VekStatus ask(VekrVolumeBox src, VekrVolumeBox dst, int32_t channels, int32_t code, int32_t *size) {
    return vekrResizeGetBufSize(src, dst, channels, code, size);
  }
  static constexpr VekrVolumeBox kBox = {0, 0, 0, 4, 4, 4};
};

TEST_F(ResizeBufferSize, IsComputedFromTheDestinationsBox) {
  const ThreadCount one(1);
  // 100 x 30 x 17: rounded to 16, 112 + 32 + 32; to 64, 128 + 64 + 64.
  const int64_t index = 4 * (112 + 32 + 32), frac = 4 * (128 + 64 + 64);
  const auto low6 = [](int64_t n) { return n / 64 * 64; };
  const int64_t linear = index + frac + 4 * low6(200 + 127) + 4 * 60 * 128 + 4 * low6(8 * 130 + 127) + 64;
  const int64_t cubic = index + frac + 4 * low6(400 + 255) + 4 * 120 * 128 + 4 * low6(400 + 255) +
                        4 * low6(120 + 255) + 4 * low6(68 + 255) + 4 * low6(48 * 130 + 255) + 64;
  for (const auto &[code, bytes] : {std::pair<int32_t, int64_t>{1, index + 64},
                                    {2, linear},
                                    {4, cubic},
                                    {5, cubic},
                                    {6, cubic},
                                    {7, cubic}}) {
    int32_t size = -1;
    EXPECT_EQ(ask({5, 6, 7, 1, 2, 3}, {9, 9, 9, 100, 30, 17}, 1, code, &size), vekOk);
    EXPECT_EQ(size, bytes) << code;
  }
}

TEST_F(ResizeBufferSize, IsMultipliedByTheThreadCount) {
  for (int32_t code : {1, 2, 7}) {
    int32_t one = 0, five = 0;
    {
      const ThreadCount threads(1);
      ask(kBox, kBox, 1, code, &one);
    }
    const ThreadCount threads(5);
    ask(kBox, kBox, 1, code, &five);
    EXPECT_EQ(five, 5 * one);
  }
}

TEST_F(ResizeBufferSize, WrapsIn32Bits) {
  const ThreadCount threads(3);
  int32_t size = 0;
  EXPECT_EQ(ask(kBox, {0, 0, 0, 30000, 30000, 10}, 1, 2, &size), vekOk);
  const int64_t a16 = 30000 + 30000 + 16, a64 = 30016 + 30016 + 64;
  const int64_t bytes = 4 * (a16 + a64) + 4 * ((60000 + 127) / 64 * 64) + int64_t{4} * 60000 * 30016 +
                        4 * ((8 * 60000 + 127) / 64 * 64) + 64;
  EXPECT_EQ(size, static_cast<int32_t>(static_cast<uint32_t>(3 * bytes)));
  EXPECT_EQ(ask(kBox, {0, 0, 0, INT32_MAX, INT32_MAX, INT32_MAX}, 1, 4, &size), vekOk);
}

TEST_F(ResizeBufferSize, ErrorsComeInTheirOrderAndLeaveTheSizeAlone) {
  EXPECT_EQ(ask({0, 0, 0, 0, 1, 1}, kBox, 3, 0, nullptr), vekErrNullPtr);
  int32_t size = -77;
  for (int field = 0; field < 12; ++field) {
    VekrVolumeBox boxes[2] = {kBox, kBox};
    VekrVolumeBox &box = boxes[field / 6];
    int32_t *const fields[6] = {&box.x, &box.y, &box.z, &box.width, &box.height, &box.depth};
    *fields[field % 6] = field % 6 < 3 ? -1 : 0;
    EXPECT_EQ(ask(boxes[0], boxes[1], 3, 0, &size), vekErrSize) << field;
  }
  for (int32_t channels : {0, 2, 3, -1}) EXPECT_EQ(ask(kBox, kBox, channels, 0, &size), vekErrChannel);
  for (int32_t code : {0, 3, 8, -1, INT32_MAX, INT32_MIN}) {
    EXPECT_EQ(ask(kBox, kBox, 1, code, &size), vekErrInterpolation) << code;
  }
  EXPECT_EQ(size, -77);
}

// ---------------------------------------------------------------- the six functions

struct Arguments {
  bool src = true, dst = true, buffer = true;
  ResizeRequest r = {{6, 5, 4}, {0, 0, 0, 6, 5, 4}, {0, 0, 0, 8, 8, 8}, {1, 1, 1}, {0, 0, 0}, 4};
};

template <class Voxel>
class ResizeDoors : public ::testing::Test {
 protected:
  // Of all calls that fail the destination is as it was.
  static VekStatus call(const Arguments &a, VolumeForm form) {
    TestVolume<Voxel> source({6, 5, 4}, packed<Voxel>({6, 5, 4}));
    TestVolume<Voxel> destination({8, 8, 8}, packed<Voxel>({8, 8, 8}));
    TestVolume<Voxel> before({8, 8, 8}, packed<Voxel>({8, 8, 8}));
    std::vector<uint8_t> buffer(1 << 20);
    uint8_t *const work = a.buffer ? buffer.data() : nullptr;
    const VekStatus status =
        form == VolumeForm::block
            ? resizeBlock<Voxel>(a.src ? source.block() : nullptr, a.r, source.layout(),
                                 a.dst ? destination.block() : nullptr, destination.layout(), work)
            : resizeList<Voxel>(a.src ? source.constList() : nullptr, a.r, source.layout().step,
                                a.dst ? destination.list() : nullptr, destination.layout().step, work);
    EXPECT_EQ(destination.sameBytes(before), status != vekOk);
    return status;
  }
  static void expect(VekStatus status, const Arguments &a) {
    EXPECT_EQ(call(a, VolumeForm::block), status);
    EXPECT_EQ(call(a, VolumeForm::list), status);
  }
};
using Voxels = ::testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(ResizeDoors, Voxels);

TYPED_TEST(ResizeDoors, ErrorsComeInTheirOrder) {
  // All is wrong; then one thing after another is put right.
  Arguments a;
  a.src = a.dst = a.buffer = false;
  a.r.srcSize.width = 0;
  a.r.factor[2] = 0;
  a.r.code = 3;
  a.r.srcBox.y = 99;
  a.r.shift[0] = 1000;
  for (bool Arguments::*pointer : {&Arguments::src, &Arguments::dst, &Arguments::buffer}) {
    this->expect(vekErrNullPtr, a);
    a.*pointer = true;
  }
  this->expect(vekErrSize, a);
  a.r.srcSize.width = 6;
  this->expect(vekErrResizeFactor, a);
  a.r.factor[2] = 1;
  this->expect(vekErrInterpolation, a);
  a.r.code = 4;
  this->expect(vekWarnNoOverlap, a);
  a.r.srcBox.y = 0;
  this->expect(vekWarnNoVoxels, a);
  a.r.shift[0] = 0;
  this->expect(vekOk, a);
}

TYPED_TEST(ResizeDoors, EachPointerIsTested) {
  for (bool Arguments::*pointer : {&Arguments::src, &Arguments::dst, &Arguments::buffer}) {
    Arguments a;
    a.*pointer = false;
    this->expect(vekErrNullPtr, a);
  }
}

TYPED_TEST(ResizeDoors, EachSizeIsTested) {
  for (int field = 0; field < 15; ++field) {
    Arguments a;
    VekrVolumeSize &s = a.r.srcSize;
    VekrVolumeBox &f = a.r.srcBox, &t = a.r.dstBox;
    int32_t *const fields[15] = {&s.width, &s.height, &s.depth, &f.x, &f.width,  &f.y, &f.height, &f.z,
                                 &f.depth, &t.x,      &t.width, &t.y, &t.height, &t.z, &t.depth};
    const bool origin = field >= 3 && field % 2 == 1;
    *fields[field] = origin ? -1 : 0;
    a.r.factor[0] = -1;
    this->expect(vekErrSize, a);
  }
}

TYPED_TEST(ResizeDoors, FactorsMustBePositiveAndComeBeforeTheCode) {
  for (int axis = 0; axis < 3; ++axis) {
    for (double factor : {0.0, -0.0, -1.0, -std::numeric_limits<double>::infinity()}) {
      Arguments a;
      a.r.factor[axis] = factor;
      a.r.code = 0;
      this->expect(vekErrResizeFactor, a);
    }
  }
}

TYPED_TEST(ResizeDoors, SixCodesAreTaken) {
  for (int32_t code = -1; code < 10; ++code) {
    Arguments a;
    a.r.code = code;
    const bool taken = code == 1 || code == 2 || (code >= 4 && code <= 7);
    this->expect(taken ? vekOk : vekErrInterpolation, a);
  }
}

TYPED_TEST(ResizeDoors, ABoxBesideTheSourceDoesNotOverlap) {
  int32_t VekrVolumeBox::*const origins[3] = {&VekrVolumeBox::x, &VekrVolumeBox::y, &VekrVolumeBox::z};
  const int32_t sizes[3] = {6, 5, 4};
  for (int axis = 0; axis < 3; ++axis) {
    Arguments a;
    a.r.srcBox.*origins[axis] = sizes[axis];
    this->expect(vekWarnNoOverlap, a);
    a.r.srcBox.*origins[axis] = sizes[axis] - 1;
    this->expect(vekOk, a);
  }
}

TYPED_TEST(ResizeDoors, ADestinationThatMissesTheImageIsLeftAlone) {
  for (int axis = 0; axis < 3; ++axis) {
    for (double shift : {8.0, -6.0, 1e300, -1e300}) {
      Arguments a;
      a.r.shift[axis] = shift;
      this->expect(vekWarnNoVoxels, a);
    }
    Arguments tiny;  // no voxel's centre lies in it
    tiny.r.factor[axis] = 0.05;
    this->expect(vekWarnNoVoxels, tiny);
  }
}

TYPED_TEST(ResizeDoors, ANanAnywhereDoesNoHarm) {
  for (int32_t code : kCodes) {
    for (int place = 0; place < 6; ++place) {
      for (double value : {kNan, 1e-320, 1e-300, 1e300, std::numeric_limits<double>::infinity()}) {
        Arguments a;
        a.r.code = code;
        (place < 3 ? a.r.factor[place] : a.r.shift[place - 3]) = value;
        for (const VolumeForm form : {VolumeForm::block, VolumeForm::list}) {
          const VekStatus status = this->call(a, form);
          EXPECT_TRUE(status == vekOk || status == vekWarnNoVoxels);
          EXPECT_TRUE(status == vekOk || place >= 3 || !std::isnan(value));
        }
      }
    }
  }
}

TYPED_TEST(ResizeDoors, EntriesOfAListAreNotLookedAt) {
  Arguments a;
  a.r.shift[0] = 1000;  // no voxels
  const TypeParam *sources[4] = {};
  TypeParam *destinations[8] = {};
  uint8_t work[64];
  EXPECT_EQ(resizeList<TypeParam>(sources, a.r, 6, destinations, 8, work), vekWarnNoVoxels);
}

// The centre of a voxel at the very end of the interval belongs to it, also where a product misses it by a hair.
TYPED_TEST(ResizeDoors, CentresOnTheEdgeOfTheImageAreWritten) {
  Arguments a;
  a.r.code = 1;
  a.r.srcBox = {1, 1, 1, 3, 2, 1};
  for (double hair : {0.0, 0.9e-10, -0.9e-10}) {
    TestVolume<TypeParam> source({6, 5, 4}, packed<TypeParam>({6, 5, 4}));
    TestVolume<TypeParam> destination({8, 8, 8}, packed<TypeParam>({8, 8, 8}));
    source.fill(
        [](int32_t x, int32_t y, int32_t z) { return static_cast<TypeParam>(1 + x + 6 * y + 30 * z); });
    destination.fill([](int32_t, int32_t, int32_t) { return TypeParam(); });
    for (double &shift : a.r.shift) shift = 0.5 + hair;
    a.r.factor[0] = a.r.factor[1] = a.r.factor[2] = 1;
    std::vector<uint8_t> work(1 << 16);
    EXPECT_EQ(resizeBlock<TypeParam>(source.block(), a.r, source.layout(), destination.block(),
                                     destination.layout(), work.data()),
              vekOk);
    // The image is 1.5 to 4.5 along x: voxels 1 to 4, four for three.
    for (int32_t x = 0; x < 8; ++x) {
      EXPECT_EQ(destination.get(x, 2, 2) != TypeParam(), x >= 1 && x <= 4) << x << " " << hair;
    }
  }
}

}  // namespace
