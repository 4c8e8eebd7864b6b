#include <algorithm>

#include "intersect/coherence.h"
#include "intersect/one_ray.h"
#include "intersect/one_ray_walk.h"
#include "intersect/segments.h"

namespace vekr {

namespace {

// A parallel axis keeps the sign of its component.
void setUpSegment(WalkRay &w) {
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

// Nobody watches.
struct Unwatched {
  static void at(const VekrKDTreeNode *, Way) {}
  static void leafEnds() {}
  static void tests(int32_t, const TriangleTest &) {}
};

// The first blocker that the walk meets, or -1.
template <class Watcher>
int32_t findBlocker(const VekrIntersectScene &scene, WalkRay &w, Watcher &watcher) {
  setUpSegment(w);
  int32_t blocker = -1;
  const auto visit = [&](int32_t triangle) {
    const VekrTriangleAccel &record = scene.pTriangles[triangle];
    if (isDegenerate(record)) return true;
    const TriangleTest test(record, w.ray);
    watcher.tests(triangle, test);
    if (!test.inside()) return true;
    const float t = test.num / test.den;
    if (!(kSegmentEnd > t && t > 0.0f)) return true;
    blocker = triangle;
    return false;
  };
  walkTree(
      scene.pRoot, w, kNodeMargin, visit,
      [&](float far) {
        watcher.leafEnds();
        return far >= kSegmentEnd;
      },
      [&](const VekrKDTreeNode *node, Way way) { watcher.at(node, way); });
  return blocker;
}

// False if the segment is not wanted.
template <class Watcher>
bool intersectAny(const Segments &segments, int64_t i, Watcher &watcher) {
  segments.occluders[i] = -1;
  if (segments.mask[i] < 0) return false;
  WalkRay w;
  for (int axis = 0; axis < 3; ++axis) {
    w.ray.origin[axis] = segments.origin[axis];
    w.ray.direction[axis] = segments.directions[axis][i];
  }
  const int32_t blocker = findBlocker(*segments.scene, w, watcher);
  if (blocker < 0) return true;
  segments.mask[i] = -1;
  segments.occluders[i] = blocker;
  return true;
}

}  // namespace

void traceSegments(const Segments &shared, int64_t first, int64_t end) {
  const Segments segments = shared;  // in registers, whatever is written
  Unwatched watcher;
  for (int64_t i = first; i < end; ++i) intersectAny(segments, i, watcher);
}

void traceSegmentsByStretch(const Segments &segments, int64_t end,
                            void (*apart)(const Segments &, int64_t, int64_t, RecordsMet &)) {
  constexpr int64_t kStretch = 2048;
  RecordsMet met;
  Coherence coherence(segments.scene->pRoot);
  for (int64_t i = 0; i < end;) {
    coherence.begin();
    for (; i < end && !coherence.hasEnough(); ++i) {
      if (intersectAny(segments, i, coherence)) coherence.rayEnds();
    }
    const int64_t stretchEnd = std::min(i + kStretch, end);
    if (i < stretchEnd && coherence.raysLieApart()) {
      apart(segments, i, stretchEnd, met);
    } else {
      traceSegments(segments, i, stretchEnd);
    }
    i = stretchEnd;
  }
}

VekStatus ownIntersectAnyBlock(const float *pOrigin, const float *const *pDirections,
                               const VekrIntersectScene &scene, int32_t *pOccluders, int32_t *pMask,
                               VekrBlockSize size) {
  const Segments segments = {pOrigin, pDirections, &scene, pOccluders, pMask};
  traceSegments(segments, 0, static_cast<int64_t>(size.width) * size.height);
  return vekOk;
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
