// Arithmetic of integer lanes, and conversions between them and floats, on top of frame/simd.h. Sums, differences and products
// wrap in 32 bits.
#pragma once

#include "frame/simd.h"

namespace vekr::VEKR_ISA {

// ---------------------------------------------------------------- integer lanes, and conversions between the two

inline Int<1> operator+(Int<1> a, Int<1> b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a.v) + static_cast<uint32_t>(b.v));
}
inline Int<4> operator+(Int<4> a, Int<4> b) { return _mm_add_epi32(a.v, b.v); }
inline Int<1> operator-(Int<1> a, Int<1> b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a.v) - static_cast<uint32_t>(b.v));
}
inline Int<4> operator-(Int<4> a, Int<4> b) { return _mm_sub_epi32(a.v, b.v); }
inline Int<1> operator&(Int<1> a, Int<1> b) { return a.v & b.v; }
inline Int<4> operator&(Int<4> a, Int<4> b) { return _mm_and_si128(a.v, b.v); }
inline Mask<1> operator==(Int<1> a, Int<1> b) { return {a.v == b.v}; }
inline Mask<4> operator==(Int<4> a, Int<4> b) { return {_mm_castsi128_ps(_mm_cmpeq_epi32(a.v, b.v))}; }
inline Mask<1> operator<(Int<1> a, Int<1> b) { return {a.v < b.v}; }
inline Mask<4> operator<(Int<4> a, Int<4> b) { return {_mm_castsi128_ps(_mm_cmplt_epi32(a.v, b.v))}; }

inline Float<1> toFloat(Int<1> a) { return static_cast<float>(a.v); }
inline Float<4> toFloat(Int<4> a) { return _mm_cvtepi32_ps(a.v); }
// Toward zero, and to nearest with ties to even; INT32_MIN for what doesn't fit.
inline Int<1> truncated(Float<1> a) { return _mm_cvttss_si32(_mm_set_ss(a.v)); }
inline Int<4> truncated(Float<4> a) { return _mm_cvttps_epi32(a.v); }
inline Int<1> rounded(Float<1> a) { return _mm_cvtss_si32(_mm_set_ss(a.v)); }
inline Int<4> rounded(Float<4> a) { return _mm_cvtps_epi32(a.v); }

#ifdef __AVX2__
inline Int<8> operator+(Int<8> a, Int<8> b) { return _mm256_add_epi32(a.v, b.v); }
inline Int<8> operator-(Int<8> a, Int<8> b) { return _mm256_sub_epi32(a.v, b.v); }
inline Int<8> operator&(Int<8> a, Int<8> b) { return _mm256_and_si256(a.v, b.v); }
inline Mask<8> operator==(Int<8> a, Int<8> b) { return {_mm256_castsi256_ps(_mm256_cmpeq_epi32(a.v, b.v))}; }
inline Mask<8> operator<(Int<8> a, Int<8> b) { return {_mm256_castsi256_ps(_mm256_cmpgt_epi32(b.v, a.v))}; }
inline Float<8> toFloat(Int<8> a) { return _mm256_cvtepi32_ps(a.v); }
inline Int<8> truncated(Float<8> a) { return _mm256_cvttps_epi32(a.v); }
inline Int<8> rounded(Float<8> a) { return _mm256_cvtps_epi32(a.v); }
#else
inline Mask<8> operator==(Int<8> x, Int<8> y) { return {x.a == y.a, x.b == y.b}; }
#endif

// ---------------------------------------------------------------- integer products and shifts

// The low 32 bits of the products.
inline Int<1> operator*(Int<1> a, Int<1> b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a.v) * static_cast<uint32_t>(b.v));
}
inline Int<4> operator*(Int<4> a, Int<4> b) { return _mm_mullo_epi32(a.v, b.v); }

template <int count>
Int<1> shiftedLeft(Int<1> a) {
  return static_cast<int32_t>(static_cast<uint32_t>(a.v) << count);
}
template <int count>
Int<4> shiftedLeft(Int<4> a) {
  return _mm_slli_epi32(a.v, count);
}
// Arithmetic.
template <int count>
Int<1> shiftedRight(Int<1> a) {
  return a.v >> count;
}
template <int count>
Int<4> shiftedRight(Int<4> a) {
  return _mm_srai_epi32(a.v, count);
}

#ifdef __AVX2__
inline Int<8> operator*(Int<8> a, Int<8> b) { return _mm256_mullo_epi32(a.v, b.v); }
template <int count>
Int<8> shiftedLeft(Int<8> a) {
  return _mm256_slli_epi32(a.v, count);
}
template <int count>
Int<8> shiftedRight(Int<8> a) {
  return _mm256_srai_epi32(a.v, count);
}
#endif

}  // namespace vekr::VEKR_ISA
