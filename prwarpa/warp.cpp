// Affine warp: the doors.
#include "frame/checks.h"
#include "prwarpa/inverse.h"
#include "prwarpa/warp_kernels.h"
#include "vekr.h"
#include "volume/size_query.h"
#include "volume/threads.h"

using namespace vekr;

namespace {

template <class Voxel>
VekStatus warpAffine(const SourceArguments<Voxel> &source, const DestinationArguments<Voxel> &destination,
                     VekrVolumeBox dstBox, const double *pCoeffs, int32_t interpolation) {
  if (anyNull(source.planes, destination.planes)) return vekErrNullPtr;
  if (isEmpty(source.size) || isUnfit(source.box) || isUnfit(dstBox)) return vekErrSize;
  if (isUnusable(pCoeffs)) return vekErrCoeff;
  const InterpolationKind *const kind = interpolationOf(interpolation);
  if (kind == nullptr) return vekErrInterpolation;
  if (!overlaps(source.box, source.size)) return vekWarnNoOverlap;
  WarpCall call = {source.view(), destination.view(), dstBox, {}};
  if (const VekStatus status = ownrGetInverseMatrix(pCoeffs, call.inverse); status != vekOk) return status;
  const auto driver =
      VEKR_DISPATCH(ownrWarpAffineInter)->template driver<Voxel>(interpolationFor(*kind, source.size));
  // Each share starts its running sums anew [C73].
  forEveryPlaneShare({dstBox.width, dstBox.height, dstBox.depth},
                     [&](PlaneShare share) { driver(call, share); });
  return vekOk;
}

}  // namespace

VekStatus vekrWarpAffine_8u_C1PV(const uint8_t *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                                 VekrVolumeBox srcBox, uint8_t *const *pDst, int32_t dstStep,
                                 VekrVolumeBox dstBox, const double *pCoeffs, int32_t interpolation) {
  return warpAffine<uint8_t>({pSrc, srcSize, srcStep, srcBox}, {pDst, dstStep}, dstBox, pCoeffs,
                             interpolation);
}

VekStatus vekrWarpAffine_16u_C1PV(const uint16_t *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                                  VekrVolumeBox srcBox, uint16_t *const *pDst, int32_t dstStep,
                                  VekrVolumeBox dstBox, const double *pCoeffs, int32_t interpolation) {
  return warpAffine<uint16_t>({pSrc, srcSize, srcStep, srcBox}, {pDst, dstStep}, dstBox, pCoeffs,
                              interpolation);
}

VekStatus vekrWarpAffine_32f_C1PV(const float *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                                  VekrVolumeBox srcBox, float *const *pDst, int32_t dstStep,
                                  VekrVolumeBox dstBox, const double *pCoeffs, int32_t interpolation) {
  return warpAffine<float>({pSrc, srcSize, srcStep, srcBox}, {pDst, dstStep}, dstBox, pCoeffs, interpolation);
}

VekStatus vekrWarpAffineGetBufSize(VekrVolumeBox srcBox, VekrVolumeBox dstBox, int32_t nChannel,
                                   int32_t interpolation, int32_t *pSize) {
  return answerBoxQuery(srcBox, dstBox, nChannel, interpolation, pSize,
                        [](const InterpolationKind &) { return 0; });
}
