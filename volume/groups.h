// Walks a row in groups of lanes: the widest first, then four, then the remainder one by one. For kernel files.
#pragma once

#include <cstdint>

#include "frame/simd_int.h"

namespace vekr::VEKR_ISA {

template <int N>
struct LaneCount {
  static constexpr int lanes = N;
};

// body(LaneCount<N>, i) for the groups that cover `begin` to `end` - 1. The body should capture by value what it uses in every
// group: a store of lanes may be to anywhere, so that what it captures by reference is read again after each.
template <class Body>
inline __attribute__((always_inline)) void forLaneGroups(int32_t begin, int32_t end, const Body body) {
  int64_t i = begin;
  for (; i + kWidestGroup <= end; i += kWidestGroup) body(LaneCount<kWidestGroup>(), i);
  if constexpr (kWidestGroup > 4) {
    for (; i + 4 <= end; i += 4) body(LaneCount<4>(), i);
  }
  for (; i < end; ++i) body(LaneCount<1>(), i);
}

}  // namespace vekr::VEKR_ISA
