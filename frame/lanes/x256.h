// Lanes in 256-bit registers: eight of 32 bits, four of 64, sixteen of 16; and gathers.
//
// Gathers take the form with a source and a mask: it says what the plain one leaves open, and breaks the dependency on the
// register's former value.
#pragma once

#include "frame/lanes/four.h"

#if VEKR_REGISTER_FLOATS >= 8  // nothing here is for narrower sets

namespace vekr::VEKR_ISA {

template <>
struct Mask<8> {
  __m256 v;
};

template <>
struct Int<8> {
  __m256i v;
  Int() = default;
  Int(__m256i x) : v(x) {}
  Int(int32_t x) : v(_mm256_set1_epi32(x)) {}
  static Int load(const int32_t *p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p)); }
  static Int load(const uint8_t *p) {
    return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(p)));
  }
  static Int load(const uint16_t *p) {
    return _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p)));
  }
  static Int load(const int16_t *p) {
    return _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p)));
  }
  void store(int32_t *p) const { _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v); }
};

template <>
struct Float<8> {
  __m256 v;
  Float() = default;
  Float(__m256 x) : v(x) {}
  Float(float x) : v(_mm256_set1_ps(x)) {}
  static Float load(const float *p) { return _mm256_loadu_ps(p); }
  void store(float *p) const { _mm256_storeu_ps(p, v); }
};

template <>
struct DoubleMask<4> {
  __m256d v;
};

template <>
struct Double<4> {
  __m256d v;
  Double() = default;
  Double(__m256d x) : v(x) {}
  Double(double x) : v(_mm256_set1_pd(x)) {}
  static Double load(const double *p) { return _mm256_loadu_pd(p); }
  void store(double *p) const { _mm256_storeu_pd(p, v); }
};

template <>
struct Short<16> {
  __m256i v;
  Short() = default;
  Short(__m256i x) : v(x) {}
  static Short load(const void *p) { return _mm256_loadu_si256(static_cast<const __m256i *>(p)); }
  void store(void *p) const { _mm256_storeu_si256(static_cast<__m256i *>(p), v); }
};

template <>
struct Long<4> {
  __m256i v;
  Long() = default;
  Long(__m256i x) : v(x) {}
  Long(int64_t x) : v(_mm256_set1_epi64x(x)) {}
};

// ---------------------------------------------------------------- masks

inline Mask<8> operator&(Mask<8> a, Mask<8> b) { return {_mm256_and_ps(a.v, b.v)}; }
inline Mask<8> operator|(Mask<8> a, Mask<8> b) { return {_mm256_or_ps(a.v, b.v)}; }
inline Mask<8> operator!(Mask<8> a) {
  return {_mm256_xor_ps(a.v, _mm256_castsi256_ps(_mm256_set1_epi32(-1)))};
}
inline int bits(Mask<8> m) { return _mm256_movemask_ps(m.v); }
inline bool anyOf(Mask<8> m) { return _mm256_movemask_ps(m.v) != 0; }

template <>
inline Mask<8> maskOfBits<8>(unsigned bitsOfLanes) {
  const __m256i one = _mm256_setr_epi32(1, 2, 4, 8, 16, 32, 64, 128);
  const __m256i all = _mm256_set1_epi32(static_cast<int>(bitsOfLanes));
  return {_mm256_castsi256_ps(_mm256_cmpeq_epi32(_mm256_and_si256(all, one), one))};
}

// ---------------------------------------------------------------- floats

inline Float<8> operator+(Float<8> a, Float<8> b) { return _mm256_add_ps(a.v, b.v); }
inline Float<8> operator-(Float<8> a, Float<8> b) { return _mm256_sub_ps(a.v, b.v); }
inline Float<8> operator*(Float<8> a, Float<8> b) { return _mm256_mul_ps(a.v, b.v); }
inline Float<8> operator/(Float<8> a, Float<8> b) { return _mm256_div_ps(a.v, b.v); }
inline Mask<8> operator<(Float<8> a, Float<8> b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_LT_OQ)}; }
inline Mask<8> operator<=(Float<8> a, Float<8> b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_LE_OQ)}; }
inline Mask<8> operator==(Float<8> a, Float<8> b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_EQ_OQ)}; }
inline Float<8> select(Mask<8> m, Float<8> yes, Float<8> no) { return _mm256_blendv_ps(no.v, yes.v, m.v); }
inline Float<8> minOf(Float<8> a, Float<8> b) { return _mm256_min_ps(a.v, b.v); }
inline Float<8> maxOf(Float<8> a, Float<8> b) { return _mm256_max_ps(a.v, b.v); }
#ifdef VEKR_ESTIMATES_BY_TABLE
template <class Estimate>
Float<8> estimatedLanes(Float<8> a, const Estimate &estimate) {
  float lanes[8];
  a.store(lanes);
  for (float &lane : lanes) lane = estimate(lane);
  return Float<8>::load(lanes);
}
inline Float<8> approxReciprocal(Float<8> a) { return estimatedLanes(a, estimatedReciprocal); }
inline Float<8> approxReciprocalSqrt(Float<8> a) { return estimatedLanes(a, estimatedReciprocalSqrt); }
#else
inline Float<8> approxReciprocal(Float<8> a) { return _mm256_rcp_ps(a.v); }
inline Float<8> approxReciprocalSqrt(Float<8> a) { return _mm256_rsqrt_ps(a.v); }
#endif
inline Float<8> sqrtOf(Float<8> a) { return _mm256_sqrt_ps(a.v); }
inline Float<8> absOf(Float<8> a) { return _mm256_andnot_ps(_mm256_set1_ps(-0.0f), a.v); }
inline Float<8> negatedWhere(Mask<8> m, Float<8> a) {
  return _mm256_xor_ps(a.v, _mm256_and_ps(m.v, _mm256_set1_ps(-0.0f)));
}
inline Float<8> kept(Mask<8> m, Float<8> a) { return _mm256_and_ps(m.v, a.v); }

// ---------------------------------------------------------------- integers

inline Int<8> operator+(Int<8> a, Int<8> b) { return _mm256_add_epi32(a.v, b.v); }
inline Int<8> operator-(Int<8> a, Int<8> b) { return _mm256_sub_epi32(a.v, b.v); }
inline Int<8> operator*(Int<8> a, Int<8> b) { return _mm256_mullo_epi32(a.v, b.v); }
inline Int<8> operator&(Int<8> a, Int<8> b) { return _mm256_and_si256(a.v, b.v); }
inline Int<8> operator^(Int<8> a, Int<8> b) { return _mm256_xor_si256(a.v, b.v); }
inline Mask<8> operator==(Int<8> a, Int<8> b) { return {_mm256_castsi256_ps(_mm256_cmpeq_epi32(a.v, b.v))}; }
inline Mask<8> operator<(Int<8> a, Int<8> b) { return {_mm256_castsi256_ps(_mm256_cmpgt_epi32(b.v, a.v))}; }
inline Mask<8> isNegative(Int<8> a) { return {_mm256_castsi256_ps(_mm256_srai_epi32(a.v, 31))}; }
inline Int<8> minOf(Int<8> a, Int<8> b) { return _mm256_min_epi32(a.v, b.v); }
inline Int<8> select(Mask<8> m, Int<8> yes, Int<8> no) {
  return _mm256_blendv_epi8(no.v, yes.v, _mm256_castps_si256(m.v));
}
inline Int<8> countedIn(Int<8> count, Mask<8> m) {
  return _mm256_sub_epi32(count.v, _mm256_castps_si256(m.v));
}

template <int count>
Int<8> shiftedLeft(Int<8> a) {
  return _mm256_slli_epi32(a.v, count);
}
template <int count>
Int<8> shiftedRight(Int<8> a) {
  return _mm256_srai_epi32(a.v, count);
}
template <int count>
Int<8> shiftedRightUnsigned(Int<8> a) {
  return _mm256_srli_epi32(a.v, count);
}
// Each lane by its own count.
inline Int<8> shiftedRightUnsigned(Int<8> a, Int<8> counts) { return _mm256_srlv_epi32(a.v, counts.v); }
inline Int<8> shiftedRight(Int<8> a, int count) { return _mm256_sra_epi32(a.v, _mm_cvtsi32_si128(count)); }

template <int first>
Int<8> lanesFrom(Int<8> a, Int<8> b) {
  return _mm256_blend_epi32(a.v, b.v, 0xFF << first & 0xFF);
}

template <>
inline Int<8> loadRepeated<8>(const int32_t *p) {
  return _mm256_broadcastsi128_si256(Int<4>::load(p).v);
}

inline void storeSaturated(Int<8> a, uint8_t *p) {
  const __m128i words = _mm_packs_epi32(_mm256_castsi256_si128(a.v), _mm256_extracti128_si256(a.v, 1));
  _mm_storel_epi64(reinterpret_cast<__m128i *>(p), _mm_packus_epi16(words, words));
}
inline void storeSaturated(Int<8> a, uint16_t *p) {
  _mm_storeu_si128(reinterpret_cast<__m128i *>(p),
                   _mm_packus_epi32(_mm256_castsi256_si128(a.v), _mm256_extracti128_si256(a.v, 1)));
}
inline void storeSaturated(Int<8> a, int16_t *p) {
  _mm_storeu_si128(reinterpret_cast<__m128i *>(p),
                   _mm_packs_epi32(_mm256_castsi256_si128(a.v), _mm256_extracti128_si256(a.v, 1)));
}

// even[0], odd[0], even[1], ...
inline void storeAlternating(Int<8> even, Int<8> odd, int32_t *p) {
  const __m256i low = _mm256_unpacklo_epi32(even.v, odd.v);  // places 0 to 3 and 8 to 11
  const __m256i high = _mm256_unpackhi_epi32(even.v, odd.v);
  Int<8>(_mm256_permute2x128_si256(low, high, 0x20)).store(p);
  Int<8>(_mm256_permute2x128_si256(low, high, 0x31)).store(p + 8);
}

// ---------------------------------------------------------------- doubles

inline Double<4> operator+(Double<4> a, Double<4> b) { return _mm256_add_pd(a.v, b.v); }
inline Double<4> operator-(Double<4> a, Double<4> b) { return _mm256_sub_pd(a.v, b.v); }
inline Double<4> operator*(Double<4> a, Double<4> b) { return _mm256_mul_pd(a.v, b.v); }
inline Double<4> operator/(Double<4> a, Double<4> b) { return _mm256_div_pd(a.v, b.v); }
inline DoubleMask<4> operator<(Double<4> a, Double<4> b) { return {_mm256_cmp_pd(a.v, b.v, _CMP_LT_OQ)}; }
inline DoubleMask<4> operator<=(Double<4> a, Double<4> b) { return {_mm256_cmp_pd(a.v, b.v, _CMP_LE_OQ)}; }
inline DoubleMask<4> operator==(Double<4> a, Double<4> b) { return {_mm256_cmp_pd(a.v, b.v, _CMP_EQ_OQ)}; }
inline DoubleMask<4> operator&(DoubleMask<4> a, DoubleMask<4> b) { return {_mm256_and_pd(a.v, b.v)}; }
inline DoubleMask<4> operator|(DoubleMask<4> a, DoubleMask<4> b) { return {_mm256_or_pd(a.v, b.v)}; }
inline Double<4> select(DoubleMask<4> m, Double<4> yes, Double<4> no) {
  return _mm256_blendv_pd(no.v, yes.v, m.v);
}
inline Double<4> minOf(Double<4> a, Double<4> b) { return _mm256_min_pd(a.v, b.v); }
inline Double<4> maxOf(Double<4> a, Double<4> b) { return _mm256_max_pd(a.v, b.v); }

// ---------------------------------------------------------------- words

inline Short<16> asWords(Int<8> a) { return a.v; }
inline Int<8> pairProducts(Short<16> a, Short<16> b) { return _mm256_madd_epi16(a.v, b.v); }
// Unpacking and packing both work in each half by itself, so that the words come out in their order.
inline Int<8> firstPairs(Short<16> a, Short<16> b) { return _mm256_unpacklo_epi16(a.v, b.v); }
inline Int<8> secondPairs(Short<16> a, Short<16> b) { return _mm256_unpackhi_epi16(a.v, b.v); }
inline Short<16> packedLikePairs(Int<8> first, Int<8> second) {
  return _mm256_packus_epi32(first.v, second.v);
}
inline void storeSaturated(Short<16> a, uint8_t *p) {
  const __m256i bytes = _mm256_permute4x64_epi64(_mm256_packus_epi16(a.v, a.v), 0x08);
  _mm_storeu_si128(reinterpret_cast<__m128i *>(p), _mm256_castsi256_si128(bytes));
}

// ---------------------------------------------------------------- conversions, halves

inline Float<8> toFloat(Int<8> a) { return _mm256_cvtepi32_ps(a.v); }
inline Int<8> truncated(Float<8> a) { return _mm256_cvttps_epi32(a.v); }
inline Int<8> rounded(Float<8> a) { return _mm256_cvtps_epi32(a.v); }

inline Int<8> asInts(Float<8> a) { return _mm256_castps_si256(a.v); }
inline Float<8> asFloats(Int<8> a) { return _mm256_castsi256_ps(a.v); }

inline Float<4> lowHalf(Float<8> a) { return _mm256_castps256_ps128(a.v); }
inline Float<4> highHalf(Float<8> a) { return _mm256_extractf128_ps(a.v, 1); }
inline Int<4> lowHalf(Int<8> a) { return _mm256_castsi256_si128(a.v); }
inline Int<4> highHalf(Int<8> a) { return _mm256_extracti128_si256(a.v, 1); }
inline Mask<4> lowHalf(Mask<8> a) { return {_mm256_castps256_ps128(a.v)}; }
inline Mask<4> highHalf(Mask<8> a) { return {_mm256_extractf128_ps(a.v, 1)}; }
inline Float<8> joined(Float<4> low, Float<4> high) {
  return _mm256_insertf128_ps(_mm256_castps128_ps256(low.v), high.v, 1);
}
inline Int<8> joined(Int<4> low, Int<4> high) {
  return _mm256_inserti128_si256(_mm256_castsi128_si256(low.v), high.v, 1);
}
inline Mask<8> joined(Mask<4> low, Mask<4> high) {
  return {_mm256_insertf128_ps(_mm256_castps128_ps256(low.v), high.v, 1)};
}

inline Double<4> widened(Float<4> a) { return _mm256_cvtps_pd(a.v); }
inline Double<4> widened(Int<4> a) { return _mm256_cvtepi32_pd(a.v); }
inline Float<4> narrowed(Double<4> a) { return _mm256_cvtpd_ps(a.v); }
inline Int<4> truncated(Double<4> a) { return _mm256_cvttpd_epi32(a.v); }
inline Int<4> rounded(Double<4> a) { return _mm256_cvtpd_epi32(a.v); }
inline Mask<4> narrowed(DoubleMask<4> a) {
  const __m256 halves = _mm256_castpd_ps(a.v);
  return {_mm_shuffle_ps(_mm256_castps256_ps128(halves), _mm256_extractf128_ps(halves, 1), 0x88)};
}
#if VEKR_REGISTER_FLOATS == 8
inline Mask<8> narrowed(DoubleMask<8> a) {
  const __m256 mixed = _mm256_shuffle_ps(_mm256_castpd_ps(a.low.v), _mm256_castpd_ps(a.high.v), 0x88);
  return {_mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(mixed), 0xD8))};
}
#endif
inline Long<4> widenedToLong(Int<4> a) { return _mm256_cvtepi32_epi64(a.v); }

template <>
inline Float<8> countedFrom<8>(int32_t first) {
  return _mm256_cvtepi32_ps(
      _mm256_add_epi32(_mm256_set1_epi32(first), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7)));
}

// ---------------------------------------------------------------- blocks of four lanes

inline Int<8> shiftedIn(Int<8> a, int32_t last) {
  return _mm256_alignr_epi8(_mm256_set1_epi32(last), a.v, 4);
}

inline Float<8> pairSums(Float<8> a, Float<8> b) {
  return _mm256_add_ps(_mm256_shuffle_ps(a.v, b.v, 0x88), _mm256_shuffle_ps(a.v, b.v, 0xDD));
}
inline Float<8> swappedPairs(Float<8> a) { return _mm256_shuffle_ps(a.v, a.v, 0x4E); }
inline float firstOfBlock(Float<8> a, int block) {
  return _mm_cvtss_f32(block == 0 ? _mm256_castps256_ps128(a.v) : _mm256_extractf128_ps(a.v, 1));
}
// Lanes 0, 4, 1, 5, ...: what two blocks hold side by side, one after the other.
inline Float<8> alternatingBlocks(Float<8> a) {
  return _mm256_permutevar8x32_ps(a.v, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

// Four rows of two blocks: each block's rows to columns.
inline void transposeBlocks(Float<8> (&a)[4]) {
  const __m256 ab0 = _mm256_unpacklo_ps(a[0].v, a[1].v), ab1 = _mm256_unpackhi_ps(a[0].v, a[1].v);
  const __m256 cd0 = _mm256_unpacklo_ps(a[2].v, a[3].v), cd1 = _mm256_unpackhi_ps(a[2].v, a[3].v);
  a[0].v = _mm256_shuffle_ps(ab0, cd0, 0x44);
  a[1].v = _mm256_shuffle_ps(ab0, cd0, 0xEE);
  a[2].v = _mm256_shuffle_ps(ab1, cd1, 0x44);
  a[3].v = _mm256_shuffle_ps(ab1, cd1, 0xEE);
}

inline void loadColumns(const float *const (&rows)[8], int first, Float<8> (&columns)[4]) {
  for (int k = 0; k < 4; ++k) {
    columns[k] = joined(Float<4>::load(rows[k] + first), Float<4>::load(rows[k + 4] + first));
  }
  transposeBlocks(columns);
}

// Rows k and k + 4 share a register from the start, so that the lanes need to be exchanged within halves only.
inline void loadTransposed(const float (*rows)[8], Float<8> (&columns)[8]) {
  for (int half = 0; half < 2; ++half) {
    Float<8> pairs[4];
    for (int k = 0; k < 4; ++k) {
      pairs[k] = joined(Float<4>::load(rows[k] + 4 * half), Float<4>::load(rows[k + 4] + 4 * half));
    }
    transposeBlocks(pairs);
    for (int k = 0; k < 4; ++k) columns[4 * half + k] = pairs[k];
  }
}

inline void storeTransposed(const Float<8> (&rows)[4], float (*out)[4]) {
  Float<8> columns[4] = {rows[0], rows[1], rows[2], rows[3]};
  transposeBlocks(columns);
  for (int k = 0; k < 4; ++k) {
    lowHalf(columns[k]).store(out[k]);
    highHalf(columns[k]).store(out[k + 4]);
  }
}

// Two groups of four that lie apart. Smaller integers are widened at once, the two together.
inline Float<8> loadHalves(const float *low, const float *high) {
  return joined(Float<4>::load(low), Float<4>::load(high));
}
inline Int<8> loadHalves(const uint16_t *low, const uint16_t *high) {
  return _mm256_cvtepu16_epi32(_mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(low)),
                                                  _mm_loadl_epi64(reinterpret_cast<const __m128i *>(high))));
}
inline Int<8> loadHalves(const uint8_t *low, const uint8_t *high) {
  return _mm256_cvtepu8_epi32(
      _mm_insert_epi32(_mm_cvtsi32_si128(loadAs<int32_t>(low)), loadAs<int32_t>(high), 1));
}

// ---------------------------------------------------------------- scattered elements

inline Neighbours<8> loadNeighbours(Lanes<8>, const float *row, const int32_t *index) {
  const auto pairs = [&](int i, int j) {
    return joined(loadTwice(row + index[i], row + index[i + 1]),
                  loadTwice(row + index[j], row + index[j + 1]))
        .v;
  };
  const __m256 low = pairs(0, 4), high = pairs(2, 6);
  return {_mm256_shuffle_ps(low, high, 0x88), _mm256_shuffle_ps(low, high, 0xDD)};
}

inline Neighbours<8> gatherNeighbours(const float *row, Int<8> index) {
  const __m256d all = _mm256_castsi256_pd(_mm256_set1_epi64x(-1));
  const auto pairs = [&](Int<4> at) {
    return _mm256_castpd_ps(_mm256_mask_i32gather_pd(
        _mm256_setzero_pd(), reinterpret_cast<const double *>(row), at.v, all, sizeof(float)));
  };
  // Lanes 0 1 4 5 and 2 3 6 7, so that the shuffles, which work within halves, put them in order.
  const Int<8> lanes = _mm256_permute4x64_epi64(index.v, 0xD8);
  const __m256 low = pairs(lowHalf(lanes)), high = pairs(highHalf(lanes));
  return {_mm256_shuffle_ps(low, high, 0x88), _mm256_shuffle_ps(low, high, 0xDD)};
}

inline Long<4> operator+(Long<4> a, Long<4> b) { return _mm256_add_epi64(a.v, b.v); }
// Of the low halves of each lane, as signed 32-bit numbers.
inline Long<4> productOfLow(Long<4> a, Long<4> b) { return _mm256_mul_epi32(a.v, b.v); }
template <int count>
Long<4> shiftedLeft(Long<4> a) {
  return _mm256_slli_epi64(a.v, count);
}

// Pointers of a list, as addresses.
inline Long<4> gatherPointers(const void *list, Int<4> index) {
  return _mm256_mask_i32gather_epi64(_mm256_setzero_si256(), static_cast<const long long *>(list), index.v,
                                     _mm256_set1_epi64x(-1), sizeof(void *));
}

// 32-bit words by address.
inline Int<4> gatherWords(Long<4> address) {
  return _mm256_mask_i64gather_epi32(_mm_setzero_si128(), nullptr, address.v, _mm_set1_epi32(-1), 1);
}

#if VEKR_REGISTER_FLOATS == 8
// Neighbouring floats by the address of the first.
inline Neighbours<8> gatherNeighbours(Long<8> address) {
  const __m256d all = _mm256_castsi256_pd(_mm256_set1_epi64x(-1));
  const auto pairs = [&](Long<4> at) {
    return _mm256_castpd_ps(_mm256_mask_i64gather_pd(_mm256_setzero_pd(), nullptr, at.v, all, 1));
  };
  const __m256 low = pairs(address.low), high = pairs(address.high);
  // Within each half of the registers: 0 1 4 5 | 2 3 6 7, put in order by 64-bit pieces.
  const auto inOrder = [](__m256 a) {
    return Float<8>(_mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(a), 0xD8)));
  };
  return {inOrder(_mm256_shuffle_ps(low, high, 0x88)), inOrder(_mm256_shuffle_ps(low, high, 0xDD))};
}
#endif

}  // namespace vekr::VEKR_ISA

#endif
