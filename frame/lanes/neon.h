// Lanes in the 128-bit registers of 64-bit ARM: four of 32 bits, two of 64, eight of 16; and single elements where plain
// C++ leaves open what doesn't fit.
//
// Where the two architectures differ, this says what x86 does: minOf and maxOf are a comparison and a choice, conversions
// give INT32_MIN for all that doesn't fit, and a NaN too.
#pragma once

#ifdef __aarch64__  // nothing here is for other architectures

#include <arm_neon.h>

#include "frame/estimates.h"
#include "frame/lanes/one.h"

namespace vekr::VEKR_ISA {

template <>
struct Mask<4> {
  uint32x4_t v;
};

template <>
struct Int<4> {
  int32x4_t v;
  Int() = default;
  Int(int32x4_t x) : v(x) {}
  Int(int32_t x) : v(vdupq_n_s32(x)) {}
  static Int load(const int32_t *p) { return loadAs<int32x4_t>(p); }
  // Smaller integers, widened.
  static Int load(const uint8_t *p) {
    const uint8x8_t bytes = vreinterpret_u8_u32(vdup_n_u32(loadAs<uint32_t>(p)));
    return vreinterpretq_s32_u32(vmovl_u16(vget_low_u16(vmovl_u8(bytes))));
  }
  static Int load(const uint16_t *p) { return vreinterpretq_s32_u32(vmovl_u16(loadAs<uint16x4_t>(p))); }
  static Int load(const int16_t *p) { return vmovl_s16(loadAs<int16x4_t>(p)); }
  void store(int32_t *p) const { storeAs(p, v); }
};

template <>
struct Float<4> {
  float32x4_t v;
  Float() = default;
  Float(float32x4_t x) : v(x) {}
  Float(float x) : v(vdupq_n_f32(x)) {}
  static Float of(float a, float b, float c, float d) { return float32x4_t{a, b, c, d}; }
  static Float load(const float *p) { return loadAs<float32x4_t>(p); }
  void store(float *p) const { storeAs(p, v); }
};

// Half a register.
template <>
struct Mask<2> {
  uint32x2_t v;
};
template <>
struct Int<2> {
  int32x2_t v;
  Int(int32x2_t x) : v(x) {}
};
template <>
struct Float<2> {
  float32x2_t v;
  Float() = default;
  Float(float32x2_t x) : v(x) {}
  static Float load(const float *p) { return loadAs<float32x2_t>(p); }
  void store(float *p) const { storeAs(p, v); }
};

template <>
struct DoubleMask<2> {
  uint64x2_t v;
};
template <>
struct Double<2> {
  float64x2_t v;
  Double() = default;
  Double(float64x2_t x) : v(x) {}
  Double(double x) : v(vdupq_n_f64(x)) {}
  static Double load(const double *p) { return loadAs<float64x2_t>(p); }
  void store(double *p) const { storeAs(p, v); }
};

template <>
struct Short<8> {
  int16x8_t v;
  Short() = default;
  Short(int16x8_t x) : v(x) {}
  static Short load(const void *p) { return loadAs<int16x8_t>(p); }
  void store(void *p) const { storeAs(p, v); }
};

// ---------------------------------------------------------------- masks

inline Mask<4> operator&(Mask<4> a, Mask<4> b) { return {vandq_u32(a.v, b.v)}; }
inline Mask<4> operator|(Mask<4> a, Mask<4> b) { return {vorrq_u32(a.v, b.v)}; }
inline Mask<4> operator!(Mask<4> a) { return {vmvnq_u32(a.v)}; }
inline int bits(Mask<4> m) { return static_cast<int>(vaddvq_u32(vandq_u32(m.v, uint32x4_t{1, 2, 4, 8}))); }
inline bool anyOf(Mask<4> m) { return vmaxvq_u32(m.v) != 0; }
template <>
inline Mask<4> maskOfBits<4>(unsigned bitsOfLanes) {
  return {vtstq_u32(vdupq_n_u32(bitsOfLanes), uint32x4_t{1, 2, 4, 8})};
}
// All lanes, or none.
inline Mask<4> lanesIf(bool on) { return {vdupq_n_u32(0u - static_cast<uint32_t>(on))}; }

// ---------------------------------------------------------------- floats

inline Float<4> operator+(Float<4> a, Float<4> b) { return vaddq_f32(a.v, b.v); }
inline Float<4> operator-(Float<4> a, Float<4> b) { return vsubq_f32(a.v, b.v); }
inline Float<4> operator*(Float<4> a, Float<4> b) { return vmulq_f32(a.v, b.v); }
inline Float<4> operator/(Float<4> a, Float<4> b) { return vdivq_f32(a.v, b.v); }
inline Mask<4> operator<(Float<4> a, Float<4> b) { return {vcltq_f32(a.v, b.v)}; }
inline Mask<4> operator<=(Float<4> a, Float<4> b) { return {vcleq_f32(a.v, b.v)}; }
inline Mask<4> operator==(Float<4> a, Float<4> b) { return {vceqq_f32(a.v, b.v)}; }
inline Float<4> select(Mask<4> m, Float<4> yes, Float<4> no) { return vbslq_f32(m.v, yes.v, no.v); }
inline Float<4> minOf(Float<4> a, Float<4> b) { return select(a < b, a, b); }
inline Float<4> maxOf(Float<4> a, Float<4> b) { return select(b < a, a, b); }
inline Float<4> approxReciprocal(Float<4> a) {
  return Float<4>::of(estimatedReciprocal(a.v[0]), estimatedReciprocal(a.v[1]), estimatedReciprocal(a.v[2]),
                      estimatedReciprocal(a.v[3]));
}
inline Float<4> approxReciprocalSqrt(Float<4> a) {
  return Float<4>::of(estimatedReciprocalSqrt(a.v[0]), estimatedReciprocalSqrt(a.v[1]),
                      estimatedReciprocalSqrt(a.v[2]), estimatedReciprocalSqrt(a.v[3]));
}
inline Float<1> approxReciprocalSqrt(Float<1> a) { return estimatedReciprocalSqrt(a.v); }
inline Float<4> sqrtOf(Float<4> a) { return vsqrtq_f32(a.v); }
inline Float<4> absOf(Float<4> a) { return vabsq_f32(a.v); }
inline Float<4> negatedWhere(Mask<4> m, Float<4> a) {
  const uint32x4_t signs = vandq_u32(m.v, vdupq_n_u32(0x80000000u));
  return vreinterpretq_f32_u32(veorq_u32(vreinterpretq_u32_f32(a.v), signs));
}
inline Float<4> kept(Mask<4> m, Float<4> a) {
  return vreinterpretq_f32_u32(vandq_u32(m.v, vreinterpretq_u32_f32(a.v)));
}

inline Float<2> operator-(Float<2> a, Float<2> b) { return vsub_f32(a.v, b.v); }
inline Float<2> operator*(Float<2> a, Float<2> b) { return vmul_f32(a.v, b.v); }

// ---------------------------------------------------------------- integers

inline Int<4> operator+(Int<4> a, Int<4> b) { return vaddq_s32(a.v, b.v); }
inline Int<4> operator-(Int<4> a, Int<4> b) { return vsubq_s32(a.v, b.v); }
inline Int<4> operator*(Int<4> a, Int<4> b) { return vmulq_s32(a.v, b.v); }
inline Int<4> operator&(Int<4> a, Int<4> b) { return vandq_s32(a.v, b.v); }
inline Int<4> operator^(Int<4> a, Int<4> b) { return veorq_s32(a.v, b.v); }
inline Mask<4> operator==(Int<4> a, Int<4> b) { return {vceqq_s32(a.v, b.v)}; }
inline Mask<4> operator<(Int<4> a, Int<4> b) { return {vcltq_s32(a.v, b.v)}; }
inline Mask<4> isNegative(Int<4> a) { return {vcltzq_s32(a.v)}; }
inline Int<4> minOf(Int<4> a, Int<4> b) { return vminq_s32(a.v, b.v); }
inline Int<4> select(Mask<4> m, Int<4> yes, Int<4> no) { return vbslq_s32(m.v, yes.v, no.v); }
inline Int<4> countedIn(Int<4> count, Mask<4> m) { return vsubq_s32(count.v, vreinterpretq_s32_u32(m.v)); }
// The lanes move one place down; the first is lost, and `last` comes in at the end.
inline Int<4> shiftedIn(Int<4> a, int32_t last) { return vextq_s32(a.v, vdupq_n_s32(last), 1); }

template <int count>
Int<4> shiftedLeft(Int<4> a) {
  return vshlq_n_s32(a.v, count);
}
template <int count>
Int<4> shiftedRight(Int<4> a) {
  return vshrq_n_s32(a.v, count);
}
template <int count>
Int<4> shiftedRightUnsigned(Int<4> a) {
  return vreinterpretq_s32_u32(vshrq_n_u32(vreinterpretq_u32_s32(a.v), count));
}
inline Int<4> shiftedRight(Int<4> a, int count) { return vshlq_s32(a.v, vdupq_n_s32(-count)); }

// The lanes of `a` below lane `first`, of `b` from there on.
template <int first>
Int<4> lanesFrom(Int<4> a, Int<4> b) {
  return select(maskOfBits<4>((1u << first) - 1), a, b);
}

inline void storeSaturated(Int<4> a, uint8_t *p) {
  const int16x4_t words = vqmovn_s32(a.v);
  storeAs(p, vget_lane_u32(vreinterpret_u32_u8(vqmovun_s16(vcombine_s16(words, words))), 0));
}
inline void storeSaturated(Int<4> a, uint16_t *p) { storeAs(p, vqmovun_s32(a.v)); }
inline void storeSaturated(Int<4> a, int16_t *p) { storeAs(p, vqmovn_s32(a.v)); }

// ---------------------------------------------------------------- doubles

inline Double<2> operator+(Double<2> a, Double<2> b) { return vaddq_f64(a.v, b.v); }
inline Double<2> operator-(Double<2> a, Double<2> b) { return vsubq_f64(a.v, b.v); }
inline Double<2> operator*(Double<2> a, Double<2> b) { return vmulq_f64(a.v, b.v); }
inline Double<2> operator/(Double<2> a, Double<2> b) { return vdivq_f64(a.v, b.v); }
inline DoubleMask<2> operator<(Double<2> a, Double<2> b) { return {vcltq_f64(a.v, b.v)}; }
inline DoubleMask<2> operator<=(Double<2> a, Double<2> b) { return {vcleq_f64(a.v, b.v)}; }
inline DoubleMask<2> operator==(Double<2> a, Double<2> b) { return {vceqq_f64(a.v, b.v)}; }
inline DoubleMask<2> operator&(DoubleMask<2> a, DoubleMask<2> b) { return {vandq_u64(a.v, b.v)}; }
inline DoubleMask<2> operator|(DoubleMask<2> a, DoubleMask<2> b) { return {vorrq_u64(a.v, b.v)}; }
inline Double<2> select(DoubleMask<2> m, Double<2> yes, Double<2> no) { return vbslq_f64(m.v, yes.v, no.v); }
inline Double<2> minOf(Double<2> a, Double<2> b) { return select(a < b, a, b); }
inline Double<2> maxOf(Double<2> a, Double<2> b) { return select(b < a, a, b); }
inline Double<1> floorOf(Double<1> a) { return vget_lane_f64(vrndm_f64(vdup_n_f64(a.v)), 0); }

// ---------------------------------------------------------------- words

inline Short<8> asWords(Int<4> a) { return vreinterpretq_s16_s32(a.v); }
inline Int<4> pairProducts(Short<8> a, Short<8> b) {
  return vpaddq_s32(vmull_s16(vget_low_s16(a.v), vget_low_s16(b.v)), vmull_high_s16(a.v, b.v));
}
// Pairs of a word of `a` and one of `b` in the lanes of two registers, and the way back of two registers of results,
// saturated to unsigned words. Which pair lies where is the set's affair.
inline Int<4> firstPairs(Short<8> a, Short<8> b) { return vreinterpretq_s32_s16(vzip1q_s16(a.v, b.v)); }
inline Int<4> secondPairs(Short<8> a, Short<8> b) { return vreinterpretq_s32_s16(vzip2q_s16(a.v, b.v)); }
inline Short<8> packedLikePairs(Int<4> first, Int<4> second) {
  return vreinterpretq_s16_u16(vqmovun_high_s32(vqmovun_s32(first.v), second.v));
}
inline void storeSaturated(Short<8> a, uint8_t *p) { storeAs(p, vqmovun_s16(a.v)); }

// ---------------------------------------------------------------- conversions

constexpr double kPastInts = 2147483648.0;

inline Float<4> toFloat(Int<4> a) { return vcvtq_f32_s32(a.v); }
// Below the range the instructions give INT32_MIN as well; above it, and for a NaN, they don't.
inline Int<4> intsWhereBelowEnd(Float<4> a, Int<4> ints) {
  return select(a < Float<4>(static_cast<float>(kPastInts)), ints, Int<4>(INT32_MIN));
}
// The same bits.
inline Int<4> asInts(Float<4> a) { return vreinterpretq_s32_f32(a.v); }
inline Float<4> asFloats(Int<4> a) { return vreinterpretq_f32_s32(a.v); }

inline Int<4> truncated(Float<4> a) { return intsWhereBelowEnd(a, vcvtq_s32_f32(a.v)); }
inline Int<4> rounded(Float<4> a) { return intsWhereBelowEnd(a, vcvtnq_s32_f32(a.v)); }
// One element converts as lanes do. A cast would let g++ 12 see that a float goes to an integer and comes back, and make
// that one rounding, which gives -0 where the integer gives 0.
inline Int<1> truncated(Float<1> a) {
  return a.v < static_cast<float>(kPastInts) ? vget_lane_s32(vcvt_s32_f32(vdup_n_f32(a.v)), 0) : INT32_MIN;
}
inline Int<1> rounded(Float<1> a) {
  return a.v < static_cast<float>(kPastInts) ? vcvtns_s32_f32(a.v) : INT32_MIN;
}

// Of whole numbers and NaNs.
inline Int<2> intsOf(float64x2_t whole) {
  const uint64x2_t fits =
      vandq_u64(vcgeq_f64(whole, vdupq_n_f64(-kPastInts)), vcltq_f64(whole, vdupq_n_f64(kPastInts)));
  return vmovn_s64(vbslq_s64(fits, vcvtq_s64_f64(whole), vdupq_n_s64(INT32_MIN)));
}
inline Int<2> truncated(Double<2> a) { return intsOf(vrndq_f64(a.v)); }
inline Int<2> rounded(Double<2> a) { return intsOf(vrndnq_f64(a.v)); }
inline Int<1> truncated(Double<1> a) { return vget_lane_s32(truncated(Double<2>(a.v)).v, 0); }

inline Double<2> widened(Float<2> a) { return vcvt_f64_f32(a.v); }
inline Double<2> widened(Int<2> a) { return vcvtq_f64_s64(vmovl_s32(a.v)); }
inline Float<2> narrowed(Double<2> a) { return vcvt_f32_f64(a.v); }
inline Mask<4> narrowed(DoubleMask<4> a) {
  return {vuzp1q_u32(vreinterpretq_u32_u64(a.low.v), vreinterpretq_u32_u64(a.high.v))};
}

template <>
inline Float<4> countedFrom<4>(int32_t first) {
  return vcvtq_f32_s32(vaddq_s32(vdupq_n_s32(first), int32x4_t{0, 1, 2, 3}));
}

// ---------------------------------------------------------------- halves

inline Float<2> lowHalf(Float<4> a) { return vget_low_f32(a.v); }
inline Float<2> highHalf(Float<4> a) { return vget_high_f32(a.v); }
inline Int<2> lowHalf(Int<4> a) { return vget_low_s32(a.v); }
inline Int<2> highHalf(Int<4> a) { return vget_high_s32(a.v); }
inline Float<4> joined(Float<2> low, Float<2> high) { return vcombine_f32(low.v, high.v); }
inline Int<4> joined(Int<2> low, Int<2> high) { return vcombine_s32(low.v, high.v); }

inline void storeAlternating(Int<4> even, Int<4> odd, int32_t *p) {
  Int<4>(vzip1q_s32(even.v, odd.v)).store(p);
  Int<4>(vzip2q_s32(even.v, odd.v)).store(p + 4);
}

// ---------------------------------------------------------------- blocks of four lanes

// Of each block of four lanes, those of `a` and then those of `b`: the sums of neighbouring pairs.
inline Float<4> pairSums(Float<4> a, Float<4> b) { return vpaddq_f32(a.v, b.v); }
inline Float<4> swappedPairs(Float<4> a) { return vextq_f32(a.v, a.v, 2); }
inline float firstOfBlock(Float<4> a, int) { return a.v[0]; }
inline int32_t firstLane(Int<4> a) { return a.v[0]; }
// The bits of all lanes together, in every lane.
inline Int<4> orOfLanes(Int<4> a) {
  const int32x4_t pairs = vorrq_s32(a.v, vextq_s32(a.v, a.v, 2));
  return vorrq_s32(pairs, vrev64q_s32(pairs));
}

// Rows to columns.
inline void transpose(Float<4> (&a)[4]) {
  const float32x4_t ac0 = vzip1q_f32(a[0].v, a[2].v), ac1 = vzip2q_f32(a[0].v, a[2].v);
  const float32x4_t bd0 = vzip1q_f32(a[1].v, a[3].v), bd1 = vzip2q_f32(a[1].v, a[3].v);
  a[0].v = vzip1q_f32(ac0, bd0);
  a[1].v = vzip2q_f32(ac0, bd0);
  a[2].v = vzip1q_f32(ac1, bd1);
  a[3].v = vzip2q_f32(ac1, bd1);
}

// ---------------------------------------------------------------- scattered elements

// Three floats, and not the one behind them; 0 in the last lane.
inline Float<4> loadThree(const float *p) { return joined(Float<2>::load(p), float32x2_t{p[2], 0.0f}); }

// Two floats at `first`, two at `second`.
inline Float<4> loadTwice(const float *first, const float *second) {
  return joined(Float<2>::load(first), Float<2>::load(second));
}

// The x, y and z of four points that lie anywhere, three floats each.
inline void loadPoints(const float *a, const float *b, const float *c, const float *d, Float<4> &x,
                       Float<4> &y, Float<4> &z) {
  const float32x4_t ab = loadTwice(a, b).v, cd = loadTwice(c, d).v;
  x = vuzp1q_f32(ab, cd);
  y = vuzp2q_f32(ab, cd);
  z = Float<4>::of(a[2], b[2], c[2], d[2]);
}

inline Neighbours<4> loadNeighbours(Lanes<4>, const float *row, const int32_t *index) {
  const float32x4_t low = loadTwice(row + index[0], row + index[1]).v;
  const float32x4_t high = loadTwice(row + index[2], row + index[3]).v;
  return {vuzp1q_f32(low, high), vuzp2q_f32(low, high)};
}

inline Neighbours<4> gatherNeighbours(const float *row, Int<4> index) {
  const int32_t at[4] = {index.v[0], index.v[1], index.v[2], index.v[3]};
  return loadNeighbours(Lanes<4>(), row, at);
}

// row[i] and row[i + 1] as a pair of words in the lane of each index i.
inline Int<4> loadWordPairs(Lanes<4>, const uint16_t *row, const int32_t *index) {
  return int32x4_t{loadAs<int32_t>(row + index[0]), loadAs<int32_t>(row + index[1]),
                   loadAs<int32_t>(row + index[2]), loadAs<int32_t>(row + index[3])};
}

struct EightWordPairs {
  Int<4> low, high;
};

inline EightWordPairs loadEightWordPairs(const uint16_t *row, const int32_t *index) {
  return {loadWordPairs(Lanes<4>(), row, index), loadWordPairs(Lanes<4>(), row, index + 4)};
}

inline EightWordPairs loadEightWordPairs(const uint8_t *row, const int32_t *index) {
  uint16x8_t pairs{};
  for (int k = 0; k < 8; ++k) pairs[k] = loadAs<uint16_t>(row + index[k]);
  const uint8x16_t bytes = vreinterpretq_u8_u16(pairs);
  return {vreinterpretq_s32_u16(vmovl_u8(vget_low_u8(bytes))), vreinterpretq_s32_u16(vmovl_high_u8(bytes))};
}

}  // namespace vekr::VEKR_ISA

#endif
