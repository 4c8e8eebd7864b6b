#include "intersect/nearest_one_ray.h"

#include "intersect/one_ray_walk.h"

namespace vekr {

namespace {

// What distinguishes rays from one point and rays with an origin each. Every difference is contract.
struct Eye {
  // Reciprocal of a parallel axis, which clips nothing: a ray outside the slab finds nothing on its walk.
  static constexpr float kParallelInverse = std::bit_cast<float>(0x4e480000u);  // 838860800.0
  static bool missesSlab(float, float, float) { return false; }
  static float toPlane(float plane, float origin, float direction, float) { return (plane - origin) / direction; }
  static bool skips(int32_t, int32_t) { return false; }
  static bool isTooParallel(float) { return false; }
  static bool isNearer(float t, float best) { return best > t; }
};

struct ManyOrigins {
  static constexpr float kParallelInverse = std::bit_cast<float>(0x47a3d70au);  // 83886.078125
  static constexpr float kSmallestDen = std::bit_cast<float>(0x35a00000u);      // 1.1920929e-6
  static constexpr float kHitMargin = std::bit_cast<float>(0x3727c5acu);        // 1e-5
  static bool missesSlab(float low, float origin, float high) { return !(low < origin && origin < high); }
  static float toPlane(float plane, float origin, float, float inverse) { return (plane - origin) * inverse; }
  static bool skips(int32_t triangle, int32_t best) { return triangle == best; }
  static bool isTooParallel(float den) { return kSmallestDen > std::fabs(den); }
  static bool isNearer(float t, float best) { return best - kHitMargin > t; }
};

// Fills reciprocals and signs and clips the ray to the box; false if nothing of it is left.
template <class Kind>
bool clipToBox(const float *box, float limit, WalkRay &w) {
  w.near = 0.0f;
  w.far = limit;
  for (int axis = 0; axis < 3; ++axis) {
    const float d = w.ray.direction[axis], o = w.ray.origin[axis];
    const float low = box[axis], high = box[3 + axis];
    if (std::fabs(d) <= kParallel) {
      w.sign[axis] = 0;
      w.inverse[axis] = Kind::kParallelInverse;
      if (Kind::missesSlab(low, o, high)) return false;
      continue;
    }
    w.sign[axis] = !(d >= 0.0f);
    w.inverse[axis] = 1.0f / d;
    const float t0 = Kind::toPlane(low, o, d, w.inverse[axis]), t1 = Kind::toPlane(high, o, d, w.inverse[axis]);
    const float first = t0 < t1 ? t0 : t1, last = t0 < t1 ? t1 : t0;
    w.near = first > w.near ? first : w.near;
    w.far = last < w.far ? last : w.far;
    if (w.near > w.far) return false;
  }
  w.far = w.far + kBoxMargin;
  return true;
}

template <class Kind>
void intersectRay(const VekrIntersectScene &scene, WalkRay &w, float *pDistance, float *pWeightA, float *pWeightB,
                  int32_t *pTriangle) {
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

// `originOf(i)` gives the address of each component of a ray's origin.
template <class Kind, class OriginOf>
void intersectBlock(const OriginOf &originOf, const float *const *pDirections, const VekrIntersectScene &scene,
                    float *pDistances, float *const *pHits, int32_t *pHitTriangles, VekrBlockSize size) {
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
  intersectBlock<ManyOrigins>([=](int axis, int64_t i) { return pOrigins[axis][i]; }, pDirections, scene, pDistances,
                              pHits, pHitTriangles, size);
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
