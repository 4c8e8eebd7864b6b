// Lanes of doubles for the direct evaluator: N of them, widened from and rounded to the first N lanes of a Float<4>.
#pragma once

#include "frame/simd.h"

namespace vekr::VEKR_ISA {

template <int N>
struct WideLanes;

template <>
struct WideLanes<2> {
  __m128d v;
  WideLanes() = default;
  WideLanes(__m128d a) : v(a) {}
  WideLanes(double a) : v(_mm_set1_pd(a)) {}
  explicit WideLanes(Float<4> a) : v(_mm_cvtps_pd(a.v)) {}
  // Rounds every lane to single.
  void storeRounded(float *p) const { _mm_storel_pi(reinterpret_cast<__m64 *>(p), _mm_cvtpd_ps(v)); }
  static Float<4> loadSingles(const float *p) {
    return _mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64 *>(p));
  }
};

inline WideLanes<2> operator+(WideLanes<2> a, WideLanes<2> b) { return _mm_add_pd(a.v, b.v); }
inline WideLanes<2> operator-(WideLanes<2> a, WideLanes<2> b) { return _mm_sub_pd(a.v, b.v); }
inline WideLanes<2> operator*(WideLanes<2> a, WideLanes<2> b) { return _mm_mul_pd(a.v, b.v); }

#ifdef __AVX2__

template <>
struct WideLanes<4> {
  __m256d v;
  WideLanes() = default;
  WideLanes(__m256d a) : v(a) {}
  WideLanes(double a) : v(_mm256_set1_pd(a)) {}
  explicit WideLanes(Float<4> a) : v(_mm256_cvtps_pd(a.v)) {}
  void storeRounded(float *p) const { _mm_storeu_ps(p, _mm256_cvtpd_ps(v)); }
  static Float<4> loadSingles(const float *p) { return Float<4>::load(p); }
};

inline WideLanes<4> operator+(WideLanes<4> a, WideLanes<4> b) { return _mm256_add_pd(a.v, b.v); }
inline WideLanes<4> operator-(WideLanes<4> a, WideLanes<4> b) { return _mm256_sub_pd(a.v, b.v); }
inline WideLanes<4> operator*(WideLanes<4> a, WideLanes<4> b) { return _mm256_mul_pd(a.v, b.v); }

#endif

}  // namespace vekr::VEKR_ISA
