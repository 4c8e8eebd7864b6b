// Linear mixes in fixed point on lanes of 16-bit words. For kernel files.
//
// The multiply-add instruction takes signed words, and voxels are unsigned. Flipping a word's top bit subtracts 2^15 from it,
// so that a sum by weights that add up to 2^14 comes out too small by 2^29, which goes back with the rounding constant.
#pragma once

#include <cstdint>

#include "frame/groups.h"
#include "prresize/axis.h"
#include "volume/convert.h"

namespace vekr::VEKR_ISA {

#ifdef __AVX2__
constexpr int kWidestWords = 16;
#else
constexpr int kWidestWords = 8;
#endif

constexpr int32_t kFlipped = 1 << 29;

template <int shift>
constexpr int32_t half() {
  return 1 << (shift - 1);
}

// (a (1 - f) + b f + 1/2), with `shift` bits of fraction.
template <int shift>
inline uint32_t mixed(uint32_t a, uint32_t b, FixedPair w) {
  return (a * w.near + b * w.far + half<shift>()) >> shift;
}

inline int32_t pairWord(FixedPair w) { return static_cast<int32_t>(uint32_t{w.far} << 16 | w.near); }

// The same for four pairs of words, each with its pair of weights.
template <int shift>
inline __m128i mixedPairs(__m128i pairs, __m128i weights) {
  const __m128i sums = _mm_madd_epi16(_mm_xor_si128(pairs, _mm_set1_epi16(INT16_MIN)), weights);
  return _mm_srli_epi32(_mm_add_epi32(sums, _mm_set1_epi32(kFlipped + half<shift>())), shift);
}

inline void storeWords(__m128i words, uint16_t *out) {
  _mm_storeu_si128(reinterpret_cast<__m128i *>(out), words);
}
inline void storeWords(__m128i words, uint8_t *out) {
  _mm_storel_epi64(reinterpret_cast<__m128i *>(out), _mm_packus_epi16(words, words));
}

// Eight columns of two rows by one pair of weights.
template <int shift, class Out>
inline void mixColumns(Lanes<8>, const uint16_t *a, const uint16_t *b, FixedPair w, Out *out) {
  const __m128i weights = _mm_set1_epi32(pairWord(w));
  const __m128i near = _mm_loadu_si128(reinterpret_cast<const __m128i *>(a));
  const __m128i far = _mm_loadu_si128(reinterpret_cast<const __m128i *>(b));
  storeWords(_mm_packus_epi32(mixedPairs<shift>(_mm_unpacklo_epi16(near, far), weights),
                              mixedPairs<shift>(_mm_unpackhi_epi16(near, far), weights)),
             out);
}

#ifdef __AVX2__

template <int shift>
inline __m256i mixedPairs(__m256i pairs, __m256i weights) {
  const __m256i sums = _mm256_madd_epi16(_mm256_xor_si256(pairs, _mm256_set1_epi16(INT16_MIN)), weights);
  return _mm256_srli_epi32(_mm256_add_epi32(sums, _mm256_set1_epi32(kFlipped + half<shift>())), shift);
}

inline void storeWords(__m256i words, uint16_t *out) {
  _mm256_storeu_si256(reinterpret_cast<__m256i *>(out), words);
}
inline void storeWords(__m256i words, uint8_t *out) {
  const __m256i bytes = _mm256_permute4x64_epi64(_mm256_packus_epi16(words, words), 0x08);
  _mm_storeu_si128(reinterpret_cast<__m128i *>(out), _mm256_castsi256_si128(bytes));
}

// Unpacking and packing both work in each half by itself, so that the columns come out in their order.
template <int shift, class Out>
inline void mixColumns(Lanes<16>, const uint16_t *a, const uint16_t *b, FixedPair w, Out *out) {
  const __m256i weights = _mm256_set1_epi32(pairWord(w));
  const __m256i near = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(a));
  const __m256i far = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(b));
  storeWords(_mm256_packus_epi32(mixedPairs<shift>(_mm256_unpacklo_epi16(near, far), weights),
                                 mixedPairs<shift>(_mm256_unpackhi_epi16(near, far), weights)),
             out);
}

#endif

template <int shift, class Out>
inline void mixColumns(Lanes<1>, const uint16_t *a, const uint16_t *b, FixedPair w, Out *out) {
  storeAs(out, static_cast<Out>(mixed<shift>(*a, *b, w)));
}

// Columns `begin` to `end` - 1 of two rows, into words or voxels.
template <int shift, class Out>
void mixRows(const uint16_t *a, const uint16_t *b, FixedPair w, Out *out, int32_t begin, int32_t end) {
  int64_t i = begin;
  const auto groups = [&]<int N>(Lanes<N> lanes) {
    for (; i + N <= end; i += N) mixColumns<shift>(lanes, a + i, b + i, w, out + i);
  };
  groups(Lanes<kWidestWords>());
  if constexpr (kWidestWords > 8) groups(Lanes<8>());
  groups(Lanes<1>());
}

}  // namespace vekr::VEKR_ISA
