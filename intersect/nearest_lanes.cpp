// Nearest hits of single rays, many rays at once. What is found, and in which order of triangles, is told in nearest_alone.cpp
// and, for rays with an origin each, in nearest_one_ray.cpp.
#include "intersect/clip_lanes.h"
#include "intersect/lane_forms.h"
#include "intersect/one_ray.h"
#include "intersect/records_test.h"

namespace vekr::VEKR_ISA {

namespace {

template <class Kind>
struct NearestQuery {
  static constexpr bool kHasOrigins = std::is_same_v<Kind, ManyOriginRays>;
  using Prepared = RaysInRow;
  static constexpr float kMargin = kNodeMargin;

  RaySource source;
  const VekrTriangleAccel *records;
  float *distances, *weightsA, *weightsB;
  int32_t *triangles;
  int64_t ray[kWalkLanes];
  int32_t bestTriangle[kWalkLanes];

  template <int N>
  static Mask<N> isBehind(Float<N> t, Float<N> other) {
    return Float<N>(kMargin) < t - other;
  }

  bool setUp(Prepared &to) {
    return setUpClipped<Kind>(
        source, to, [this](int64_t first, int64_t count) { std::fill_n(triangles + first, count, -1); });
  }

  void begin(int64_t i, int lane) {
    ray[lane] = i;
    bestTriangle[lane] = -1;
  }

  // A hit is to be nearer than this.
  template <class T>
  static T limitOf(T best) {
    if constexpr (kHasOrigins) return best - T(Kind::kHitMargin);
    return best;
  }

  void visitLeaf(LaneRays &rays, int lane, const VekrKDTreeNode *leaf) {
    float &best = rays.best[lane];
    const auto mayHit = [&]<int W>(const RecordsTest<W> &test) {
      const Mask<W> isNearer = test.t < limitOf(Float<W>(best));
      if constexpr (kHasOrigins) return isNearer & !(absOf(test.den) < Float<W>(Kind::kSmallestDen));
      return isNearer;
    };
    const auto take = [&](const Candidate &hit) {
      if (kHasOrigins && hit.triangle == bestTriangle[lane]) return;
      if (!(limitOf(best) > hit.t)) return;
      best = hit.t;
      bestTriangle[lane] = hit.triangle;
      const int64_t i = ray[lane];
      distances[i] = hit.t;
      weightsB[i] = hit.b / hit.scale;
      weightsA[i] = hit.a / hit.scale;
      triangles[i] = hit.triangle;
    };
    testLeaf<RecordsTest>(records, leaf, rays.at(lane), mayHit, take);
  }

  static bool goOn(LaneRays &, int) { return false; }
};

template <class Kind>
void intersectBlock(const float *const *origins, const float *const *pDirections,
                    const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                    int32_t *pHitTriangles, int64_t rays) {
  NearestQuery<Kind> query = {{origins, pDirections, scene.pBox, pDistances, rays, 0},
                              scene.pTriangles,
                              pDistances,
                              pHits[0],
                              pHits[1],
                              pHitTriangles,
                              {},
                              {}};
  LaneWalk<NearestQuery<Kind>>(scene, query).run();
}

}  // namespace

VekStatus ownIntersectBlock_w7(const float *const *pOrigins, const float *const *pDirections,
                               const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                               int32_t *pHitTriangles, VekrBlockSize size) {
  const int64_t rays = static_cast<int64_t>(size.width) * size.height;
  if (rays < kWorthLanes) {
    return ownIntersectBlock(pOrigins, pDirections, scene, pDistances, pHits, pHitTriangles, size);
  }
  intersectBlock<ManyOriginRays>(pOrigins, pDirections, scene, pDistances, pHits, pHitTriangles, rays);
  return vekOk;
}

VekStatus ownIntersectEyeBlock_w7(const float *pOrigin, const float *const *pDirections,
                                  const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                                  int32_t *pHitTriangles, VekrBlockSize size) {
  const int64_t rays = static_cast<int64_t>(size.width) * size.height;
  if (!kEyeRaysPay || rays < kWorthLanes) {
    return ownIntersectEyeBlock(pOrigin, pDirections, scene, pDistances, pHits, pHitTriangles, size);
  }
  const float *const origin[3] = {pOrigin, pOrigin + 1, pOrigin + 2};
  intersectBlock<EyeRays>(origin, pDirections, scene, pDistances, pHits, pHitTriangles, rays);
  return vekOk;
}

}  // namespace vekr::VEKR_ISA
