// Sums of more than 32 bits without 64-bit lanes, and their way to voxels. For kernel files.
//
// Of each 32-bit addend p, p itself goes to `low` and p >> 16 to `high`, both in 32 bits. As p = 65536 (p >> 16) + (p mod
// 65536), the sum is 65536 high + rest; rest is low - 65536 high in 32 bits, unsigned, as long as it hasn't come to 2^32.
// With up to 2^16 addends it hasn't, nor has `high` left its 32 bits. Then both move over to doubles, which hold the
// integers of more addends than memory has room for.
#pragma once

#include <cstdint>
#include <cstring>

#include "filter/window.h"
#include "frame/lanes.h"

namespace vekr::VEKR_ISA {

constexpr int64_t kAddendsAtOnce = 1 << 16;

// The sums of some voxels in a row.
struct WideSums {
  static constexpr int32_t kVoxels = 32;

  double high[kVoxels];
  double rest[kVoxels];

  void clear(int32_t first, int32_t count) {
    for (int32_t i = first; i < first + count; ++i) high[i] = rest[i] = 0.0;
  }
  void add(int32_t first, const int32_t *highs, const int32_t *rests, int32_t count) {
    for (int32_t i = 0; i < count; ++i) {
      high[first + i] += static_cast<double>(highs[i]);
      // As a signed number, which is one instruction for several lanes, and 2^31 more.
      rest[first + i] += static_cast<double>(rests[i] ^ INT32_MIN) + 0x1p31;
    }
  }
};

// Every division is done in double, also that by a power of two, and rounded to nearest with ties to even. A sum of more
// than 53 bits loses some on its way to double, but no divisor is large enough to bring it back into a voxel's range.
template <class Quotient>
void convertSums(const WideSums &sums, int16_t *voxels, int32_t count, const Quotient &quotient) {
  int16_t converted[WideSums::kVoxels];
  for (int32_t x = 0; x < count; x += 4) {
    const Double<4> sum =
        Double<4>::load(sums.high + x) * Double<4>(65536.0) + Double<4>::load(sums.rest + x);
    const Double<4> bounded = maxOf(minOf(quotient(sum), Double<4>(32767.0)), Double<4>(-32768.0));
    storeSaturated(rounded(bounded), converted + x);
  }
  std::memcpy(voxels, converted, static_cast<size_t>(count) * sizeof *voxels);
}

inline void convertSums(const WideSums &sums, int16_t *voxels, int32_t count, const Divisor &by) {
  switch (by.how) {
    case Divide::notAtAll:
      return convertSums(sums, voxels, count, [](Double<4> a) { return a; });
    case Divide::byShift: {
      const Double<4> factor(1.0 / static_cast<double>(1 << by.shift));  // exact
      return convertSums(sums, voxels, count, [=](Double<4> a) { return a * factor; });
    }
    case Divide::byNumber: {
      const Double<4> number(static_cast<double>(by.number));
      return convertSums(sums, voxels, count, [=](Double<4> a) { return a / number; });
    }
  }
}

}  // namespace vekr::VEKR_ISA
