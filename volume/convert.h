// Voxels to lanes and back: loads, stores, and the roundings of each voxel type. For kernel files.
//
// Rows may begin at any address, so nothing here assumes alignment, and nothing outside the N voxels is read or written.
#pragma once

#include <cstdint>
#include <cstring>

#include "frame/simd_int.h"
#include "volume/voxel.h"

namespace vekr::VEKR_ISA {

template <class T>
inline T loadAs(const void *p) {
  T value;
  std::memcpy(&value, p, sizeof value);
  return value;
}

template <class T>
inline void storeAs(void *p, T value) {
  std::memcpy(p, &value, sizeof value);
}

// ---------------------------------------------------------------- integer voxels, widened

template <int N>
Int<N> loadWidened(const uint8_t *p);
template <int N>
Int<N> loadWidened(const uint16_t *p);
template <int N>
Int<N> loadWidened(const int16_t *p);

template <>
inline Int<1> loadWidened<1>(const uint8_t *p) {
  return *p;
}
template <>
inline Int<1> loadWidened<1>(const uint16_t *p) {
  return loadAs<uint16_t>(p);
}
template <>
inline Int<1> loadWidened<1>(const int16_t *p) {
  return loadAs<int16_t>(p);
}
template <>
inline Int<4> loadWidened<4>(const uint8_t *p) {
  return _mm_cvtepu8_epi32(_mm_cvtsi32_si128(loadAs<int32_t>(p)));
}
template <>
inline Int<4> loadWidened<4>(const uint16_t *p) {
  return _mm_cvtepu16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(p)));
}
template <>
inline Int<4> loadWidened<4>(const int16_t *p) {
  return _mm_cvtepi16_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(p)));
}
#ifdef __AVX2__
template <>
inline Int<8> loadWidened<8>(const int16_t *p) {
  return _mm256_cvtepi16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p)));
}
template <>
inline Int<8> loadWidened<8>(const uint8_t *p) {
  return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(p)));
}
template <>
inline Int<8> loadWidened<8>(const uint16_t *p) {
  return _mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i *>(p)));
}
#endif

// Any voxels as floats, exactly.
template <int N>
Float<N> loadVoxels(const uint8_t *p) {
  return toFloat(loadWidened<N>(p));
}
template <int N>
Float<N> loadVoxels(const uint16_t *p) {
  return toFloat(loadWidened<N>(p));
}
template <int N>
Float<N> loadVoxels(const float *p) {
  return Float<N>::load(p);
}
template <>
inline Float<1> loadVoxels<1>(const float *p) {
  return loadAs<float>(p);
}

// ---------------------------------------------------------------- integer voxels, narrowed

// Saturated to the voxel's range. 8u passes through signed 16 bits, which changes nothing.
inline void storeSaturated(Int<1> a, uint8_t *p) {
  *p = static_cast<uint8_t>(a.v < 0 ? 0 : a.v > 255 ? 255 : a.v);
}
inline void storeSaturated(Int<1> a, uint16_t *p) {
  storeAs(p, static_cast<uint16_t>(a.v < 0 ? 0 : a.v > 65535 ? 65535 : a.v));
}
inline void storeSaturated(Int<4> a, uint8_t *p) {
  const __m128i words = _mm_packs_epi32(a.v, a.v);
  storeAs(p, _mm_cvtsi128_si32(_mm_packus_epi16(words, words)));
}
inline void storeSaturated(Int<4> a, uint16_t *p) {
  _mm_storel_epi64(reinterpret_cast<__m128i *>(p), _mm_packus_epi32(a.v, a.v));
}
#ifdef __AVX2__
inline void storeSaturated(Int<8> a, uint8_t *p) {
  const __m128i words = _mm_packs_epi32(_mm256_castsi256_si128(a.v), _mm256_extracti128_si256(a.v, 1));
  _mm_storel_epi64(reinterpret_cast<__m128i *>(p), _mm_packus_epi16(words, words));
}
inline void storeSaturated(Int<8> a, uint16_t *p) {
  _mm_storeu_si128(reinterpret_cast<__m128i *>(p),
                   _mm_packus_epi32(_mm256_castsi256_si128(a.v), _mm256_extracti128_si256(a.v, 1)));
}
#endif

// The low bits, without saturation.
template <int N>
void storeLow(Int<N> a, uint8_t *p) {
  storeSaturated(a & Int<N>(0xFF), p);
}
template <int N>
void storeLow(Int<N> a, uint16_t *p) {
  storeSaturated(a & Int<N>(0xFFFF), p);
}

// ---------------------------------------------------------------- rounding at borders

// What is added, in double, to a weighted sum at the border of a volume before it is truncated. It isn't quite the 0.5
// of rounding: a value on .5, and one a little below it, goes up [C66].
constexpr double kBorderRound = 0.5000001;  // 0x3FE0000035AFE535

inline Int<1> borderRounded(Float<1> a) {
  return _mm_cvttsd_si32(_mm_set_sd(static_cast<double>(a.v) + kBorderRound));
}
inline __m128i borderRoundedLow(__m128 a) {
  return _mm_cvttpd_epi32(_mm_add_pd(_mm_cvtps_pd(a), _mm_set1_pd(kBorderRound)));
}
inline Int<4> borderRounded(Float<4> a) {
  return _mm_unpacklo_epi64(borderRoundedLow(a.v), borderRoundedLow(_mm_movehl_ps(a.v, a.v)));
}
#ifdef __AVX2__
inline Int<8> borderRounded(Float<8> a) {
  const __m256d round = _mm256_set1_pd(kBorderRound);
  const __m256d low = _mm256_add_pd(_mm256_cvtps_pd(_mm256_castps256_ps128(a.v)), round);
  const __m256d high = _mm256_add_pd(_mm256_cvtps_pd(_mm256_extractf128_ps(a.v, 1)), round);
  return _mm256_inserti128_si256(_mm256_castsi128_si256(_mm256_cvttpd_epi32(low)), _mm256_cvttpd_epi32(high),
                                 1);
}
#endif

}  // namespace vekr::VEKR_ISA
