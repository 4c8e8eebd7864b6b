// Lane types of the kernels: thin enough to see the instruction through them.
//
// Float<N>, Int<N> and Mask<N> hold N lanes. N = 1 is one plain element, so that a loop's remainder runs
// through the very body of its groups; N = 4 is one 128-bit register; N = 8 one 256-bit register where the
// file is compiled for it. A lane replays the scalar order of operations exactly: no operation here is fused
// or reassociated. Loads and stores take any address.
//
// Everything lives in the namespace of the instruction set that the file is compiled for (frame/dispatch.h).
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <cstring>

#ifndef VEKR_ISA
#error \
    "lane types belong into kernel files, which are listed with vekr_kernels() and compiled once for each set"
#endif

namespace vekr::VEKR_ISA {

// The widest group that the set has a register for.
#ifdef __AVX2__
constexpr int kWidestGroup = 8;
#else
constexpr int kWidestGroup = 4;
#endif

template <int N>
struct Float;
template <int N>
struct Int;
template <int N>
struct Mask;  // a lane is all ones or all zeros

// ---------------------------------------------------------------- one element

template <>
struct Mask<1> {
  bool v;
};

template <>
struct Int<1> {
  int32_t v;
  Int() = default;
  Int(int32_t x) : v(x) {}
  static Int load(const int32_t *p) { return *p; }
  void store(int32_t *p) const { *p = v; }
};

template <>
struct Float<1> {
  float v;
  Float() = default;
  Float(float x) : v(x) {}  // broadcast
  static Float load(const float *p) { return *p; }
  void store(float *p) const { *p = v; }
};

inline Float<1> operator+(Float<1> a, Float<1> b) { return a.v + b.v; }
inline Float<1> operator-(Float<1> a, Float<1> b) { return a.v - b.v; }
inline Float<1> operator*(Float<1> a, Float<1> b) { return a.v * b.v; }
inline Float<1> operator/(Float<1> a, Float<1> b) { return a.v / b.v; }
inline Mask<1> operator<(Float<1> a, Float<1> b) { return {a.v < b.v}; }
inline Mask<1> operator<=(Float<1> a, Float<1> b) { return {a.v <= b.v}; }
inline Mask<1> operator==(Float<1> a, Float<1> b) { return {a.v == b.v}; }
inline Mask<1> operator&(Mask<1> a, Mask<1> b) { return {a.v && b.v}; }
inline Mask<1> operator|(Mask<1> a, Mask<1> b) { return {a.v || b.v}; }
inline Mask<1> operator!(Mask<1> a) { return {!a.v}; }
inline Mask<1> isNegative(Int<1> a) { return {a.v < 0}; }
inline int bits(Mask<1> m) { return m.v ? 1 : 0; }
inline Float<1> select(Mask<1> m, Float<1> yes, Float<1> no) { return m.v ? yes : no; }
inline Int<1> select(Mask<1> m, Int<1> yes, Int<1> no) { return m.v ? yes : no; }
// The second operand where either is a NaN, and where both are zero; so at every lane count.
inline Float<1> minOf(Float<1> a, Float<1> b) { return a.v < b.v ? a : b; }
inline Float<1> maxOf(Float<1> a, Float<1> b) { return a.v > b.v ? a : b; }
inline Float<1> approxReciprocalSqrt(Float<1> a) { return _mm_cvtss_f32(_mm_rsqrt_ss(_mm_set_ss(a.v))); }
inline Float<1> sqrtOf(Float<1> a) { return __builtin_sqrtf(a.v); }
inline Float<1> absOf(Float<1> a) { return __builtin_fabsf(a.v); }
inline Float<1> negatedWhere(Mask<1> m, Float<1> a) { return m.v ? -a.v : a.v; }

// ---------------------------------------------------------------- four lanes

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
  void store(int32_t *p) const { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }
};

template <>
struct Float<4> {
  __m128 v;
  Float() = default;
  Float(__m128 x) : v(x) {}
  Float(float x) : v(_mm_set1_ps(x)) {}
  static Float load(const float *p) { return _mm_loadu_ps(p); }
  void store(float *p) const { _mm_storeu_ps(p, v); }
};

inline Float<4> operator+(Float<4> a, Float<4> b) { return _mm_add_ps(a.v, b.v); }
inline Float<4> operator-(Float<4> a, Float<4> b) { return _mm_sub_ps(a.v, b.v); }
inline Float<4> operator*(Float<4> a, Float<4> b) { return _mm_mul_ps(a.v, b.v); }
inline Float<4> operator/(Float<4> a, Float<4> b) { return _mm_div_ps(a.v, b.v); }
inline Mask<4> operator<(Float<4> a, Float<4> b) { return {_mm_cmplt_ps(a.v, b.v)}; }
inline Mask<4> operator<=(Float<4> a, Float<4> b) { return {_mm_cmple_ps(a.v, b.v)}; }
inline Mask<4> operator==(Float<4> a, Float<4> b) { return {_mm_cmpeq_ps(a.v, b.v)}; }
inline Mask<4> operator&(Mask<4> a, Mask<4> b) { return {_mm_and_ps(a.v, b.v)}; }
inline Mask<4> operator|(Mask<4> a, Mask<4> b) { return {_mm_or_ps(a.v, b.v)}; }
inline Mask<4> operator!(Mask<4> a) { return {_mm_xor_ps(a.v, _mm_castsi128_ps(_mm_set1_epi32(-1)))}; }
inline Mask<4> isNegative(Int<4> a) { return {_mm_castsi128_ps(_mm_srai_epi32(a.v, 31))}; }
inline int bits(Mask<4> m) { return _mm_movemask_ps(m.v); }
inline Float<4> select(Mask<4> m, Float<4> yes, Float<4> no) { return _mm_blendv_ps(no.v, yes.v, m.v); }
inline Int<4> select(Mask<4> m, Int<4> yes, Int<4> no) {
  return _mm_blendv_epi8(no.v, yes.v, _mm_castps_si128(m.v));
}
// The second operand where either is a NaN, and where both are zero.
inline Float<4> maxOf(Float<4> a, Float<4> b) { return _mm_max_ps(a.v, b.v); }
inline Float<4> approxReciprocalSqrt(Float<4> a) { return _mm_rsqrt_ps(a.v); }
inline Float<4> sqrtOf(Float<4> a) { return _mm_sqrt_ps(a.v); }
inline Float<4> absOf(Float<4> a) { return _mm_andnot_ps(_mm_set1_ps(-0.0f), a.v); }
inline Float<4> negatedWhere(Mask<4> m, Float<4> a) {
  return _mm_xor_ps(a.v, _mm_and_ps(m.v, _mm_set1_ps(-0.0f)));
}

inline Float<4> minOf(Float<4> a, Float<4> b) { return _mm_min_ps(a.v, b.v); }
inline Float<4> approxReciprocal(Float<4> a) { return _mm_rcp_ps(a.v); }
inline bool anyOf(Mask<4> m) { return _mm_movemask_ps(m.v) != 0; }
// Lane k is on where bit k is set.
inline Mask<4> maskOfBits(unsigned bitsOfLanes) {
  const __m128i one = _mm_setr_epi32(1, 2, 4, 8);
  const __m128i all = _mm_set1_epi32(static_cast<int>(bitsOfLanes));
  return {_mm_castsi128_ps(_mm_cmpeq_epi32(_mm_and_si128(all, one), one))};
}
// All lanes, or none.
inline Mask<4> lanesIf(bool on) { return {_mm_castsi128_ps(_mm_set1_epi32(-static_cast<int>(on)))}; }
// The lanes move one place down; the first is lost, and `last` comes in at the end.
inline Int<4> shiftedIn(Int<4> a, int32_t last) { return _mm_alignr_epi8(_mm_cvtsi32_si128(last), a.v, 4); }

// ---------------------------------------------------------------- eight lanes: two rows of four

#ifdef __AVX2__

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

inline Float<8> operator+(Float<8> a, Float<8> b) { return _mm256_add_ps(a.v, b.v); }
inline Float<8> operator-(Float<8> a, Float<8> b) { return _mm256_sub_ps(a.v, b.v); }
inline Float<8> operator*(Float<8> a, Float<8> b) { return _mm256_mul_ps(a.v, b.v); }
inline Float<8> operator/(Float<8> a, Float<8> b) { return _mm256_div_ps(a.v, b.v); }
inline Mask<8> operator<(Float<8> a, Float<8> b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_LT_OQ)}; }
inline Mask<8> operator<=(Float<8> a, Float<8> b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_LE_OQ)}; }
inline Mask<8> operator==(Float<8> a, Float<8> b) { return {_mm256_cmp_ps(a.v, b.v, _CMP_EQ_OQ)}; }
inline Mask<8> operator&(Mask<8> a, Mask<8> b) { return {_mm256_and_ps(a.v, b.v)}; }
inline Mask<8> operator|(Mask<8> a, Mask<8> b) { return {_mm256_or_ps(a.v, b.v)}; }
inline Mask<8> operator!(Mask<8> a) {
  return {_mm256_xor_ps(a.v, _mm256_castsi256_ps(_mm256_set1_epi32(-1)))};
}
inline Mask<8> isNegative(Int<8> a) { return {_mm256_castsi256_ps(_mm256_srai_epi32(a.v, 31))}; }
inline int bits(Mask<8> m) { return _mm256_movemask_ps(m.v); }
inline Float<8> select(Mask<8> m, Float<8> yes, Float<8> no) { return _mm256_blendv_ps(no.v, yes.v, m.v); }
inline Int<8> select(Mask<8> m, Int<8> yes, Int<8> no) {
  return _mm256_blendv_epi8(no.v, yes.v, _mm256_castps_si256(m.v));
}
inline Float<8> maxOf(Float<8> a, Float<8> b) { return _mm256_max_ps(a.v, b.v); }
inline Float<8> approxReciprocalSqrt(Float<8> a) { return _mm256_rsqrt_ps(a.v); }
inline Float<8> sqrtOf(Float<8> a) { return _mm256_sqrt_ps(a.v); }
inline Float<8> absOf(Float<8> a) { return _mm256_andnot_ps(_mm256_set1_ps(-0.0f), a.v); }
inline Float<8> negatedWhere(Mask<8> m, Float<8> a) {
  return _mm256_xor_ps(a.v, _mm256_and_ps(m.v, _mm256_set1_ps(-0.0f)));
}
inline Float<8> minOf(Float<8> a, Float<8> b) { return _mm256_min_ps(a.v, b.v); }
inline Float<8> approxReciprocal(Float<8> a) { return _mm256_rcp_ps(a.v); }
inline bool anyOf(Mask<8> m) { return _mm256_movemask_ps(m.v) != 0; }

inline Float<8> rowsOf(Float<4> a, Float<4> b) { return _mm256_set_m128(b.v, a.v); }
inline Int<8> rowsOf(Int<4> a, Int<4> b) { return _mm256_set_m128i(b.v, a.v); }
inline Mask<8> rowsOf(Mask<4> a, Mask<4> b) { return {_mm256_set_m128(b.v, a.v)}; }
inline Float<4> firstRow(Float<8> a) { return _mm256_castps256_ps128(a.v); }
inline Float<4> secondRow(Float<8> a) { return _mm256_extractf128_ps(a.v, 1); }
inline Int<4> firstRow(Int<8> a) { return _mm256_castsi256_si128(a.v); }
inline Int<4> secondRow(Int<8> a) { return _mm256_extracti128_si256(a.v, 1); }
inline Mask<4> firstRow(Mask<8> a) { return {_mm256_castps256_ps128(a.v)}; }
inline Mask<4> secondRow(Mask<8> a) { return {_mm256_extractf128_ps(a.v, 1)}; }

#else  // a pair of 128-bit registers, for packets of two rows

template <>
struct Mask<8> {
  Mask<4> a, b;
};

template <>
struct Int<8> {
  Int<4> a, b;
  Int() = default;
  Int(Int<4> first, Int<4> second) : a(first), b(second) {}
  Int(int32_t x) : a(x), b(x) {}
};

template <>
struct Float<8> {
  Float<4> a, b;
  Float() = default;
  Float(Float<4> first, Float<4> second) : a(first), b(second) {}
  Float(float x) : a(x), b(x) {}
};

inline Float<8> operator+(Float<8> x, Float<8> y) { return {x.a + y.a, x.b + y.b}; }
inline Float<8> operator-(Float<8> x, Float<8> y) { return {x.a - y.a, x.b - y.b}; }
inline Float<8> operator*(Float<8> x, Float<8> y) { return {x.a * y.a, x.b * y.b}; }
inline Mask<8> operator<(Float<8> x, Float<8> y) { return {x.a < y.a, x.b < y.b}; }
inline Mask<8> operator<=(Float<8> x, Float<8> y) { return {x.a <= y.a, x.b <= y.b}; }
inline Mask<8> operator&(Mask<8> x, Mask<8> y) { return {x.a & y.a, x.b & y.b}; }
inline Mask<8> operator|(Mask<8> x, Mask<8> y) { return {x.a | y.a, x.b | y.b}; }
inline Mask<8> operator!(Mask<8> x) { return {!x.a, !x.b}; }
inline Mask<8> isNegative(Int<8> x) { return {isNegative(x.a), isNegative(x.b)}; }
inline int bits(Mask<8> m) { return bits(m.a) | (bits(m.b) << 4); }
inline bool anyOf(Mask<8> m) { return anyOf(m.a | m.b); }
inline Float<8> select(Mask<8> m, Float<8> yes, Float<8> no) {
  return {select(m.a, yes.a, no.a), select(m.b, yes.b, no.b)};
}
inline Int<8> select(Mask<8> m, Int<8> yes, Int<8> no) {
  return {select(m.a, yes.a, no.a), select(m.b, yes.b, no.b)};
}
inline Float<8> minOf(Float<8> x, Float<8> y) { return {minOf(x.a, y.a), minOf(x.b, y.b)}; }
inline Float<8> maxOf(Float<8> x, Float<8> y) { return {maxOf(x.a, y.a), maxOf(x.b, y.b)}; }
inline Float<8> absOf(Float<8> x) { return {absOf(x.a), absOf(x.b)}; }
inline Float<8> approxReciprocal(Float<8> x) { return {approxReciprocal(x.a), approxReciprocal(x.b)}; }

inline Float<8> rowsOf(Float<4> first, Float<4> second) { return {first, second}; }
inline Int<8> rowsOf(Int<4> first, Int<4> second) { return {first, second}; }
inline Mask<8> rowsOf(Mask<4> first, Mask<4> second) { return {first, second}; }
inline Float<4> firstRow(Float<8> x) { return x.a; }
inline Float<4> secondRow(Float<8> x) { return x.b; }
inline Int<4> firstRow(Int<8> x) { return x.a; }
inline Int<4> secondRow(Int<8> x) { return x.b; }
inline Mask<4> firstRow(Mask<8> x) { return x.a; }
inline Mask<4> secondRow(Mask<8> x) { return x.b; }

#endif

// ---------------------------------------------------------------- what every lane count shares

template <int N>
constexpr int allLanes() {
  return (1 << N) - 1;
}

template <int N>
Mask<N> operator>(Float<N> a, Float<N> b) {
  return b < a;
}

template <int N>
Mask<N> operator>=(Float<N> a, Float<N> b) {
  return b <= a;
}

// first, first + 1, ... as floats, each rounded by itself.
template <int N>
Float<N> countedFrom(int32_t first);
template <>
inline Float<1> countedFrom<1>(int32_t first) {
  return static_cast<float>(first);
}
template <>
inline Float<4> countedFrom<4>(int32_t first) {
  return _mm_cvtepi32_ps(_mm_add_epi32(_mm_set1_epi32(first), _mm_setr_epi32(0, 1, 2, 3)));
}
#ifdef __AVX2__
template <>
inline Float<8> countedFrom<8>(int32_t first) {
  return _mm256_cvtepi32_ps(
      _mm256_add_epi32(_mm256_set1_epi32(first), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7)));
}
#endif

// +0 where the lane is off: nothing of `a`, not even a NaN, comes through.
inline Float<1> kept(Mask<1> m, Float<1> a) { return m.v ? a : Float<1>(0.0f); }
inline Float<4> kept(Mask<4> m, Float<4> a) { return _mm_and_ps(m.v, a.v); }
#ifdef __AVX2__
inline Float<8> kept(Mask<8> m, Float<8> a) { return _mm256_and_ps(m.v, a.v); }
#else
inline Float<8> kept(Mask<8> m, Float<8> x) { return {kept(m.a, x.a), kept(m.b, x.b)}; }
#endif

// Three lanes of a vector quantity.
template <int N>
struct Vec3 {
  Float<N> x, y, z;
};

// The three planes of a vector quantity, by value: a store through a lane type may alias anything, so pointers that were
// read through the caller's list would be fetched again after every store.
struct Planes {
  float *x, *y, *z;
  Planes(float *const *list) : x(list[0]), y(list[1]), z(list[2]) {}
};

struct ConstPlanes {
  const float *x, *y, *z;
  ConstPlanes(const float *const *list) : x(list[0]), y(list[1]), z(list[2]) {}
  ConstPlanes(Planes p) : x(p.x), y(p.y), z(p.z) {}
};

template <int N>
Vec3<N> loadPlanes(ConstPlanes planes, int64_t i) {
  return {Float<N>::load(planes.x + i), Float<N>::load(planes.y + i), Float<N>::load(planes.z + i)};
}

template <int N>
void storePlanes(Planes planes, int64_t i, Vec3<N> a) {
  a.x.store(planes.x + i);
  a.y.store(planes.y + i);
  a.z.store(planes.z + i);
}

template <int N>
Vec3<N> broadcast3(const float *p) {
  return {p[0], p[1], p[2]};
}

template <int N>
Vec3<N> operator-(Vec3<N> a, Vec3<N> b) {
  return {a.x - b.x, a.y - b.y, a.z - b.z};
}

// The order of the sum is contract: (x + y) + z [C47].
template <int N>
Float<N> dot(Vec3<N> a, Vec3<N> b) {
  return (a.x * b.x + a.y * b.y) + a.z * b.z;
}

template <int N>
Vec3<N> kept(Mask<N> m, Vec3<N> a) {
  return {kept(m, a.x), kept(m, a.y), kept(m, a.z)};
}

}  // namespace vekr::VEKR_ISA
