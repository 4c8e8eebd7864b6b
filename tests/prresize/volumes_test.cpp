// Whole volumes of all types, codes and forms against the voxel-by-voxel twin.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "resize_case.h"
#include "tests/support/threads.h"

namespace {

using namespace vekr_test;

template <class Voxel>
class ResizeVolumes : public ::testing::Test {
 protected:
  ThreadCount one_{1};
};
using Voxels = ::testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(ResizeVolumes, Voxels);

double anyFactor(Random &random) {
  static constexpr double kPlain[] = {0.05, 0.1, 0.25, 1.0 / 3, 0.5, 2.0 / 3, 1.0,
                                      1.3,  1.5, 2.0,  3.0,     4.0, 6.0};
  if (random.below(2) == 0) return kPlain[random.below(static_cast<int32_t>(std::size(kPlain)))];
  return std::exp(random.within(std::log(0.05f), std::log(6.0f)));
}

double anyShift(Random &random) {
  switch (random.below(5)) {
    case 0:
    case 1:
      return 0;
    case 2:
      return random.below(9) - 4;
    case 3:
      return (random.below(9) - 4) * 0.25;
    default:
      return random.within(-5.0f, 5.0f);
  }
}

template <class Voxel>
Layout anyLayout(Random &random, VekrVolumeSize size, bool signs) {
  Layout layout = packed<Voxel>(size, random.below(3) == 0 ? random.below(5) : 0);
  if (random.below(4) == 0) layout.step += static_cast<int32_t>(sizeof(Voxel)) - 1;  // the rest is dropped
  if (signs && random.below(3) == 0) layout.step = -layout.step;  // what it is rounded to may be longer
  layout.planeStep =
      (std::abs(layout.step) + 4) * size.height + (random.below(3) == 0 ? random.below(70) : 0);
  if (signs && random.below(3) == 0) layout.planeStep = -layout.planeStep;
  layout.flush = random.below(2) == 0 ? Fenced::Flush::end : Fenced::Flush::begin;
  layout.offset = random.below(3) == 0 ? static_cast<size_t>(random.below(8)) : 0;
  return layout;
}

// A box that holds something of the region's image most of the time.
void randomBox(Random &random, int32_t image, int32_t limit, int32_t *first, int32_t *length) {
  *first = random.below(3) == 0 ? random.below(std::max(1, std::min(image, 9))) : 0;
  *length = random.below(3) == 0 ? 1 + random.below(image + 4) : image + 2;
  *length = std::max(1, std::min(*length, limit));
}

template <class Voxel>
void compareOne(Random &random, int32_t code, int32_t largest, int32_t limit) {
  ResizeRequest r = {};
  const auto side = [&] { return random.below(4) == 0 ? 1 + random.below(5) : 1 + random.below(largest); };
  r.srcSize = {side(), side(), side()};
  const int32_t sizes[3] = {r.srcSize.width, r.srcSize.height, r.srcSize.depth};
  int32_t *const srcFirst[3] = {&r.srcBox.x, &r.srcBox.y, &r.srcBox.z};
  int32_t *const srcLength[3] = {&r.srcBox.width, &r.srcBox.height, &r.srcBox.depth};
  int32_t *const dstFirst[3] = {&r.dstBox.x, &r.dstBox.y, &r.dstBox.z};
  int32_t *const dstLength[3] = {&r.dstBox.width, &r.dstBox.height, &r.dstBox.depth};
  const double common = anyFactor(random);
  const bool isotropic = random.below(3) == 0;
  for (int axis = 0; axis < 3; ++axis) {
    r.factor[axis] = isotropic ? common : anyFactor(random);
    r.shift[axis] = anyShift(random);
    *srcFirst[axis] = random.below(3) == 0 ? random.below(sizes[axis]) : 0;
    *srcLength[axis] = random.below(3) == 0 ? 1 + random.below(sizes[axis] + 3) : sizes[axis];
    const int32_t image = static_cast<int32_t>(std::ceil(sizes[axis] * r.factor[axis]));
    randomBox(random, std::max(1, image), axis == 0 ? 2 * limit : limit, dstFirst[axis], dstLength[axis]);
  }
  r.code = code;

  TestVolume<Voxel> source(r.srcSize, anyLayout<Voxel>(random, r.srcSize, true));
  source.fill([&](int32_t, int32_t, int32_t) { return randomVoxel<Voxel>(random); });
  const VekrVolumeSize room = {r.dstBox.x + r.dstBox.width, r.dstBox.y + r.dstBox.height,
                               r.dstBox.z + r.dstBox.depth};
  const Layout to = anyLayout<Voxel>(random, room, true);
  const VolumeForm form = random.below(2) == 0 ? VolumeForm::block : VolumeForm::list;
  SCOPED_TRACE(describe(r) + (form == VolumeForm::list ? ", list" : ", block") + ", steps " +
               std::to_string(source.layout().step) + " " + std::to_string(source.layout().planeStep));
  expectLikeTwin<Voxel>(r, form, source, to, static_cast<size_t>(random.below(64)));
}

TYPED_TEST(ResizeVolumes, RandomCallsGiveEachVoxelOfTheTwin) {
  for (int32_t code : kCodes) {
    Random random(1000 + static_cast<uint32_t>(code));
    for (int i = 0; i < 150; ++i) {
      compareOne<TypeParam>(random, code, 16, 24);
      if (this->HasFailure()) FAIL() << "call " << i;
    }
  }
}

// Rows of the interior of every length modulo the widest group.
TYPED_TEST(ResizeVolumes, EveryWidthFrom1To40) {
  for (int32_t code : kCodes) {
    Random random(77);
    for (int32_t width = 1; width <= 40; ++width) {
      ResizeRequest r = {{44, 6, 6},      {0, 0, 0, 44, 6, 6}, {random.below(4), 0, 0, width, 8, 3},
                         {1.1, 1.3, 0.7}, {0, 0.5, 0},         code};
      TestVolume<TypeParam> source(r.srcSize, packed<TypeParam>(r.srcSize));
      source.fill([&](int32_t, int32_t, int32_t) { return randomVoxel<TypeParam>(random); });
      const VekrVolumeSize room = {r.dstBox.x + width, 8, 3};
      expectLikeTwin<TypeParam>(r, VolumeForm::block, source, packed<TypeParam>(room), 1);
      if (this->HasFailure()) FAIL() << "code " << code << ", width " << width;
    }
  }
}

// The frame of one plane has many more voxels than margins of a few rows: it must not run into anything.
TYPED_TEST(ResizeVolumes, FactorsWhoseMarginsAreMostOfThePlane) {
  for (int32_t code : kCodes) {
    Random random(5);
    for (const double factor : {4.5, 6.0, 11.0, 25.0}) {
      for (const int32_t side : {3, 4, 5}) {
        const int32_t image = static_cast<int32_t>(side * factor);
        ResizeRequest r = {{side, side, 4},
                           {0, 0, 0, side, side, 4},
                           {0, 0, 0, image, image, 5},
                           {factor, factor, 1.3},
                           {0, 0, 0},
                           code};
        TestVolume<TypeParam> source(r.srcSize, packed<TypeParam>(r.srcSize));
        source.fill([&](int32_t, int32_t, int32_t) { return randomVoxel<TypeParam>(random); });
        for (const VolumeForm form : {VolumeForm::block, VolumeForm::list}) {
          expectLikeTwin<TypeParam>(r, form, source, packed<TypeParam>({image, image, 5}), 3);
        }
        if (this->HasFailure()) FAIL() << describe(r);
      }
    }
  }
}

// Slices of these are taken in bands of rows: a band's first rows must not depend on where it begins.
TYPED_TEST(ResizeVolumes, PlanesLargerThanABand) {
  for (int32_t code : {2, 4}) {
    Random random(6);
    for (const double factor : {0.7, 2.0}) {
      const int32_t width = static_cast<int32_t>(1100 * factor), height = static_cast<int32_t>(101 * factor);
      ResizeRequest r = {{1100, 101, 5},
                         {0, 0, 0, 1100, 101, 5},
                         {0, 0, 0, width, height, 4},
                         {factor, factor, 0.8},
                         {0, 0, 0},
                         code};
      TestVolume<TypeParam> source(r.srcSize, packed<TypeParam>(r.srcSize));
      source.fill([&](int32_t, int32_t, int32_t) { return randomVoxel<TypeParam>(random); });
      expectLikeTwin<TypeParam>(r, VolumeForm::list, source, packed<TypeParam>({width, height, 4}), 0);
    }
  }
}

// Below the sizes that the codes want, what no tap leaves is defined, and nothing outside may be read.
TYPED_TEST(ResizeVolumes, SourcesOfOneToThreeVoxels) {
  for (int32_t code : kCodes) {
    Random random(9);
    for (int32_t side = 0; side < 27; ++side) {
      const VekrVolumeSize size = {1 + side % 3, 1 + side / 3 % 3, 1 + side / 9};
      for (const double factor : {0.4, 1.0, 2.5}) {
        ResizeRequest r = {
            size, {0, 0, 0, 3, 3, 3}, {0, 0, 0, 9, 9, 9}, {factor, factor, factor}, {0, 0.25, 0}, code};
        TestVolume<TypeParam> source(size, packed<TypeParam>(size));
        source.fill([&](int32_t, int32_t, int32_t) { return randomVoxel<TypeParam>(random); });
        for (const VolumeForm form : {VolumeForm::block, VolumeForm::list}) {
          expectLikeTwin<TypeParam>(r, form, source, packed<TypeParam>({9, 9, 9}), 5);
        }
        if (this->HasFailure()) FAIL() << describe(r);
      }
    }
  }
}

// Steps of 0 make every row, or every plane, the same one; they take the way of negative steps.
TYPED_TEST(ResizeVolumes, StepsOfZero) {
  for (int32_t code : kCodes) {
    Random random(10);
    for (int kind = 1; kind < 4; ++kind) {
      ResizeRequest r = {{9, 9, 9},       {0, 0, 0, 9, 9, 9}, {0, 0, 0, 16, 16, 16},
                         {1.7, 1.7, 1.7}, {0, 0, 0},          code};
      Layout from = packed<TypeParam>(r.srcSize);
      if (kind & 1) from.step = 0;
      if (kind & 2) from.planeStep = 0;
      TestVolume<TypeParam> source(r.srcSize, from);
      source.fill([&](int32_t, int32_t, int32_t) { return randomVoxel<TypeParam>(random); });
      expectLikeTwin<TypeParam>(r, VolumeForm::block, source, packed<TypeParam>({16, 16, 16}), 5);
      if (this->HasFailure()) FAIL() << describe(r) << ", kind " << kind;
    }
  }
}

TEST(ResizeFloatVolumes, NaNsInfinitiesAndDenormalsGoTheSameWay) {
  const ThreadCount one(1);
  for (int32_t code : kCodes) {
    Random random(11);
    ResizeRequest r = {{12, 11, 8}, {0, 0, 0, 12, 11, 8}, {0, 0, 0, 20, 18, 13}, {1.6, 1.6, 1.6}, {0, 0, 0},
                       code};
    TestVolume<float> source(r.srcSize, packed<float>(r.srcSize));
    source.fill(
        [&](int32_t, int32_t, int32_t) { return random.below(8) == 0 ? random.awkward() : random.unit(); });
    expectLikeTwin<float>(r, VolumeForm::block, source, packed<float>({20, 18, 13}), 7);
  }
}

}  // namespace
