// What segments do that walk neither at once nor in kernels: those that are watched, and the one that seeds a packet's cache.
#include <algorithm>

#include "intersect/coherence.h"
#include "intersect/one_ray.h"
#include "intersect/segments.h"

namespace vekr {

namespace {

// A segment by itself while somebody watches; false if it is not wanted.
bool traceWatched(const Segments &segments, int64_t i, Coherence &watcher) {
  segments.occluders[i] = -1;
  if (segments.mask[i] < 0) return false;
  const WalkRay w = segmentRay(segments, i);
  const auto visit = [&](int32_t triangle) {
    const VekrTriangleAccel &record = segments.scene->pTriangles[triangle];
    if (isDegenerate(record)) return true;
    const TriangleTest test(record, w.ray);
    watcher.tests(triangle, test);
    if (!isBlocker(test)) return true;
    markBlocked(segments, i, triangle);
    return false;
  };
  walkLeaves(
      segments.scene->pRoot, w, kNodeMargin,
      [&](const VekrKDTreeNode *leaf) { return forLeafTriangles(leaf, visit); },
      [&](float far) {
        watcher.leafEnds();
        return far >= kSegmentEnd;
      },
      [&](const VekrKDTreeNode *node, Way way) { watcher.at(node, way); });
  return true;
}

}  // namespace

void traceSegmentsByStretch(const Segments &segments, int64_t end, TraceSegments alone, TraceSegments apart) {
  constexpr int64_t kStretch = 2048;
  RecordsMet met;
  Coherence coherence(segments.scene->pRoot);
  for (int64_t i = 0; i < end;) {
    coherence.begin();
    for (; i < end && !coherence.hasEnough(); ++i) {
      if (traceWatched(segments, i, coherence)) coherence.rayEnds();
    }
    const int64_t stretchEnd = std::min(i + kStretch, end);
    const TraceSegments trace = coherence.raysLieApart() ? apart : alone;
    if (i < stretchEnd) trace(segments, i, stretchEnd, met);
    i = stretchEnd;
  }
}

void ownIntersectNearestOccl(const float *pOrigin, const float *const *direction,
                             const VekrTriangleAccel *pTriangles, const VekrKDTreeNode *pRoot, float *pLimit,
                             int32_t *pNearest) {
  WalkRay w;
  for (int axis = 0; axis < 3; ++axis) {
    w.ray.origin[axis] = pOrigin[axis];
    w.ray.direction[axis] = *direction[axis];
  }
  setUpSegment(w);
  constexpr float kHitMargin = std::bit_cast<float>(0x34000000u);  // 1.1920929e-7
  float limit = *pLimit;
  int32_t nearest = -1;
  const auto visit = [&](int32_t triangle) {
    const VekrTriangleAccel &record = pTriangles[triangle];
    if (isDegenerate(record) || triangle == nearest) return true;
    const TriangleTest test(record, w.ray);
    // A test of signs and not of products: a zero counts as positive [C28].
    const int negative = (test.a < 0.0f) + (test.b < 0.0f) + (test.c < 0.0f);
    if (negative != 0 && negative != 3) return true;
    const float t = test.num / test.den;
    if (!(limit - kHitMargin > t && t > 0.0f)) return true;
    limit = t;
    nearest = triangle;
    return true;
  };
  walkTree(pRoot, w, kNodeMargin, visit, [&](float far) { return far >= limit; });
  *pLimit = limit;
  *pNearest = nearest;
}

}  // namespace vekr
