#include "intersect/clip.h"
#include "intersect/layers.h"
#include "intersect/one_ray.h"

namespace vekr {

namespace {

void walkLayer(const VekrIntersectScene &scene, const WalkRay &w, const LayeredRay &r) {
  float best = *r.row.distance;
  const auto visit = [&](int32_t triangle) {
    const VekrTriangleAccel &record = scene.pTriangles[triangle];
    if (isDegenerate(record) || triangle == r.previous) return true;
    const TriangleTest test(record, w.ray);
    if (!test.inside()) return true;
    const float t = test.num / test.den;
    if (!(best > t && t > 0.0f) || hasPassed(r, triangle)) return true;
    best = t;
    takeHit(r, triangle, t, test.a / test.den, test.b / test.den);
    return true;
  };
  walkTree(scene.pRoot, w, kLayerNodeMargin, visit, [&](float far) { return far >= best; });
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

void presetLayers(int32_t *pHitTriangles, VekrVolumeSize volume) {
  const int32_t count = wrappingMul(wrappingMul(volume.width, volume.height), volume.depth);
  for (int64_t i = 0; i < count; ++i) pHitTriangles[i] = -1;
}

}  // namespace vekr
