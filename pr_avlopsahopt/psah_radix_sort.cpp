#include "pr_avlopsahopt/psah_radix_sort.h"

#include <bit>
#include <cstring>

namespace vekr {
namespace {

constexpr uint32_t kSignBit = 0x80000000u;

// Digits of 11, 11 and 10 bits.
constexpr int kDigits = 3;
constexpr int kDigitBits = 11;
constexpr uint32_t kDigitValues = 1u << kDigitBits;

// Unsigned order of keys is the order of the floats.
inline uint32_t keyOf(float x) {
  const uint32_t bits = std::bit_cast<uint32_t>(x);
  return (bits & kSignBit) != 0 ? ~bits : bits ^ kSignBit;
}

inline uint32_t digitOf(uint32_t key, int digit) { return key >> (kDigitBits * digit) & (kDigitValues - 1); }

void turnIntoStarts(uint32_t *counts) {
  uint32_t start = 0;
  for (uint32_t value = 0; value < kDigitValues; ++value) {
    const uint32_t count = counts[value];
    counts[value] = start;
    start += count;
  }
}

}  // namespace

void ownRadixSortAccend_32f_w7(float *pSrcDst, float *pWork, int32_t len) {
  uint32_t places[kDigits][kDigitValues];
  std::memset(places, 0, sizeof places);
  for (int32_t i = 0; i < len; ++i) {
    const uint32_t key = keyOf(pSrcDst[i]);
    for (int digit = 0; digit < kDigits; ++digit) ++places[digit][digitOf(key, digit)];
  }
  for (auto &counts : places) turnIntoStarts(counts);
  float *from = pSrcDst, *to = pWork;
  for (int digit = 0; digit < kDigits; ++digit) {
    for (int32_t i = 0; i < len; ++i) to[places[digit][digitOf(keyOf(from[i]), digit)]++] = from[i];
    float *const filled = to;
    to = from;
    from = filled;
  }
  std::memcpy(pSrcDst, from, sizeof(float) * static_cast<size_t>(len));
}

}  // namespace vekr
