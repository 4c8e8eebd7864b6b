// What callers of resize rely on at the edges, each told by itself.
#include <gtest/gtest.h>

#include <functional>

#include "resize_case.h"
#include "tests/support/threads.h"

namespace {

using namespace vekr_test;

template <class Voxel>
class ResizeEdges : public ::testing::Test {
 protected:
  static ResizeRequest whole(VekrVolumeSize size, double factor, int32_t code) {
    const auto scaled = [&](int32_t n) { return std::max(1, static_cast<int32_t>(n * factor + 0.5)); };
    return {size,
            {0, 0, 0, size.width, size.height, size.depth},
            {0, 0, 0, scaled(size.width), scaled(size.height), scaled(size.depth)},
            {factor, factor, factor},
            {0, 0, 0},
            code};
  }
  static TestVolume<Voxel> randomVolume(VekrVolumeSize size, Layout layout, uint32_t seed = 1) {
    TestVolume<Voxel> volume(size, layout);
    Random random(seed);
    volume.fill([&](int32_t, int32_t, int32_t) { return randomVoxel<Voxel>(random); });
    return volume;
  }
  static TestVolume<Voxel> run(const TestVolume<Voxel> &source, const ResizeRequest &r) {
    const VekrVolumeSize room = {r.dstBox.x + r.dstBox.width, r.dstBox.y + r.dstBox.height,
                                 r.dstBox.z + r.dstBox.depth};
    TestVolume<Voxel> destination(room, packed<Voxel>(room));
    PageEnd<uint8_t> buffer(static_cast<size_t>(bufferSize(r)), 1);
    EXPECT_EQ(resizeBlock<Voxel>(source.block(), r, source.layout(), destination.block(),
                                 destination.layout(), buffer.data()),
              vekOk);
    return destination;
  }
  static void expectSame(Voxel a, Voxel b, int32_t x, int32_t y, int32_t z) {
    EXPECT_EQ(std::memcmp(&a, &b, sizeof a), 0) << +a << " and " << +b << " at " << x << " " << y << " " << z;
  }
  ThreadCount one_{1};
};
using Voxels = ::testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(ResizeEdges, Voxels);

TYPED_TEST(ResizeEdges, FactorOneReproducesTheSourceWithTheInterpolatingCodes) {
  const VekrVolumeSize size = {11, 9, 7};
  TestVolume<TypeParam> source(size, packed<TypeParam>(size));
  source.fill(
      [](int32_t x, int32_t y, int32_t z) { return static_cast<TypeParam>(3 + x + 11 * y + 20 * z); });
  for (int32_t code : {1, 2, 4, 6}) {
    const auto result = this->run(source, this->whole(size, 1, code));
    for (int32_t z = 0; z < 7; ++z) {
      for (int32_t y = 0; y < 9; ++y) {
        for (int32_t x = 0; x < 11; ++x) this->expectSame(result.get(x, y, z), source.get(x, y, z), x, y, z);
      }
    }
  }
}

TYPED_TEST(ResizeEdges, TheBSplineSmoothsEvenAtFactorOne) {
  const VekrVolumeSize size = {9, 9, 9};
  TestVolume<TypeParam> source(size, packed<TypeParam>(size));
  source.fill([](int32_t x, int32_t y, int32_t z) { return static_cast<TypeParam>((x + y + z) % 2 * 200); });
  const auto result = this->run(source, this->whole(size, 1, 5));
  EXPECT_GT(result.get(4, 4, 4), TypeParam(50));
  EXPECT_LT(result.get(4, 4, 5), TypeParam(150));
}

TYPED_TEST(ResizeEdges, AConstantVolumeStaysConstantInFrameAndInterior) {
  const VekrVolumeSize size = {10, 9, 8};
  for (const int v : {0, 1, 99, 200, 255}) {
    TestVolume<TypeParam> source(size, packed<TypeParam>(size));
    source.fill([&](int32_t, int32_t, int32_t) { return static_cast<TypeParam>(v); });
    const auto result = this->run(source, this->whole(size, 2.5, 2));
    for (int32_t x = 0; x < 25; ++x) {
      for (int32_t y = 0; y < 22; ++y) EXPECT_NEAR(result.get(x, y, 7), v, 1e-4 * v) << x << " " << y;
    }
    EXPECT_NEAR(result.get(12, 12, 12), v, std::is_integral_v<TypeParam> ? 0 : 1e-4 * v);
  }
}

// Outside the first and the last centre along z there is nothing but one plane.
TYPED_TEST(ResizeEdges, OuterPlanesOfALinearEnlargementAreTwoDimensional) {
  const VekrVolumeSize size = {12, 10, 5};
  const auto source = this->randomVolume(size, packed<TypeParam>(size));
  const auto all = this->run(source, this->whole(size, 2, 2));
  for (const int32_t plane : {0, 4}) {
    TestVolume<TypeParam> single({12, 10, 1}, packed<TypeParam>({12, 10, 1}));
    single.fill([&](int32_t x, int32_t y, int32_t) { return source.get(x, y, plane); });
    ResizeRequest r = this->whole({12, 10, 1}, 2, 2);
    r.factor[2] = 1;
    r.dstBox.depth = 1;
    const auto flat = this->run(single, r);
    for (int32_t y = 0; y < 20; ++y) {
      for (int32_t x = 0; x < 24; ++x) {
        this->expectSame(all.get(x, y, plane == 0 ? 0 : 9), flat.get(x, y, 0), x, y, plane);
      }
    }
  }
}

TYPED_TEST(ResizeEdges, ALinearCornerIsTheSourcesCorner) {
  const VekrVolumeSize size = {6, 6, 6};
  TestVolume<TypeParam> source(size, packed<TypeParam>(size));
  source.fill(
      [](int32_t x, int32_t y, int32_t z) { return static_cast<TypeParam>(64 + x + 6 * y + 12 * z); });
  const auto result = this->run(source, this->whole(size, 2, 2));
  this->expectSame(result.get(0, 0, 0), source.get(0, 0, 0), 0, 0, 0);
  this->expectSame(result.get(11, 11, 11), source.get(5, 5, 5), 11, 11, 11);
}

TYPED_TEST(ResizeEdges, EveryCodeFillsADestinationOfOnePlane) {
  for (int32_t code : kCodes) {
    for (const int32_t depth : {4, 5, 9}) {
      for (const double z : {-0.3, 0.2, 1.4, depth - 1.7, depth - 0.9, depth - 0.6}) {
        ResizeRequest r = this->whole({8, 7, depth}, 1.5, code);
        r.factor[2] = 1;
        r.shift[2] = 0.5 - (z + 0.5);  // destination plane 0 has its centre at source coordinate z
        r.dstBox.depth = 1;
        const auto source = this->randomVolume(r.srcSize, packed<TypeParam>(r.srcSize), 3);
        SCOPED_TRACE(describe(r));
        expectLikeTwin<TypeParam>(r, VolumeForm::block, source, packed<TypeParam>({12, 11, 1}), 9);
      }
    }
  }
}

TYPED_TEST(ResizeEdges, PlanesThatRunBackwardsInMemoryGiveTheSameVolume) {
  const VekrVolumeSize size = {9, 8, 7};
  const Layout forward = packed<TypeParam>(size), backward = {forward.step, -forward.planeStep};
  for (int32_t code : kCodes) {
    for (const double factor : {0.4, 1.0, 2.3}) {
      const ResizeRequest r = this->whole(size, factor, code);
      const auto a = this->run(this->randomVolume(size, forward), r),
                 b = this->run(this->randomVolume(size, backward), r);
      EXPECT_TRUE(a.sameBytes(b)) << code << " " << factor;
    }
  }
}

// Rows that run backwards: all but the lowest rows of the cubic codes are the same, and those keep the rows above them.
TYPED_TEST(ResizeEdges, RowsThatRunBackwardsDifferInTheCubicRowsOfTheEndAlone) {
  const VekrVolumeSize size = {9, 8, 7};
  const Layout forward = packed<TypeParam>(size), backward = {-forward.step, forward.planeStep};
  for (int32_t code : kCodes) {
    const ResizeRequest r = this->whole(size, 2, code);
    const auto a = this->run(this->randomVolume(size, forward), r),
               b = this->run(this->randomVolume(size, backward), r);
    int differing = 0;
    for (int32_t z = 0; z < 14; ++z) {
      for (int32_t y = 0; y < 16; ++y) {
        for (int32_t x = 0; x < 18; ++x) {
          const bool end = code >= 4 && y >= 15;  // 7.25 is above 7
          if (!end) this->expectSame(a.get(x, y, z), b.get(x, y, z), x, y, z);
          differing += a.get(x, y, z) != b.get(x, y, z);
        }
      }
    }
    EXPECT_EQ(differing > 0, code >= 4) << code;
  }
}

// The lowest rows alone: there is no row before them, and row 0 stands in.
TYPED_TEST(ResizeEdges, BackwardRowsOfTheEndAloneTakeRowZero) {
  const VekrVolumeSize size = {9, 8, 7};
  const Layout forward = packed<TypeParam>(size), backward = {-forward.step, forward.planeStep};
  for (int32_t code : {4, 5, 6, 7}) {
    ResizeRequest r = this->whole(size, 4, code);
    r.dstBox.y = 30;  // 7.125 and 7.375
    r.dstBox.height = 2;
    const auto source = this->randomVolume(size, backward);
    for (const VolumeForm form : {VolumeForm::block, VolumeForm::list}) {
      expectLikeTwin<TypeParam>(r, form, source, packed<TypeParam>({36, 32, 28}), 2);
    }
  }
}

TYPED_TEST(ResizeEdges, NearestRepeatsPlanes) {
  const VekrVolumeSize size = {5, 4, 4};
  const auto source = this->randomVolume(size, packed<TypeParam>(size));
  const auto result = this->run(source, this->whole(size, 2, 1));
  for (int32_t z = 0; z < 8; ++z) {
    for (int32_t y = 0; y < 8; ++y) {
      for (int32_t x = 0; x < 10; ++x) {
        this->expectSame(result.get(x, y, z), source.get(x / 2, y / 2, z / 2), x, y, z);
      }
    }
  }
}

// A repeated plane goes by the whole voxels of the steps, and leaves what lies between the rows alone.
TYPED_TEST(ResizeEdges, NearestRepeatsPlanesInPaddedRows) {
  const VekrVolumeSize size = {5, 4, 4};
  const auto source = this->randomVolume(size, packed<TypeParam>(size));
  ResizeRequest r = this->whole(size, 2, 1);
  r.dstBox.x = 1;
  r.srcBox.width = 4;
  Layout to = packed<TypeParam>({11, 8, 8}, 3);
  for (const int32_t more : {0, static_cast<int32_t>(sizeof(TypeParam)) - 1}) {
    Layout odd = to;
    odd.step += more;
    for (const VolumeForm form : {VolumeForm::block, VolumeForm::list}) {
      expectLikeTwin<TypeParam>(r, form, source, odd, 0);
    }
  }
}

// Neighbours are read from the whole source: a box in its middle gives the very voxels of the whole.
TYPED_TEST(ResizeEdges, ABoxChoosesWhatIsWrittenAndNotWhatIsRead) {
  const VekrVolumeSize size = {12, 11, 10};
  const auto source = this->randomVolume(size, packed<TypeParam>(size));
  for (int32_t code : {1, 2, 5}) {
    ResizeRequest r = this->whole(size, 2, code);
    const auto all = this->run(source, r);
    r.srcBox = {4, 3, 2, 5, 99, 4};
    const auto part = this->run(source, r);
    TestVolume<TypeParam> untouched(part.size(), part.layout());
    for (int32_t z = 0; z < 20; ++z) {
      for (int32_t y = 0; y < 22; ++y) {
        for (int32_t x = 0; x < 24; ++x) {
          // Which columns are the last of a row changes the order of a sum of four floats.
          if (code == 5 && x >= 16) continue;
          const bool inside = x >= 8 && x < 18 && y >= 6 && z >= 4 && z < 12;
          this->expectSame(part.get(x, y, z), inside ? all.get(x, y, z) : untouched.get(x, y, z), x, y, z);
        }
      }
    }
  }
}

// A destination whose planes are one and the same: of all that is written there, what the inside writes last stays.
TYPED_TEST(ResizeEdges, PlanesThatShareMemoryKeepTheLastOfTheInside) {
  const VekrVolumeSize size = {8, 8, 8};
  for (int32_t code : {4, 5, 6, 7}) {
    const ResizeRequest r = this->whole(size, 1, code);
    const auto source = this->randomVolume(size, packed<TypeParam>(size));
    const auto apart = this->run(source, r);
    TestVolume<TypeParam> shared({8, 8, 1}, packed<TypeParam>({8, 8, 1}));
    std::vector<uint8_t> buffer(static_cast<size_t>(bufferSize(r)));
    EXPECT_EQ(resizeBlock<TypeParam>(source.block(), r, source.layout(), shared.block(),
                                     {shared.layout().step, 0}, buffer.data()),
              vekOk);
    // Planes 6 and 7 lie within the reach of the source's last ones.
    for (int32_t y = 0; y < 8; ++y) {
      for (int32_t x = 0; x < 8; ++x) this->expectSame(shared.get(x, y, 0), apart.get(x, y, 5), x, y, 5);
    }
  }
}

TYPED_TEST(ResizeEdges, StepsDropWhatIsNotAWholeVoxel) {
  const int32_t bytes = static_cast<int32_t>(sizeof(TypeParam));
  const VekrVolumeSize size = {6, 5, 4};
  for (int32_t code : {1, 2, 4}) {
    const ResizeRequest r = this->whole(size, 1.5, code);
    Layout odd = packed<TypeParam>(size, 1);
    odd.planeStep = odd.step * size.height + bytes - 1;
    odd.step += bytes - 1;
    for (const VolumeForm form : {VolumeForm::block, VolumeForm::list}) {
      expectLikeTwin<TypeParam>(r, form, this->randomVolume(size, odd), packed<TypeParam>({9, 8, 6}), 1);
    }
  }
}

// A box without bounds is what a caller gives who doesn't care: a size that wraps must not lead anybody astray.
TEST(ResizeHugeBoxes, AreServedByABufferForTheRegion) {
  const ThreadCount four(4);
  const VekrVolumeSize size = {20, 20, 20};
  TestVolume<float> source(size, packed<float>(size)), a(size, packed<float>(size)),
      b(size, packed<float>(size));
  Random random(2);
  source.fill([&](int32_t, int32_t, int32_t) { return random.unit(); });
  for (int32_t code : kCodes) {
    ResizeRequest r = {
        size, {0, 0, 0, INT32_MAX, INT32_MAX, INT32_MAX}, {0, 0, 0, 20, 20, 20}, {1, 1, 1}, {0, 0, 0}, code};
    std::vector<uint8_t> buffer(static_cast<size_t>(bufferSize(r)));
    EXPECT_EQ(resizeBlock<float>(source.block(), r, source.layout(), a.block(), a.layout(), buffer.data()),
              vekOk);
    for (const int32_t side : {INT32_MAX, INT32_MAX - 70, 46341, 1 << 20}) {
      r.dstBox = {0, 0, 0, side, side, side};
      int32_t wrapped = 0;
      vekrResizeGetBufSize(r.srcBox, r.dstBox, 1, code, &wrapped);
      // Nobody can know what a caller makes of a size that has wrapped; one that is large enough is not left.
      if (wrapped > 1 << 26) continue;
      std::vector<uint8_t> other(std::max(buffer.size(), static_cast<size_t>(std::max(wrapped, 0))));
      b.fill([](int32_t, int32_t, int32_t) { return -1.0f; });
      EXPECT_EQ(resizeBlock<float>(source.block(), r, source.layout(), b.block(), b.layout(), other.data()),
                vekOk);
      EXPECT_TRUE(a.sameBytes(b)) << code << " " << side;
    }
  }
}

TEST(ResizeConversions, AFrameVoxelIsRoundedAndAnInteriorVoxelTruncated) {
  const ThreadCount one(1);
  // Rows alternate between 99 and 100, so that half-way between two of them the B-spline gives 99.5 exactly.
  const VekrVolumeSize size = {16, 16, 16};
  TestVolume<uint8_t> source(size, packed<uint8_t>(size)), out(size, packed<uint8_t>(size));
  source.fill([](int32_t, int32_t y, int32_t) { return static_cast<uint8_t>(99 + y % 2); });
  const ResizeRequest r = {size, {0, 0, 0, 16, 16, 16}, {0, 0, 0, 16, 16, 16}, {1, 1, 1}, {0, 0.5, 0}, 6};
  std::vector<uint8_t> buffer(static_cast<size_t>(bufferSize(r)));
  EXPECT_EQ(
      resizeBlock<uint8_t>(source.block(), r, source.layout(), out.block(), out.layout(), buffer.data()),
      vekOk);
  EXPECT_EQ(out.get(8, 8, 8), 99);
  EXPECT_EQ(out.get(0, 8, 8), 100);
  EXPECT_EQ(out.get(15, 8, 8), 100);
  EXPECT_EQ(out.get(8, 8, 0), 99) << "the outer planes have an interior of their own";
  EXPECT_EQ(out.get(0, 8, 0), 100);
}

}  // namespace
