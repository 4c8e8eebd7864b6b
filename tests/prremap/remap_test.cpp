// Remap against its scalar twin, bit for bit, for all members.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/prremap/remap_calls.h"
#include "tests/reference/volume_reference.h"
#include "tests/support/threads.h"
#include "tests/support/volumes.h"

namespace {

using namespace vekr_test;

struct Case {
  VekrVolumeSize srcSize;
  int32_t srcStepBytes;  // of the call; the planes are laid out by what remains of it
  VekrVolumeBox srcBox;
  VekrVolumeSize dstSize;
  int32_t dstStepExtra, mapStepExtra;  // bytes beyond the row
  size_t offset;                       // of the destination and the maps from an aligned address
};

// Coordinates where decisions are taken: voxels, ties, bounds of the region, next to them, and anywhere.
float coordinate(Random &random, int32_t first, int32_t last) {
  const float inner = static_cast<float>(first + random.below(last - first + 1));
  const float bound = static_cast<float>(random.below(2) == 0 ? first : last);
  const float lowest = static_cast<float>(first), highest = static_cast<float>(last);
  switch (random.below(16)) {
    case 0:
      return inner;
    case 1:
      return inner + 0.5f;
    case 2:
      return std::nextafter(inner, -100.0f);
    case 3:
      return std::nextafter(inner, 1e6f);
    case 4:
      return bound;
    case 5:
      return std::nextafter(bound, random.below(2) == 0 ? -100.0f : 1e6f);
    case 6:
      return bound + (random.below(2) == 0 ? 0.001f : -0.001f);
    case 7:
      return random.below(4) == 0 ? -0.0f : random.within(lowest - 2, highest + 2);
    case 8:
      return random.below(4) == 0 ? 3e9f * (random.unit() - 0.5f) : inner + 0.25f;
    default:
      return random.within(lowest, highest);
  }
}

template <class Voxel>
void expectTwin(const Case &c, int32_t code, uint32_t seed) {
  Random random(seed);
  const SourcePlanes<Voxel> src = randomSource<Voxel>(c.srcSize, c.srcStepBytes, random);
  const int32_t mapStep = c.dstSize.width * 4 + c.mapStepExtra;
  const int32_t dstStep = c.dstSize.width * static_cast<int32_t>(sizeof(Voxel)) + c.dstStepExtra;
  std::vector<BytePlanes<float>> maps;
  for (int axis = 0; axis < 3; ++axis) {
    maps.emplace_back(c.dstSize.width, c.dstSize.height, c.dstSize.depth, mapStep, c.offset);
  }
  const auto clip = [](int32_t first, int32_t length, int32_t end) {
    return static_cast<int32_t>(std::min<int64_t>(end, int64_t(first) + length) - 1);
  };
  const int32_t first[3] = {c.srcBox.x, c.srcBox.y, c.srcBox.z};
  const int32_t last[3] = {clip(c.srcBox.x, c.srcBox.width, c.srcSize.width),
                           clip(c.srcBox.y, c.srcBox.height, c.srcSize.height),
                           clip(c.srcBox.z, c.srcBox.depth, c.srcSize.depth)};
  for (int32_t z = 0; z < c.dstSize.depth; ++z) {
    for (int32_t y = 0; y < c.dstSize.height; ++y) {
      const bool calm = random.below(3) == 0;  // whole rows inside, so that full chunks are met too
      for (int32_t x = 0; x < c.dstSize.width; ++x) {
        for (size_t axis = 0; axis < 3; ++axis) {
          const float low = static_cast<float>(first[axis]), high = static_cast<float>(last[axis]);
          maps[axis].set(x, y, z,
                         calm ? random.within(low, high) : coordinate(random, first[axis], last[axis]));
        }
      }
    }
  }
  BytePlanes<Voxel> actual(c.dstSize.width, c.dstSize.height, c.dstSize.depth, dstStep, c.offset);
  BytePlanes<Voxel> expected(c.dstSize.width, c.dstSize.height, c.dstSize.depth, dstStep, c.offset);
  ASSERT_EQ(remapOf<Voxel>()(src.list(), c.srcSize, c.srcStepBytes, c.srcBox, maps[0].constList(),
                             maps[1].constList(), maps[2].constList(), mapStep, actual.list(), dstStep,
                             c.dstSize, code),
            vekOk);
  reference::remap(src.list(), c.srcSize, c.srcStepBytes, c.srcBox, maps[0].constList(), maps[1].constList(),
                   maps[2].constList(), mapStep, expected.list(), dstStep, c.dstSize, code);
  EXPECT_TRUE(actual == expected) << "code " << code << ", " << sizeof(Voxel) << " bytes a voxel, seed "
                                  << seed;
  EXPECT_TRUE(actual.intact());
}

template <class Voxel>
class Remap : public testing::Test {};
using Voxels = testing::Types<uint8_t, uint16_t, float>;
TYPED_TEST_SUITE(Remap, Voxels);

TYPED_TEST(Remap, EveryMemberEqualsItsTwinForRowsOfAnyWidth) {
  constexpr int32_t size = sizeof(TypeParam);
  for (int32_t code : kCodes) {
    for (int32_t width = 1; width <= 200; width += width < 70 ? 1 : 57) {
      const Case c = {{13, 9, 7}, 13 * size, {0, 0, 0, 13, 9, 7}, {width, 3, 2}, 0, 0, 0};
      expectTwin<TypeParam>(c, code, static_cast<uint32_t>(width));
    }
  }
}

TYPED_TEST(Remap, RegionsInsideAndBeyondTheSource) {
  constexpr int32_t size = sizeof(TypeParam);
  const VekrVolumeBox boxes[] = {{2, 3, 1, 6, 5, 4},  {5, 2, 2, 100, INT32_MAX, INT32_MAX},
                                 {0, 0, 0, 5, 5, 3},  {3, 1, 2, 4, 4, 4},
                                 {12, 8, 6, 1, 1, 1}, {4, 4, 3, 1, 5, 1},
                                 {1, 1, 1, 2, 2, 2},  {6, 4, 2, 3, 3, 3}};
  uint32_t seed = 100;
  for (const VekrVolumeBox &box : boxes) {
    for (int32_t code : kCodes) {
      expectTwin<TypeParam>({{13, 9, 7}, 16 * size, box, {45, 11, 3}, 0, 0, 0}, code, ++seed);
    }
  }
}

TYPED_TEST(Remap, RegionsOfOneOrTwoVoxelsAtTheOriginReachNothingInFrontOfTheVolume) {
  constexpr int32_t size = sizeof(TypeParam);
  uint32_t seed = 200;
  for (int32_t sides = 1; sides < 27; ++sides) {
    const int32_t w = 1 + sides % 3, h = 1 + sides / 3 % 3, d = 1 + sides / 9 % 3;
    for (int32_t code : kCodes) {
      expectTwin<TypeParam>({{6, 5, 4}, 6 * size, {0, 0, 0, w, h, d}, {40, 5, 2}, 0, 0, 0}, code, ++seed);
    }
  }
}

TYPED_TEST(Remap, SmallSourcesUseASimplerCode) {
  constexpr int32_t size = sizeof(TypeParam);
  uint32_t seed = 300;
  for (const VekrVolumeSize &s : kSmallSources) {
    for (int32_t code : kCodes) {
      expectTwin<TypeParam>({s, s.width * size, {0, 0, 0, s.width, s.height, s.depth}, {37, 4, 2}, 0, 0, 0},
                            code, ++seed);
    }
  }
}

TYPED_TEST(Remap, StepsOfAnyByteCountAndSign) {
  constexpr int32_t size = sizeof(TypeParam);
  uint32_t seed = 400;
  for (int32_t code : kCodes) {
    for (int32_t srcStep : {13 * size + 1, 101, -101, -13 * size - 3, 200 * size}) {
      expectTwin<TypeParam>({{13, 9, 7}, srcStep, {1, 0, 0, 12, 9, 7}, {35, 6, 2}, 5, 3, 0}, code, ++seed);
    }
    for (size_t offset : {1, 2, 3, 5}) {
      expectTwin<TypeParam>({{13, 9, 7}, 13 * size, {0, 0, 0, 13, 9, 7}, {67, 3, 2}, 1, 7, offset}, code,
                            ++seed);
    }
    // Rows from the bottom up.
    Case upward = {{13, 9, 7}, 13 * size, {0, 0, 0, 13, 9, 7}, {33, 6, 2}, 0, 0, 1};
    upward.dstStepExtra = -2 * 33 * size - 3;
    upward.mapStepExtra = -2 * 33 * 4 - 1;
    expectTwin<TypeParam>(upward, code, ++seed);
  }
}

TYPED_TEST(Remap, ThreadsDivideThePlanesAndChangeNothing) {
  constexpr int32_t size = sizeof(TypeParam);
  uint32_t seed = 500;
  for (int32_t threads : {1, 2, 3, 5, 16, 32, 100000}) {
    const ThreadCount count(threads);
    for (int32_t code : kCodes) {
      expectTwin<TypeParam>({{13, 9, 7}, 13 * size, {0, 0, 0, 13, 9, 7}, {18, 16, 17}, 3, 0, 0}, code,
                            ++seed);
    }
  }
}

}  // namespace
