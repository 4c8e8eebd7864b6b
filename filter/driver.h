// Driver of the filter: takes arguments that the door has passed, with steps in elements.
#pragma once

#include <cstdint>

#include "vekr.h"

namespace vekr {

void ownrFilter_16s_C1PV(const int16_t *const *pSrc, int32_t srcStep, int16_t *const *pDst, int32_t dstStep,
                         VekrVolumeSize dstSize, const int32_t *pKernel, VekrVolumeSize kernelSize,
                         VekrVolumePoint anchor, int32_t divisor, uint8_t *pBuffer);

}  // namespace vekr
