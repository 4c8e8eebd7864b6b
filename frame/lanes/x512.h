// Lanes in 512-bit registers: sixteen of 32 bits, eight of 64, thirty-two of 16. Masks of whole registers are bits in
// registers of their own; those of narrower groups stay as the narrower files have them.
//
// Estimates are those of narrower registers, half by half: the instructions for this width have other bits.
#pragma once

#include "frame/lanes/x256.h"

#if VEKR_REGISTER_FLOATS >= 16  // nothing here is for narrower sets

namespace vekr::VEKR_ISA {

template <>
struct Mask<16> {
  __mmask16 v;
};

template <>
struct Int<16> {
  __m512i v;
  Int() = default;
  Int(__m512i x) : v(x) {}
  Int(int32_t x) : v(_mm512_set1_epi32(x)) {}
  static Int load(const int32_t *p) { return _mm512_loadu_si512(p); }
  static Int load(const uint8_t *p) {
    return _mm512_cvtepu8_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p)));
  }
  static Int load(const uint16_t *p) {
    return _mm512_cvtepu16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(p)));
  }
  static Int load(const int16_t *p) {
    return _mm512_cvtepi16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(p)));
  }
  void store(int32_t *p) const { _mm512_storeu_si512(p, v); }
};

template <>
struct Float<16> {
  __m512 v;
  Float() = default;
  Float(__m512 x) : v(x) {}
  Float(float x) : v(_mm512_set1_ps(x)) {}
  static Float load(const float *p) { return _mm512_loadu_ps(p); }
  void store(float *p) const { _mm512_storeu_ps(p, v); }
};

template <>
struct DoubleMask<8> {
  __mmask8 v;
};

template <>
struct Double<8> {
  __m512d v;
  Double() = default;
  Double(__m512d x) : v(x) {}
  Double(double x) : v(_mm512_set1_pd(x)) {}
  static Double load(const double *p) { return _mm512_loadu_pd(p); }
  void store(double *p) const { _mm512_storeu_pd(p, v); }
};

template <>
struct Short<32> {
  __m512i v;
  Short() = default;
  Short(__m512i x) : v(x) {}
  static Short load(const void *p) { return _mm512_loadu_si512(p); }
  void store(void *p) const { _mm512_storeu_si512(p, v); }
};

template <>
struct Long<8> {
  __m512i v;
  Long() = default;
  Long(__m512i x) : v(x) {}
  Long(int64_t x) : v(_mm512_set1_epi64(x)) {}
};

// ---------------------------------------------------------------- masks

inline Mask<16> operator&(Mask<16> a, Mask<16> b) { return {_kand_mask16(a.v, b.v)}; }
inline Mask<16> operator|(Mask<16> a, Mask<16> b) { return {_kor_mask16(a.v, b.v)}; }
inline Mask<16> operator!(Mask<16> a) { return {_knot_mask16(a.v)}; }
inline int bits(Mask<16> m) { return static_cast<int>(_cvtmask16_u32(m.v)); }
inline bool anyOf(Mask<16> m) { return m.v != 0; }

template <>
inline Mask<16> maskOfBits<16>(unsigned bitsOfLanes) {
  return {_cvtu32_mask16(bitsOfLanes)};
}

// ---------------------------------------------------------------- floats

inline Float<16> operator+(Float<16> a, Float<16> b) { return _mm512_add_ps(a.v, b.v); }
inline Float<16> operator-(Float<16> a, Float<16> b) { return _mm512_sub_ps(a.v, b.v); }
inline Float<16> operator*(Float<16> a, Float<16> b) { return _mm512_mul_ps(a.v, b.v); }
inline Float<16> operator/(Float<16> a, Float<16> b) { return _mm512_div_ps(a.v, b.v); }
inline Mask<16> operator<(Float<16> a, Float<16> b) { return {_mm512_cmp_ps_mask(a.v, b.v, _CMP_LT_OQ)}; }
inline Mask<16> operator<=(Float<16> a, Float<16> b) { return {_mm512_cmp_ps_mask(a.v, b.v, _CMP_LE_OQ)}; }
inline Mask<16> operator==(Float<16> a, Float<16> b) { return {_mm512_cmp_ps_mask(a.v, b.v, _CMP_EQ_OQ)}; }
inline Float<16> select(Mask<16> m, Float<16> yes, Float<16> no) {
  return _mm512_mask_blend_ps(m.v, no.v, yes.v);
}
inline Float<16> minOf(Float<16> a, Float<16> b) { return _mm512_min_ps(a.v, b.v); }
inline Float<16> maxOf(Float<16> a, Float<16> b) { return _mm512_max_ps(a.v, b.v); }
inline Float<16> sqrtOf(Float<16> a) { return _mm512_sqrt_ps(a.v); }
inline Float<16> absOf(Float<16> a) { return _mm512_andnot_ps(_mm512_set1_ps(-0.0f), a.v); }
inline Float<16> negatedWhere(Mask<16> m, Float<16> a) {
  return _mm512_mask_xor_ps(a.v, m.v, a.v, _mm512_set1_ps(-0.0f));
}
inline Float<16> kept(Mask<16> m, Float<16> a) { return _mm512_maskz_mov_ps(m.v, a.v); }

// ---------------------------------------------------------------- integers

inline Int<16> operator+(Int<16> a, Int<16> b) { return _mm512_add_epi32(a.v, b.v); }
inline Int<16> operator-(Int<16> a, Int<16> b) { return _mm512_sub_epi32(a.v, b.v); }
inline Int<16> operator*(Int<16> a, Int<16> b) { return _mm512_mullo_epi32(a.v, b.v); }
inline Int<16> operator&(Int<16> a, Int<16> b) { return _mm512_and_si512(a.v, b.v); }
inline Int<16> operator^(Int<16> a, Int<16> b) { return _mm512_xor_si512(a.v, b.v); }
inline Mask<16> operator==(Int<16> a, Int<16> b) { return {_mm512_cmpeq_epi32_mask(a.v, b.v)}; }
inline Mask<16> operator<(Int<16> a, Int<16> b) { return {_mm512_cmplt_epi32_mask(a.v, b.v)}; }
inline Mask<16> isNegative(Int<16> a) { return {_mm512_movepi32_mask(a.v)}; }
inline Int<16> minOf(Int<16> a, Int<16> b) { return _mm512_min_epi32(a.v, b.v); }
inline Int<16> select(Mask<16> m, Int<16> yes, Int<16> no) {
  return _mm512_mask_blend_epi32(m.v, no.v, yes.v);
}
inline Int<16> countedIn(Int<16> count, Mask<16> m) {
  return _mm512_mask_add_epi32(count.v, m.v, count.v, _mm512_set1_epi32(1));
}

template <int count>
Int<16> shiftedLeft(Int<16> a) {
  return _mm512_slli_epi32(a.v, count);
}
template <int count>
Int<16> shiftedRight(Int<16> a) {
  return _mm512_srai_epi32(a.v, count);
}
template <int count>
Int<16> shiftedRightUnsigned(Int<16> a) {
  return _mm512_srli_epi32(a.v, count);
}
inline Int<16> shiftedRightUnsigned(Int<16> a, Int<16> counts) { return _mm512_srlv_epi32(a.v, counts.v); }
inline Int<16> shiftedRight(Int<16> a, int count) { return _mm512_sra_epi32(a.v, _mm_cvtsi32_si128(count)); }

template <int first>
Int<16> lanesFrom(Int<16> a, Int<16> b) {
  return _mm512_mask_blend_epi32(static_cast<__mmask16>(0xFFFF << first & 0xFFFF), a.v, b.v);
}

template <>
inline Int<16> loadRepeated<16>(const int32_t *p) {
  return _mm512_broadcast_i32x4(Int<4>::load(p).v);
}

// What is negative becomes 0 first: the narrowing instructions take their operand for unsigned.
inline void storeSaturated(Int<16> a, uint8_t *p) {
  const __m512i fromZero = _mm512_max_epi32(a.v, _mm512_setzero_si512());
  _mm_storeu_si128(reinterpret_cast<__m128i *>(p), _mm512_cvtusepi32_epi8(fromZero));
}
inline void storeSaturated(Int<16> a, uint16_t *p) {
  const __m512i fromZero = _mm512_max_epi32(a.v, _mm512_setzero_si512());
  _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), _mm512_cvtusepi32_epi16(fromZero));
}
inline void storeSaturated(Int<16> a, int16_t *p) {
  _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), _mm512_cvtsepi32_epi16(a.v));
}

// ---------------------------------------------------------------- parts of a register

// Lanes that are off are neither read nor written; loaded, they are 0.
inline Float<16> loadLanes(Mask<16> m, const float *p) { return _mm512_maskz_loadu_ps(m.v, p); }
inline Int<16> loadLanes(Mask<16> m, const int32_t *p) { return _mm512_maskz_loadu_epi32(m.v, p); }
inline void storeLanes(Mask<16> m, Float<16> a, float *p) { _mm512_mask_storeu_ps(p, m.v, a.v); }
inline void storeLanes(Mask<16> m, Int<16> a, int32_t *p) { _mm512_mask_storeu_epi32(p, m.v, a.v); }

inline Float<16> loadWanted(Mask<16> m, const float *p) { return loadLanes(m, p); }
inline void storeChanged(Mask<16> m, Float<16> a, float *p) { storeLanes(m, a, p); }

// ---------------------------------------------------------------- doubles

inline Double<8> operator+(Double<8> a, Double<8> b) { return _mm512_add_pd(a.v, b.v); }
inline Double<8> operator-(Double<8> a, Double<8> b) { return _mm512_sub_pd(a.v, b.v); }
inline Double<8> operator*(Double<8> a, Double<8> b) { return _mm512_mul_pd(a.v, b.v); }
inline Double<8> operator/(Double<8> a, Double<8> b) { return _mm512_div_pd(a.v, b.v); }
inline DoubleMask<8> operator<(Double<8> a, Double<8> b) {
  return {_mm512_cmp_pd_mask(a.v, b.v, _CMP_LT_OQ)};
}
inline DoubleMask<8> operator<=(Double<8> a, Double<8> b) {
  return {_mm512_cmp_pd_mask(a.v, b.v, _CMP_LE_OQ)};
}
inline DoubleMask<8> operator==(Double<8> a, Double<8> b) {
  return {_mm512_cmp_pd_mask(a.v, b.v, _CMP_EQ_OQ)};
}
inline DoubleMask<8> operator&(DoubleMask<8> a, DoubleMask<8> b) { return {_kand_mask8(a.v, b.v)}; }
inline DoubleMask<8> operator|(DoubleMask<8> a, DoubleMask<8> b) { return {_kor_mask8(a.v, b.v)}; }
inline Double<8> select(DoubleMask<8> m, Double<8> yes, Double<8> no) {
  return _mm512_mask_blend_pd(m.v, no.v, yes.v);
}
inline Double<8> minOf(Double<8> a, Double<8> b) { return _mm512_min_pd(a.v, b.v); }
inline Double<8> maxOf(Double<8> a, Double<8> b) { return _mm512_max_pd(a.v, b.v); }

// ---------------------------------------------------------------- words

inline Short<32> asWords(Int<16> a) { return a.v; }
inline Int<16> pairProducts(Short<32> a, Short<32> b) { return _mm512_madd_epi16(a.v, b.v); }
// As in narrower registers, quarter by quarter.
inline Int<16> firstPairs(Short<32> a, Short<32> b) { return _mm512_unpacklo_epi16(a.v, b.v); }
inline Int<16> secondPairs(Short<32> a, Short<32> b) { return _mm512_unpackhi_epi16(a.v, b.v); }
inline Short<32> packedLikePairs(Int<16> first, Int<16> second) {
  return _mm512_packus_epi32(first.v, second.v);
}
inline void storeSaturated(Short<32> a, uint8_t *p) {
  const __m512i fromZero = _mm512_max_epi16(a.v, _mm512_setzero_si512());
  _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), _mm512_cvtusepi16_epi8(fromZero));
}

// ---------------------------------------------------------------- conversions, halves

inline Float<16> toFloat(Int<16> a) { return _mm512_cvtepi32_ps(a.v); }
inline Int<16> truncated(Float<16> a) { return _mm512_cvttps_epi32(a.v); }
inline Int<16> rounded(Float<16> a) { return _mm512_cvtps_epi32(a.v); }

inline Int<16> asInts(Float<16> a) { return _mm512_castps_si512(a.v); }
inline Float<16> asFloats(Int<16> a) { return _mm512_castsi512_ps(a.v); }

inline Float<8> lowHalf(Float<16> a) { return _mm512_castps512_ps256(a.v); }
inline Float<8> highHalf(Float<16> a) { return _mm512_extractf32x8_ps(a.v, 1); }
inline Int<8> lowHalf(Int<16> a) { return _mm512_castsi512_si256(a.v); }
inline Int<8> highHalf(Int<16> a) { return _mm512_extracti32x8_epi32(a.v, 1); }
inline Mask<8> lowHalf(Mask<16> a) {
  return {_mm256_castsi256_ps(_mm256_movm_epi32(static_cast<__mmask8>(a.v & 0xFF)))};
}
inline Mask<8> highHalf(Mask<16> a) {
  return {_mm256_castsi256_ps(_mm256_movm_epi32(static_cast<__mmask8>(a.v >> 8)))};
}
inline Float<16> joined(Float<8> low, Float<8> high) {
  return _mm512_insertf32x8(_mm512_castps256_ps512(low.v), high.v, 1);
}
inline Int<16> joined(Int<8> low, Int<8> high) {
  return _mm512_inserti32x8(_mm512_castsi256_si512(low.v), high.v, 1);
}
inline Mask<16> joined(Mask<8> low, Mask<8> high) {
  return {static_cast<__mmask16>(_mm256_movepi32_mask(_mm256_castps_si256(low.v)) |
                                 _mm256_movepi32_mask(_mm256_castps_si256(high.v)) << 8)};
}

inline Double<8> widened(Float<8> a) { return _mm512_cvtps_pd(a.v); }
inline Double<8> widened(Int<8> a) { return _mm512_cvtepi32_pd(a.v); }
inline Float<8> narrowed(Double<8> a) { return _mm512_cvtpd_ps(a.v); }
inline Int<8> truncated(Double<8> a) { return _mm512_cvttpd_epi32(a.v); }
inline Int<8> rounded(Double<8> a) { return _mm512_cvtpd_epi32(a.v); }
inline Mask<8> narrowed(DoubleMask<8> a) { return {_mm256_castsi256_ps(_mm256_movm_epi32(a.v))}; }
inline Mask<16> narrowed(DoubleMask<16> a) { return {_mm512_kunpackb(a.high.v, a.low.v)}; }
inline Long<8> widenedToLong(Int<8> a) { return _mm512_cvtepi32_epi64(a.v); }

template <>
inline Float<16> countedFrom<16>(int32_t first) {
  return _mm512_cvtepi32_ps(_mm512_add_epi32(
      _mm512_set1_epi32(first), _mm512_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15)));
}

inline Float<16> approxReciprocal(Float<16> a) {
  return joined(approxReciprocal(lowHalf(a)), approxReciprocal(highHalf(a)));
}
inline Float<16> approxReciprocalSqrt(Float<16> a) {
  return joined(approxReciprocalSqrt(lowHalf(a)), approxReciprocalSqrt(highHalf(a)));
}

}  // namespace vekr::VEKR_ISA

#endif
