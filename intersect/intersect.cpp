// Ray blocks against a scene: the doors. They test nothing; a block of no rays reads and writes nothing. What they do is
// to choose between the packet form and the one-ray form, whose results differ: the rule is contract [C15].
#include "frame/checks.h"
#include "intersect/lane_forms.h"
#include "intersect/packet_forms.h"
#include "vekr.h"

using namespace vekr;

namespace {

bool isEmpty(VekrBlockSize size) { return size.width < 1 || size.height < 1; }

bool isTiled(VekrBlockSize size) { return isMultipleOfFour(size.width) && isMultipleOfFour(size.height); }

bool hitsAligned(const float *pDistances, const float *const *pHits, const int32_t *pHitTriangles) {
  return allAligned(pDistances, pHits[0], pHits[1], pHitTriangles);
}

}  // namespace

VekStatus vekrIntersectMO_32f(const float *const *pOrigins, const float *const *pDirections,
                              float *pDistances, float *const *pHits, int32_t *pHitTriangles,
                              const VekrIntersectScene *pScene, VekrBlockSize size) {
  if (isEmpty(size)) return vekOk;
  const bool packets = isTiled(size) && planesAligned(pOrigins) && planesAligned(pDirections) &&
                       hitsAligned(pDistances, pHits, pHitTriangles);
  const auto form = packets ? VEKR_DISPATCH(ownIntersectBlock4_w7) : VEKR_DISPATCH(ownIntersectBlock_w7);
  return form(pOrigins, pDirections, *pScene, pDistances, pHits, pHitTriangles, size);
}

VekStatus vekrIntersectEyeSO_32f(const float *pOrigin, const float *const *pDirections, float *pDistances,
                                 float *const *pHits, int32_t *pHitTriangles,
                                 const VekrIntersectScene *pScene, VekrBlockSize size) {
  if (isEmpty(size)) return vekOk;
  const bool packets =
      isTiled(size) && planesAligned(pDirections) && hitsAligned(pDistances, pHits, pHitTriangles);
  const auto form =
      packets ? VEKR_DISPATCH(ownIntersectEyeBlock4_w7) : VEKR_DISPATCH(ownIntersectEyeBlock_w7);
  return form(pOrigin, pDirections, *pScene, pDistances, pHits, pHitTriangles, size);
}

VekStatus vekrIntersectAnySO_32f(const float *pOrigin, const float *const *pDirections, int32_t *pOccluders,
                                 int32_t *pMask, VekrBlockSize size, const VekrIntersectScene *pScene) {
  if (isEmpty(size)) return vekOk;
  const bool packets = isTiled(size) && planesAligned(pDirections) && allAligned(pOccluders, pMask);
  const auto form =
      packets ? VEKR_DISPATCH(ownIntersectAnyBlock4_w7) : VEKR_DISPATCH(ownIntersectAnyBlock_w7);
  return form(pOrigin, pDirections, *pScene, pOccluders, pMask, size);
}

VekStatus vekrIntersectMultipleSO_32f(const float *pOrigin, const float *const *pDirections,
                                      float *pDistances, float *const *pHits, int32_t *pHitTriangles,
                                      const VekrIntersectScene *pScene, VekrVolumeSize volume) {
  const VekrBlockSize size = {volume.width, volume.height};
  if (isEmpty(size)) return vekOk;
  const bool packets =
      isTiled(size) && planesAligned(pDirections) && hitsAligned(pDistances, pHits, pHitTriangles);
  const auto form =
      packets ? VEKR_DISPATCH(ownIntersectMultipleBlock4_w7) : VEKR_DISPATCH(ownIntersectMultipleBlock_w7);
  return form(pOrigin, pDirections, *pScene, pDistances, pHits, pHitTriangles, volume);
}
