// Checks of the masked arithmetic: which pointers, before which lengths.
#include <gtest/gtest.h>

#include "support/ray_arrays.h"
#include "vekr.h"

namespace {

using namespace vekr_test;

constexpr int32_t kLength = 8;
constexpr int kPlanes = 10;

// Arguments of which each may be null.
struct Arguments {
  const float *const *in0, *const *in1;
  const float *plane0;
  const int32_t *mask;
  float *const *out;
  float *outPlane;
  const float *vector;
};

class MaskedDoor : public ::testing::Test {
 protected:
  MaskedDoor() {
    Random random(1);
    fillMask(arrays_.mask(), kLength, MaskPattern::random, random);
    fillPlanes(arrays_, Values::ordinary, random);
    copyArrays(before_, arrays_);
    good_ = {arrays_.triple(0), arrays_.triple(7), arrays_.plane(3), arrays_.mask(),
             arrays_.triple(4), arrays_.plane(6),  vector_};
  }

  // `tested`: members of Arguments that are tested, one after the other set to null.
  template <class Call>
  void expectNullErrors(Call call, const std::vector<size_t> &testedOffsets) {
    for (const size_t offset : testedOffsets) {
      for (const int32_t length : {kLength, 5, 1, 0, -1, -4, INT32_MIN}) {
        Arguments a = good_;
        std::memset(reinterpret_cast<char *>(&a) + offset, 0, sizeof(void *));
        EXPECT_EQ(call(a, length), vekErrNullPtr) << "argument at " << offset << ", length " << length;
        EXPECT_TRUE(sameRays(arrays_, before_, allDead_))
            << "argument at " << offset << ", length " << length;
      }
    }
    Arguments nothing = {};
    EXPECT_EQ(call(nothing, kLength), vekErrNullPtr);
  }

  // With lengths below 1 no pointer is followed, and those that aren't tested may be null.
  template <class Call>
  void expectNothingTouched(Call call, const std::vector<size_t> &untestedOffsets) {
    Untouchable page;
    Arguments a = {page.as<const float *const>(), page.as<const float *const>(), page.as<const float>(),
                   page.as<const int32_t>(),      page.as<float *const>(),       page.as<float>(),
                   page.as<const float>()};
    for (const int32_t length : kNoLengths) EXPECT_EQ(call(a, length), vekOk) << length;
    for (const size_t offset : untestedOffsets) {
      std::memset(reinterpret_cast<char *>(&a) + offset, 0, sizeof(void *));
    }
    for (const int32_t length : kNoLengths) EXPECT_EQ(call(a, length), vekOk) << length;
    const Arguments real = good_;
    for (const int32_t length : kNoLengths) {
      EXPECT_EQ(call(real, length), vekOk);
      EXPECT_TRUE(sameRays(arrays_, before_, allDead_)) << length;
    }
  }

  RayArrays arrays_{kPlanes, kLength}, before_{kPlanes, kLength};
  const int32_t allDead_[kLength] = {-1, -1, -1, -1, -1, -1, -1, -1};
  const float vector_[3] = {1, 2, 3};
  Arguments good_;
};

#define FIELD(name) offsetof(Arguments, name)

TEST_F(MaskedDoor, HitPointsOfOneOrigin) {
  const auto call = [](const Arguments &a, int32_t n) {
    return vekrHitPoint3DEpsS0_32f_M(a.vector, a.in0, a.plane0, a.mask, a.out, n, 1.0f);
  };
  expectNullErrors(call, {FIELD(plane0), FIELD(mask), FIELD(in0), FIELD(out)});
  expectNothingTouched(call, {FIELD(vector)});
}

TEST_F(MaskedDoor, HitPointsOfManyOrigins) {
  const auto call = [](const Arguments &a, int32_t n) {
    return vekrHitPoint3DEpsM0_32f_M(a.in1, a.in0, a.plane0, a.mask, a.out, n, 1.0f);
  };
  expectNullErrors(call, {FIELD(plane0), FIELD(mask), FIELD(in0), FIELD(out), FIELD(in1)});
  expectNothingTouched(call, {});
}

TEST_F(MaskedDoor, Dot) {
  const auto call = [](const Arguments &a, int32_t n) {
    return vekrDot_32f_P3C1M(a.in0, a.in1, a.mask, a.outPlane, n);
  };
  expectNullErrors(call, {FIELD(in0), FIELD(in1), FIELD(mask), FIELD(outPlane)});
  expectNothingTouched(call, {});
}

TEST_F(MaskedDoor, DotChangeNorm) {
  const auto call = [](const Arguments &a, int32_t n) {
    return vekrDotChangeNorm_32f_IM(a.in0, a.mask, a.out, a.outPlane, n);
  };
  expectNullErrors(call, {FIELD(in0), FIELD(mask), FIELD(out), FIELD(outPlane)});
  expectNothingTouched(call, {});
}

TEST_F(MaskedDoor, MulOfOnePlaneTestsNothing) {
  const auto call = [](const Arguments &a, int32_t n) {
    return vekrMul_32f_C1IM(a.plane0, a.mask, a.outPlane, n);
  };
  expectNothingTouched(call, {FIELD(plane0), FIELD(mask), FIELD(outPlane)});
}

TEST_F(MaskedDoor, MulOfThreePlanes) {
  const auto call = [](const Arguments &a, int32_t n) {
    return vekrMul_32f_C1P3IM(a.plane0, a.mask, a.out, n);
  };
  expectNullErrors(call, {FIELD(plane0), FIELD(mask), FIELD(out)});
  expectNothingTouched(call, {});
}

TEST_F(MaskedDoor, DivDoesNotTestItsMask) {
  const auto call = [](const Arguments &a, int32_t n) {
    return vekrDiv_32f_C1IM(a.plane0, a.mask, a.outPlane, n);
  };
  expectNullErrors(call, {FIELD(plane0), FIELD(outPlane)});
  expectNothingTouched(call, {FIELD(mask)});
}

TEST_F(MaskedDoor, AddMulMulDoesNotTestItsScale) {
  const auto call = [](const Arguments &a, int32_t n) {
    return vekrAddMulMul_32f_AC1P3IM(a.vector, a.plane0, a.in1, a.mask, a.out, n);
  };
  expectNullErrors(call, {FIELD(plane0), FIELD(in1), FIELD(mask), FIELD(out)});
  expectNothingTouched(call, {FIELD(vector)});
}

TEST_F(MaskedDoor, AttenuationDoesNotTestItsLight) {
  const auto call = [](const Arguments &a, int32_t n) {
    return vekrDistAttenuationSO_32f_M(a.vector, a.in0, a.mask, a.outPlane, n);
  };
  expectNullErrors(call, {FIELD(in0), FIELD(mask), FIELD(outPlane)});
  expectNothingTouched(call, {FIELD(vector)});
}

}  // namespace
