// Filter of 16-bit volumes: the doors.
#include "filter/driver.h"
#include "filter/taps.h"
#include "frame/checks.h"
#include "vekr.h"
#include "volume/region.h"
#include "volume/voxel.h"

using namespace vekr;

VekStatus vekrFilterGetBufSize(VekrVolumeSize dstSize, VekrVolumeSize kernelSize, int32_t nChannel,
                               int32_t *pSize) {
  if (anyNull(pSize)) return vekErrNullPtr;
  if (isEmpty(dstSize) || isEmpty(kernelSize)) return vekErrSize;
  if (nChannel != 1) return vekErrChannel;
  *pSize = bufferBytes(dstSize.width, kernelSize);
  return vekOk;
}

VekStatus vekrFilter_16s_C1PV(const int16_t *const *pSrc, int32_t srcStep, int16_t *const *pDst,
                              int32_t dstStep, VekrVolumeSize dstSize, const int32_t *pKernel,
                              VekrVolumeSize kernelSize, VekrVolumePoint anchor, int32_t divisor,
                              uint8_t *pBuffer) {
  if (anyNull(pSrc, pDst, pKernel, pBuffer)) return vekErrNullPtr;
  if (isEmpty(dstSize) || isEmpty(kernelSize) || divisor == 0) return vekErrSize;
  ownrFilter_16s_C1PV(pSrc, elementStep<int16_t>(srcStep), pDst, elementStep<int16_t>(dstStep), dstSize,
                      pKernel, kernelSize, anchor, divisor, pBuffer);
  return vekOk;
}
