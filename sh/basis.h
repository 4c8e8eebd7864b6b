// What the doors of the spherical harmonics tell their kernels.
#pragma once

#include <cstdint>

#include "vekr.h"

namespace vekr {

// Which functions are wanted, and by which evaluator.
struct Basis {
  uint32_t highest;          // highest band, 0 to kHighestBand
  const float *recurrenceA;  // tables of the recurrent evaluator; null: direct
  const float *recurrenceB;
};

// Both helpers are static: kernel files, which are compiled for several instruction sets, use them too, and must not
// share one copy.

// Number of functions of the bands 0 to `highest`: the length of a direction's block.
static constexpr int valuesUpTo(uint32_t highest) { return static_cast<int>((highest + 1) * (highest + 1)); }

// Tables and terms are triangular: entry m of band l, m = 0 to l.
static constexpr uint32_t triangularIndex(uint32_t l, uint32_t m) { return l * (l + 1) / 2 + m; }

// Both evaluators behind the door of vekrSH_32f, in the order of its arguments.
// Errors: vekErrBadArg (L above 15). N below 1: nothing is read or written.
VekStatus ownrSH15direct_32f(const float *pX, const float *pY, const float *pZ, int32_t N, float *pDst,
                             uint32_t L);
VekStatus ownrSHrecurr_32f(const float *pRecurA, const float *pRecurB, const float *pX, const float *pY,
                           const float *pZ, int32_t N, float *pDst, uint32_t L);

}  // namespace vekr
