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

constexpr int kWidestWords = 2 * kWidestGroup;

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

// The same for a pair of words in each lane, each with its pair of weights.
template <int shift, int N>
Int<N> mixedPairs(Int<N> pairs, Int<N> weights) {
  constexpr int32_t kTopBits = static_cast<int32_t>(0x80008000);
  const Int<N> sums = pairProducts(asWords(pairs ^ Int<N>(kTopBits)), asWords(weights));
  return shiftedRightUnsigned<shift>(sums + Int<N>(kFlipped + half<shift>()));
}

template <int N>
void storeWords(Short<N> words, uint16_t *out) {
  words.store(out);
}
template <int N>
void storeWords(Short<N> words, uint8_t *out) {
  storeSaturated(words, out);
}

// N columns of two rows by one pair of weights.
template <int shift, int N, class Out>
void mixColumns(Lanes<N>, const uint16_t *a, const uint16_t *b, FixedPair w, Out *out) {
  const Int<N / 2> weights(pairWord(w));
  const Short<N> near = Short<N>::load(a), far = Short<N>::load(b);
  storeWords(packedLikePairs(mixedPairs<shift>(firstPairs(near, far), weights),
                             mixedPairs<shift>(secondPairs(near, far), weights)),
             out);
}
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
  if constexpr (kWidestWords > 16) groups(Lanes<16>());
  if constexpr (kWidestWords > 8) groups(Lanes<8>());
  groups(Lanes<1>());
}

}  // namespace vekr::VEKR_ISA
