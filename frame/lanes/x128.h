// Lanes in 128-bit registers of x86: four of 32 bits, two of 64, eight of 16; and single elements where it takes an
// instruction.
#pragma once

#ifndef __aarch64__  // nothing here is for other architectures

#include <immintrin.h>

#ifdef VEKR_ESTIMATES_BY_TABLE
#include "frame/estimates.h"
#endif
#include "frame/lanes/one.h"

namespace vekr::VEKR_ISA {

template <>
struct Mask<4> {
  __m128 v;
};

template <>
struct Int<4> {
  __m128i v;
  Int() = default;
  Int(__m128i x) : v(x) {}
  Int(int32_t x) : v(_mm_set1_epi32(x)) {}
  static Int load(const int32_t *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); }
  // Smaller integers, widened.
  static Int load(const uint8_t *p) { return _mm_cvtepu8_epi32(_mm_cvtsi32_si128(loadAs<int32_t>(p))); }
  static Int load(const uint16_t *p) {
    return _mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(p)));
  }
  static Int load(const int16_t *p) {
    return _mm_cvtepi16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(p)));
  }
  void store(int32_t *p) const { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }
};

template <>
struct Float<4> {
  __m128 v;
  Float() = default;
  Float(__m128 x) : v(x) {}
  Float(float x) : v(_mm_set1_ps(x)) {}
  static Float of(float a, float b, float c, float d) { return _mm_setr_ps(a, b, c, d); }
  static Float load(const float *p) { return _mm_loadu_ps(p); }
  void store(float *p) const { _mm_storeu_ps(p, v); }
};

// The low half of a register.
template <>
struct Mask<2> {
  __m128 v;
};
template <>
struct Int<2> {
  __m128i v;
  Int(__m128i x) : v(x) {}
};
template <>
struct Float<2> {
  __m128 v;
  Float() = default;
  Float(__m128 x) : v(x) {}
  static Float load(const float *p) {
    return _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(p)));
  }
  void store(float *p) const { _mm_storel_pi(reinterpret_cast<__m64 *>(p), v); }
};

template <>
struct DoubleMask<2> {
  __m128d v;
};
template <>
struct Double<2> {
  __m128d v;
  Double() = default;
  Double(__m128d x) : v(x) {}
  Double(double x) : v(_mm_set1_pd(x)) {}
  static Double load(const double *p) { return _mm_loadu_pd(p); }
  void store(double *p) const { _mm_storeu_pd(p, v); }
};

template <>
struct Short<8> {
  __m128i v;
  Short() = default;
  Short(__m128i x) : v(x) {}
  static Short load(const void *p) { return _mm_loadu_si128(static_cast<const __m128i *>(p)); }
  void store(void *p) const { _mm_storeu_si128(static_cast<__m128i *>(p), v); }
};

// ---------------------------------------------------------------- masks

inline Mask<4> operator&(Mask<4> a, Mask<4> b) { return {_mm_and_ps(a.v, b.v)}; }
inline Mask<4> operator|(Mask<4> a, Mask<4> b) { return {_mm_or_ps(a.v, b.v)}; }
inline Mask<4> operator!(Mask<4> a) { return {_mm_xor_ps(a.v, _mm_castsi128_ps(_mm_set1_epi32(-1)))}; }
inline int bits(Mask<4> m) { return _mm_movemask_ps(m.v); }
inline bool anyOf(Mask<4> m) { return _mm_movemask_ps(m.v) != 0; }
template <>
inline Mask<4> maskOfBits<4>(unsigned bitsOfLanes) {
  const __m128i one = _mm_setr_epi32(1, 2, 4, 8);
  const __m128i all = _mm_set1_epi32(static_cast<int>(bitsOfLanes));
  return {_mm_castsi128_ps(_mm_cmpeq_epi32(_mm_and_si128(all, one), one))};
}
// All lanes, or none.
inline Mask<4> lanesIf(bool on) { return {_mm_castsi128_ps(_mm_set1_epi32(-static_cast<int>(on)))}; }

// ---------------------------------------------------------------- floats

inline Float<4> operator+(Float<4> a, Float<4> b) { return _mm_add_ps(a.v, b.v); }
inline Float<4> operator-(Float<4> a, Float<4> b) { return _mm_sub_ps(a.v, b.v); }
inline Float<4> operator*(Float<4> a, Float<4> b) { return _mm_mul_ps(a.v, b.v); }
inline Float<4> operator/(Float<4> a, Float<4> b) { return _mm_div_ps(a.v, b.v); }
inline Mask<4> operator<(Float<4> a, Float<4> b) { return {_mm_cmplt_ps(a.v, b.v)}; }
inline Mask<4> operator<=(Float<4> a, Float<4> b) { return {_mm_cmple_ps(a.v, b.v)}; }
inline Mask<4> operator==(Float<4> a, Float<4> b) { return {_mm_cmpeq_ps(a.v, b.v)}; }
inline Float<4> select(Mask<4> m, Float<4> yes, Float<4> no) { return _mm_blendv_ps(no.v, yes.v, m.v); }
inline Float<4> minOf(Float<4> a, Float<4> b) { return _mm_min_ps(a.v, b.v); }
inline Float<4> maxOf(Float<4> a, Float<4> b) { return _mm_max_ps(a.v, b.v); }
#ifdef VEKR_ESTIMATES_BY_TABLE
template <class Estimate>
Float<4> estimatedLanes(Float<4> a, const Estimate &estimate) {
  float lanes[4];
  a.store(lanes);
  return Float<4>::of(estimate(lanes[0]), estimate(lanes[1]), estimate(lanes[2]), estimate(lanes[3]));
}
inline Float<4> approxReciprocal(Float<4> a) { return estimatedLanes(a, estimatedReciprocal); }
inline Float<4> approxReciprocalSqrt(Float<4> a) { return estimatedLanes(a, estimatedReciprocalSqrt); }
inline Float<1> approxReciprocalSqrt(Float<1> a) { return estimatedReciprocalSqrt(a.v); }
#else
inline Float<4> approxReciprocal(Float<4> a) { return _mm_rcp_ps(a.v); }
inline Float<4> approxReciprocalSqrt(Float<4> a) { return _mm_rsqrt_ps(a.v); }
inline Float<1> approxReciprocalSqrt(Float<1> a) { return _mm_cvtss_f32(_mm_rsqrt_ss(_mm_set_ss(a.v))); }
#endif
inline Float<4> sqrtOf(Float<4> a) { return _mm_sqrt_ps(a.v); }
inline Float<4> absOf(Float<4> a) { return _mm_andnot_ps(_mm_set1_ps(-0.0f), a.v); }
inline Float<4> negatedWhere(Mask<4> m, Float<4> a) {
  return _mm_xor_ps(a.v, _mm_and_ps(m.v, _mm_set1_ps(-0.0f)));
}
inline Float<4> kept(Mask<4> m, Float<4> a) { return _mm_and_ps(m.v, a.v); }

inline Float<2> operator-(Float<2> a, Float<2> b) { return _mm_sub_ps(a.v, b.v); }
inline Float<2> operator*(Float<2> a, Float<2> b) { return _mm_mul_ps(a.v, b.v); }

// ---------------------------------------------------------------- integers

inline Int<4> operator+(Int<4> a, Int<4> b) { return _mm_add_epi32(a.v, b.v); }
inline Int<4> operator-(Int<4> a, Int<4> b) { return _mm_sub_epi32(a.v, b.v); }
inline Int<4> operator*(Int<4> a, Int<4> b) { return _mm_mullo_epi32(a.v, b.v); }
inline Int<4> operator&(Int<4> a, Int<4> b) { return _mm_and_si128(a.v, b.v); }
inline Int<4> operator^(Int<4> a, Int<4> b) { return _mm_xor_si128(a.v, b.v); }
inline Mask<4> operator==(Int<4> a, Int<4> b) { return {_mm_castsi128_ps(_mm_cmpeq_epi32(a.v, b.v))}; }
inline Mask<4> operator<(Int<4> a, Int<4> b) { return {_mm_castsi128_ps(_mm_cmplt_epi32(a.v, b.v))}; }
inline Mask<4> isNegative(Int<4> a) { return {_mm_castsi128_ps(_mm_srai_epi32(a.v, 31))}; }
inline Int<4> minOf(Int<4> a, Int<4> b) { return _mm_min_epi32(a.v, b.v); }
inline Int<4> select(Mask<4> m, Int<4> yes, Int<4> no) {
  return _mm_blendv_epi8(no.v, yes.v, _mm_castps_si128(m.v));
}
inline Int<4> countedIn(Int<4> count, Mask<4> m) { return _mm_sub_epi32(count.v, _mm_castps_si128(m.v)); }
// The lanes move one place down; the first is lost, and `last` comes in at the end.
inline Int<4> shiftedIn(Int<4> a, int32_t last) { return _mm_alignr_epi8(_mm_cvtsi32_si128(last), a.v, 4); }

template <int count>
Int<4> shiftedLeft(Int<4> a) {
  return _mm_slli_epi32(a.v, count);
}
template <int count>
Int<4> shiftedRight(Int<4> a) {
  return _mm_srai_epi32(a.v, count);
}
template <int count>
Int<4> shiftedRightUnsigned(Int<4> a) {
  return _mm_srli_epi32(a.v, count);
}
inline Int<4> shiftedRight(Int<4> a, int count) { return _mm_sra_epi32(a.v, _mm_cvtsi32_si128(count)); }

// The lanes of `a` below lane `first`, of `b` from there on.
template <int first>
Int<4> lanesFrom(Int<4> a, Int<4> b) {
  return _mm_blend_epi16(a.v, b.v, 0xFF << 2 * first & 0xFF);
}

inline void storeSaturated(Int<4> a, uint8_t *p) {
  const __m128i words = _mm_packs_epi32(a.v, a.v);
  storeAs(p, _mm_cvtsi128_si32(_mm_packus_epi16(words, words)));
}
inline void storeSaturated(Int<4> a, uint16_t *p) {
  _mm_storel_epi64(reinterpret_cast<__m128i *>(p), _mm_packus_epi32(a.v, a.v));
}
inline void storeSaturated(Int<4> a, int16_t *p) {
  _mm_storel_epi64(reinterpret_cast<__m128i *>(p), _mm_packs_epi32(a.v, a.v));
}

// ---------------------------------------------------------------- doubles

inline Double<2> operator+(Double<2> a, Double<2> b) { return _mm_add_pd(a.v, b.v); }
inline Double<2> operator-(Double<2> a, Double<2> b) { return _mm_sub_pd(a.v, b.v); }
inline Double<2> operator*(Double<2> a, Double<2> b) { return _mm_mul_pd(a.v, b.v); }
inline Double<2> operator/(Double<2> a, Double<2> b) { return _mm_div_pd(a.v, b.v); }
inline DoubleMask<2> operator<(Double<2> a, Double<2> b) { return {_mm_cmplt_pd(a.v, b.v)}; }
inline DoubleMask<2> operator<=(Double<2> a, Double<2> b) { return {_mm_cmple_pd(a.v, b.v)}; }
inline DoubleMask<2> operator==(Double<2> a, Double<2> b) { return {_mm_cmpeq_pd(a.v, b.v)}; }
inline DoubleMask<2> operator&(DoubleMask<2> a, DoubleMask<2> b) { return {_mm_and_pd(a.v, b.v)}; }
inline DoubleMask<2> operator|(DoubleMask<2> a, DoubleMask<2> b) { return {_mm_or_pd(a.v, b.v)}; }
inline Double<2> select(DoubleMask<2> m, Double<2> yes, Double<2> no) {
  return _mm_blendv_pd(no.v, yes.v, m.v);
}
inline Double<2> minOf(Double<2> a, Double<2> b) { return _mm_min_pd(a.v, b.v); }
inline Double<2> maxOf(Double<2> a, Double<2> b) { return _mm_max_pd(a.v, b.v); }
// One instruction, where std::floor is a call into the mathematics library without optimisation.
inline Double<1> floorOf(Double<1> a) {
  const __m128d lane = _mm_set_sd(a.v);
  return _mm_cvtsd_f64(_mm_floor_sd(lane, lane));
}

// ---------------------------------------------------------------- words

inline Short<8> asWords(Int<4> a) { return a.v; }
inline Int<4> pairProducts(Short<8> a, Short<8> b) { return _mm_madd_epi16(a.v, b.v); }
// Pairs of a word of `a` and one of `b` in the lanes of two registers, and the way back of two registers of results,
// saturated to unsigned words. Which pair lies where is the set's affair.
inline Int<4> firstPairs(Short<8> a, Short<8> b) { return _mm_unpacklo_epi16(a.v, b.v); }
inline Int<4> secondPairs(Short<8> a, Short<8> b) { return _mm_unpackhi_epi16(a.v, b.v); }
inline Short<8> packedLikePairs(Int<4> first, Int<4> second) { return _mm_packus_epi32(first.v, second.v); }
inline void storeSaturated(Short<8> a, uint8_t *p) {
  _mm_storel_epi64(reinterpret_cast<__m128i *>(p), _mm_packus_epi16(a.v, a.v));
}

// ---------------------------------------------------------------- conversions, halves

inline Float<4> toFloat(Int<4> a) { return _mm_cvtepi32_ps(a.v); }
inline Int<4> truncated(Float<4> a) { return _mm_cvttps_epi32(a.v); }
inline Int<4> rounded(Float<4> a) { return _mm_cvtps_epi32(a.v); }
inline Int<1> truncated(Float<1> a) { return _mm_cvttss_si32(_mm_set_ss(a.v)); }
inline Int<1> rounded(Float<1> a) { return _mm_cvtss_si32(_mm_set_ss(a.v)); }
inline Int<1> truncated(Double<1> a) { return _mm_cvttsd_si32(_mm_set_sd(a.v)); }

// The same bits.
inline Int<4> asInts(Float<4> a) { return _mm_castps_si128(a.v); }
inline Float<4> asFloats(Int<4> a) { return _mm_castsi128_ps(a.v); }

inline Float<2> lowHalf(Float<4> a) { return a.v; }
inline Float<2> highHalf(Float<4> a) { return _mm_movehl_ps(a.v, a.v); }
inline Int<2> lowHalf(Int<4> a) { return a.v; }
inline Int<2> highHalf(Int<4> a) { return _mm_unpackhi_epi64(a.v, a.v); }
inline Float<4> joined(Float<2> low, Float<2> high) { return _mm_movelh_ps(low.v, high.v); }
inline Int<4> joined(Int<2> low, Int<2> high) { return _mm_unpacklo_epi64(low.v, high.v); }

inline Double<2> widened(Float<2> a) { return _mm_cvtps_pd(a.v); }
inline Double<2> widened(Int<2> a) { return _mm_cvtepi32_pd(a.v); }
inline Float<2> narrowed(Double<2> a) { return _mm_cvtpd_ps(a.v); }
inline Int<2> truncated(Double<2> a) { return _mm_cvttpd_epi32(a.v); }
inline Int<2> rounded(Double<2> a) { return _mm_cvtpd_epi32(a.v); }
#if VEKR_REGISTER_FLOATS == 4
inline Mask<4> narrowed(DoubleMask<4> a) {
  return {_mm_shuffle_ps(_mm_castpd_ps(a.low.v), _mm_castpd_ps(a.high.v), 0x88)};
}
#endif

template <>
inline Float<4> countedFrom<4>(int32_t first) {
  return _mm_cvtepi32_ps(_mm_add_epi32(_mm_set1_epi32(first), _mm_setr_epi32(0, 1, 2, 3)));
}

inline void storeAlternating(Int<4> even, Int<4> odd, int32_t *p) {
  Int<4>(_mm_unpacklo_epi32(even.v, odd.v)).store(p);
  Int<4>(_mm_unpackhi_epi32(even.v, odd.v)).store(p + 4);
}

// ---------------------------------------------------------------- blocks of four lanes

// Of each block of four lanes, those of `a` and then those of `b`: the sums of neighbouring pairs.
inline Float<4> pairSums(Float<4> a, Float<4> b) {
  return _mm_add_ps(_mm_shuffle_ps(a.v, b.v, 0x88), _mm_shuffle_ps(a.v, b.v, 0xDD));
}
inline Float<4> swappedPairs(Float<4> a) { return _mm_shuffle_ps(a.v, a.v, 0x4E); }
inline float firstOfBlock(Float<4> a, int) { return _mm_cvtss_f32(a.v); }
inline int32_t firstLane(Int<4> a) { return _mm_cvtsi128_si32(a.v); }
// The bits of all lanes together, in every lane.
inline Int<4> orOfLanes(Int<4> a) {
  const __m128i pairs = _mm_or_si128(a.v, _mm_shuffle_epi32(a.v, _MM_SHUFFLE(1, 0, 3, 2)));
  return _mm_or_si128(pairs, _mm_shuffle_epi32(pairs, _MM_SHUFFLE(2, 3, 0, 1)));
}

// Rows to columns.
inline void transpose(Float<4> (&a)[4]) { _MM_TRANSPOSE4_PS(a[0].v, a[1].v, a[2].v, a[3].v); }

// ---------------------------------------------------------------- scattered elements

// Three floats, and not the one behind them; 0 in the last lane.
inline Float<4> loadThree(const float *p) { return _mm_movelh_ps(Float<2>::load(p).v, _mm_load_ss(p + 2)); }

// The x, y and z of four points that lie anywhere, three floats each.
inline void loadPoints(const float *a, const float *b, const float *c, const float *d, Float<4> &x,
                       Float<4> &y, Float<4> &z) {
  const __m128 ab = _mm_unpacklo_ps(Float<2>::load(a).v, Float<2>::load(b).v);
  const __m128 cd = _mm_unpacklo_ps(Float<2>::load(c).v, Float<2>::load(d).v);
  x = _mm_movelh_ps(ab, cd);
  y = _mm_movehl_ps(cd, ab);
  z = _mm_movelh_ps(_mm_unpacklo_ps(_mm_load_ss(a + 2), _mm_load_ss(b + 2)),
                    _mm_unpacklo_ps(_mm_load_ss(c + 2), _mm_load_ss(d + 2)));
}

// Two floats at `first`, two at `second`.
inline Float<4> loadTwice(const float *first, const float *second) {
  return _mm_loadh_pi(Float<2>::load(first).v, reinterpret_cast<const __m64 *>(second));
}

inline Neighbours<4> loadNeighbours(Lanes<4>, const float *row, const int32_t *index) {
  const __m128 low = loadTwice(row + index[0], row + index[1]).v;
  const __m128 high = loadTwice(row + index[2], row + index[3]).v;
  return {_mm_shuffle_ps(low, high, 0x88), _mm_shuffle_ps(low, high, 0xDD)};
}

inline Neighbours<4> gatherNeighbours(const float *row, Int<4> index) {
  const int32_t at[4] = {_mm_cvtsi128_si32(index.v), _mm_extract_epi32(index.v, 1),
                         _mm_extract_epi32(index.v, 2), _mm_extract_epi32(index.v, 3)};
  return loadNeighbours(Lanes<4>(), row, at);
}

// row[i] and row[i + 1] as a pair of words in the lane of each index i.
inline Int<4> loadWordPairs(Lanes<4>, const uint16_t *row, const int32_t *index) {
  __m128i words = _mm_cvtsi32_si128(loadAs<int32_t>(row + index[0]));
  words = _mm_insert_epi32(words, loadAs<int32_t>(row + index[1]), 1);
  words = _mm_insert_epi32(words, loadAs<int32_t>(row + index[2]), 2);
  return _mm_insert_epi32(words, loadAs<int32_t>(row + index[3]), 3);
}

struct EightWordPairs {
  Int<4> low, high;
};

inline EightWordPairs loadEightWordPairs(const uint16_t *row, const int32_t *index) {
  return {loadWordPairs(Lanes<4>(), row, index), loadWordPairs(Lanes<4>(), row, index + 4)};
}

inline EightWordPairs loadEightWordPairs(const uint8_t *row, const int32_t *index) {
  __m128i bytes = _mm_cvtsi32_si128(loadAs<uint16_t>(row + index[0]));
  bytes = _mm_insert_epi16(bytes, loadAs<uint16_t>(row + index[1]), 1);
  bytes = _mm_insert_epi16(bytes, loadAs<uint16_t>(row + index[2]), 2);
  bytes = _mm_insert_epi16(bytes, loadAs<uint16_t>(row + index[3]), 3);
  bytes = _mm_insert_epi16(bytes, loadAs<uint16_t>(row + index[4]), 4);
  bytes = _mm_insert_epi16(bytes, loadAs<uint16_t>(row + index[5]), 5);
  bytes = _mm_insert_epi16(bytes, loadAs<uint16_t>(row + index[6]), 6);
  bytes = _mm_insert_epi16(bytes, loadAs<uint16_t>(row + index[7]), 7);
  return {_mm_cvtepu8_epi16(bytes), _mm_unpackhi_epi8(bytes, _mm_setzero_si128())};
}

}  // namespace vekr::VEKR_ISA

#endif
