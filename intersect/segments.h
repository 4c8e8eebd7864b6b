// Blocks of segments from one origin, each of which asks whether anything stands in its way.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>

#include "intersect/one_ray_walk.h"

namespace vekr {

constexpr float kSegmentParallelInverse = std::bit_cast<float>(0x47a3d70au);  // 83886.078125
constexpr float kSegmentFar = std::bit_cast<float>(0x3f800347u);  // 1.0001: no clip, no further margin
constexpr float kSegmentEnd = 1.0f;

struct Segments {
  const float *origin;
  const float *const *directions;
  const VekrIntersectScene *scene;
  int32_t *occluders, *mask;
};

// Functions in headers are static: kernels for several instruction sets use them, and must not share compiled forms.

// Fills in what the walk needs besides origin and direction. A parallel axis keeps the sign of its component.
static inline void setUpSegment(WalkRay &w) {
  int octant = 0;
  for (int axis = 0; axis < 3; ++axis) {
    const float d = w.ray.direction[axis];
    octant |= !(d >= 0.0f) << axis;
    w.inverse[axis] = kParallel >= std::fabs(d) ? kSegmentParallelInverse : 1.0f / d;
  }
  w.nearChildren = nearChildrenIn(octant);
  w.near = 0.0f;
  w.far = kSegmentFar;
}

static inline WalkRay segmentRay(const Segments &segments, int64_t i) {
  WalkRay w;
  for (int axis = 0; axis < 3; ++axis) {
    w.ray.origin[axis] = segments.origin[axis];
    w.ray.direction[axis] = segments.directions[axis][i];
  }
  setUpSegment(w);
  return w;
}

// Whether the triangle of a test is met by the segment.
static inline bool isBlocker(const TriangleTest &test) {
  if (!test.inside()) return false;
  const float t = test.num / test.den;
  return kSegmentEnd > t && t > 0.0f;
}

// The same of a record.
static inline bool isBlocked(const VekrTriangleAccel &record, const Ray &segment) {
  return !isDegenerate(record) && isBlocker(TriangleTest(record, segment));
}

static inline void markBlocked(const Segments &segments, int64_t i, int32_t blocker) {
  segments.mask[i] = -1;
  segments.occluders[i] = blocker;
}

// The least and greatest of numbers whose records have been read: those in between are there too.
struct RecordsMet {
  int32_t lowest = INT32_MAX, highest = INT32_MIN;
};

// A way to trace segments from the second argument up to the third.
using TraceSegments = void (*)(const Segments &, int64_t, int64_t, RecordsMet &);

// Segments 0 up to `end`: stretches of them that lie apart by one way, those that are like their neighbours by the other.
void traceSegmentsByStretch(const Segments &segments, int64_t end, TraceSegments alone, TraceSegments apart);

}  // namespace vekr
