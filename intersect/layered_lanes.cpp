// Layered hits of single rays, many rays at once: what is found is told in layers.h and layered_alone.cpp. A ray keeps its lane
// from layer to layer.
#include "intersect/clip_lanes.h"
#include "intersect/lane_forms.h"
#include "intersect/layers.h"
#include "intersect/records_test.h"

namespace vekr::VEKR_ISA {

namespace {

struct LayeredQuery {
  using Prepared = RaysInRow;
  static constexpr float kMargin = kLayerNodeMargin;

  RaySource source;
  const VekrTriangleAccel *records;
  LayerRow results;  // of ray 0
  int32_t depth;
  LayeredRay ray[kWalkLanes];

  template <int N>
  static Mask<N> isBehind(Float<N> t, Float<N> other) {
    return Float<N>(kMargin) < t - other;
  }

  bool setUp(Prepared &to) {
    return setUpClipped<EyeRays>(source, to, [](int64_t, int64_t) {});
  }

  void begin(int64_t i, int lane) { ray[lane] = firstLayer(behind(results, i)); }

  void visitLeaf(LaneRays &rays, int lane, const VekrKDTreeNode *leaf) {
    float &best = rays.best[lane];
    const LayeredRay &r = ray[lane];
    const auto mayHit = [&]<int W>(const RecordsTest<W> &test) { return test.t < Float<W>(best); };
    const auto take = [&](const Candidate &hit) {
      if (hit.triangle == r.previous || !(best > hit.t)) return;
      if (hasPassed(r, hit.triangle)) return;
      best = hit.t;
      takeHit(r, hit.triangle, hit.t, hit.a / hit.scale, hit.b / hit.scale);
    };
    testLeaf<RecordsTest>(records, leaf, rays.at(lane), mayHit, take);
  }

  bool goOn(LaneRays &rays, int lane) {
    WalkRay w;
    w.ray = rays.at(lane);
    for (int c = 0; c < 3; ++c) w.inverse[c] = rays.inverse[c][lane];
    if (!goToNextLayer(ray[lane], source.box, source.rays, depth, w)) return false;
    for (int c = 0; c < 3; ++c) rays.origin[c][lane] = w.ray.origin[c];
    rays.near[lane] = w.near;
    rays.far[lane] = w.far;
    rays.best[lane] = *ray[lane].row.distance;
    return true;
  }
};

}  // namespace

VekStatus ownIntersectMultipleBlock_w7(const float *pOrigin, const float *const *pDirections,
                                       const VekrIntersectScene &scene, float *pDistances,
                                       float *const *pHits, int32_t *pHitTriangles, VekrVolumeSize volume) {
  const int64_t rays = static_cast<int64_t>(volume.width) * volume.height;
  if (!kEyeRaysPay || rays < kWorthLanes) {
    return ownIntersectMultipleBlock(pOrigin, pDirections, scene, pDistances, pHits, pHitTriangles, volume);
  }
  presetLayers(pHitTriangles, volume);
  const float *const origin[3] = {pOrigin, pOrigin + 1, pOrigin + 2};
  LayeredQuery query = {{origin, pDirections, scene.pBox, pDistances, rays, 0},
                        scene.pTriangles,
                        {pDistances, pHits[0], pHits[1], pHitTriangles},
                        volume.depth,
                        {}};
  LaneWalk<LayeredQuery>(scene, query).run();
  return vekOk;
}

}  // namespace vekr::VEKR_ISA
