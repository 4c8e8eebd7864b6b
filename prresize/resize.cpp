// Resize: the doors.
#include "frame/checks.h"
#include "frame/integer.h"
#include "prresize/driver.h"
#include "vekcore/vekcore.h"
#include "volume/region.h"
#include "volume/threads.h"

using namespace vekr;

namespace {

struct Factors {
  ResizeFactors factors, shifts;
};

// Not forked.
template <class Voxel>
VekStatus resizeList(const Voxel *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep, VekrVolumeBox srcBox,
                     Voxel *const *pDst, int32_t dstStep, VekrVolumeBox dstBox, const Factors &by,
                     int32_t interpolation, uint8_t *pBuffer) {
  VekrResizeParams region;
  const VekStatus status = ownrPreludeToResize(pSrc, srcSize, pDst, interpolation, pBuffer, srcBox, dstBox,
                                               by.factors, by.shifts, &region);
  if (status != vekOk) return status;
  using Source = Volume<PlaneList<const Voxel>, const Voxel>;
  using Destination = Volume<PlaneList<Voxel>, Voxel>;
  ownrResize<Voxel>(ResizeCall<Source, Destination>{{{pSrc}, elementStep<Voxel>(srcStep)},
                                                    srcSize,
                                                    {{pDst}, elementStep<Voxel>(dstStep)},
                                                    region,
                                                    interpolation,
                                                    pBuffer});
  return vekOk;
}

// Each thread has a part of the buffer to itself, of the size for one: the buffer has as many as the library may use threads.
template <class Call>
void forkPlanes(const Call &call, int32_t bytesOfThread) {
  const VekrResizeParams &region = call.region;
  forPlaneShares({region.width, region.height, region.depth}, [&](PlaneShare share, int32_t self, int32_t) {
    Call part = call;
    part.region.zBegin += share.first;
    part.region.depth = share.count;
    part.buffer += int64_t{bytesOfThread} * self;
    ownrResize<float>(part);
  });
}

template <class Voxel>
VekStatus resizeBlock(const Voxel *pSrc, VekrVolumeSize srcSize, int32_t srcStep, int32_t srcPlaneStep,
                      VekrVolumeBox srcBox, Voxel *pDst, int32_t dstStep, int32_t dstPlaneStep,
                      VekrVolumeBox dstBox, const Factors &by, int32_t interpolation, uint8_t *pBuffer) {
  VekrResizeParams region;
  const VekStatus status = ownrPreludeToResize(pSrc, srcSize, pDst, interpolation, pBuffer, srcBox, dstBox,
                                               by.factors, by.shifts, &region);
  if (status != vekOk) return status;
  using Source = Volume<PlaneBlock<const Voxel>, const Voxel>;
  using Destination = Volume<PlaneBlock<Voxel>, Voxel>;
  const ResizeCall<Source, Destination> call = {
      {{pSrc, elementStep<Voxel>(srcPlaneStep)}, elementStep<Voxel>(srcStep)},
      srcSize,
      {{pDst, elementStep<Voxel>(dstPlaneStep)}, elementStep<Voxel>(dstStep)},
      region,
      interpolation,
      pBuffer};
  if constexpr (voxelRow<Voxel>() == kRow32f) {
    const int32_t bytes = ownResizeBufferBytes(dstBox, interpolation);
    if (fitsBuffer(region, interpolation, bytes)) {
      forkPlanes(call, bytes);
      return vekOk;
    }
  }
  ownrResize<Voxel>(call);
  return vekOk;
}

}  // namespace

VekStatus vekrResizeGetBufSize(VekrVolumeBox srcBox, VekrVolumeBox dstBox, int32_t nChannel,
                               int32_t interpolation, int32_t *pSize) {
  if (anyNull(pSize)) return vekErrNullPtr;
  if (isUnfit(srcBox) || isUnfit(dstBox)) return vekErrSize;
  if (nChannel != 1) return vekErrChannel;
  if (!isInterpolation(interpolation)) return vekErrInterpolation;
  *pSize = wrappingMul(ownResizeBufferBytes(dstBox, interpolation), ownGetNumThreads());
  return vekOk;
}

VekStatus vekrResize_8u_C1V(const uint8_t *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                            int32_t srcPlaneStep, VekrVolumeBox srcBox, uint8_t *pDst, int32_t dstStep,
                            int32_t dstPlaneStep, VekrVolumeBox dstBox, double xFactor, double yFactor,
                            double zFactor, double xShift, double yShift, double zShift,
                            int32_t interpolation, uint8_t *pBuffer) {
  return resizeBlock(pSrc, srcSize, srcStep, srcPlaneStep, srcBox, pDst, dstStep, dstPlaneStep, dstBox,
                     {{xFactor, yFactor, zFactor}, {xShift, yShift, zShift}}, interpolation, pBuffer);
}

VekStatus vekrResize_16u_C1V(const uint16_t *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                             int32_t srcPlaneStep, VekrVolumeBox srcBox, uint16_t *pDst, int32_t dstStep,
                             int32_t dstPlaneStep, VekrVolumeBox dstBox, double xFactor, double yFactor,
                             double zFactor, double xShift, double yShift, double zShift,
                             int32_t interpolation, uint8_t *pBuffer) {
  return resizeBlock(pSrc, srcSize, srcStep, srcPlaneStep, srcBox, pDst, dstStep, dstPlaneStep, dstBox,
                     {{xFactor, yFactor, zFactor}, {xShift, yShift, zShift}}, interpolation, pBuffer);
}

VekStatus vekrResize_32f_C1V(const float *pSrc, VekrVolumeSize srcSize, int32_t srcStep, int32_t srcPlaneStep,
                             VekrVolumeBox srcBox, float *pDst, int32_t dstStep, int32_t dstPlaneStep,
                             VekrVolumeBox dstBox, double xFactor, double yFactor, double zFactor,
                             double xShift, double yShift, double zShift, int32_t interpolation,
                             uint8_t *pBuffer) {
  return resizeBlock(pSrc, srcSize, srcStep, srcPlaneStep, srcBox, pDst, dstStep, dstPlaneStep, dstBox,
                     {{xFactor, yFactor, zFactor}, {xShift, yShift, zShift}}, interpolation, pBuffer);
}

VekStatus vekrResize_8u_C1PV(const uint8_t *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                             VekrVolumeBox srcBox, uint8_t *const *pDst, int32_t dstStep,
                             VekrVolumeBox dstBox, double xFactor, double yFactor, double zFactor,
                             double xShift, double yShift, double zShift, int32_t interpolation,
                             uint8_t *pBuffer) {
  return resizeList(pSrc, srcSize, srcStep, srcBox, pDst, dstStep, dstBox,
                    {{xFactor, yFactor, zFactor}, {xShift, yShift, zShift}}, interpolation, pBuffer);
}

VekStatus vekrResize_16u_C1PV(const uint16_t *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                              VekrVolumeBox srcBox, uint16_t *const *pDst, int32_t dstStep,
                              VekrVolumeBox dstBox, double xFactor, double yFactor, double zFactor,
                              double xShift, double yShift, double zShift, int32_t interpolation,
                              uint8_t *pBuffer) {
  return resizeList(pSrc, srcSize, srcStep, srcBox, pDst, dstStep, dstBox,
                    {{xFactor, yFactor, zFactor}, {xShift, yShift, zShift}}, interpolation, pBuffer);
}

VekStatus vekrResize_32f_C1PV(const float *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                              VekrVolumeBox srcBox, float *const *pDst, int32_t dstStep, VekrVolumeBox dstBox,
                              double xFactor, double yFactor, double zFactor, double xShift, double yShift,
                              double zShift, int32_t interpolation, uint8_t *pBuffer) {
  return resizeList(pSrc, srcSize, srcStep, srcBox, pDst, dstStep, dstBox,
                    {{xFactor, yFactor, zFactor}, {xShift, yShift, zShift}}, interpolation, pBuffer);
}
