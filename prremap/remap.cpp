// Remap: the doors.
#include "frame/checks.h"
#include "prremap/remap_kernels.h"
#include "vekr.h"
#include "volume/threads.h"

using namespace vekr;

namespace {

template <class Voxel>
VekStatus remap(const SourceArguments<Voxel> &source, const CoordinateMaps &maps,
                const DestinationArguments<Voxel> &destination, VekrVolumeSize dstSize,
                int32_t interpolation) {
  if (anyNull(source.planes, destination.planes, maps.planes[0], maps.planes[1], maps.planes[2])) {
    return vekErrNullPtr;
  }
  if (isEmpty(source.size) || isUnfit(source.box) || isEmpty(dstSize)) return vekErrSize;
  const InterpolationKind *const kind = interpolationOf(interpolation);
  if (kind == nullptr) return vekErrInterpolation;
  if (!overlaps(source.box, source.size)) return vekWarnNoOverlap;
  const auto driver =
      VEKR_DISPATCH(ownrRemapInter)->template driver<Voxel>(interpolationFor(*kind, source.size));
  const RemapCall call = {source.view(), destination.view(), maps, dstSize.width, dstSize.height};
  forPlaneShares(dstSize, [&](PlaneShare share, int32_t, int32_t) { driver(call, share); });
  return vekOk;
}

}  // namespace

VekStatus vekrRemap_8u_C1PV(const uint8_t *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                            VekrVolumeBox srcBox, const float *const *pXMap, const float *const *pYMap,
                            const float *const *pZMap, int32_t mapStep, uint8_t *const *pDst, int32_t dstStep,
                            VekrVolumeSize dstSize, int32_t interpolation) {
  return remap<uint8_t>({pSrc, srcSize, srcStep, srcBox}, {{pXMap, pYMap, pZMap}, mapStep}, {pDst, dstStep},
                        dstSize, interpolation);
}

VekStatus vekrRemap_16u_C1PV(const uint16_t *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                             VekrVolumeBox srcBox, const float *const *pXMap, const float *const *pYMap,
                             const float *const *pZMap, int32_t mapStep, uint16_t *const *pDst,
                             int32_t dstStep, VekrVolumeSize dstSize, int32_t interpolation) {
  return remap<uint16_t>({pSrc, srcSize, srcStep, srcBox}, {{pXMap, pYMap, pZMap}, mapStep}, {pDst, dstStep},
                         dstSize, interpolation);
}

VekStatus vekrRemap_32f_C1PV(const float *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                             VekrVolumeBox srcBox, const float *const *pXMap, const float *const *pYMap,
                             const float *const *pZMap, int32_t mapStep, float *const *pDst, int32_t dstStep,
                             VekrVolumeSize dstSize, int32_t interpolation) {
  return remap<float>({pSrc, srcSize, srcStep, srcBox}, {{pXMap, pYMap, pZMap}, mapStep}, {pDst, dstStep},
                      dstSize, interpolation);
}
