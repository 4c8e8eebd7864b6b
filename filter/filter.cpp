// Filter of 16-bit volumes: the doors.
#include "filter/driver.h"
#include "frame/checks.h"
#include "vekr.h"
#include "volume/region.h"
#include "volume/size_query.h"

using namespace vekr;

VekStatus vekrFilterGetBufSize(VekrVolumeSize dstSize, VekrVolumeSize kernelSize, int32_t nChannel,
                               int32_t *pSize) {
  const VekStatus status = sizeQueryStatus(pSize, isEmpty(dstSize) || isEmpty(kernelSize), nChannel);
  if (status != vekOk) return status;
  *pSize = bufferBytes(dstSize.width, kernelSize);
  return vekOk;
}

VekStatus vekrFilter_16s_C1PV(const int16_t *const *pSrc, int32_t srcStep, int16_t *const *pDst,
                              int32_t dstStep, VekrVolumeSize dstSize, const int32_t *pKernel,
                              VekrVolumeSize kernelSize, VekrVolumePoint anchor, int32_t divisor,
                              uint8_t *pBuffer) {
  if (anyNull(pSrc, pDst, pKernel, pBuffer)) return vekErrNullPtr;
  if (isEmpty(dstSize) || isEmpty(kernelSize) || divisor == 0) return vekErrSize;
  ownrFilter_16s_C1PV({listVolume(pSrc, srcStep),
                       listVolume(pDst, dstStep),
                       dstSize,
                       {pKernel, kernelSize},
                       anchor,
                       divisor,
                       pBuffer});
  return vekOk;
}
