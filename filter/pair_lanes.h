// Eight 32-bit lanes, each a sum or a pair of 16-bit words: one 256-bit register, or two of 128 bits. For kernel files.
#pragma once

#include <cstdint>

#include "frame/simd_int.h"
#include "volume/convert.h"

namespace vekr::VEKR_ISA {

#ifdef __AVX2__

struct Octet {
  __m256i v;
};

inline Octet zeroOctet() { return {_mm256_setzero_si256()}; }
inline Octet loadOctet(const void *p) { return {_mm256_loadu_si256(static_cast<const __m256i *>(p))}; }
inline void storeOctet(Octet a, void *p) { _mm256_storeu_si256(static_cast<__m256i *>(p), a.v); }

// One pair of taps in all lanes; `group` is 16-byte aligned.
inline Octet pairOf(const int16_t *group) { return {_mm256_set1_epi32(loadAs<int32_t>(group))}; }
// (0, tap), from a group of (tap, 0).
inline Octet singleOf(const int16_t *group) { return {_mm256_set1_epi32(loadAs<int32_t>(group + 1))}; }

inline Octet operator+(Octet a, Octet b) { return {_mm256_add_epi32(a.v, b.v)}; }
// The sum of the two products of each lane.
inline Octet multiplied(Octet words, Octet taps) { return {_mm256_madd_epi16(words.v, taps.v)}; }
// Lanes 6 and 7 of the second, the others of the first.
inline Octet lastQuarterFrom(Octet a, Octet b) { return {_mm256_blend_epi32(a.v, b.v, 0xC0)}; }

inline Octet operator-(Octet a, Octet b) { return {_mm256_sub_epi32(a.v, b.v)}; }
inline Octet shiftedLeft(Octet a, int count) { return {_mm256_sll_epi32(a.v, _mm_cvtsi32_si128(count))}; }
inline Octet shiftedRight(Octet a, int count) { return {_mm256_sra_epi32(a.v, _mm_cvtsi32_si128(count))}; }
// The product in float, rounded to nearest with ties to even, or `largest` above that.
inline Octet roundedProduct(Octet a, float factor, float largest) {
  const __m256 product = _mm256_mul_ps(_mm256_cvtepi32_ps(a.v), _mm256_set1_ps(factor));
  return {_mm256_cvtps_epi32(_mm256_min_ps(product, _mm256_set1_ps(largest)))};
}
inline Octet broadcastOctet(int32_t a) { return {_mm256_set1_epi32(a)}; }
inline Octet operator&(Octet a, Octet b) { return {_mm256_and_si256(a.v, b.v)}; }

// Both octets' lanes as 16-bit voxels, saturated.
inline void storeSaturated(Octet first, Octet second, int16_t *p) {
  const __m256i words = _mm256_packs_epi32(first.v, second.v);  // quarters 0, 2, 1, 3
  storeOctet({_mm256_permute4x64_epi64(words, 0xD8)}, p);
}

// even[0], odd[0], even[1], ... to 16 places.
inline void storeAlternating(Octet even, Octet odd, int32_t *p) {
  const __m256i low = _mm256_unpacklo_epi32(even.v, odd.v);  // places 0 to 3 and 8 to 11
  const __m256i high = _mm256_unpackhi_epi32(even.v, odd.v);
  storeOctet({_mm256_permute2x128_si256(low, high, 0x20)}, p);
  storeOctet({_mm256_permute2x128_si256(low, high, 0x31)}, p + 8);
}

#else

struct Octet {
  __m128i low, high;
};

inline __m128i loadQuad(const void *p) { return _mm_loadu_si128(static_cast<const __m128i *>(p)); }
inline void storeQuad(__m128i a, void *p) { _mm_storeu_si128(static_cast<__m128i *>(p), a); }

inline Octet zeroOctet() { return {_mm_setzero_si128(), _mm_setzero_si128()}; }
inline Octet loadOctet(const void *p) { return {loadQuad(p), loadQuad(static_cast<const char *>(p) + 16)}; }
inline void storeOctet(Octet a, void *p) {
  storeQuad(a.low, p);
  storeQuad(a.high, static_cast<char *>(p) + 16);
}

inline Octet pairOf(const int16_t *group) {
  const __m128i pair = _mm_load_si128(reinterpret_cast<const __m128i *>(group));
  return {pair, pair};
}
inline Octet singleOf(const int16_t *group) {
  const __m128i single = _mm_slli_epi32(_mm_load_si128(reinterpret_cast<const __m128i *>(group)), 16);
  return {single, single};
}

inline Octet operator+(Octet a, Octet b) {
  return {_mm_add_epi32(a.low, b.low), _mm_add_epi32(a.high, b.high)};
}
inline Octet multiplied(Octet words, Octet taps) {
  return {_mm_madd_epi16(words.low, taps.low), _mm_madd_epi16(words.high, taps.high)};
}
inline Octet lastQuarterFrom(Octet a, Octet b) { return {a.low, _mm_blend_epi16(a.high, b.high, 0xF0)}; }

inline Octet operator-(Octet a, Octet b) {
  return {_mm_sub_epi32(a.low, b.low), _mm_sub_epi32(a.high, b.high)};
}
inline Octet shiftedLeft(Octet a, int count) {
  const __m128i by = _mm_cvtsi32_si128(count);
  return {_mm_sll_epi32(a.low, by), _mm_sll_epi32(a.high, by)};
}
inline Octet shiftedRight(Octet a, int count) {
  const __m128i by = _mm_cvtsi32_si128(count);
  return {_mm_sra_epi32(a.low, by), _mm_sra_epi32(a.high, by)};
}
inline __m128i roundedProduct(__m128i a, float factor, float largest) {
  const __m128 product = _mm_mul_ps(_mm_cvtepi32_ps(a), _mm_set1_ps(factor));
  return _mm_cvtps_epi32(_mm_min_ps(product, _mm_set1_ps(largest)));
}
inline Octet roundedProduct(Octet a, float factor, float largest) {
  return {roundedProduct(a.low, factor, largest), roundedProduct(a.high, factor, largest)};
}
inline Octet broadcastOctet(int32_t a) { return {_mm_set1_epi32(a), _mm_set1_epi32(a)}; }
inline Octet operator&(Octet a, Octet b) {
  return {_mm_and_si128(a.low, b.low), _mm_and_si128(a.high, b.high)};
}

inline void storeSaturated(Octet first, Octet second, int16_t *p) {
  storeQuad(_mm_packs_epi32(first.low, first.high), p);
  storeQuad(_mm_packs_epi32(second.low, second.high), p + 8);
}

inline void storeAlternating(Octet even, Octet odd, int32_t *p) {
  storeQuad(_mm_unpacklo_epi32(even.low, odd.low), p);
  storeQuad(_mm_unpackhi_epi32(even.low, odd.low), p + 4);
  storeQuad(_mm_unpacklo_epi32(even.high, odd.high), p + 8);
  storeQuad(_mm_unpackhi_epi32(even.high, odd.high), p + 12);
}

#endif

}  // namespace vekr::VEKR_ISA
