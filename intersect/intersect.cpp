// Ray blocks against a scene: the doors. They test nothing; a block of no rays reads and writes nothing.
#include "intersect/one_ray.h"
#include "vekr.h"

using namespace vekr;

namespace {

bool isEmpty(VekrBlockSize size) {
  return size.width < 1 || size.height < 1;
}

}  // namespace

VekStatus vekrIntersectMO_32f(const float *const *pOrigins, const float *const *pDirections,
                              float *pDistances, float *const *pHits, int32_t *pHitTriangles,
                              const VekrIntersectScene *pScene, VekrBlockSize size) {
  if (isEmpty(size)) return vekOk;
  return ownIntersectBlock(pOrigins, pDirections, *pScene, pDistances, pHits, pHitTriangles, size);
}

VekStatus vekrIntersectEyeSO_32f(const float *pOrigin, const float *const *pDirections, float *pDistances,
                                 float *const *pHits, int32_t *pHitTriangles,
                                 const VekrIntersectScene *pScene, VekrBlockSize size) {
  if (isEmpty(size)) return vekOk;
  return ownIntersectEyeBlock(pOrigin, pDirections, *pScene, pDistances, pHits, pHitTriangles, size);
}

VekStatus vekrIntersectAnySO_32f(const float *pOrigin, const float *const *pDirections, int32_t *pOccluders,
                                 int32_t *pMask, VekrBlockSize size, const VekrIntersectScene *pScene) {
  if (isEmpty(size)) return vekOk;
  return ownIntersectAnyBlock(pOrigin, pDirections, *pScene, pOccluders, pMask, size);
}

VekStatus vekrIntersectMultipleSO_32f(const float *pOrigin, const float *const *pDirections,
                                      float *pDistances, float *const *pHits, int32_t *pHitTriangles,
                                      const VekrIntersectScene *pScene, VekrVolumeSize volume) {
  if (isEmpty({volume.width, volume.height})) return vekOk;
  return ownIntersectMultipleBlock(pOrigin, pDirections, *pScene, pDistances, pHits, pHitTriangles, volume);
}
