// Affine warp: the doors.
#include "frame/checks.h"
#include "prwarpa/inverse.h"
#include "prwarpa/warp_kernels.h"
#include "vekr.h"
#include "volume/threads.h"

using namespace vekr;

namespace {

template <class Voxel>
VekStatus warpAffine(const Voxel *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep, VekrVolumeBox srcBox,
                     Voxel *const *pDst, int32_t dstStep, VekrVolumeBox dstBox, const double *pCoeffs,
                     int32_t interpolation) {
  if (anyNull(pSrc, pDst)) return vekErrNullPtr;
  if (isEmpty(srcSize) || isUnfit(srcBox) || isUnfit(dstBox)) return vekErrSize;
  if (isUnusable(pCoeffs)) return vekErrCoeff;
  if (!isInterpolation(interpolation)) return vekErrInterpolation;
  if (!overlaps(srcBox, srcSize)) return vekWarnNoOverlap;
  const RegionBox region = clipped(srcBox, srcSize);
  double inverse[12];
  if (const VekStatus status = ownrGetInverseMatrix(pCoeffs, inverse); status != vekOk) return status;
  WarpDriver *const driver =
      (*VEKR_DISPATCH(ownrWarpAffineInter))[voxelRow<Voxel>()][interpolationFor(interpolation, srcSize)];
  forPlaneShares({dstBox.width, dstBox.height, dstBox.depth}, [&](PlaneShare share, int32_t, int32_t) {
    VekrVolumeBox own = dstBox;
    own.z = wrappingAdd(dstBox.z, share.first);
    own.depth = share.count;
    driver(pSrc, pDst, elementStep<Voxel>(srcStep), dstStep, inverse, region, own);
  });
  return vekOk;
}

}  // namespace

VekStatus vekrWarpAffine_8u_C1PV(const uint8_t *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                                 VekrVolumeBox srcBox, uint8_t *const *pDst, int32_t dstStep,
                                 VekrVolumeBox dstBox, const double *pCoeffs, int32_t interpolation) {
  return warpAffine(pSrc, srcSize, srcStep, srcBox, pDst, dstStep, dstBox, pCoeffs, interpolation);
}

VekStatus vekrWarpAffine_16u_C1PV(const uint16_t *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                                  VekrVolumeBox srcBox, uint16_t *const *pDst, int32_t dstStep,
                                  VekrVolumeBox dstBox, const double *pCoeffs, int32_t interpolation) {
  return warpAffine(pSrc, srcSize, srcStep, srcBox, pDst, dstStep, dstBox, pCoeffs, interpolation);
}

VekStatus vekrWarpAffine_32f_C1PV(const float *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                                  VekrVolumeBox srcBox, float *const *pDst, int32_t dstStep,
                                  VekrVolumeBox dstBox, const double *pCoeffs, int32_t interpolation) {
  return warpAffine(pSrc, srcSize, srcStep, srcBox, pDst, dstStep, dstBox, pCoeffs, interpolation);
}

VekStatus vekrWarpAffineGetBufSize(VekrVolumeBox srcBox, VekrVolumeBox dstBox, int32_t nChannel,
                                   int32_t interpolation, int32_t *pSize) {
  if (anyNull(pSize)) return vekErrNullPtr;
  if (isUnfit(srcBox) || isUnfit(dstBox)) return vekErrSize;
  if (nChannel != 1) return vekErrChannel;
  if (!isInterpolation(interpolation)) return vekErrInterpolation;
  *pSize = 0;
  return vekOk;
}
