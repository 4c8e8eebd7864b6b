#include "intersect/lane_forms.h"
#include "intersect/one_ray.h"

namespace vekr {

VekStatus ownIntersectMultipleBlock(const float *pOrigin, const float *const *pDirections,
                                    const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                                    int32_t *pHitTriangles, VekrVolumeSize volume) {
  const auto trace = VEKR_DISPATCH(traceLayersAlone);
  return trace(pOrigin, pDirections, scene, pDistances, pHits, pHitTriangles, volume);
}

void presetLayers(int32_t *pHitTriangles, VekrVolumeSize volume) {
  const int32_t count = wrappingMul(wrappingMul(volume.width, volume.height), volume.depth);
  for (int64_t i = 0; i < count; ++i) pHitTriangles[i] = -1;
}

}  // namespace vekr
