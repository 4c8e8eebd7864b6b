// Blocks of segments from one origin, each of which asks whether anything stands in its way.
#pragma once

#include <bit>
#include <cstdint>

#include "vekr.h"

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

// The least and greatest numbers of records that have been read: those in between are there too.
struct RecordsMet {
  int32_t lowest = INT32_MAX, highest = INT32_MIN;
};

// Segments `first` up to `end`, one after the other.
void traceSegments(const Segments &segments, int64_t first, int64_t end);

// Segments 0 up to `end`: stretches of them that lie apart by apart(segments, first, end, met), those that are like
// their neighbours alone.
void traceSegmentsByStretch(const Segments &segments, int64_t end,
                            void (*apart)(const Segments &, int64_t, int64_t, RecordsMet &));

}  // namespace vekr
