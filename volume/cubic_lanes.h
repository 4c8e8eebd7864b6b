// Lane steps of the cubic kernels. A register holds one or two blocks of four lanes, a block the four taps of a voxel.
// For kernel files.
#pragma once

#include "volume/convert.h"
#include "volume/gather.h"

namespace vekr::VEKR_ISA {

constexpr int kTaps = 4;

// ---------------------------------------------------------------- tables

// table[i] and table[i + 1] for each lane.
template <int N>
struct Entries {
  Float<N> here, next;
};

inline Entries<4> entriesAt(const float *table, Int<4> i) {
  const auto pair = [&](int lane) {
    return _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(table + lane)));
  };
  const __m128 low = _mm_movelh_ps(pair(_mm_cvtsi128_si32(i.v)), pair(_mm_extract_epi32(i.v, 1)));
  const __m128 high = _mm_movelh_ps(pair(_mm_extract_epi32(i.v, 2)), pair(_mm_extract_epi32(i.v, 3)));
  return {_mm_shuffle_ps(low, high, 0x88), _mm_shuffle_ps(low, high, 0xDD)};
}

#ifdef __AVX2__
inline Entries<8> entriesAt(const float *table, Int<8> i) {
  // Lanes 0 1 4 5 and 2 3 6 7, so that the shuffles, which work within halves, put them in order.
  const __m256i lanes = _mm256_permute4x64_epi64(i.v, 0xD8);
  const __m256 low = gatherPairs(table, _mm256_castsi256_si128(lanes));
  const __m256 high = gatherPairs(table, _mm256_extracti128_si256(lanes, 1));
  return {_mm256_shuffle_ps(low, high, 0x88), _mm256_shuffle_ps(low, high, 0xDD)};
}
#endif

// Four registers of one tap each, to one voxel's four weights after the other.
inline void storeTransposed(const Float<4> (&taps)[kTaps], float (*out)[kTaps]) {
  __m128 a = taps[0].v, b = taps[1].v, c = taps[2].v, d = taps[3].v;
  _MM_TRANSPOSE4_PS(a, b, c, d);
  _mm_storeu_ps(out[0], a);
  _mm_storeu_ps(out[1], b);
  _mm_storeu_ps(out[2], c);
  _mm_storeu_ps(out[3], d);
}

#ifdef __AVX2__
inline void storeTransposed(const Float<8> (&taps)[kTaps], float (*out)[kTaps]) {
  const __m256 ab = _mm256_unpacklo_ps(taps[0].v, taps[1].v), AB = _mm256_unpackhi_ps(taps[0].v, taps[1].v);
  const __m256 cd = _mm256_unpacklo_ps(taps[2].v, taps[3].v), CD = _mm256_unpackhi_ps(taps[2].v, taps[3].v);
  const __m256 rows[4] = {_mm256_shuffle_ps(ab, cd, 0x44), _mm256_shuffle_ps(ab, cd, 0xEE),
                          _mm256_shuffle_ps(AB, CD, 0x44), _mm256_shuffle_ps(AB, CD, 0xEE)};
  for (int v = 0; v < 4; ++v) {
    _mm_storeu_ps(out[v], _mm256_castps256_ps128(rows[v]));
    _mm_storeu_ps(out[v + 4], _mm256_extractf128_ps(rows[v], 1));
  }
}
#endif

// ---------------------------------------------------------------- loads

// Four voxels of one row for each block of four lanes.
template <class Voxel>
inline Float<4> loadRows(const Voxel *const (&rows)[1]) {
  return loadVoxels<4>(rows[0]);
}
#ifdef __AVX2__
inline Float<8> loadRows(const uint8_t *const (&rows)[2]) {
  const __m128i bytes =
      _mm_insert_epi32(_mm_cvtsi32_si128(loadAs<int32_t>(rows[0])), loadAs<int32_t>(rows[1]), 1);
  return toFloat(Int<8>(_mm256_cvtepu8_epi32(bytes)));
}
inline Float<8> loadRows(const uint16_t *const (&rows)[2]) {
  const __m128i low = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(rows[0]));
  const __m128 both = _mm_loadh_pi(_mm_castsi128_ps(low), reinterpret_cast<const __m64 *>(rows[1]));
  return toFloat(Int<8>(_mm256_cvtepu16_epi32(_mm_castps_si128(both))));
}
inline Float<8> loadRows(const float *const (&rows)[2]) {
  return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(rows[0])), _mm_loadu_ps(rows[1]), 1);
}
#endif

inline Float<4> loadWeights(const float (*weights)[kTaps], const int (&voxels)[1]) {
  return Float<4>::load(weights[voxels[0]]);
}
inline float firstLane(Float<4> a, int) { return _mm_cvtss_f32(a.v); }
#ifdef __AVX2__
inline Float<8> loadWeights(const float (*weights)[kTaps], const int (&voxels)[2]) {
  return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_load_ps(weights[voxels[0]])),
                              _mm_load_ps(weights[voxels[1]]), 1);
}
inline float firstLane(Float<8> a, int block) {
  return _mm_cvtss_f32(block == 0 ? _mm256_castps256_ps128(a.v) : _mm256_extractf128_ps(a.v, 1));
}
#endif

// ---------------------------------------------------------------- sums

// Of each block of four lanes, those of `a` and then those of `b`: the sums of neighbouring pairs.
inline Float<4> pairSums(Float<4> a, Float<4> b) {
  return _mm_add_ps(_mm_shuffle_ps(a.v, b.v, 0x88), _mm_shuffle_ps(a.v, b.v, 0xDD));
}
inline Float<4> swappedPairs(Float<4> a) { return _mm_shuffle_ps(a.v, a.v, 0x4E); }
#ifdef __AVX2__
inline Float<8> pairSums(Float<8> a, Float<8> b) {
  return _mm256_add_ps(_mm256_shuffle_ps(a.v, b.v, 0x88), _mm256_shuffle_ps(a.v, b.v, 0xDD));
}
inline Float<8> swappedPairs(Float<8> a) { return _mm256_shuffle_ps(a.v, a.v, 0x4E); }
#endif

}  // namespace vekr::VEKR_ISA
