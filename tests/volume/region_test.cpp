#include "volume/region.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "volume/interpolation.h"
#include "volume/view.h"
#include "volume/voxel.h"

namespace {

using namespace vekr;

constexpr int32_t kMax = INT32_MAX;

TEST(Types, HaveTheCallersLayout) {
  EXPECT_EQ(sizeof(VekrVolumeSize), 12u);
  EXPECT_EQ(offsetof(VekrVolumeSize, depth), 8u);
  EXPECT_EQ(sizeof(VekrVolumeBox), 24u);
  EXPECT_EQ(offsetof(VekrVolumeBox, width), 12u);
  EXPECT_EQ(offsetof(VekrVolumeBox, depth), 20u);
  EXPECT_EQ(sizeof(VekrVolumePoint), 12u);
}

TEST(Region, EachFieldOfABoxOrSizeIsTested) {
  EXPECT_FALSE(isEmpty({1, 1, 1}));
  EXPECT_TRUE(isEmpty({0, 1, 1}));
  EXPECT_TRUE(isEmpty({1, 0, 1}));
  EXPECT_TRUE(isEmpty({1, 1, -1}));
  EXPECT_FALSE(isUnfit({0, 0, 0, 1, 1, 1}));
  for (int field = 0; field < 6; ++field) {
    int32_t f[6] = {0, 0, 0, 1, 1, 1};
    f[field] -= 1;
    EXPECT_TRUE(isUnfit({f[0], f[1], f[2], f[3], f[4], f[5]})) << field;
  }
}

TEST(Region, OverlapEndsAtTheVolumesEnd) {
  EXPECT_TRUE(overlaps({4, 5, 6, 1, 1, 1}, {5, 6, 7}));
  EXPECT_FALSE(overlaps({5, 5, 6, 1, 1, 1}, {5, 6, 7}));
  EXPECT_FALSE(overlaps({4, 6, 6, 1, 1, 1}, {5, 6, 7}));
  EXPECT_FALSE(overlaps({4, 5, 7, 1, 1, 1}, {5, 6, 7}));
}

TEST(Region, ClippingTakesBoxesOfTheLargestSizeWithoutOverflow) {
  const RegionBox box = clipped({2, 3, 4, kMax, 2, 100}, {10, 20, 30});
  EXPECT_EQ(box.x0, 2);
  EXPECT_EQ(box.y0, 3);
  EXPECT_EQ(box.z0, 4);
  EXPECT_EQ(box.x1, 9);
  EXPECT_EQ(box.y1, 4);
  EXPECT_EQ(box.z1, 29);
  const RegionBox whole = clipped({0, 0, 0, kMax, kMax, kMax}, {kMax, kMax, kMax});
  EXPECT_EQ(whole.x1, kMax - 1);
  EXPECT_EQ(whole.z1, kMax - 1);
  EXPECT_EQ(clipped({kMax - 1, 0, 0, kMax, 1, 1}, {kMax, 1, 1}).x1, kMax - 1);
}

TEST(Interpolation, OnlySixCodesExist) {
  for (int32_t code = -3; code < 300; ++code) {
    const bool known = code == 1 || code == 2 || code == 4 || code == 5 || code == 6 || code == 7;
    EXPECT_EQ(interpolationOf(code) != nullptr, known) << code;
  }
  EXPECT_EQ(interpolationOf(INT32_MIN), nullptr);
  EXPECT_EQ(interpolationOf(INT32_MAX), nullptr);
}

TEST(Interpolation, SmallSourcesFallBackByAnySide) {
  for (int32_t code : {1, 2, 4, 5, 6, 7}) {
    const int32_t thin = code > 2 ? 2 : code;
    EXPECT_EQ(interpolationFor(*interpolationOf(code), {4, 4, 4}).code, code);
    EXPECT_EQ(interpolationFor(*interpolationOf(code), {3, 100, 100}).code, thin);
    EXPECT_EQ(interpolationFor(*interpolationOf(code), {100, 3, 100}).code, thin);
    EXPECT_EQ(interpolationFor(*interpolationOf(code), {100, 100, 2}).code, thin);
    EXPECT_EQ(interpolationFor(*interpolationOf(code), {1, 100, 100}).code, 1);
    EXPECT_EQ(interpolationFor(*interpolationOf(code), {100, 1, 100}).code, 1);
    EXPECT_EQ(interpolationFor(*interpolationOf(code), {100, 3, 1}).code, 1);
  }
}

TEST(Voxel, StepsLoseTheirRemainderDownwards) {
  EXPECT_EQ(elementStep<uint8_t>(-101), -101);
  EXPECT_EQ(elementStep<uint16_t>(101), 50);
  EXPECT_EQ(elementStep<uint16_t>(-101), -51);
  EXPECT_EQ(elementStep<float>(103), 25);
  EXPECT_EQ(elementStep<float>(-101), -26);
}

TEST(Voxel, PlanesOfBothFormsAreReachedByPosition) {
  std::vector<float> block(100);
  const PlaneBlock<float> backwards{block.data() + 90, -30};
  EXPECT_EQ(backwards.plane(2 * backwards.planeStep), block.data() + 30);
  float *const planes[] = {block.data() + 7, block.data() + 3};
  const PlaneList<float> list{planes};
  EXPECT_EQ(list.plane(list.planeStep), block.data() + 3);
}

}  // namespace
