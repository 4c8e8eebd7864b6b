#include "intersect/one_ray.h"
#include "intersect/one_ray_walk.h"

namespace vekr {

namespace {

constexpr float kParallelInverse = std::bit_cast<float>(0x47a3d70au);  // 83886.078125
constexpr float kSegmentFar = std::bit_cast<float>(0x3f800347u);       // 1.0001: no clip, no further margin
constexpr float kSegmentEnd = 1.0f;

// A parallel axis keeps the sign of its component.
void setUpSegment(WalkRay &w) {
  for (int axis = 0; axis < 3; ++axis) {
    const float d = w.ray.direction[axis];
    w.sign[axis] = !(d >= 0.0f);
    w.inverse[axis] = kParallel >= std::fabs(d) ? kParallelInverse : 1.0f / d;
  }
  w.near = 0.0f;
  w.far = kSegmentFar;
}

// The first blocker that the walk meets, or -1.
int32_t findBlocker(const VekrIntersectScene &scene, WalkRay &w) {
  setUpSegment(w);
  int32_t blocker = -1;
  const auto visit = [&](int32_t triangle) {
    const VekrTriangleAccel &record = scene.pTriangles[triangle];
    if (isDegenerate(record)) return true;
    const TriangleTest test(record, w.ray);
    if (!test.inside()) return true;
    const float t = test.num / test.den;
    if (!(kSegmentEnd > t && t > 0.0f)) return true;
    blocker = triangle;
    return false;
  };
  walkTree(scene.pRoot, w, kNodeMargin, visit, [](float far) { return far >= kSegmentEnd; });
  return blocker;
}

}  // namespace

VekStatus ownIntersectAnyBlock(const float *pOrigin, const float *const *pDirections,
                               const VekrIntersectScene &scene, int32_t *pOccluders, int32_t *pMask,
                               VekrBlockSize size) {
  const int64_t rays = static_cast<int64_t>(size.width) * size.height;
  for (int64_t i = 0; i < rays; ++i) {
    pOccluders[i] = -1;
    if (pMask[i] < 0) continue;
    WalkRay w;
    for (int axis = 0; axis < 3; ++axis) {
      w.ray.origin[axis] = pOrigin[axis];
      w.ray.direction[axis] = pDirections[axis][i];
    }
    const int32_t blocker = findBlocker(scene, w);
    if (blocker < 0) continue;
    pMask[i] = -1;
    pOccluders[i] = blocker;
  }
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
