// The masked arithmetic against its scalar twins.
#include <gtest/gtest.h>

#include "reference/shading_reference.h"
#include "support/ray_arrays.h"
#include "vekr.h"

namespace {

using namespace vekr_test;
using vekr_reference::Form;

const float kOrigin[3] = {0.3f, -1.7f, 2.9f};
constexpr float kEps = 0.9991f;

Form form(int32_t length, bool aligned) { return vekr_reference::formOf(length, aligned); }

// One function, told once: which planes it has, and how to call it and its twin.
struct Family {
  const char *name;
  int planes;
  std::vector<int> listed;  // planes whose alignment chooses the form; the mask is number `planes`
  std::vector<int> unread;  // planes that a dead group of the four-wide form doesn't touch
  VekStatus (*library)(RayArrays &, int32_t);
  void (*twin)(RayArrays &, int32_t, bool);
};

const Family kFamilies[] = {
    {"hitPointS0",
     7,
     {0, 1, 2, 3, 4, 5, 6, 7},
     {0, 1, 2, 3},
     [](RayArrays &a, int32_t n) {
       return vekrHitPoint3DEpsS0_32f_M(kOrigin, a.triple(0), a.plane(3), a.mask(), a.triple(4), n, kEps);
     },
     [](RayArrays &a, int32_t n, bool aligned) {
       vekr_reference::hitPointS0(form(n, aligned), kOrigin, a.triple(0), a.plane(3), a.mask(), a.triple(4),
                                  n, kEps);
     }},
    {"hitPointM0",
     10,
     {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10},
     {0, 1, 2, 3, 7, 8, 9},
     [](RayArrays &a, int32_t n) {
       return vekrHitPoint3DEpsM0_32f_M(a.triple(7), a.triple(0), a.plane(3), a.mask(), a.triple(4), n, kEps);
     },
     [](RayArrays &a, int32_t n, bool aligned) {
       vekr_reference::hitPointM0(form(n, aligned), a.triple(7), a.triple(0), a.plane(3), a.mask(),
                                  a.triple(4), n, kEps);
     }},
    {"dot",
     7,
     {0, 1, 2, 3, 4, 5, 6, 7},
     {0, 1, 2, 3, 4, 5},
     [](RayArrays &a, int32_t n) {
       return vekrDot_32f_P3C1M(a.triple(0), a.triple(3), a.mask(), a.plane(6), n);
     },
     [](RayArrays &a, int32_t n, bool) {
       vekr_reference::dot(a.triple(0), a.triple(3), a.mask(), a.plane(6), n);
     }},
    {"dotChangeNorm",
     7,
     {0, 1, 2, 3, 4, 5, 6, 7},
     {0, 1, 2, 3, 4, 5},
     [](RayArrays &a, int32_t n) {
       return vekrDotChangeNorm_32f_IM(a.triple(0), a.mask(), a.triple(3), a.plane(6), n);
     },
     [](RayArrays &a, int32_t n, bool) {
       vekr_reference::dotChangeNorm(a.triple(0), a.mask(), a.triple(3), a.plane(6), n);
     }},
    {"mulC1",
     2,
     {},
     {},
     [](RayArrays &a, int32_t n) { return vekrMul_32f_C1IM(a.plane(0), a.mask(), a.plane(1), n); },
     [](RayArrays &a, int32_t n, bool) { vekr_reference::mulC1(a.plane(0), a.mask(), a.plane(1), n); }},
    {"mulC1P3",
     4,
     {0, 1, 2, 3, 4},
     {0},
     [](RayArrays &a, int32_t n) { return vekrMul_32f_C1P3IM(a.plane(0), a.mask(), a.triple(1), n); },
     [](RayArrays &a, int32_t n, bool) { vekr_reference::mulC1P3(a.plane(0), a.mask(), a.triple(1), n); }},
    {"divC1",
     2,
     {},
     {},
     [](RayArrays &a, int32_t n) { return vekrDiv_32f_C1IM(a.plane(0), a.mask(), a.plane(1), n); },
     [](RayArrays &a, int32_t n, bool) { vekr_reference::divC1(a.plane(0), a.mask(), a.plane(1), n); }},
    // The colour planes, 4 to 6, are not on the list.
    {"addMulMul",
     7,
     {0, 1, 2, 3, 7},
     {0, 1, 2, 3, 4, 5, 6},
     [](RayArrays &a, int32_t n) {
       return vekrAddMulMul_32f_AC1P3IM(kOrigin, a.plane(0), a.triple(4), a.mask(), a.triple(1), n);
     },
     [](RayArrays &a, int32_t n, bool aligned) {
       vekr_reference::addMulMul(form(n, aligned), kOrigin, a.plane(0), a.triple(4), a.mask(), a.triple(1),
                                 n);
     }},
    {"distAttenuation",
     4,
     {0, 1, 2, 3, 4},
     {0, 1, 2},
     [](RayArrays &a, int32_t n) {
       return vekrDistAttenuationSO_32f_M(kOrigin, a.triple(0), a.mask(), a.plane(3), n);
     },
     [](RayArrays &a, int32_t n, bool aligned) {
       vekr_reference::distAttenuation(form(n, aligned), kOrigin, a.triple(0), a.mask(), a.plane(3), n);
     }},
};

class Masked : public ::testing::TestWithParam<Family> {
 protected:
  static void call(RayArrays &arrays, int32_t length) {
    ASSERT_EQ(GetParam().library(arrays, length), vekOk);
  }
};

TEST_P(Masked, IsItsTwinAtEveryLengthAlignmentAndMask) {
  compareWithTwin(GetParam().planes, GetParam().listed, call, GetParam().twin);
}

TEST_P(Masked, ReadsAndWritesNothingBehindTheLastRay) {
  compareAtPageEnd(GetParam().planes, GetParam().listed, call, GetParam().twin);
}

TEST_P(Masked, LeavesTheInputsOfADeadGroupUnread) {
  compareWithUnreadableDeadGroup(GetParam().planes, GetParam().unread, call, GetParam().twin);
}

TEST_P(Masked,
       OverwritesEachLaneOnlyOnce) {  // a second call on large blocks, where a driver may cut the work
  Random random(3);
  for (const int32_t length : {1000, 4096, 4099, 20000}) {
    RayArrays actual(GetParam().planes, length), expected(GetParam().planes, length);
    fillMask(actual.mask(), length, MaskPattern::random, random);
    fillPlanes(actual, Values::awkward, random);
    copyArrays(expected, actual);
    const std::vector<int32_t> maskBefore(actual.mask(), actual.mask() + length);
    call(actual, length);
    GetParam().twin(expected, length, true);
    EXPECT_TRUE(sameRays(actual, expected, maskBefore.data())) << length;
    EXPECT_TRUE(actual.intact());
  }
}

INSTANTIATE_TEST_SUITE_P(Each, Masked, ::testing::ValuesIn(kFamilies),
                         [](const auto &info) { return std::string(info.param.name); });

// Results that the contract names, in both forms: at lengths 4 (aligned) and 5.
class Named : public ::testing::TestWithParam<int32_t> {};

TEST_P(Named, ZeroDivisorsIgnoreTheirSign) {
  struct Case {
    float p, q;
    uint32_t bits;
  };
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float inf = std::numeric_limits<float>::infinity();
  const Case cases[] = {{1, 0, 0x7f800000},        {1, -0.0f, 0x7f800000},
                        {-1, 0, 0xff800000},       {-1, -0.0f, 0xff800000},
                        {0, 0, 0xffc00000},        {-0.0f, 0, 0xffc00000},
                        {0, -0.0f, 0xffc00000},    {nan, 0, 0xffc00000},
                        {-nan, -0.0f, 0xffc00000}, {inf, 0, 0x7f800000},
                        {-inf, -0.0f, 0xff800000}, {1e-45f, 0, 0x7f800000},
                        {-1e-45f, 0, 0xff800000},  {fromBits(0x7fa00001), 0, 0xffc00000}};
  const int32_t n = GetParam();
  for (const Case &c : cases) {
    RayArrays a(2, n);
    for (int32_t i = 0; i < n; ++i) {
      a.plane(0)[i] = c.q;
      a.plane(1)[i] = c.p;
    }
    ASSERT_EQ(vekrDiv_32f_C1IM(a.plane(0), a.mask(), a.plane(1), n), vekOk);
    for (int32_t i = 0; i < n; ++i)
      EXPECT_EQ(bitsOf(a.plane(1)[i]), c.bits) << c.p << " / " << c.q << " at " << i;
  }
  RayArrays a(2, n);
  for (int32_t i = 0; i < n; ++i) {
    a.plane(0)[i] = nan;
    a.plane(1)[i] = 1;
  }
  ASSERT_EQ(vekrDiv_32f_C1IM(a.plane(0), a.mask(), a.plane(1), n), vekOk);
  for (int32_t i = 0; i < n; ++i) EXPECT_TRUE(std::isnan(a.plane(1)[i]));
}

TEST_P(Named, AttenuationIsNeverBelowOne) {
  const int32_t n = GetParam();
  const float light[3] = {1, 2, 3};
  for (const float distance : {0.0f, 0.5f, std::nextafter(1.0f, 0.0f), 1.0f, 2.0f, 1e19f}) {
    RayArrays a(4, n);
    a.mask()[1] = -1;
    for (int32_t i = 0; i < n; ++i) {
      a.plane(0)[i] = light[0];
      a.plane(1)[i] = light[1] + distance;
      a.plane(2)[i] = light[2];
    }
    ASSERT_EQ(vekrDistAttenuationSO_32f_M(light, a.triple(0), a.mask(), a.plane(3), n), vekOk);
    EXPECT_EQ(a.plane(3)[0], distance < 1 ? 1.0f : distance);
    EXPECT_EQ(a.plane(3)[1], 1.0f);
  }
}

TEST_P(Named, AttenuationOfANanTellsTheForm) {
  const int32_t n = GetParam();
  RayArrays a(4, n);
  for (int32_t i = 0; i < n; ++i) a.plane(1)[i] = std::numeric_limits<float>::quiet_NaN();
  ASSERT_EQ(vekrDistAttenuationSO_32f_M(kOrigin, a.triple(0), a.mask(), a.plane(3), n), vekOk);
  for (int32_t i = 0; i < n; ++i) {
    if (n % 4 == 0) {
      EXPECT_EQ(a.plane(3)[i], 1.0f) << i;
    } else {
      EXPECT_TRUE(std::isnan(a.plane(3)[i])) << i;
    }
  }
}

TEST_P(Named, DeadRaysKeepTheAccumulatorAndClearTheProduct) {
  const int32_t n = GetParam();
  const uint32_t odd[] = {0x80000000u, 0x7fa00001u, 0xffffffffu, 0x00000001u};
  RayArrays a(7, n);
  for (int32_t i = 0; i < n; ++i) {
    a.mask()[i] = i % 2 == 0 ? 0 : -1;
    for (int p = 0; p < 7; ++p) a.plane(p)[i] = fromBits(odd[i % 4]);
  }
  ASSERT_EQ(vekrAddMulMul_32f_AC1P3IM(kOrigin, a.plane(0), a.triple(4), a.mask(), a.triple(1), n), vekOk);
  for (int32_t i = 1; i < n; i += 2) {
    for (int p = 1; p < 4; ++p) EXPECT_EQ(bitsOf(a.plane(p)[i]), odd[i % 4]);
  }
  ASSERT_EQ(vekrMul_32f_C1P3IM(a.plane(0), a.mask(), a.triple(1), n), vekOk);
  for (int32_t i = 1; i < n; i += 2) {
    for (int p = 1; p < 4; ++p) EXPECT_EQ(bitsOf(a.plane(p)[i]), 0u);
  }
}

TEST_P(Named, TurnedNormalsFaceTheRayAndDeadOnesStay) {
  const int32_t n = GetParam();
  RayArrays a(7, n);
  for (int32_t i = 0; i < n; ++i) {
    a.mask()[i] = i == 3 ? -1 : 0;
    a.plane(0)[i] = 1;
    a.plane(3)[i] = i == 1 ? -2.0f : i == 2 ? 0.0f : 2.0f;
    a.plane(4)[i] = 5;
    a.plane(5)[i] = -0.0f;
    a.plane(6)[i] = 99;
  }
  ASSERT_EQ(vekrDotChangeNorm_32f_IM(a.triple(0), a.mask(), a.triple(3), a.plane(6), n), vekOk);
  const float dots[] = {-2, -2, 0, 0}, nx[] = {-2, -2, 0, 2}, ny[] = {-5, 5, 5, 5},
              nz[] = {0.0f, -0.0f, -0.0f, -0.0f};
  for (int32_t i = 0; i < 4; ++i) {
    EXPECT_EQ(bitsOf(a.plane(6)[i]), bitsOf(dots[i])) << i;
    EXPECT_EQ(bitsOf(a.plane(3)[i]), bitsOf(nx[i])) << i;
    EXPECT_EQ(bitsOf(a.plane(4)[i]), bitsOf(ny[i])) << i;
    EXPECT_EQ(bitsOf(a.plane(5)[i]), bitsOf(nz[i])) << i;
  }
}

INSTANTIATE_TEST_SUITE_P(BothForms, Named, ::testing::Values(4, 5, 8));

// An output may be the very array of an input: compared with a call on copies.
TEST(MaskedInPlace, OutputsMayBeInputs) {
  Random random(5);
  for (const int32_t n : {3, 4, 8, 19, 64}) {
    RayArrays a(10, n), b(10, n);
    const auto refill = [&] {
      fillMask(a.mask(), n, MaskPattern::random, random);
      fillPlanes(a, Values::awkward, random);
      copyArrays(b, a);
    };
    const auto samePlanes = [&](int in, int out, int count) {
      for (int p = 0; p < count; ++p) EXPECT_TRUE(sameArrays(a.plane(in + p), b.plane(out + p), n)) << n;
    };
    refill();
    vekrHitPoint3DEpsS0_32f_M(kOrigin, a.triple(0), a.plane(3), a.mask(), a.triple(0), n, kEps);
    vekrHitPoint3DEpsS0_32f_M(kOrigin, b.triple(0), b.plane(3), b.mask(), b.triple(4), n, kEps);
    samePlanes(0, 4, 3);
    refill();
    vekrHitPoint3DEpsM0_32f_M(a.triple(7), a.triple(0), a.plane(3), a.mask(), a.triple(7), n, kEps);
    vekrHitPoint3DEpsM0_32f_M(b.triple(7), b.triple(0), b.plane(3), b.mask(), b.triple(4), n, kEps);
    samePlanes(7, 4, 3);
    refill();
    vekrDot_32f_P3C1M(a.triple(0), a.triple(0), a.mask(), a.plane(1), n);
    vekrDot_32f_P3C1M(b.triple(0), b.triple(0), b.mask(), b.plane(6), n);
    samePlanes(1, 6, 1);
    refill();
    vekrDotChangeNorm_32f_IM(a.triple(0), a.mask(), a.triple(3), a.plane(2), n);
    vekrDotChangeNorm_32f_IM(b.triple(0), b.mask(), b.triple(3), b.plane(6), n);
    samePlanes(2, 6, 1);
    samePlanes(3, 3, 3);
    refill();
    vekrMul_32f_C1IM(a.plane(0), a.mask(), a.plane(0), n);
    std::copy_n(b.plane(0), n, b.plane(1));
    vekrMul_32f_C1IM(b.plane(0), b.mask(), b.plane(1), n);
    samePlanes(0, 1, 1);
    refill();
    vekrDistAttenuationSO_32f_M(kOrigin, a.triple(0), a.mask(), a.plane(1), n);
    vekrDistAttenuationSO_32f_M(kOrigin, b.triple(0), b.mask(), b.plane(6), n);
    samePlanes(1, 6, 1);
  }
}

}  // namespace
