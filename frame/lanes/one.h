// One plain element, so that a loop's remainder runs through the very body of its groups. What takes an instruction even so
// stands with the registers, and so with the architecture: estimates, floorOf, and conversions to integers.
#pragma once

#include "frame/lanes/bytes.h"
#include "frame/lanes/wide.h"

namespace vekr::VEKR_ISA {

template <>
struct Mask<1> {
  bool v;
};

template <>
struct DoubleMask<1> {
  bool v;
};

template <>
struct Int<1> {
  int32_t v;
  Int() = default;
  Int(int32_t x) : v(x) {}
  static Int load(const int32_t *p) { return *p; }
  static Int load(const uint8_t *p) { return *p; }
  static Int load(const uint16_t *p) { return loadAs<uint16_t>(p); }
  static Int load(const int16_t *p) { return loadAs<int16_t>(p); }
  void store(int32_t *p) const { *p = v; }
};

template <>
struct Float<1> {
  float v;
  Float() = default;
  Float(float x) : v(x) {}
  static Float load(const float *p) { return *p; }
  void store(float *p) const { *p = v; }
};

template <>
struct Double<1> {
  double v;
  Double() = default;
  Double(double x) : v(x) {}
  static Double load(const double *p) { return *p; }
  void store(double *p) const { *p = v; }
};

// ---------------------------------------------------------------- masks

inline Mask<1> operator&(Mask<1> a, Mask<1> b) { return {a.v && b.v}; }
inline Mask<1> operator|(Mask<1> a, Mask<1> b) { return {a.v || b.v}; }
inline Mask<1> operator!(Mask<1> a) { return {!a.v}; }
inline int bits(Mask<1> m) { return m.v ? 1 : 0; }

// ---------------------------------------------------------------- floats

inline Float<1> operator+(Float<1> a, Float<1> b) { return a.v + b.v; }
inline Float<1> operator-(Float<1> a, Float<1> b) { return a.v - b.v; }
inline Float<1> operator*(Float<1> a, Float<1> b) { return a.v * b.v; }
inline Float<1> operator/(Float<1> a, Float<1> b) { return a.v / b.v; }
inline Mask<1> operator<(Float<1> a, Float<1> b) { return {a.v < b.v}; }
inline Mask<1> operator<=(Float<1> a, Float<1> b) { return {a.v <= b.v}; }
inline Mask<1> operator==(Float<1> a, Float<1> b) { return {a.v == b.v}; }
inline Float<1> select(Mask<1> m, Float<1> yes, Float<1> no) { return m.v ? yes : no; }
inline Float<1> minOf(Float<1> a, Float<1> b) { return a.v < b.v ? a : b; }
inline Float<1> maxOf(Float<1> a, Float<1> b) { return a.v > b.v ? a : b; }
inline Float<1> sqrtOf(Float<1> a) { return __builtin_sqrtf(a.v); }
inline Float<1> absOf(Float<1> a) { return __builtin_fabsf(a.v); }
inline Float<1> negatedWhere(Mask<1> m, Float<1> a) { return m.v ? -a.v : a.v; }
inline Float<1> kept(Mask<1> m, Float<1> a) { return m.v ? a : Float<1>(0.0f); }

// ---------------------------------------------------------------- integers

inline Int<1> operator+(Int<1> a, Int<1> b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a.v) + static_cast<uint32_t>(b.v));
}
inline Int<1> operator-(Int<1> a, Int<1> b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a.v) - static_cast<uint32_t>(b.v));
}
inline Int<1> operator*(Int<1> a, Int<1> b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a.v) * static_cast<uint32_t>(b.v));
}
inline Int<1> operator&(Int<1> a, Int<1> b) { return a.v & b.v; }
inline Mask<1> operator==(Int<1> a, Int<1> b) { return {a.v == b.v}; }
inline Mask<1> operator<(Int<1> a, Int<1> b) { return {a.v < b.v}; }
inline Mask<1> isNegative(Int<1> a) { return {a.v < 0}; }
inline Int<1> select(Mask<1> m, Int<1> yes, Int<1> no) { return m.v ? yes : no; }

template <int count>
Int<1> shiftedLeft(Int<1> a) {
  return static_cast<int32_t>(static_cast<uint32_t>(a.v) << count);
}
template <int count>
Int<1> shiftedRight(Int<1> a) {
  return a.v >> count;
}

inline void storeSaturated(Int<1> a, uint8_t *p) {
  *p = static_cast<uint8_t>(a.v < 0 ? 0 : a.v > 255 ? 255 : a.v);
}
inline void storeSaturated(Int<1> a, uint16_t *p) {
  storeAs(p, static_cast<uint16_t>(a.v < 0 ? 0 : a.v > 65535 ? 65535 : a.v));
}

// ---------------------------------------------------------------- conversions

inline Float<1> toFloat(Int<1> a) { return static_cast<float>(a.v); }
template <>
inline Float<1> countedFrom<1>(int32_t first) {
  return static_cast<float>(first);
}
inline Double<1> widened(Float<1> a) { return static_cast<double>(a.v); }

// ---------------------------------------------------------------- doubles

inline Double<1> operator+(Double<1> a, Double<1> b) { return a.v + b.v; }

}  // namespace vekr::VEKR_ISA
