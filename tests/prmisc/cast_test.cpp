// Ray casting against its scalar twins.
#include <gtest/gtest.h>

#include "reference/cast_reference.h"
#include "support/ray_arrays.h"
#include "vekr.h"

namespace {

using namespace vekr_test;

// ---- Eye rays ----

struct EyeCall {
  float corner[3], stepX[3], stepY[3];
  int32_t blockStepX, blockStepY;
  VekrBlockIndex index;
  VekrBlockSize size;
};

void expectTwinOfEye(const EyeCall &c, int misaligned) {
  const int32_t count = c.size.width * c.size.height;
  RayArrays actual(3, count, misaligned), expected(3, count);
  ASSERT_EQ(vekrCastEye_32f(c.corner, c.stepX, c.stepY, c.blockStepX, c.blockStepY, c.index, actual.triple(0),
                            c.size),
            vekOk);
  vekr_reference::castEye(c.corner, c.stepX, c.stepY, c.blockStepX, c.blockStepY, c.index, expected.triple(0),
                          c.size);
  for (int p = 0; p < 3; ++p) {
    ASSERT_TRUE(sameArrays(actual.plane(p), expected.plane(p), static_cast<size_t>(count)))
        << "plane " << p << ", " << c.size.width << " by " << c.size.height << ", misaligned plane "
        << misaligned;
  }
  ASSERT_TRUE(actual.intact()) << c.size.width << " by " << c.size.height;
}

EyeCall randomEye(Random &random, VekrBlockSize size) {
  EyeCall c = {{},
               {},
               {},
               random.below(100) - 20,
               random.below(100) - 20,
               {random.below(200) - 50, random.below(200) - 50},
               size};
  const bool awkward = random.below(3) == 0;
  for (int i = 0; i < 3; ++i) {
    c.corner[i] = awkward ? random.awkward() : random.within(-1, 1);
    c.stepX[i] = awkward ? random.awkward() : random.within(-0.01f, 0.01f);
    c.stepY[i] = awkward ? random.awkward() : random.within(-0.01f, 0.01f);
  }
  return c;
}

TEST(CastEye, IsItsTwinAtEveryWidthHeightAndAlignment) {
  Random random(1);
  for (int32_t width = 1; width <= 67; ++width) {
    for (const int32_t height : {1, 2, 3, 4, 7, 33}) {
      for (int misaligned = -2; misaligned < 3; ++misaligned) {
        expectTwinOfEye(randomEye(random, {width, height}), misaligned);
      }
    }
  }
}

TEST(CastEye, RowsAccumulateOnlyInTheFourWideForm) {
  // With these steps a row that is computed afresh differs from an accumulated one.
  EyeCall c = {{0.1f, 0.2f, 0.3f}, {0.1f, 0.3f, 0.7f}, {0.1f, 0.7f, 0.3f}, 1, 1, {3, 5}, {8, 300}};
  expectTwinOfEye(c, -1);
  c.size.width = 6;
  expectTwinOfEye(c, -1);
  c.size.width = 8;
  expectTwinOfEye(c, 1);
}

TEST(CastEye, BlockOffsetsWrapAtThirtyTwoBits) {
  for (const int32_t width : {4, 5}) {
    EyeCall c = {{1, 2, 3}, {1, 0.5f, 0}, {0, 0.5f, 1}, 0x10000, 0x12345, {0x12345, 0x10001}, {width, 3}};
    expectTwinOfEye(c, -1);
    c.blockStepX = INT32_MAX;
    c.blockStepY = INT32_MIN;
    c.index = {INT32_MAX, -1};
    expectTwinOfEye(c, -1);
    c.index = {-3, INT32_MIN};
    expectTwinOfEye(c, -1);
    // Products too wide for a float's 24 bits are rounded once.
    c.blockStepX = 16777217;
    c.blockStepY = 3;
    c.index = {1, 5592407};
    expectTwinOfEye(c, -1);
  }
}

TEST(CastEye, WritesNothingBehindTheLastRay) {
  for (int32_t width = 1; width <= 9; ++width) {
    for (const int32_t height : {1, 3}) {
      const EyeCall c = {{1, 2, 3}, {1, 0.5f, 0}, {0, 0.5f, 1}, 8, 8, {1, 2}, {width, height}};
      const int32_t n = width * height;
      using Place = RayArrays::Place;
      RayArrays actual({n, n, n, n}, {Place::pageEnd, Place::pageEnd, Place::pageEnd, Place::pageEnd});
      RayArrays expected(3, n);
      vekrCastEye_32f(c.corner, c.stepX, c.stepY, 8, 8, c.index, actual.triple(0), c.size);
      vekr_reference::castEye(c.corner, c.stepX, c.stepY, 8, 8, c.index, expected.triple(0), c.size);
      for (int p = 0; p < 3; ++p)
        ASSERT_TRUE(sameArrays(actual.plane(p), expected.plane(p), static_cast<size_t>(n)));
    }
  }
}

TEST(CastEye, TestsItsResultOnly) {
  EXPECT_EQ(vekrCastEye_32f(nullptr, nullptr, nullptr, 1, 1, {0, 0}, nullptr, {4, 4}), vekErrNullPtr);
  EXPECT_EQ(vekrCastEye_32f(nullptr, nullptr, nullptr, 1, 1, {0, 0}, nullptr, {0, -1}), vekErrNullPtr);
}

TEST(CastEye, SizesBelowOneTouchNothing) {
  Untouchable page;
  float *const nulls[3] = {};
  const VekrBlockSize sizes[] = {
      {0, 4},  {4, 0},   {0, 0},  {-1, 4},  {4, -1},         {-2, -2},       {-4, -4},
      {-1, 5}, {-4, -1}, {5, -1}, {-3, -5}, {INT32_MIN, -1}, {4, INT32_MIN}, {INT32_MIN, INT32_MIN}};
  for (const VekrBlockSize size : sizes) {
    EXPECT_EQ(vekrCastEye_32f(page.as<float>(), page.as<float>(), page.as<float>(), 1, 1, {1, 1},
                              page.as<float *const>(), size),
              vekOk);
    EXPECT_EQ(vekrCastEye_32f(nullptr, nullptr, nullptr, 1, 1, {1, 1}, nulls, size), vekOk);
    const float v[3] = {1, 1, 1};
    RayArrays arrays(3, 32);
    EXPECT_EQ(vekrCastEye_32f(v, v, v, 1, 1, {1, 1}, arrays.triple(0), size), vekOk);
    for (int p = 0; p < 3; ++p) {
      for (int i = 0; i < 32; ++i)
        EXPECT_EQ(bitsOf(arrays.plane(p)[i]), 0u) << size.width << " by " << size.height;
    }
    EXPECT_TRUE(arrays.intact());
  }
}

// ---- Reflected rays: incident 0 to 2, normals 3 to 5, reflected 6 to 8 ----

void reflect(RayArrays &a, int32_t n) {
  ASSERT_EQ(vekrCastReflectionRay_32f(a.triple(0), a.mask(), a.triple(3), a.triple(6), n), vekOk);
}
void reflectTwin(RayArrays &a, int32_t n, bool) {
  vekr_reference::castReflectionRay(a.triple(0), a.mask(), a.triple(3), a.triple(6), n);
}

TEST(CastReflection, IsItsTwinAtEveryLengthAlignmentAndMask) { compareWithTwin(9, {}, reflect, reflectTwin); }

TEST(CastReflection, ReadsAndWritesNothingBehindTheLastRay) { compareAtPageEnd(9, {}, reflect, reflectTwin); }

TEST(CastReflection, LeavesTheInputsOfADeadGroupUnread) {
  compareWithUnreadableDeadGroup(9, {0, 1, 2, 3, 4, 5}, reflect, reflectTwin);
}

TEST(CastReflection, ResultMayReplaceEitherInput) {
  Random random(11);
  for (const int32_t n : {3, 4, 8, 19, 64}) {
    for (const int in : {0, 3}) {
      RayArrays a(9, n), b(9, n);
      fillMask(a.mask(), n, MaskPattern::random, random);
      fillPlanes(a, Values::awkward, random);
      copyArrays(b, a);
      vekrCastReflectionRay_32f(a.triple(0), a.mask(), a.triple(3), a.triple(in), n);
      reflectTwin(b, n, false);
      for (int p = 0; p < 3; ++p)
        EXPECT_TRUE(sameArrays(a.plane(in + p), b.plane(6 + p), static_cast<size_t>(n)));
    }
  }
}

TEST(CastReflection, TestsListsAndMaskBeforeTheLength) {
  RayArrays a(9, 8);
  for (int p = 0; p < 9; ++p) std::fill_n(a.plane(p), 8, 2.5f);
  for (const int32_t n : {8, 5, 0, -1, -4}) {
    EXPECT_EQ(vekrCastReflectionRay_32f(nullptr, a.mask(), a.triple(3), a.triple(6), n), vekErrNullPtr);
    EXPECT_EQ(vekrCastReflectionRay_32f(a.triple(0), nullptr, a.triple(3), a.triple(6), n), vekErrNullPtr);
    EXPECT_EQ(vekrCastReflectionRay_32f(a.triple(0), a.mask(), nullptr, a.triple(6), n), vekErrNullPtr);
    EXPECT_EQ(vekrCastReflectionRay_32f(a.triple(0), a.mask(), a.triple(3), nullptr, n), vekErrNullPtr);
  }
  for (int p = 0; p < 9; ++p) {
    for (int i = 0; i < 8; ++i) EXPECT_EQ(a.plane(p)[i], 2.5f);
  }
}

TEST(CastReflection, LengthsBelowOneTouchNothing) {
  Untouchable page;
  float *const nulls[3] = {};
  for (const int32_t n : kNoLengths) {
    EXPECT_EQ(vekrCastReflectionRay_32f(page.as<const float *const>(), page.as<int32_t>(),
                                        page.as<const float *const>(), page.as<float *const>(), n),
              vekOk);
    EXPECT_EQ(vekrCastReflectionRay_32f(nulls, page.as<int32_t>(), nulls, nulls, n), vekOk);
  }
}

// ---- Shadow rays: surface dot 0, normals 1 to 3, points 4 to 6, light dot 7, directions 8 to 10 ----

const float kLight[3] = {0.5f, -0.25f, 1.0f};

void shadow(RayArrays &a, int32_t n) {
  ASSERT_EQ(vekrCastShadowSO_32f(kLight, a.plane(0), a.triple(1), a.triple(4), a.mask(), a.plane(7),
                                 a.triple(8), n),
            vekOk);
}
void shadowTwin(RayArrays &a, int32_t n, bool) {
  vekr_reference::castShadow(kLight, a.plane(0), a.triple(1), a.triple(4), a.mask(), a.plane(7), a.triple(8),
                             n);
}

TEST(CastShadow, IsItsTwinAtEveryLengthAlignmentAndMask) { compareWithTwin(11, {}, shadow, shadowTwin); }

TEST(CastShadow, ReadsAndWritesNothingBehindTheLastRay) { compareAtPageEnd(11, {}, shadow, shadowTwin); }

TEST(CastShadow, LeavesTheInputsOfADeadGroupUnread) {
  compareWithUnreadableDeadGroup(11, {0, 1, 2, 3, 4, 5, 6}, shadow, shadowTwin);
}

// One ray in a group (i < 4) and one behind it, with the light at the origin and d = x * nx.
struct ShadowCase {
  float x, nx, surfaceDot;
  int32_t mask;
  bool kept;
};

TEST(CastShadow, KeepsLitPointsInGroupsAndBehindThem) {
  const float threshold = fromBits(0x3ae4c388u);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float inf = std::numeric_limits<float>::infinity();
  const ShadowCase cases[] = {
      {threshold, 1, 1, 0, true},
      {threshold, -1, -1, 5, true},
      {fromBits(0x3ae4c387u), 1, 1, 0, false},
      {fromBits(0x3ae4c387u), -1, -1, 0, false},
      {fromBits(0x3ae4c389u), 1, 1, 0, true},
      {2, 1, 0, 0, false},
      {2, 1, -0.0f, 0, false},
      {2, 1, -1, 0, false},
      {2, -1, 1, 0, false},
      {2, 1, 1e-45f, 0, true},
      {0.5f, 1, 1e-45f, 0, false},  // the product underflows to 0
      {-0.5f, 1, -1e-45f, 0, false},
      {2, 1, nan, 0, false},
      {nan, 1, 1, 0, false},
      {inf, 1, 1, 0, true},
      {2, 1, inf, 0, true},
      {2, 1, 1, -5, false},
      {2, 1, 1, INT32_MIN, false},
      {2, 1, 1, INT32_MAX, true},
  };
  const float light[3] = {0, 0, 0};
  for (const ShadowCase &c : cases) {
    for (const int32_t n : {4, 5, 6, 7, 8, 1, 2, 3}) {
      RayArrays a(11, n);
      for (int32_t i = 0; i < n; ++i) {
        a.plane(0)[i] = c.surfaceDot;
        a.plane(1)[i] = c.nx;
        a.plane(4)[i] = c.x;
        a.plane(5)[i] = 7;  // normal 0 there
        a.mask()[i] = c.mask;
        for (int p = 7; p < 11; ++p) a.plane(p)[i] = 99;
      }
      ASSERT_EQ(vekrCastShadowSO_32f(light, a.plane(0), a.triple(1), a.triple(4), a.mask(), a.plane(7),
                                     a.triple(8), n),
                vekOk);
      for (int32_t i = 0; i < n; ++i) {
        const bool grouped = i < n / 4 * 4;
        const int32_t mask = c.kept ? c.mask : (c.mask < 0 && !grouped) ? c.mask : -1;
        EXPECT_EQ(a.mask()[i], mask) << "x " << c.x << " mask " << c.mask << " ray " << i << " of " << n;
        EXPECT_EQ(bitsOf(a.plane(7)[i]), c.kept ? bitsOf(std::fabs(c.x * c.nx)) : 0u)
            << "x " << c.x << " ray " << i;
        EXPECT_EQ(bitsOf(a.plane(8)[i]), c.kept ? bitsOf(c.x) : 0u);
        EXPECT_EQ(bitsOf(a.plane(9)[i]), c.kept ? bitsOf(7.0f) : 0u);
        EXPECT_EQ(bitsOf(a.plane(10)[i]), 0u);
      }
    }
  }
}

TEST(CastShadow, DeadMasksBecomeMinusOneInGroupsAndStayBehindThem) {
  RayArrays a(11, 6);
  a.mask()[1] = -5;
  a.mask()[5] = -5;
  shadow(a, 6);
  EXPECT_EQ(a.mask()[1], -1);
  EXPECT_EQ(a.mask()[5], -5);
}

TEST(CastShadow, DeadRaysBehindTheGroupsAreUnread) {
  for (const int32_t n : {1, 2, 3}) {
    using Place = RayArrays::Place;
    const Place in = Place::pageEnd, out = Place::guarded;
    RayArrays a({0, 0, 0, 0, 0, 0, 0, n, n, n, n, n}, {in, in, in, in, in, in, in, out, out, out, out, out});
    for (int32_t i = 0; i < n; ++i) {
      a.mask()[i] = -3 - i;
      for (int p = 7; p < 11; ++p) a.plane(p)[i] = 99;
    }
    shadow(a, n);
    for (int32_t i = 0; i < n; ++i) {
      EXPECT_EQ(a.mask()[i], -3 - i);
      for (int p = 7; p < 11; ++p) EXPECT_EQ(bitsOf(a.plane(p)[i]), 0u);
    }
  }
}

TEST(CastShadow, TestsSixPointersBeforeTheLength) {
  RayArrays a(11, 8);
  for (int p = 0; p < 11; ++p) std::fill_n(a.plane(p), 8, 2.5f);
  for (const int32_t n : {8, 5, 0, -1, -4}) {
    for (int missing = 0; missing < 6; ++missing) {
      const auto unless = [&](int k, auto *p) { return missing == k ? nullptr : p; };
      EXPECT_EQ(
          vekrCastShadowSO_32f(kLight, unless(0, a.plane(0)), unless(1, a.triple(1)), unless(2, a.triple(4)),
                               unless(3, a.mask()), unless(4, a.plane(7)), unless(5, a.triple(8)), n),
          vekErrNullPtr)
          << missing;
    }
  }
  for (int i = 0; i < 8; ++i) {
    for (int p = 0; p < 11; ++p) EXPECT_EQ(a.plane(p)[i], 2.5f);
    EXPECT_EQ(a.mask()[i], 0);
  }
}

TEST(CastShadow, LengthsBelowOneTouchNothing) {
  Untouchable page;
  float *const nulls[3] = {};
  const float *light[] = {nullptr, page.as<float>()};
  for (const int32_t n : kNoLengths) {
    for (const float *l : light) {
      EXPECT_EQ(vekrCastShadowSO_32f(l, page.as<float>(), page.as<const float *const>(),
                                     page.as<const float *const>(), page.as<int32_t>(), page.as<float>(),
                                     page.as<float *const>(), n),
                vekOk);
      EXPECT_EQ(vekrCastShadowSO_32f(l, page.as<float>(), nulls, nulls, page.as<int32_t>(), page.as<float>(),
                                     nulls, n),
                vekOk);
    }
    // Writable arrays: a length like -1, whose multiple of four below is -4, changes nothing either.
    RayArrays a(11, 8);
    a.mask()[0] = -7;
    shadow(a, n);
    EXPECT_EQ(a.mask()[0], -7);
    EXPECT_TRUE(a.intact());
  }
}

}  // namespace
