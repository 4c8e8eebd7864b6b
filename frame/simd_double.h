// Double lanes, and counting by masks: what sums of many float comparisons and costs in double need on top of
// frame/simd.h. Groups of four and of eight only.
#pragma once

#include "frame/simd_int.h"

namespace vekr::VEKR_ISA {

// N doubles in as many registers as it takes.
template <int N>
struct Double;

template <>
struct Double<4> {
  __m128d low, high;
  Double() = default;
  Double(__m128d a, __m128d b) : low(a), high(b) {}
  Double(double x) : low(_mm_set1_pd(x)), high(_mm_set1_pd(x)) {}
  void store(double *p) const {
    _mm_storeu_pd(p, low);
    _mm_storeu_pd(p + 2, high);
  }
};

inline Double<4> operator+(Double<4> a, Double<4> b) {
  return {_mm_add_pd(a.low, b.low), _mm_add_pd(a.high, b.high)};
}
inline Double<4> operator*(Double<4> a, Double<4> b) {
  return {_mm_mul_pd(a.low, b.low), _mm_mul_pd(a.high, b.high)};
}
inline Double<4> operator<(Double<4> a, Double<4> b) {
  return {_mm_cmplt_pd(a.low, b.low), _mm_cmplt_pd(a.high, b.high)};
}
inline Double<4> operator==(Double<4> a, Double<4> b) {
  return {_mm_cmpeq_pd(a.low, b.low), _mm_cmpeq_pd(a.high, b.high)};
}
inline Double<4> operator&(Double<4> a, Double<4> b) {
  return {_mm_and_pd(a.low, b.low), _mm_and_pd(a.high, b.high)};
}
inline Double<4> operator|(Double<4> a, Double<4> b) {
  return {_mm_or_pd(a.low, b.low), _mm_or_pd(a.high, b.high)};
}
inline Double<4> select(Double<4> mask, Double<4> yes, Double<4> no) {
  return {_mm_blendv_pd(no.low, yes.low, mask.low), _mm_blendv_pd(no.high, yes.high, mask.high)};
}
inline Double<4> widened(Float<4> a) { return {_mm_cvtps_pd(a.v), _mm_cvtps_pd(_mm_movehl_ps(a.v, a.v))}; }
inline Double<4> widened(Int<4> a) {
  return {_mm_cvtepi32_pd(a.v), _mm_cvtepi32_pd(_mm_unpackhi_epi64(a.v, a.v))};
}

// One more where the mask is on.
inline Int<4> countedIn(Int<4> count, Mask<4> m) { return _mm_sub_epi32(count.v, _mm_castps_si128(m.v)); }

#ifdef __AVX2__

template <>
struct Double<8> {
  __m256d low, high;
  Double() = default;
  Double(__m256d a, __m256d b) : low(a), high(b) {}
  Double(double x) : low(_mm256_set1_pd(x)), high(_mm256_set1_pd(x)) {}
  void store(double *p) const {
    _mm256_storeu_pd(p, low);
    _mm256_storeu_pd(p + 4, high);
  }
};

inline Double<8> operator+(Double<8> a, Double<8> b) {
  return {_mm256_add_pd(a.low, b.low), _mm256_add_pd(a.high, b.high)};
}
inline Double<8> operator*(Double<8> a, Double<8> b) {
  return {_mm256_mul_pd(a.low, b.low), _mm256_mul_pd(a.high, b.high)};
}
inline Double<8> operator<(Double<8> a, Double<8> b) {
  return {_mm256_cmp_pd(a.low, b.low, _CMP_LT_OQ), _mm256_cmp_pd(a.high, b.high, _CMP_LT_OQ)};
}
inline Double<8> operator==(Double<8> a, Double<8> b) {
  return {_mm256_cmp_pd(a.low, b.low, _CMP_EQ_OQ), _mm256_cmp_pd(a.high, b.high, _CMP_EQ_OQ)};
}
inline Double<8> operator&(Double<8> a, Double<8> b) {
  return {_mm256_and_pd(a.low, b.low), _mm256_and_pd(a.high, b.high)};
}
inline Double<8> operator|(Double<8> a, Double<8> b) {
  return {_mm256_or_pd(a.low, b.low), _mm256_or_pd(a.high, b.high)};
}
inline Double<8> select(Double<8> mask, Double<8> yes, Double<8> no) {
  return {_mm256_blendv_pd(no.low, yes.low, mask.low), _mm256_blendv_pd(no.high, yes.high, mask.high)};
}
inline Double<8> widened(Float<8> a) {
  return {_mm256_cvtps_pd(_mm256_castps256_ps128(a.v)), _mm256_cvtps_pd(_mm256_extractf128_ps(a.v, 1))};
}
inline Double<8> widened(Int<8> a) {
  return {_mm256_cvtepi32_pd(_mm256_castsi256_si128(a.v)),
          _mm256_cvtepi32_pd(_mm256_extracti128_si256(a.v, 1))};
}

inline Int<8> countedIn(Int<8> count, Mask<8> m) {
  return _mm256_sub_epi32(count.v, _mm256_castps_si256(m.v));
}

#endif

}  // namespace vekr::VEKR_ISA
