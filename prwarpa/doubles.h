// As many double lanes as the widest group of floats has, in two registers. For kernel files.
#pragma once

#include "frame/simd_int.h"

namespace vekr::VEKR_ISA {

#ifdef __AVX2__

struct DoubleMask {
  __m256d low, high;
};

struct Doubles {
  __m256d low, high;
  Doubles(__m256d l, __m256d h) : low(l), high(h) {}
  explicit Doubles(double x) : low(_mm256_set1_pd(x)), high(low) {}
  static Doubles load(const double *p) { return {_mm256_loadu_pd(p), _mm256_loadu_pd(p + 4)}; }
};

inline DoubleMask operator<=(Doubles a, Doubles b) {
  return {_mm256_cmp_pd(a.low, b.low, _CMP_LE_OQ), _mm256_cmp_pd(a.high, b.high, _CMP_LE_OQ)};
}
inline DoubleMask operator&(DoubleMask a, DoubleMask b) {
  return {_mm256_and_pd(a.low, b.low), _mm256_and_pd(a.high, b.high)};
}
inline Mask<8> narrowed(DoubleMask a) {
  const __m256 mixed = _mm256_shuffle_ps(_mm256_castpd_ps(a.low), _mm256_castpd_ps(a.high), 0x88);
  return {_mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(mixed), 0xD8))};
}
inline Float<8> narrowed(Doubles a) {
  return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm256_cvtpd_ps(a.low)), _mm256_cvtpd_ps(a.high), 1);
}
inline Int<8> truncated(Doubles a) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm256_cvttpd_epi32(a.low)),
                                 _mm256_cvttpd_epi32(a.high), 1);
}
inline Int<8> rounded(Doubles a) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm256_cvtpd_epi32(a.low)),
                                 _mm256_cvtpd_epi32(a.high), 1);
}

#else

struct DoubleMask {
  __m128d low, high;
};

struct Doubles {
  __m128d low, high;
  Doubles(__m128d l, __m128d h) : low(l), high(h) {}
  explicit Doubles(double x) : low(_mm_set1_pd(x)), high(low) {}
  static Doubles load(const double *p) { return {_mm_loadu_pd(p), _mm_loadu_pd(p + 2)}; }
};

inline DoubleMask operator<=(Doubles a, Doubles b) {
  return {_mm_cmple_pd(a.low, b.low), _mm_cmple_pd(a.high, b.high)};
}
inline DoubleMask operator&(DoubleMask a, DoubleMask b) {
  return {_mm_and_pd(a.low, b.low), _mm_and_pd(a.high, b.high)};
}
inline Mask<4> narrowed(DoubleMask a) {
  return {_mm_shuffle_ps(_mm_castpd_ps(a.low), _mm_castpd_ps(a.high), 0x88)};
}
inline Float<4> narrowed(Doubles a) { return _mm_movelh_ps(_mm_cvtpd_ps(a.low), _mm_cvtpd_ps(a.high)); }
inline Int<4> truncated(Doubles a) {
  return _mm_unpacklo_epi64(_mm_cvttpd_epi32(a.low), _mm_cvttpd_epi32(a.high));
}
inline Int<4> rounded(Doubles a) {
  return _mm_unpacklo_epi64(_mm_cvtpd_epi32(a.low), _mm_cvtpd_epi32(a.high));
}

#endif

}  // namespace vekr::VEKR_ISA
