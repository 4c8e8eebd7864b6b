// Rearrangements of 512-bit registers, and gathers into them.
#pragma once

#include "frame/lanes/x512.h"

#if VEKR_REGISTER_FLOATS >= 16  // nothing here is for narrower sets

namespace vekr::VEKR_ISA {

// ---------------------------------------------------------------- pairs of registers

// Lanes 0, 2, 4, ... of both registers one after the other, and lanes 1, 3, 5, ...
inline Float<16> evenLanes(__m512 low, __m512 high) {
  return _mm512_permutex2var_ps(
      low, _mm512_setr_epi32(0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24, 26, 28, 30), high);
}
inline Float<16> oddLanes(__m512 low, __m512 high) {
  return _mm512_permutex2var_ps(
      low, _mm512_setr_epi32(1, 3, 5, 7, 9, 11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31), high);
}

// even[0], odd[0], even[1], ...
inline void storeAlternating(Int<16> even, Int<16> odd, int32_t *p) {
  const __m512i low = _mm512_setr_epi32(0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
  const __m512i high = _mm512_setr_epi32(8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
  Int<16>(_mm512_permutex2var_epi32(even.v, low, odd.v)).store(p);
  Int<16>(_mm512_permutex2var_epi32(even.v, high, odd.v)).store(p + 16);
}

// ---------------------------------------------------------------- blocks of four lanes

inline Int<16> shiftedIn(Int<16> a, int32_t last) {
  return _mm512_alignr_epi8(_mm512_set1_epi32(last), a.v, 4);
}

inline Float<16> pairSums(Float<16> a, Float<16> b) {
  return _mm512_add_ps(_mm512_shuffle_ps(a.v, b.v, 0x88), _mm512_shuffle_ps(a.v, b.v, 0xDD));
}
inline Float<16> swappedPairs(Float<16> a) { return _mm512_shuffle_ps(a.v, a.v, 0x4E); }
inline float firstOfBlock(Float<16> a, int block) {
  return firstOfBlock(block < 2 ? lowHalf(a) : highHalf(a), block & 1);
}
// Lanes 0, 4, 8, 12, 1, 5, ...: what four blocks hold side by side, one after the other.
inline Float<16> alternatingBlocks(Float<16> a) {
  return _mm512_permutexvar_ps(_mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15), a.v);
}

// Four blocks that lie apart.
inline Float<16> loadBlocks(const float *a, const float *b, const float *c, const float *d) {
  const __m512 low = _mm512_insertf32x4(_mm512_castps128_ps512(Float<4>::load(a).v), Float<4>::load(b).v, 1);
  return _mm512_insertf32x4(_mm512_insertf32x4(low, Float<4>::load(c).v, 2), Float<4>::load(d).v, 3);
}

// Four rows of four blocks: each block's rows to columns.
inline void transposeBlocks(Float<16> (&a)[4]) {
  const __m512 ab0 = _mm512_unpacklo_ps(a[0].v, a[1].v), ab1 = _mm512_unpackhi_ps(a[0].v, a[1].v);
  const __m512 cd0 = _mm512_unpacklo_ps(a[2].v, a[3].v), cd1 = _mm512_unpackhi_ps(a[2].v, a[3].v);
  a[0].v = _mm512_shuffle_ps(ab0, cd0, 0x44);
  a[1].v = _mm512_shuffle_ps(ab0, cd0, 0xEE);
  a[2].v = _mm512_shuffle_ps(ab1, cd1, 0x44);
  a[3].v = _mm512_shuffle_ps(ab1, cd1, 0xEE);
}

inline void loadColumns(const float *const (&rows)[16], int first, Float<16> (&columns)[4]) {
  for (int k = 0; k < 4; ++k) {
    columns[k] = loadBlocks(rows[k] + first, rows[k + 4] + first, rows[k + 8] + first, rows[k + 12] + first);
  }
  transposeBlocks(columns);
}

// Rows k, k + 4, k + 8 and k + 12 share a register from the start, as in narrower registers.
inline void loadTransposed(const float (*rows)[16], Float<16> (&columns)[16]) {
  for (int part = 0; part < 16; part += 4) {
    Float<16> four[4];
    for (int k = 0; k < 4; ++k) {
      four[k] = loadBlocks(rows[k] + part, rows[k + 4] + part, rows[k + 8] + part, rows[k + 12] + part);
    }
    transposeBlocks(four);
    for (int k = 0; k < 4; ++k) columns[part + k] = four[k];
  }
}

inline void storeTransposed(const Float<16> (&rows)[4], float (*out)[4]) {
  Float<16> columns[4] = {rows[0], rows[1], rows[2], rows[3]};
  transposeBlocks(columns);
  // Block b of column k belongs to place 4 b + k: blocks to columns, too, so that every store is a full one.
  const __m512 low01 = _mm512_shuffle_f32x4(columns[0].v, columns[1].v, 0x44);
  const __m512 high01 = _mm512_shuffle_f32x4(columns[0].v, columns[1].v, 0xEE);
  const __m512 low23 = _mm512_shuffle_f32x4(columns[2].v, columns[3].v, 0x44);
  const __m512 high23 = _mm512_shuffle_f32x4(columns[2].v, columns[3].v, 0xEE);
  Float<16>(_mm512_shuffle_f32x4(low01, low23, 0x88)).store(out[0]);
  Float<16>(_mm512_shuffle_f32x4(low01, low23, 0xDD)).store(out[4]);
  Float<16>(_mm512_shuffle_f32x4(high01, high23, 0x88)).store(out[8]);
  Float<16>(_mm512_shuffle_f32x4(high01, high23, 0xDD)).store(out[12]);
}

// ---------------------------------------------------------------- scattered elements

constexpr __mmask8 kAllEight = 0xFF;

inline Neighbours<16> gatherNeighbours(const float *row, Int<16> index) {
  const auto pairs = [&](Int<8> at) {
    return _mm512_castpd_ps(
        _mm512_mask_i32gather_pd(_mm512_setzero_pd(), kAllEight, at.v, row, sizeof(float)));
  };
  const __m512 low = pairs(lowHalf(index)), high = pairs(highHalf(index));
  return {evenLanes(low, high), oddLanes(low, high)};
}

inline Long<8> operator+(Long<8> a, Long<8> b) { return _mm512_add_epi64(a.v, b.v); }
inline Long<8> productOfLow(Long<8> a, Long<8> b) { return _mm512_mul_epi32(a.v, b.v); }
template <int count>
Long<8> shiftedLeft(Long<8> a) {
  return _mm512_slli_epi64(a.v, count);
}

inline Long<8> gatherPointers(const void *list, Int<8> index) {
  return _mm512_mask_i32gather_epi64(_mm512_setzero_si512(), kAllEight, index.v, list, sizeof(void *));
}

inline Int<8> gatherWords(Long<8> address) {
  return _mm512_mask_i64gather_epi32(_mm256_setzero_si256(), kAllEight, address.v, nullptr, 1);
}

inline Neighbours<16> gatherNeighbours(Long<16> address) {
  const auto pairs = [&](Long<8> at) {
    return _mm512_castpd_ps(_mm512_mask_i64gather_pd(_mm512_setzero_pd(), kAllEight, at.v, nullptr, 1));
  };
  const __m512 low = pairs(address.low), high = pairs(address.high);
  return {evenLanes(low, high), oddLanes(low, high)};
}

}  // namespace vekr::VEKR_ISA

#endif
