// Arithmetic on the polygons of patches.
#pragma once

#include <cstdint>

#include "frame/lanes.h"
#include "pr_avlopsahopt/psah_state.h"

namespace vekr {

constexpr uint32_t kVertexCountMask = 31;
constexpr int kTriangleShift = 5;

inline int32_t vertexCountOf(const VekrPatch &patch) {
  return static_cast<int32_t>(patch.word0 & kVertexCountMask);
}
inline int32_t triangleOf(const VekrPatch &patch) {
  return static_cast<int32_t>(patch.word0) >> kTriangleShift;
}

// Fields of an extreme mask.
inline int32_t highestVertex(uint32_t mask, int32_t axis) {
  return static_cast<int32_t>(mask >> (5 * axis) & 31);
}
inline int32_t lowestVertex(uint32_t mask, int32_t axis) {
  return static_cast<int32_t>(mask >> (15 + 5 * axis) & 31);
}

// Where the edge from `a` to `b` meets the plane. In double from widened floats, rounded once; the plane's own
// component is exact, so that both parts of a cut polygon end on the plane itself.
inline void pointOnEdge(const float *a, const float *b, int32_t axis, float plane, float *out) {
  const double t = (static_cast<double>(plane) - static_cast<double>(a[axis])) /
                   (static_cast<double>(b[axis]) - static_cast<double>(a[axis]));
  for (int i = 0; i < 3; ++i) {
    const double from = a[i], to = b[i];
    out[i] = static_cast<float>(from + (to - from) * t);
  }
  out[axis] = plane;
}

// Computes mask and bounds of a polygon of at least three vertices. Of equal coordinates the earliest vertex counts [C97],
// for the least and for the greatest.
inline void measurePolygon(const float *const *vertices, int32_t count, uint32_t *mask,
                           VekrPatchBounds *bounds) {
  using Lanes4 = VEKR_ISA::Float<4>;
  using Numbers = VEKR_ISA::Int<4>;
  Lanes4 low = VEKR_ISA::loadThree(vertices[0]), high = low;
  Numbers lowIndex = 0, highIndex = 0;
  for (int32_t i = 1; i < count; ++i) {
    const Lanes4 v = VEKR_ISA::loadThree(vertices[i]);
    const auto keepHigh = high >= v, keepLow = low <= v;
    high = select(keepHigh, high, v);
    low = select(keepLow, low, v);
    highIndex = select(keepHigh, highIndex, Numbers(i));
    lowIndex = select(keepLow, lowIndex, Numbers(i));
  }
  low.store(bounds->low);
  high.store(bounds->high);
  const int32_t highUnits[4] = {1, 1 << 5, 1 << 10, 0}, lowUnits[4] = {1 << 15, 1 << 20, 1 << 25, 0};
  const Numbers fields = highIndex * Numbers::load(highUnits) + lowIndex * Numbers::load(lowUnits);
  *mask = static_cast<uint32_t>(firstLane(orOfLanes(fields)));
}

}  // namespace vekr
