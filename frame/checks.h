// The checks that the doors of exported functions share.
#pragma once

#include <cstdint>

namespace vekr {

template <class... Pointers>
constexpr bool anyNull(const Pointers *...pointers) {
  return ((pointers == nullptr) || ...);
}

// The alignment that decides between the two forms of a ray primitive.
constexpr uintptr_t kVectorAlignment = 16;

template <class... Pointers>
bool allAligned(const Pointers *...pointers) {
  return ((reinterpret_cast<uintptr_t>(pointers) | ...) & (kVectorAlignment - 1)) == 0;
}

// The same for the three planes of a vector quantity.
template <class T>
bool planesAligned(const T *const *planes) {
  return allAligned(planes[0], planes[1], planes[2]);
}

constexpr bool isMultipleOfFour(int32_t count) { return (count & 3) == 0; }

}  // namespace vekr
