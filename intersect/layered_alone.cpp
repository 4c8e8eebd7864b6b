// Layered hits of single rays, one after the other.
#include "intersect/clip.h"
#include "intersect/lane_forms.h"
#include "intersect/layers.h"
#include "intersect/records_test.h"

namespace vekr::VEKR_ISA {

namespace {

// Out of line, for the walk's sake, and with all that it calls.
[[gnu::noinline]] VEKR_FLATTEN void testList(const VekrTriangleAccel *records, const VekrKDTreeNode *leaf,
                                             const Ray &ray, const LayeredRay &r, float &best) {
  const auto mayHit = [&]<int W>(const RecordsTest<W> &test) { return test.t < Float<W>(best); };
  const auto take = [&](const Candidate &hit) {
    if (hit.triangle == r.previous || !(best > hit.t) || hasPassed(r, hit.triangle)) return;
    best = hit.t;
    takeHit(r, hit.triangle, hit.t, hit.a / hit.scale, hit.b / hit.scale);
  };
  testNumbers<RecordsTest>(records, leafList(leaf), leafTriangleCount(*leaf), ray, mayHit, take);
}

void walkLayer(const VekrIntersectScene &scene, const WalkRay &w, const LayeredRay &r) {
  const VekrTriangleAccel *records = scene.pTriangles;
  float best = *r.row.distance;
  const auto visit = [&](int32_t triangle) {
    if (isDegenerate(records[triangle]) || triangle == r.previous) return true;
    const TriangleTest test(records[triangle], w.ray);
    if (!test.inside()) return true;
    const float t = test.num / test.den;
    if (!(best > t && t > 0.0f) || hasPassed(r, triangle)) return true;
    best = t;
    takeHit(r, triangle, t, test.a / test.den, test.b / test.den);
    return true;
  };
  const auto visitLeaf = [&](const VekrKDTreeNode *leaf) {
    if (!isWorthGroups(*leaf)) return forLeafTriangles(leaf, visit);
    testList(records, leaf, w.ray, r, best);
    return true;
  };
  walkLeaves(scene.pRoot, w, kLayerNodeMargin, visitLeaf, [&](float far) { return far >= best; });
}

}  // namespace

VekStatus ownIntersectMultipleBlock(const float *pOrigin, const float *const *pDirections,
                                    const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                                    int32_t *pHitTriangles, VekrVolumeSize volume) {
  presetLayers(pHitTriangles, volume);
  const int64_t rays = static_cast<int64_t>(volume.width) * volume.height;
  for (int64_t i = 0; i < rays; ++i) {
    WalkRay w;
    for (int axis = 0; axis < 3; ++axis) {
      w.ray.origin[axis] = pOrigin[axis];
      w.ray.direction[axis] = pDirections[axis][i];
    }
    if (!clipToBox<EyeRays>(scene.pBox, pDistances[i], w)) continue;
    LayeredRay ray = firstLayer({pDistances + i, pHits[0] + i, pHits[1] + i, pHitTriangles + i});
    do {
      walkLayer(scene, w, ray);
    } while (goToNextLayer(ray, scene.pBox, rays, volume.depth, w));
  }
  return vekOk;
}

}  // namespace vekr::VEKR_ISA
