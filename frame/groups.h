// Walks a row in groups of lanes: the widest first, then half as many and so on down to four, then the remainder one by one.
// Bodies are generic lambdas over the lane count, so that every group and the remainder run through the same lines.
#pragma once

#include <cstdint>

#include "frame/lanes.h"

namespace vekr::VEKR_ISA {

// body(Lanes<N>, i) for the groups that cover `begin` to `end` - 1. The body should capture by value what it uses in every
// group: a store of lanes may be to anywhere, so that what it captures by reference is read again after each.
template <class Body>
inline __attribute__((always_inline)) void forGroups(int32_t begin, int32_t end, const Body body) {
  int64_t i = begin;
  for (; i + kWidestGroup <= end; i += kWidestGroup) body(Lanes<kWidestGroup>(), i);
  if constexpr (kWidestGroup > 8) {
    if (i + 8 <= end) {
      body(Lanes<8>(), i);
      i += 8;
    }
  }
  if constexpr (kWidestGroup > 4) {
    for (; i + 4 <= end; i += 4) body(Lanes<4>(), i);
  }
  for (; i < end; ++i) body(Lanes<1>(), i);
}

}  // namespace vekr::VEKR_ISA
