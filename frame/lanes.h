// Lane types of the kernels: thin enough to see the instruction through them.
//
// Float<N>, Int<N>, Double<N>, Short<N> and Long<N> hold N lanes, Mask<N> and DoubleMask<N> say yes or no for each. N = 1 is
// one plain element, so that a loop's remainder runs through the very body of its groups; up to the width of the set's
// registers N lanes are one register, and beyond it they are two halves, without a word from the kernel. A lane replays the
// scalar order of operations exactly: no operation here is fused or reassociated. Loads and stores take any address.
//
// What holds at every lane count:
//   minOf, maxOf      the second operand where either is a NaN, and where both are zero
//   kept              +0 where the lane is off: nothing of the operand, not even a NaN, comes through
//   truncated         toward zero; INT32_MIN for what doesn't fit
//   rounded           to nearest, ties to even; INT32_MIN for what doesn't fit
//   Int arithmetic    wraps in 32 bits; shiftedRight is arithmetic, shiftedRightUnsigned is not
//   approx...         the estimates of x86's 128-bit instructions, from them or by table (frame/estimates.h)
//
// Everything lives in the namespace of the instruction set that the file is compiled for (frame/isa.h, frame/dispatch.h).
// To add a set: its width in frame/isa.h, a file of its registers in frame/lanes/, a line here.
#pragma once

#include "frame/lanes/four.h"
#include "frame/lanes/halves512.h"
#include "frame/lanes/neon.h"
#include "frame/lanes/one.h"
#include "frame/lanes/wide.h"
#include "frame/lanes/x128.h"
#include "frame/lanes/x256.h"
#include "frame/lanes/x512.h"
#include "frame/lanes/x512_moves.h"

namespace vekr::VEKR_ISA {

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

// The low bits, without saturation.
template <int N>
void storeLow(Int<N> a, uint8_t *p) {
  storeSaturated(a & Int<N>(0xFF), p);
}
template <int N>
void storeLow(Int<N> a, uint16_t *p) {
  storeSaturated(a & Int<N>(0xFFFF), p);
}

// For planes with a mask. What the lanes that are off hold is open; they are read only if the set can't but read them
// (kMasksMemory).
template <int N>
Float<N> loadWanted(Mask<N>, const float *p) {
  return Float<N>::load(p);
}
// Lanes that are off have to hold what lies there already: it is written back if the set can't but write it.
template <int N>
void storeChanged(Mask<N>, Float<N> a, float *p) {
  a.store(p);
}

// Asks for a line of memory that will be read soon. Inlined by force, as g++ drops calls of functions that do nothing else.
[[gnu::always_inline]] inline void prefetchLine(const void *p) { __builtin_prefetch(p, 0, 3); }

}  // namespace vekr::VEKR_ISA
