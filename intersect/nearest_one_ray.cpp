// Nearest hits of rays with an origin each, without lanes: four at a time by turns.
#include "intersect/clip.h"
#include "intersect/interleaved.h"
#include "intersect/one_ray.h"

namespace vekr {

namespace {

// Rays with an origin each. In the triangle test every difference from those of one origin is contract [C17].
struct NearestQuery {
  using Kind = ManyOriginRays;
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
    if (isDegenerate(record) || number == bestTriangle) return true;
    const TriangleTest test(record, w.ray);
    if (Kind::kSmallestDen > std::fabs(test.den) || !test.inside()) return true;
    const float t = test.num / test.den;
    if (!(best - Kind::kHitMargin > t && t > 0.0f)) return true;
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

}  // namespace

VekStatus ownIntersectBlock(const float *const *pOrigins, const float *const *pDirections,
                            const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                            int32_t *pHitTriangles, VekrBlockSize size) {
  const int64_t rays = static_cast<int64_t>(size.width) * size.height;
  int64_t i = 0;
  walkInterleaved<OneRayWalk<NearestQuery>>([&](auto &walk) {
    if (i == rays) return false;
    NearestQuery &query = walk.query;
    query.scene = &scene;
    for (int axis = 0; axis < 3; ++axis) {
      query.w.ray.origin[axis] = pOrigins[axis][i];
      query.w.ray.direction[axis] = pDirections[axis][i];
    }
    query.distance = pDistances + i;
    query.weightA = pHits[0] + i;
    query.weightB = pHits[1] + i;
    query.triangle = pHitTriangles + i;
    ++i;
    return true;
  });
  return vekOk;
}

}  // namespace vekr
