// What the tests of the spherical harmonics share: states, directions, blocks of the scalar twin.
#pragma once

#include <cmath>
#include <vector>

#include "tests/reference/spherical_harmonics.h"
#include "tests/support/arrays.h"
#include "tests/support/values.h"
#include "vekr.h"

namespace sh_test {

using vekr_test::Guarded;
using vekr_test::PageEnd;
using vekr_test::Random;
using vekr_test::same;
using vekr_test::sameArrays;

constexpr uint32_t kBands = 15;
constexpr int kTypes[] = {vekrSHDirect, vekrSHRecurrent};

inline size_t valuesUpTo(uint32_t highest) { return (highest + 1) * (highest + 1); }

inline size_t indexOf(int l, int m) { return static_cast<size_t>(l * l + l + m); }

// A filled state, flush against an unreadable page.
class State {
 public:
  State(uint32_t maxBand, int32_t type) : block_(sizeFor(maxBand, type)) {
    EXPECT_EQ(vekrSHInit_32f(get(), maxBand, type), vekOk);
  }
  VekrSHState *get() { return reinterpret_cast<VekrSHState *>(block_.data()); }
  PageEnd<unsigned char> &bytes() { return block_; }

  static uint32_t sizeFor(uint32_t maxBand, int32_t type) {
    uint32_t size = 0;
    EXPECT_EQ(vekrSHGetSize_32f(maxBand, type, &size), vekOk);
    return size;
  }

 private:
  PageEnd<unsigned char> block_;
};

struct Directions {
  Guarded<float> x, y, z;
  explicit Directions(size_t count, size_t offset = 0)
      : x(count, offset), y(count, offset), z(count, offset) {}
  int32_t count() const { return static_cast<int32_t>(x.size()); }
  void set(size_t i, float a, float b, float c) {
    x[i] = a;
    y[i] = b;
    z[i] = c;
  }
  bool intact() const { return x.intact() && y.intact() && z.intact(); }
};

enum class Kind { unit, anyLength, awkward };

inline Directions directionsOf(Kind kind, size_t count, uint32_t seed, size_t offset = 0) {
  Directions d(count, offset);
  Random random(seed);
  for (size_t i = 0; i < count; ++i) {
    if (kind == Kind::awkward) {
      d.set(i, random.awkward(), random.awkward(), random.awkward());
      continue;
    }
    float a = 0.0f, b = 0.0f, c = 0.0f, length = 0.0f;
    while (length < 0.1f || length > 1.0f) {
      a = random.within(-1.0f, 1.0f);
      b = random.within(-1.0f, 1.0f);
      c = random.within(-1.0f, 1.0f);
      length = std::sqrt(a * a + b * b + c * c);
    }
    const float scale = kind == Kind::unit ? 1.0f / length : 1.5f;
    d.set(i, a * scale, b * scale, c * scale);
  }
  return d;
}

// A block of either evaluator, by the twin.
inline std::vector<float> twinBlock(int type, float x, float y, float z, uint32_t highest) {
  static const reference::Tables tables = reference::recurrenceTables(kBands);
  return type == vekrSHDirect ? reference::directBlock(x, y, z, static_cast<int>(highest))
                              : reference::recurrentBlock(tables, x, y, z, static_cast<int>(highest));
}

inline std::vector<float> evaluated(int type, float x, float y, float z, uint32_t highest) {
  State state(kBands, type);
  std::vector<float> block(valuesUpTo(highest));
  EXPECT_EQ(vekrSH_32f(&x, &y, &z, 1, block.data(), highest, state.get()), vekOk);
  return block;
}

}  // namespace sh_test
