// Remap: the doors.
#include "frame/checks.h"
#include "prremap/remap_kernels.h"
#include "vekr.h"
#include "volume/threads.h"

using namespace vekr;

namespace {

template <class Voxel>
VekStatus remap(const Voxel *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep, VekrVolumeBox srcBox,
                const float *const *pXMap, const float *const *pYMap, const float *const *pZMap,
                int32_t mapStep, Voxel *const *pDst, int32_t dstStep, VekrVolumeSize dstSize,
                int32_t interpolation) {
  if (anyNull(pSrc, pDst, pXMap, pYMap, pZMap)) return vekErrNullPtr;
  if (isEmpty(srcSize) || isUnfit(srcBox) || isEmpty(dstSize)) return vekErrSize;
  if (!isInterpolation(interpolation)) return vekErrInterpolation;
  if (!overlaps(srcBox, srcSize)) return vekWarnNoOverlap;
  const RegionBox region = clipped(srcBox, srcSize);
  RemapDriver *const driver =
      (*VEKR_DISPATCH(ownrRemapInter))[voxelRow<Voxel>()][interpolationFor(interpolation, srcSize)];
  forPlaneShares(dstSize, [&](PlaneShare share, int32_t, int32_t) {
    driver(pSrc, pDst + share.first, elementStep<Voxel>(srcStep), dstStep, pXMap + share.first,
           pYMap + share.first, pZMap + share.first, mapStep, region, dstSize.width, dstSize.height,
           share.count);
  });
  return vekOk;
}

}  // namespace

VekStatus vekrRemap_8u_C1PV(const uint8_t *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                            VekrVolumeBox srcBox, const float *const *pXMap, const float *const *pYMap,
                            const float *const *pZMap, int32_t mapStep, uint8_t *const *pDst, int32_t dstStep,
                            VekrVolumeSize dstSize, int32_t interpolation) {
  return remap(pSrc, srcSize, srcStep, srcBox, pXMap, pYMap, pZMap, mapStep, pDst, dstStep, dstSize,
               interpolation);
}

VekStatus vekrRemap_16u_C1PV(const uint16_t *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                             VekrVolumeBox srcBox, const float *const *pXMap, const float *const *pYMap,
                             const float *const *pZMap, int32_t mapStep, uint16_t *const *pDst,
                             int32_t dstStep, VekrVolumeSize dstSize, int32_t interpolation) {
  return remap(pSrc, srcSize, srcStep, srcBox, pXMap, pYMap, pZMap, mapStep, pDst, dstStep, dstSize,
               interpolation);
}

VekStatus vekrRemap_32f_C1PV(const float *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                             VekrVolumeBox srcBox, const float *const *pXMap, const float *const *pYMap,
                             const float *const *pZMap, int32_t mapStep, float *const *pDst, int32_t dstStep,
                             VekrVolumeSize dstSize, int32_t interpolation) {
  return remap(pSrc, srcSize, srcStep, srcBox, pXMap, pYMap, pZMap, mapStep, pDst, dstStep, dstSize,
               interpolation);
}
