// Arithmetic on the polygons of patches.
#pragma once

#include <smmintrin.h>

#include <cstdint>

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
  const auto load = [](const float *v) {  // reads no more than the three floats
    const __m128 xy = _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(v)));
    return _mm_movelh_ps(xy, _mm_load_ss(v + 2));
  };
  __m128 low = load(vertices[0]), high = low;
  __m128i lowIndex = _mm_setzero_si128(), highIndex = lowIndex;
  for (int32_t i = 1; i < count; ++i) {
    const __m128 v = load(vertices[i]);
    const __m128i index = _mm_set1_epi32(i);
    const __m128 keepHigh = _mm_cmpge_ps(high, v), keepLow = _mm_cmple_ps(low, v);
    high = _mm_blendv_ps(v, high, keepHigh);
    low = _mm_blendv_ps(v, low, keepLow);
    highIndex = _mm_blendv_epi8(index, highIndex, _mm_castps_si128(keepHigh));
    lowIndex = _mm_blendv_epi8(index, lowIndex, _mm_castps_si128(keepLow));
  }
  _mm_storeu_ps(bounds->low, low);
  _mm_storeu_ps(bounds->high, high);
  const __m128i highShift = _mm_setr_epi32(1, 1 << 5, 1 << 10, 0);
  const __m128i lowShift = _mm_setr_epi32(1 << 15, 1 << 20, 1 << 25, 0);
  __m128i fields = _mm_or_si128(_mm_mullo_epi32(highIndex, highShift), _mm_mullo_epi32(lowIndex, lowShift));
  fields = _mm_or_si128(fields, _mm_shuffle_epi32(fields, _MM_SHUFFLE(1, 0, 3, 2)));
  fields = _mm_or_si128(fields, _mm_shuffle_epi32(fields, _MM_SHUFFLE(2, 3, 0, 1)));
  *mask = static_cast<uint32_t>(_mm_cvtsi128_si32(fields));
}

}  // namespace vekr
