#include "intersect/clip.h"
#include "intersect/interleaved.h"
#include "intersect/one_ray.h"
#include "intersect/one_ray_walk.h"

namespace vekr {

namespace {

// What distinguishes the two kinds in the triangle test, where every difference is contract, and in the walk, where it is
// one of speed [C17].
struct Eye : EyeRays {
  // Neighbours go the same way, and the processor foresees their branches.
  static constexpr bool kTakesTurns = false;
  static bool skips(int32_t, int32_t) { return false; }
  static bool isTooParallel(float) { return false; }
  static bool isNearer(float t, float best) { return best > t; }
};

struct ManyOrigins : ManyOriginRays {
  static constexpr bool kTakesTurns = true;
  static bool skips(int32_t triangle, int32_t best) { return triangle == best; }
  static bool isTooParallel(float den) { return kSmallestDen > std::fabs(den); }
  static bool isNearer(float t, float best) { return best - kHitMargin > t; }
};

template <class Kind>
struct NearestQuery {
  static constexpr float kMargin = kNodeMargin;

  const VekrIntersectScene *scene;
  WalkRay w;
  float *distance, *weightA, *weightB;
  int32_t *triangle;
  float best;
  int32_t bestTriangle;

  bool begin() {
    *triangle = bestTriangle = -1;
    best = *distance;
    return clipToBox<Kind>(scene->pBox, best, w);
  }

  bool visit(int32_t number) {
    const VekrTriangleAccel &record = scene->pTriangles[number];
    if (isDegenerate(record) || Kind::skips(number, bestTriangle)) return true;
    const TriangleTest test(record, w.ray);
    if (Kind::isTooParallel(test.den) || !test.inside()) return true;
    const float t = test.num / test.den;
    if (!(Kind::isNearer(t, best) && t > 0.0f)) return true;
    best = t;
    bestTriangle = number;
    *distance = t;
    *weightB = test.b / test.den;
    *weightA = test.a / test.den;
    *triangle = number;
    return true;
  }

  bool done(float far) const { return far >= best; }
};

// `originOf(axis, i)` gives a component of a ray's origin.
template <class Kind, class OriginOf>
void intersectBlock(const OriginOf &originOf, const float *const *pDirections,
                    const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                    int32_t *pHitTriangles, VekrBlockSize size) {
  const int64_t rays = static_cast<int64_t>(size.width) * size.height;
  const auto setUp = [&](NearestQuery<Kind> &query, int64_t i) {
    query.scene = &scene;
    for (int axis = 0; axis < 3; ++axis) {
      query.w.ray.origin[axis] = originOf(axis, i);
      query.w.ray.direction[axis] = pDirections[axis][i];
    }
    query.distance = pDistances + i;
    query.weightA = pHits[0] + i;
    query.weightB = pHits[1] + i;
    query.triangle = pHitTriangles + i;
  };
  if constexpr (Kind::kTakesTurns) {
    int64_t i = 0;
    walkInterleaved<OneRayWalk<NearestQuery<Kind>>>([&](auto &walk) {
      if (i == rays) return false;
      setUp(walk.query, i++);
      return true;
    });
  } else {
    for (int64_t i = 0; i < rays; ++i) {
      NearestQuery<Kind> query;
      setUp(query, i);
      walkAlone(query);
    }
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
