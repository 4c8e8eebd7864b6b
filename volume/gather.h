// Gathers, in the form with a source and a mask: it says what the plain one leaves open, and breaks the dependency on the
// register's former value. For kernel files.
#pragma once

#include "frame/simd_int.h"

#ifdef __AVX2__

namespace vekr::VEKR_ISA {

// Four neighbouring pairs of floats, by index of the first.
inline __m256 gatherPairs(const float *base, __m128i index) {
  const __m256d all = _mm256_castsi256_pd(_mm256_set1_epi64x(-1));
  return _mm256_castpd_ps(_mm256_mask_i32gather_pd(
      _mm256_setzero_pd(), reinterpret_cast<const double *>(base), index, all, sizeof(float)));
}

// The same by address.
inline __m256 gatherPairs(__m256i address) {
  const __m256d all = _mm256_castsi256_pd(_mm256_set1_epi64x(-1));
  return _mm256_castpd_ps(_mm256_mask_i64gather_pd(_mm256_setzero_pd(), nullptr, address, all, 1));
}

// Four 32-bit words by address.
inline __m128i gatherWords(__m256i address) {
  return _mm256_mask_i64gather_epi32(_mm_setzero_si128(), nullptr, address, _mm_set1_epi32(-1), 1);
}

// Four pointers of a list.
inline __m256i gatherPointers(const void *list, __m128i index) {
  return _mm256_mask_i32gather_epi64(_mm256_setzero_si256(), static_cast<const long long *>(list), index,
                                     _mm256_set1_epi64x(-1), sizeof(void *));
}

// 64-bit lanes 0 to 3 and 4 to 7 of eight.
struct Wide {
  __m256i low, high;
};

inline Wide widenedTo64(Int<8> a) {
  return {_mm256_cvtepi32_epi64(_mm256_castsi256_si128(a.v)),
          _mm256_cvtepi32_epi64(_mm256_extracti128_si256(a.v, 1))};
}

inline Wide operator+(Wide a, Wide b) {
  return {_mm256_add_epi64(a.low, b.low), _mm256_add_epi64(a.high, b.high)};
}

// Product of the low halves of each lane, as signed 32-bit numbers.
inline Wide mulLow(Wide a, __m256i b) { return {_mm256_mul_epi32(a.low, b), _mm256_mul_epi32(a.high, b)}; }

inline Wide gatherPointers(const void *list, Int<8> index) {
  return {gatherPointers(list, _mm256_castsi256_si128(index.v)),
          gatherPointers(list, _mm256_extracti128_si256(index.v, 1))};
}

inline Int<8> gatherWords(Wide address) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(gatherWords(address.low)), gatherWords(address.high),
                                 1);
}

}  // namespace vekr::VEKR_ISA

#endif
