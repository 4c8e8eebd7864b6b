// Lanes that one register doesn't hold: two halves. These are the primary templates; what a set has registers for is
// specialised in this folder's other files. Doubles and 64-bit integers have half as many lanes to a register.
#pragma once

#include <cstdint>

#include "frame/isa.h"

namespace vekr::VEKR_ISA {

// A number of lanes, for functions that none of their arguments tells.
template <int N>
struct Lanes {
  static constexpr int count = N;
};

template <int N>
struct Mask {  // of 32-bit lanes
  Mask<N / 2> low, high;
};

template <int N>
struct DoubleMask {  // of 64-bit lanes
  DoubleMask<N / 2> low, high;
};

template <template <int> class Lanes, int N, class Element>
struct Halves {
  Lanes<N / 2> low, high;
  Halves() = default;
  Halves(Lanes<N / 2> l, Lanes<N / 2> h) : low(l), high(h) {}
  Halves(Element x) : low(x), high(x) {}  // broadcast
  // Integers smaller than the lanes are widened.
  template <class T>
  static Lanes<N> load(const T *p) {
    return {Lanes<N / 2>::load(p), Lanes<N / 2>::load(p + N / 2)};
  }
  void store(Element *p) const {
    low.store(p);
    high.store(p + N / 2);
  }
};

template <int N>
struct Int : Halves<Int, N, int32_t> {
  using Halves<Int, N, int32_t>::Halves;
};

template <int N>
struct Float : Halves<Float, N, float> {
  using Halves<Float, N, float>::Halves;
};

template <int N>
struct Double : Halves<Double, N, double> {
  using Halves<Double, N, double>::Halves;
};

// 16-bit words.
template <int N>
struct Short {
  Short<N / 2> low, high;
  Short() = default;
  Short(Short<N / 2> l, Short<N / 2> h) : low(l), high(h) {}
  static Short load(const void *p) {
    return {Short<N / 2>::load(p), Short<N / 2>::load(static_cast<const char *>(p) + N)};
  }
  void store(void *p) const {
    low.store(p);
    high.store(static_cast<char *>(p) + N);
  }
};

// 64-bit integers: addresses, and offsets in volumes.
template <int N>
struct Long {
  Long<N / 2> low, high;
  Long() = default;
  Long(Long<N / 2> l, Long<N / 2> h) : low(l), high(h) {}
  Long(int64_t x) : low(x), high(x) {}
};

// ---------------------------------------------------------------- half by half

#define VEKR_HALVES_BINARY(Result, name, Lanes)        \
  template <int N>                                     \
  Result<N> name(Lanes<N> a, Lanes<N> b) {             \
    return {name(a.low, b.low), name(a.high, b.high)}; \
  }
#define VEKR_HALVES_UNARY(Result, name, Lanes) \
  template <int N>                             \
  Result<N> name(Lanes<N> a) {                 \
    return {name(a.low), name(a.high)};        \
  }
#define VEKR_HALVES_SELECT(Mask, Lanes)                                         \
  template <int N>                                                              \
  Lanes<N> select(Mask<N> m, Lanes<N> yes, Lanes<N> no) {                       \
    return {select(m.low, yes.low, no.low), select(m.high, yes.high, no.high)}; \
  }

VEKR_HALVES_BINARY(Float, operator+, Float)
VEKR_HALVES_BINARY(Float, operator-, Float)
VEKR_HALVES_BINARY(Float, operator*, Float)
VEKR_HALVES_BINARY(Float, operator/, Float)
VEKR_HALVES_BINARY(Mask, operator<, Float)
VEKR_HALVES_BINARY(Mask, operator<=, Float)
VEKR_HALVES_BINARY(Mask, operator==, Float)
VEKR_HALVES_BINARY(Float, minOf, Float)
VEKR_HALVES_BINARY(Float, maxOf, Float)
VEKR_HALVES_UNARY(Float, absOf, Float)
VEKR_HALVES_UNARY(Float, sqrtOf, Float)
VEKR_HALVES_UNARY(Float, approxReciprocal, Float)
VEKR_HALVES_UNARY(Float, approxReciprocalSqrt, Float)
VEKR_HALVES_SELECT(Mask, Float)

VEKR_HALVES_BINARY(Int, operator+, Int)
VEKR_HALVES_BINARY(Int, operator-, Int)
VEKR_HALVES_BINARY(Int, operator*, Int)
VEKR_HALVES_BINARY(Int, operator&, Int)
VEKR_HALVES_BINARY(Int, operator^, Int)
VEKR_HALVES_BINARY(Mask, operator<, Int)
VEKR_HALVES_BINARY(Mask, operator==, Int)
VEKR_HALVES_BINARY(Int, minOf, Int)
VEKR_HALVES_UNARY(Mask, isNegative, Int)
VEKR_HALVES_UNARY(Float, toFloat, Int)
VEKR_HALVES_UNARY(Int, truncated, Float)
VEKR_HALVES_UNARY(Int, rounded, Float)
VEKR_HALVES_UNARY(Int, asInts, Float)
VEKR_HALVES_UNARY(Float, asFloats, Int)
VEKR_HALVES_SELECT(Mask, Int)

VEKR_HALVES_BINARY(Mask, operator&, Mask)
VEKR_HALVES_BINARY(Mask, operator|, Mask)
VEKR_HALVES_UNARY(Mask, operator!, Mask)

VEKR_HALVES_BINARY(Double, operator+, Double)
VEKR_HALVES_BINARY(Double, operator-, Double)
VEKR_HALVES_BINARY(Double, operator*, Double)
VEKR_HALVES_BINARY(Double, operator/, Double)
VEKR_HALVES_BINARY(DoubleMask, operator<, Double)
VEKR_HALVES_BINARY(DoubleMask, operator<=, Double)
VEKR_HALVES_BINARY(DoubleMask, operator==, Double)
VEKR_HALVES_BINARY(Double, minOf, Double)
VEKR_HALVES_BINARY(Double, maxOf, Double)
VEKR_HALVES_SELECT(DoubleMask, Double)
VEKR_HALVES_BINARY(DoubleMask, operator&, DoubleMask)
VEKR_HALVES_BINARY(DoubleMask, operator|, DoubleMask)

VEKR_HALVES_BINARY(Long, operator+, Long)

#undef VEKR_HALVES_BINARY
#undef VEKR_HALVES_UNARY
#undef VEKR_HALVES_SELECT

template <int N>
Float<N> kept(Mask<N> m, Float<N> a) {
  return {kept(m.low, a.low), kept(m.high, a.high)};
}

template <int N>
Float<N> negatedWhere(Mask<N> m, Float<N> a) {
  return {negatedWhere(m.low, a.low), negatedWhere(m.high, a.high)};
}

template <int N>
Int<N> countedIn(Int<N> count, Mask<N> m) {
  return {countedIn(count.low, m.low), countedIn(count.high, m.high)};
}

// Lane k is on where bit k is set.
template <int N>
Mask<N> maskOfBits(unsigned bitsOfLanes) {
  return joined(maskOfBits<N / 2>(bitsOfLanes & ((1u << N / 2) - 1)),
                maskOfBits<N / 2>(bitsOfLanes >> N / 2));
}

template <int N>
int bits(Mask<N> m) {
  return bits(m.low) | bits(m.high) << N / 2;
}

template <int N>
bool anyOf(Mask<N> m) {
  return anyOf(m.low | m.high);
}

template <int count, int N>
Int<N> shiftedLeft(Int<N> a) {
  return {shiftedLeft<count>(a.low), shiftedLeft<count>(a.high)};
}
template <int count, int N>
Int<N> shiftedRight(Int<N> a) {
  return {shiftedRight<count>(a.low), shiftedRight<count>(a.high)};
}
template <int N>
Int<N> shiftedRight(Int<N> a, int count) {
  return {shiftedRight(a.low, count), shiftedRight(a.high, count)};
}

// Four integers, over and over.
template <int N>
Int<N> loadRepeated(const int32_t *p) {
  return {loadRepeated<N / 2>(p), loadRepeated<N / 2>(p)};
}

template <int N, class T>
void storeSaturated(Int<N> a, T *p) {
  storeSaturated(a.low, p);
  storeSaturated(a.high, p + N / 2);
}

// In each block of four lanes: without the first, and `last` behind the others.
template <int N>
Int<N> shiftedIn(Int<N> a, int32_t last) {
  return {shiftedIn(a.low, last), shiftedIn(a.high, last)};
}

// The lanes of `a` below lane `first`, of `b` from there on.
template <int first, int N>
Int<N> lanesFrom(Int<N> a, Int<N> b) {
  if constexpr (first < N / 2) {
    return {lanesFrom<first>(a.low, b.low), b.high};
  } else {
    return {a.low, lanesFrom<first - N / 2>(a.high, b.high)};
  }
}

// The sums of the two products of each pair of words.
template <int N>
Int<N / 2> pairProducts(Short<N> a, Short<N> b) {
  return {pairProducts(a.low, b.low), pairProducts(a.high, b.high)};
}
template <int N>
Short<2 * N> asWords(Int<N> a) {
  return {asWords(a.low), asWords(a.high)};
}

template <int N>
void loadColumns(const float *const (&rows)[N], int first, Float<N> (&columns)[4]) {
  const float *half[N / 2];
  Float<N / 2> low[4], high[4];
  for (int k = 0; k < N / 2; ++k) half[k] = rows[k];
  loadColumns(half, first, low);
  for (int k = 0; k < N / 2; ++k) half[k] = rows[k + N / 2];
  loadColumns(half, first, high);
  for (int k = 0; k < 4; ++k) columns[k] = {low[k], high[k]};
}

// row[i] and row[i + 1] for each lane's index i.
template <int N>
struct Neighbours {
  Float<N> here, next;
};

template <int N>
Neighbours<N> loadNeighbours(Lanes<N>, const float *row, const int32_t *index) {
  const Neighbours<N / 2> low = loadNeighbours(Lanes<N / 2>(), row, index),
                          high = loadNeighbours(Lanes<N / 2>(), row, index + N / 2);
  return {joined(low.here, high.here), joined(low.next, high.next)};
}

template <int N>
void storeAlternating(Int<N> even, Int<N> odd, int32_t *p) {
  storeAlternating(even.low, odd.low, p);
  storeAlternating(even.high, odd.high, p + N);
}

// ---------------------------------------------------------------- halves of any lanes, and back

template <template <int> class Lanes, int N>
Lanes<N / 2> lowHalf(Lanes<N> a) {
  return a.low;
}
template <template <int> class Lanes, int N>
Lanes<N / 2> highHalf(Lanes<N> a) {
  return a.high;
}
template <template <int> class Lanes, int N>
Lanes<2 * N> joined(Lanes<N> low, Lanes<N> high) {
  return {low, high};
}

// ---------------------------------------------------------------- 64-bit integers

template <int N>
Long<N> productOfLow(Long<N> a, Long<N> b) {
  return {productOfLow(a.low, b.low), productOfLow(a.high, b.high)};
}
template <int count, int N>
Long<N> shiftedLeft(Long<N> a) {
  return {shiftedLeft<count>(a.low), shiftedLeft<count>(a.high)};
}
template <int N>
Long<N> widenedToLong(Int<N> a) {
  return {widenedToLong(lowHalf(a)), widenedToLong(highHalf(a))};
}
template <int N>
Long<N> gatherPointers(const void *list, Int<N> index) {
  return {gatherPointers(list, lowHalf(index)), gatherPointers(list, highHalf(index))};
}
template <int N>
Int<N> gatherWords(Long<N> address) {
  return joined(gatherWords(address.low), gatherWords(address.high));
}

// ---------------------------------------------------------------- numbers in order

// first, first + 1, ... as floats, each rounded by itself. The integers wrap.
template <int N>
Float<N> countedFrom(int32_t first) {
  return joined(countedFrom<N / 2>(first),
                countedFrom<N / 2>(static_cast<int32_t>(static_cast<uint32_t>(first) + N / 2)));
}

// ---------------------------------------------------------------- between singles and doubles

template <int N>
Double<N> widened(Float<N> a) {
  return {widened(lowHalf(a)), widened(highHalf(a))};
}
template <int N>
Double<N> widened(Int<N> a) {
  return {widened(lowHalf(a)), widened(highHalf(a))};
}
template <int N>
Float<N> narrowed(Double<N> a) {
  return joined(narrowed(a.low), narrowed(a.high));
}
template <int N>
Mask<N> narrowed(DoubleMask<N> a) {
  return joined(narrowed(a.low), narrowed(a.high));
}
template <int N>
Int<N> truncated(Double<N> a) {
  return joined(truncated(a.low), truncated(a.high));
}
template <int N>
Int<N> rounded(Double<N> a) {
  return joined(rounded(a.low), rounded(a.high));
}

}  // namespace vekr::VEKR_ISA
