// Both estimates over many arguments, as one hash each.
#pragma once

#include <bit>
#include <cstdint>

#include "frame/estimates.h"

namespace vekr_test {

// Order counts, and every bit reaches every other in a few steps.
struct EstimateHash {
  uint64_t value = 0xCBF29CE484222325u;
  void take(uint32_t bits) { value = (std::rotl(value, 23) ^ bits) * 0x9E3779B97F4A7C15u; }
};

struct EstimateHashes {
  EstimateHash reciprocal, reciprocalSqrt;
  void take(uint32_t argument) {
    reciprocal.take(vekr::estimatedReciprocalBits(argument));
    reciprocalSqrt.take(vekr::estimatedReciprocalSqrtBits(argument));
  }
};

// Bits of an argument that don't decide, but for whether it is a NaN or infinite, and a NaN's payload.
inline constexpr uint32_t kTrailingBits = 0x7FF;

}  // namespace vekr_test
