#include "intersect/clip.h"
#include "intersect/one_ray.h"
#include "intersect/one_ray_walk.h"

namespace vekr {

namespace {

// What distinguishes the two kinds in the triangle test. Every difference is contract.
struct Eye : EyeRays {
  static bool skips(int32_t, int32_t) { return false; }
  static bool isTooParallel(float) { return false; }
  static bool isNearer(float t, float best) { return best > t; }
};

struct ManyOrigins : ManyOriginRays {
  static constexpr float kSmallestDen = std::bit_cast<float>(0x35a00000u);  // 1.1920929e-6
  static constexpr float kHitMargin = std::bit_cast<float>(0x3727c5acu);    // 1e-5
  static bool skips(int32_t triangle, int32_t best) { return triangle == best; }
  static bool isTooParallel(float den) { return kSmallestDen > std::fabs(den); }
  static bool isNearer(float t, float best) { return best - kHitMargin > t; }
};

template <class Kind>
void intersectRay(const VekrIntersectScene &scene, WalkRay &w, float *pDistance, float *pWeightA,
                  float *pWeightB, int32_t *pTriangle) {
  *pTriangle = -1;
  if (!clipToBox<Kind>(scene.pBox, *pDistance, w)) return;
  float best = *pDistance;
  int32_t bestTriangle = -1;
  const auto visit = [&](int32_t triangle) {
    const VekrTriangleAccel &record = scene.pTriangles[triangle];
    if (isDegenerate(record) || Kind::skips(triangle, bestTriangle)) return true;
    const TriangleTest test(record, w.ray);
    if (Kind::isTooParallel(test.den) || !test.inside()) return true;
    const float t = test.num / test.den;
    if (!(Kind::isNearer(t, best) && t > 0.0f)) return true;
    best = t;
    bestTriangle = triangle;
    *pDistance = t;
    *pWeightB = test.b / test.den;
    *pWeightA = test.a / test.den;
    *pTriangle = triangle;
    return true;
  };
  walkTree(scene.pRoot, w, kNodeMargin, visit, [&](float far) { return far >= best; });
}

// `originOf(axis, i)` gives a component of a ray's origin.
template <class Kind, class OriginOf>
void intersectBlock(const OriginOf &originOf, const float *const *pDirections,
                    const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                    int32_t *pHitTriangles, VekrBlockSize size) {
  const int64_t rays = static_cast<int64_t>(size.width) * size.height;
  for (int64_t i = 0; i < rays; ++i) {
    WalkRay w;
    for (int axis = 0; axis < 3; ++axis) {
      w.ray.origin[axis] = originOf(axis, i);
      w.ray.direction[axis] = pDirections[axis][i];
    }
    intersectRay<Kind>(scene, w, pDistances + i, pHits[0] + i, pHits[1] + i, pHitTriangles + i);
  }
}

}  // namespace

VekStatus ownIntersectBlock(const float *const *pOrigins, const float *const *pDirections,
                            const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                            int32_t *pHitTriangles, VekrBlockSize size) {
  intersectBlock<ManyOrigins>([=](int axis, int64_t i) { return pOrigins[axis][i]; }, pDirections, scene,
                              pDistances, pHits, pHitTriangles, size);
  return vekOk;
}

VekStatus ownIntersectEyeBlock(const float *pOrigin, const float *const *pDirections,
                               const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                               int32_t *pHitTriangles, VekrBlockSize size) {
  intersectBlock<Eye>([=](int axis, int64_t) { return pOrigin[axis]; }, pDirections, scene, pDistances, pHits,
                      pHitTriangles, size);
  return vekOk;
}

}  // namespace vekr
