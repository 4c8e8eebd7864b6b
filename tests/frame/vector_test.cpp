#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

#include "frame/memory.h"
#include "frame/vector_arithmetic.h"
#include "frame/vector_sort.h"
#include "tests/reference/spherical_harmonics.h"
#include "tests/support/arrays.h"
#include "tests/support/values.h"

using namespace vekr;
using namespace vekr_test;

namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

Guarded<float> awkwardFloats(size_t count, size_t offset, uint32_t seed) {
  Guarded<float> array(count, offset);
  Random random(seed);
  for (float &x : array) x = random.awkward();
  return array;
}

Guarded<float> plainFloats(size_t count, size_t offset, uint32_t seed) {
  Guarded<float> array(count, offset);
  Random random(seed);
  for (float &x : array) x = random.within(-2.0f, 2.0f);
  return array;
}

}  // namespace

TEST(Allocators, AskForNothingBelowOneUnit) {
  EXPECT_EQ(veksMalloc_32s(0), nullptr);
  EXPECT_EQ(veksMalloc_32s(-1), nullptr);
  EXPECT_EQ(veksMalloc_64s(0), nullptr);
  EXPECT_EQ(veksMalloc_64s(INT32_MIN), nullptr);
  veksFree(nullptr);
}

TEST(VectorRoutines, NullPointersComeBeforeLengths) {
  float f = 0.0f;
  int32_t i = 0;
  EXPECT_EQ(veksCopy_32f(nullptr, &f, 0), vekErrNullPtr);
  EXPECT_EQ(veksCopy_32f(&f, nullptr, 0), vekErrNullPtr);
  EXPECT_EQ(veksCopy_32s(nullptr, &i, 0), vekErrNullPtr);
  EXPECT_EQ(veksCopy_32s(&i, nullptr, -1), vekErrNullPtr);
  EXPECT_EQ(veksZero_16s(nullptr, 0), vekErrNullPtr);
  EXPECT_EQ(veksZero_32f(nullptr, 0), vekErrNullPtr);
  EXPECT_EQ(veksAdd_32f_I(nullptr, &f, 0), vekErrNullPtr);
  EXPECT_EQ(veksAdd_32f_I(&f, nullptr, 0), vekErrNullPtr);
  EXPECT_EQ(veksDotProd_32f(nullptr, &f, 0, &f), vekErrNullPtr);
  EXPECT_EQ(veksDotProd_32f(&f, nullptr, 0, &f), vekErrNullPtr);
  EXPECT_EQ(veksDotProd_32f(&f, &f, 0, nullptr), vekErrNullPtr);
  EXPECT_EQ(veksMulC_32f(nullptr, 1.0f, &f, 0), vekErrNullPtr);
  EXPECT_EQ(veksMulC_32f(&f, 0.0f, nullptr, 0), vekErrNullPtr);
  EXPECT_EQ(veksMulC_32f_I(1.0f, nullptr, 0), vekErrNullPtr);
  EXPECT_EQ(veksSortAscend_32f_I(nullptr, 0), vekErrNullPtr);
}

TEST(VectorRoutines, LengthsBelowOneTouchNothing) {
  for (const int32_t len : {0, -1, INT32_MIN}) {
    float a = 3.0f, b = 5.0f;
    int32_t i = 7, k = 9;
    int16_t s = 11;
    EXPECT_EQ(veksCopy_32f(&a, &b, len), vekErrSize);
    EXPECT_EQ(veksCopy_32s(&i, &k, len), vekErrSize);
    EXPECT_EQ(veksZero_16s(&s, len), vekErrSize);
    EXPECT_EQ(veksZero_32f(&b, len), vekErrSize);
    EXPECT_EQ(veksAdd_32f_I(&a, &b, len), vekErrSize);
    EXPECT_EQ(veksDotProd_32f(&a, &a, len, &b), vekErrSize);
    EXPECT_EQ(veksMulC_32f(&a, 2.0f, &b, len), vekErrSize);
    EXPECT_EQ(veksMulC_32f(&a, 1.0f, &b, len), vekErrSize);
    EXPECT_EQ(veksMulC_32f_I(2.0f, &b, len), vekErrSize);
    EXPECT_EQ(veksMulC_32f_I(1.0f, &b, len), vekErrSize);
    EXPECT_EQ(veksSortAscend_32f_I(&b, len), vekErrSize);
    EXPECT_EQ(b, 5.0f);
    EXPECT_EQ(k, 9);
    EXPECT_EQ(s, 11);
  }
}

TEST(VectorRoutines, StayWithinTheirArraysAtEveryAlignment) {
  for (size_t offset = 0; offset < 32; offset += 4) {
    for (int32_t len = 1; len < 40; ++len) {
      const size_t count = static_cast<size_t>(len);
      const auto source = awkwardFloats(count, offset, 1);
      auto copied = awkwardFloats(count, 4, 2);
      EXPECT_EQ(veksCopy_32f(source.data(), copied.data(), len), vekOk);
      EXPECT_TRUE(sameArrays(copied, source, count) && copied.intact());

      auto sum = plainFloats(count, 8, 3);
      const auto before = plainFloats(count, 8, 3);
      EXPECT_EQ(veksAdd_32f_I(source.data(), sum.data(), len), vekOk);
      for (size_t i = 0; i < count; ++i) EXPECT_TRUE(same(sum[i], before[i] + source[i]));
      EXPECT_TRUE(sum.intact());

      Guarded<float> product(count, offset);
      EXPECT_EQ(veksMulC_32f(source.data(), -0.3f, product.data(), len), vekOk);
      for (size_t i = 0; i < count; ++i) EXPECT_TRUE(same(product[i], source[i] * -0.3f));
      EXPECT_EQ(veksCopy_32f(source.data(), product.data(), len), vekOk);
      EXPECT_EQ(veksMulC_32f_I(-0.3f, product.data(), len), vekOk);
      for (size_t i = 0; i < count; ++i) EXPECT_TRUE(same(product[i], source[i] * -0.3f));
      EXPECT_TRUE(product.intact());
      EXPECT_EQ(veksZero_32f(product.data(), len), vekOk);
      for (const float x : product) EXPECT_EQ(bitsOf(x), 0u);
      EXPECT_TRUE(product.intact());

      Guarded<int16_t> shorts(count, offset);
      std::fill(shorts.begin(), shorts.end(), int16_t{-1});
      EXPECT_EQ(veksZero_16s(shorts.data(), len), vekOk);
      EXPECT_EQ(std::count(shorts.begin(), shorts.end(), 0), len);
      EXPECT_TRUE(shorts.intact());
    }
  }
}

TEST(VectorRoutines, MultiplyByZeroClearsWhateverTheSourceHolds) {
  const float source[] = {kNaN, kInfinity, -3.0f};
  for (const float zero : {0.0f, -0.0f}) {
    float out[] = {1.0f, 2.0f, 3.0f};
    EXPECT_EQ(veksMulC_32f(source, zero, out, 3), vekOk);
    for (const float x : out) EXPECT_EQ(bitsOf(x), 0u);
    float inPlace[] = {kNaN, -kInfinity, -3.0f};
    EXPECT_EQ(veksMulC_32f_I(zero, inPlace, 3), vekOk);
    for (const float x : inPlace) EXPECT_EQ(bitsOf(x), 0u);
  }
}

TEST(VectorRoutines, MultiplyByOneKeepsEveryBit) {
  const float source[] = {fromBits(0x7FA00001u), -0.0f, 1e-42f};  // a signalling NaN would come out quiet
  float out[3], inPlace[3];
  std::copy(source, source + 3, inPlace);
  EXPECT_EQ(veksMulC_32f(source, 1.0f, out, 3), vekOk);
  EXPECT_EQ(veksMulC_32f_I(1.0f, inPlace, 3), vekOk);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(bitsOf(out[i]), bitsOf(source[i]));
    EXPECT_EQ(bitsOf(inPlace[i]), bitsOf(source[i]));
  }
}

TEST(VectorRoutines, MultiplyByNaNTakesNoShortcut) {
  const float source[] = {0.0f, 1.0f};
  float out[2] = {};
  EXPECT_EQ(veksMulC_32f(source, kNaN, out, 2), vekOk);
  EXPECT_TRUE(std::isnan(out[0]) && std::isnan(out[1]));
}

TEST(DotProduct, SumsInFloatFromLanes) {
  for (size_t first = 0; first < 16; first += 4) {
    for (size_t second = 0; second < 16; second += 4) {
      for (int32_t len = 1; len < 100; ++len) {
        const auto a = plainFloats(static_cast<size_t>(len), first, 4),
                   b = plainFloats(static_cast<size_t>(len), second, 5);
        // The order of the sum by its definition, on plain numbers.
        float lanes[4][4] = {};
        int32_t i = 0;
        float expected;
        if (len < 16) {
          for (; i + 2 <= len; i += 2) {
            lanes[0][0] += a[i] * b[i];
            lanes[0][1] += a[i + 1] * b[i + 1];
          }
          expected = lanes[0][0] + lanes[0][1];
        } else {
          const int groups = first == second ? 4 : 3;
          if (first == second) {
            for (; (first / 4 + i) % 4 != 0; ++i) lanes[0][0] += a[i] * b[i];
          } else {
            for (; i < 4; ++i) lanes[0][i] += a[i] * b[i];
          }
          for (; i + 4 * groups <= len; i += 4 * groups) {
            for (int k = 0; k < 4 * groups; ++k) lanes[k / 4][k % 4] += a[i + k] * b[i + k];
          }
          for (; i + 4 <= len; i += 4) {
            for (int k = 0; k < 4; ++k) lanes[0][k] += a[i + k] * b[i + k];
          }
          float all[4];
          for (int k = 0; k < 4; ++k) {
            const float rest =
                groups == 4 ? lanes[1][k] + (lanes[2][k] + lanes[3][k]) : lanes[1][k] + lanes[2][k];
            all[k] = lanes[0][k] + rest;
          }
          expected = (all[0] + all[1]) + (all[2] + all[3]);
        }
        for (; i < len; ++i) expected += a[i] * b[i];
        float sum = -1.0f;
        ASSERT_EQ(veksDotProd_32f(a.data(), b.data(), len, &sum), vekOk);
        ASSERT_EQ(bitsOf(sum), bitsOf(expected)) << len << " at " << first << ", " << second;
        // The order that the inverse transform is held to, whose functions lie on a boundary.
        if (first == 0) {
          ASSERT_EQ(bitsOf(sum), bitsOf(reference::dotProduct(a.data(), b.data(), len)));
        }
      }
    }
  }
}

TEST(Sort, OrdersEveryLengthAndPattern) {
  for (int32_t len = 1; len <= 2000; len = len < 70 ? len + 1 : len * 2) {
    for (int pattern = 0; pattern < 8; ++pattern) {
      Guarded<float> values(static_cast<size_t>(len));
      Random random(static_cast<uint32_t>(len * 8 + pattern));
      for (int32_t i = 0; i < len; ++i) {
        const float position = static_cast<float>(i);
        switch (pattern) {
          case 0:
            values[i] = random.within(-1.0f, 1.0f);
            break;
          case 1:
            values[i] = position;
            break;
          case 2:
            values[i] = -position;
            break;
          case 3:
            values[i] = 4.0f;
            break;
          case 4:
            values[i] = static_cast<float>(random.below(3));
            break;
          case 5:
            values[i] = static_cast<float>(i % 2 == 0 ? i : -i);
            break;
          case 6:
            values[i] = i < len / 2 ? position : static_cast<float>(len - i);
            break;
          default:
            values[i] = i == 0 ? 1e30f : (i % 7 == 0 ? -kInfinity : 1.0f);
            break;
        }
      }
      std::vector<float> expected(values.begin(), values.end());
      std::sort(expected.begin(), expected.end());
      ASSERT_EQ(veksSortAscend_32f_I(values.data(), len), vekOk);
      ASSERT_TRUE(sameArrays(values, expected, static_cast<size_t>(len))) << "pattern " << pattern;
      ASSERT_TRUE(values.intact());
    }
  }
}

TEST(Sort, EndsAndStaysInsideWithNaNs) {
  for (int32_t len = 1; len < 300; ++len) {
    Guarded<float> values(static_cast<size_t>(len));
    Random random(static_cast<uint32_t>(len));
    for (float &x : values) x = random.below(3) == 0 ? kNaN : random.unit();
    EXPECT_EQ(veksSortAscend_32f_I(values.data(), len), vekOk);
    EXPECT_TRUE(values.intact());
  }
}

TEST(Sort, EqualValuesComeBackUnchanged) {
  float values[10];
  std::fill(values, values + 10, 2.5f);
  EXPECT_EQ(veksSortAscend_32f_I(values, 10), vekOk);
  for (const float x : values) EXPECT_EQ(x, 2.5f);
}
