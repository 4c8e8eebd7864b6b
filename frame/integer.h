// Integer arithmetic that callers rely on to wrap in 32 bits [C35].
#pragma once

#include <cstdint>

namespace vekr {

// Static, as kernels for several instruction sets use them and must not share compiled forms.

static constexpr int32_t wrappingMul(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

static constexpr int32_t wrappingAdd(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

constexpr int32_t wrappingSub(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

}  // namespace vekr
