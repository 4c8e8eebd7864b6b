// The third set's lanes without its registers: sixteen of them as two halves of 256 bits each, for builds that run that set's
// kernels on processors without AVX-512 (VEKR_AVX512_IN_HALVES). What the halves of any lanes don't do by wide.h is here, plainly:
// such a build is for tests, and is slow.
#pragma once

#include "frame/lanes/x256.h"

#if defined(VEKR_AVX512_IN_HALVES) && VEKR_REGISTER_FLOATS == 8 && VEKR_GROUP_FLOATS == 16

namespace vekr::VEKR_ISA {

// ---------------------------------------------------------------- with single elements

// Kernels combine the widest lanes with single elements, as registers allow; from templates the elements' lanes aren't deduced.
#define VEKR_WITH_ELEMENTS(Result, name, Lanes) \
  inline Result name(Lanes a, Lanes b) { return {name(a.low, b.low), name(a.high, b.high)}; }

VEKR_WITH_ELEMENTS(Float<16>, operator+, Float<16>)
VEKR_WITH_ELEMENTS(Float<16>, operator-, Float<16>)
VEKR_WITH_ELEMENTS(Float<16>, operator*, Float<16>)
VEKR_WITH_ELEMENTS(Float<16>, operator/, Float<16>)
VEKR_WITH_ELEMENTS(Mask<16>, operator<, Float<16>)
VEKR_WITH_ELEMENTS(Mask<16>, operator<=, Float<16>)
VEKR_WITH_ELEMENTS(Mask<16>, operator==, Float<16>)
VEKR_WITH_ELEMENTS(Float<16>, minOf, Float<16>)
VEKR_WITH_ELEMENTS(Float<16>, maxOf, Float<16>)
VEKR_WITH_ELEMENTS(Int<16>, operator+, Int<16>)
VEKR_WITH_ELEMENTS(Int<16>, operator-, Int<16>)
VEKR_WITH_ELEMENTS(Int<16>, operator*, Int<16>)
VEKR_WITH_ELEMENTS(Int<16>, operator&, Int<16>)
VEKR_WITH_ELEMENTS(Int<16>, operator^, Int<16>)
VEKR_WITH_ELEMENTS(Mask<16>, operator<, Int<16>)
VEKR_WITH_ELEMENTS(Mask<16>, operator==, Int<16>)
VEKR_WITH_ELEMENTS(Int<16>, minOf, Int<16>)
VEKR_WITH_ELEMENTS(Double<8>, operator+, Double<8>)
VEKR_WITH_ELEMENTS(Double<8>, operator-, Double<8>)
VEKR_WITH_ELEMENTS(Double<8>, operator*, Double<8>)
VEKR_WITH_ELEMENTS(Double<8>, operator/, Double<8>)
VEKR_WITH_ELEMENTS(DoubleMask<8>, operator<, Double<8>)
VEKR_WITH_ELEMENTS(DoubleMask<8>, operator<=, Double<8>)

#undef VEKR_WITH_ELEMENTS

inline Float<16> select(Mask<16> m, Float<16> yes, Float<16> no) {
  return {select(m.low, yes.low, no.low), select(m.high, yes.high, no.high)};
}
inline Int<16> select(Mask<16> m, Int<16> yes, Int<16> no) {
  return {select(m.low, yes.low, no.low), select(m.high, yes.high, no.high)};
}

// ---------------------------------------------------------------- integers and words

template <int count>
Int<16> shiftedRightUnsigned(Int<16> a) {
  return {shiftedRightUnsigned<count>(a.low), shiftedRightUnsigned<count>(a.high)};
}
inline Int<16> shiftedRightUnsigned(Int<16> a, Int<16> counts) {
  return {shiftedRightUnsigned(a.low, counts.low), shiftedRightUnsigned(a.high, counts.high)};
}
inline Int<16> firstPairs(Short<32> a, Short<32> b) {
  return {firstPairs(a.low, b.low), firstPairs(a.high, b.high)};
}
inline Int<16> secondPairs(Short<32> a, Short<32> b) {
  return {secondPairs(a.low, b.low), secondPairs(a.high, b.high)};
}
inline Short<32> packedLikePairs(Int<16> first, Int<16> second) {
  return {packedLikePairs(first.low, second.low), packedLikePairs(first.high, second.high)};
}
inline void storeSaturated(Short<32> a, uint8_t *p) {
  storeSaturated(a.low, p);
  storeSaturated(a.high, p + 16);
}

// ---------------------------------------------------------------- parts of a group

// Lanes that are off are neither read nor written; loaded, they are 0.
inline Int<8> loadLanes(Mask<8> m, const int32_t *p) {
  return _mm256_maskload_epi32(p, _mm256_castps_si256(m.v));
}
inline void storeLanes(Mask<8> m, Int<8> a, int32_t *p) {
  _mm256_maskstore_epi32(p, _mm256_castps_si256(m.v), a.v);
}
inline Float<8> loadLanes(Mask<8> m, const float *p) {
  return _mm256_maskload_ps(p, _mm256_castps_si256(m.v));
}
inline void storeLanes(Mask<8> m, Float<8> a, float *p) {
  _mm256_maskstore_ps(p, _mm256_castps_si256(m.v), a.v);
}

inline Int<16> loadLanes(Mask<16> m, const int32_t *p) {
  return {loadLanes(m.low, p), loadLanes(m.high, p + 8)};
}
inline Float<16> loadLanes(Mask<16> m, const float *p) {
  return {loadLanes(m.low, p), loadLanes(m.high, p + 8)};
}
template <class Lanes, class Element>
void storeLanes(Mask<16> m, Lanes a, Element *p) {
  storeLanes(m.low, a.low, p);
  storeLanes(m.high, a.high, p + 8);
}
inline Float<16> loadWanted(Mask<16> m, const float *p) { return loadLanes(m, p); }
inline void storeChanged(Mask<16> m, Float<16> a, float *p) { storeLanes(m, a, p); }

// ---------------------------------------------------------------- blocks of four lanes

inline Float<16> pairSums(Float<16> a, Float<16> b) {
  return {pairSums(a.low, b.low), pairSums(a.high, b.high)};
}
inline Float<16> swappedPairs(Float<16> a) { return {swappedPairs(a.low), swappedPairs(a.high)}; }
inline float firstOfBlock(Float<16> a, int block) {
  return firstOfBlock(block < 2 ? a.low : a.high, block & 1);
}
// Lanes 0, 4, 8, 12, 1, 5, ...
inline Float<16> alternatingBlocks(Float<16> a) {
  float lanes[16], result[16];
  a.store(lanes);
  for (int k = 0; k < 16; ++k) result[k] = lanes[k % 4 * 4 + k / 4];
  return Float<16>::load(result);
}

inline Float<16> loadBlocks(const float *a, const float *b, const float *c, const float *d) {
  return {loadHalves(a, b), loadHalves(c, d)};
}

inline void loadTransposed(const float (*rows)[16], Float<16> (&columns)[16]) {
  for (int k = 0; k < 16; ++k) {
    float column[16];
    for (int row = 0; row < 16; ++row) column[row] = rows[row][k];
    columns[k] = Float<16>::load(column);
  }
}

inline void storeTransposed(const Float<16> (&rows)[4], float (*out)[4]) {
  for (int row = 0; row < 4; ++row) {
    float lanes[16];
    rows[row].store(lanes);
    for (int k = 0; k < 16; ++k) out[k][row] = lanes[k];
  }
}

// ---------------------------------------------------------------- scattered elements

inline Neighbours<16> gatherNeighbours(const float *row, Int<16> index) {
  const Neighbours<8> low = gatherNeighbours(row, index.low), high = gatherNeighbours(row, index.high);
  return {{low.here, high.here}, {low.next, high.next}};
}

inline Neighbours<16> gatherNeighbours(Long<16> address) {
  const Neighbours<8> low = gatherNeighbours(address.low), high = gatherNeighbours(address.high);
  return {{low.here, high.here}, {low.next, high.next}};
}

}  // namespace vekr::VEKR_ISA

#endif
