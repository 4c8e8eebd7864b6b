// Resize: the doors.
#include <type_traits>

#include "frame/integer.h"
#include "prresize/driver.h"
#include "vekcore/vekcore.h"
#include "volume/size_query.h"
#include "volume/threads.h"

using namespace vekr;

namespace {

// Each thread takes its part of the buffer, as large as the size query says at this moment. Where that is too little for
// one thread, as the size has wrapped or the thread count has grown since the caller asked, one thread does it all.
template <class Call>
void forkPlanes(const Call &call, VekrVolumeBox dstBox) {
  const VekrResizeParams &region = call.region;
  int32_t size = 0;
  forPlaneShares({region.width, region.height, region.depth},
                 [&](PlaneShare share, int32_t self, int32_t team) {
                   Call part = call;
                   if (team > 1) {
#pragma omp master
                     size = wrappingMul(ownResizeBufferBytes(dstBox, call.kind), ownGetNumThreads());
#pragma omp barrier
                     if (fitsBuffer(region, call.kind, size / team)) {
                       part.buffer += int64_t{size} * self / team;
                     } else if (self == 0) {
                       share = {0, region.depth};
                     } else {
                       return;
                     }
                   }
                   part.region.zBegin += share.first;
                   part.region.depth = share.count;
                   ownrResize<float>(part);
                 });
}

template <class Voxel, template <class> class Planes>
VekStatus resize(const Volume<Planes<const Voxel>, const Voxel> &source,
                 const Volume<Planes<Voxel>, Voxel> &destination, const ResizeArguments &arguments) {
  VekrResizeParams region;
  const VekStatus status = ownrPreludeToResize(arguments, &region);
  if (status != vekOk) return status;
  using Source = Volume<Planes<const Voxel>, const Voxel>;
  using Destination = Volume<Planes<Voxel>, Voxel>;
  const InterpolationKind &kind = *interpolationOf(arguments.interpolation);
  const ResizeCall<Source, Destination> call = {source, arguments.srcSize, destination, region,
                                                kind,   arguments.pBuffer};
  if constexpr (std::is_same_v<Destination, BlockVolume<float>>) {
    forkPlanes(call, arguments.dstBox);
  } else {
    ownrResize<Voxel>(call);
  }
  return vekOk;
}

}  // namespace

VekStatus vekrResizeGetBufSize(VekrVolumeBox srcBox, VekrVolumeBox dstBox, int32_t nChannel,
                               int32_t interpolation, int32_t *pSize) {
  return answerBoxQuery(srcBox, dstBox, nChannel, interpolation, pSize, [&](const InterpolationKind &kind) {
    return wrappingMul(ownResizeBufferBytes(dstBox, kind), ownGetNumThreads());
  });
}

VekStatus vekrResize_8u_C1V(const uint8_t *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                            int32_t srcPlaneStep, VekrVolumeBox srcBox, uint8_t *pDst, int32_t dstStep,
                            int32_t dstPlaneStep, VekrVolumeBox dstBox, double xFactor, double yFactor,
                            double zFactor, double xShift, double yShift, double zShift,
                            int32_t interpolation, uint8_t *pBuffer) {
  const ResizeFactors factors = {xFactor, yFactor, zFactor}, shifts = {xShift, yShift, zShift};
  return resize(blockVolume(pSrc, srcStep, srcPlaneStep), blockVolume(pDst, dstStep, dstPlaneStep),
                {pSrc, srcSize, srcBox, pDst, dstBox, factors, shifts, interpolation, pBuffer});
}

VekStatus vekrResize_16u_C1V(const uint16_t *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                             int32_t srcPlaneStep, VekrVolumeBox srcBox, uint16_t *pDst, int32_t dstStep,
                             int32_t dstPlaneStep, VekrVolumeBox dstBox, double xFactor, double yFactor,
                             double zFactor, double xShift, double yShift, double zShift,
                             int32_t interpolation, uint8_t *pBuffer) {
  const ResizeFactors factors = {xFactor, yFactor, zFactor}, shifts = {xShift, yShift, zShift};
  return resize(blockVolume(pSrc, srcStep, srcPlaneStep), blockVolume(pDst, dstStep, dstPlaneStep),
                {pSrc, srcSize, srcBox, pDst, dstBox, factors, shifts, interpolation, pBuffer});
}

VekStatus vekrResize_32f_C1V(const float *pSrc, VekrVolumeSize srcSize, int32_t srcStep, int32_t srcPlaneStep,
                             VekrVolumeBox srcBox, float *pDst, int32_t dstStep, int32_t dstPlaneStep,
                             VekrVolumeBox dstBox, double xFactor, double yFactor, double zFactor,
                             double xShift, double yShift, double zShift, int32_t interpolation,
                             uint8_t *pBuffer) {
  const ResizeFactors factors = {xFactor, yFactor, zFactor}, shifts = {xShift, yShift, zShift};
  return resize(blockVolume(pSrc, srcStep, srcPlaneStep), blockVolume(pDst, dstStep, dstPlaneStep),
                {pSrc, srcSize, srcBox, pDst, dstBox, factors, shifts, interpolation, pBuffer});
}

VekStatus vekrResize_8u_C1PV(const uint8_t *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                             VekrVolumeBox srcBox, uint8_t *const *pDst, int32_t dstStep,
                             VekrVolumeBox dstBox, double xFactor, double yFactor, double zFactor,
                             double xShift, double yShift, double zShift, int32_t interpolation,
                             uint8_t *pBuffer) {
  const ResizeFactors factors = {xFactor, yFactor, zFactor}, shifts = {xShift, yShift, zShift};
  return resize(listVolume(pSrc, srcStep), listVolume(pDst, dstStep),
                {pSrc, srcSize, srcBox, pDst, dstBox, factors, shifts, interpolation, pBuffer});
}

VekStatus vekrResize_16u_C1PV(const uint16_t *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                              VekrVolumeBox srcBox, uint16_t *const *pDst, int32_t dstStep,
                              VekrVolumeBox dstBox, double xFactor, double yFactor, double zFactor,
                              double xShift, double yShift, double zShift, int32_t interpolation,
                              uint8_t *pBuffer) {
  const ResizeFactors factors = {xFactor, yFactor, zFactor}, shifts = {xShift, yShift, zShift};
  return resize(listVolume(pSrc, srcStep), listVolume(pDst, dstStep),
                {pSrc, srcSize, srcBox, pDst, dstBox, factors, shifts, interpolation, pBuffer});
}

VekStatus vekrResize_32f_C1PV(const float *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                              VekrVolumeBox srcBox, float *const *pDst, int32_t dstStep, VekrVolumeBox dstBox,
                              double xFactor, double yFactor, double zFactor, double xShift, double yShift,
                              double zShift, int32_t interpolation, uint8_t *pBuffer) {
  const ResizeFactors factors = {xFactor, yFactor, zFactor}, shifts = {xShift, yShift, zShift};
  return resize(listVolume(pSrc, srcStep), listVolume(pDst, dstStep),
                {pSrc, srcSize, srcBox, pDst, dstBox, factors, shifts, interpolation, pBuffer});
}
