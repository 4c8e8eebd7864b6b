// Inputs that hurt, the same on every run, and comparison of outputs bit for bit.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

namespace vekr_test {

inline uint32_t bitsOf(float x) { return std::bit_cast<uint32_t>(x); }
inline float fromBits(uint32_t x) { return std::bit_cast<float>(x); }

// Equal bits, or a NaN on both sides: which operand's payload survives is the processor's affair. Zeros of
// different sign differ.
inline bool same(float a, float b) { return bitsOf(a) == bitsOf(b) || (std::isnan(a) && std::isnan(b)); }
inline bool same(int32_t a, int32_t b) { return a == b; }

// Compares arrays element by element; says where they first differ.
template <class A, class B>
::testing::AssertionResult sameArrays(const A &actual, const B &expected, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    if (!same(actual[i], expected[i])) {
      return ::testing::AssertionFailure()
             << "element " << i << " of " << count << ": " << actual[i] << " instead of " << expected[i];
    }
  }
  return ::testing::AssertionSuccess();
}

// Random numbers that don't depend on the standard library's distributions.
class Random {
 public:
  explicit Random(uint32_t seed) : engine_(seed) {}
  uint32_t bits() { return static_cast<uint32_t>(engine_()); }
  int32_t below(int32_t end) { return static_cast<int32_t>(bits() % static_cast<uint32_t>(end)); }
  float unit() { return static_cast<float>(bits() >> 8) * 0x1p-24f; }
  float within(float low, float high) { return low + (high - low) * unit(); }

  // Ordinary numbers with some awkward ones among them.
  float awkward() {
    static constexpr float kAwkward[] = {0.0f,
                                         -0.0f,
                                         1.0f,
                                         -1.0f,
                                         std::numeric_limits<float>::infinity(),
                                         -std::numeric_limits<float>::infinity(),
                                         std::numeric_limits<float>::quiet_NaN(),
                                         1e-42f,
                                         -1e-42f,
                                         std::numeric_limits<float>::min(),
                                         std::numeric_limits<float>::max(),
                                         -std::numeric_limits<float>::max(),
                                         1.1920929e-7f,
                                         1e-20f,
                                         1e20f};
    return below(4) == 0 ? kAwkward[below(static_cast<int32_t>(std::size(kAwkward)))] : within(-4.0f, 4.0f);
  }

 private:
  std::mt19937 engine_;
};

}  // namespace vekr_test
