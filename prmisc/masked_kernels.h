// Kernels of hit points and masked arithmetic. All of them take `length` of at least 1 and valid pointers.
#pragma once

#include <cstdint>

#include "frame/dispatch.h"
#include "prmisc/form.h"

VEKR_KERNELS(masked_kernels,
             void ownHitPoint3DEpsS0_32f_M(const float *pOrigin, const float *const *pDirections,
                                           const float *pDistances, const int32_t *pMask,
                                           float *const *pHitPoints, int32_t length, float eps, RayForm form);
             void ownHitPoint3DEpsM0_32f_M(const float *const *pOrigins, const float *const *pDirections,
                                           const float *pDistances, const int32_t *pMask,
                                           float *const *pHitPoints, int32_t length, float eps, RayForm form);
             void ownDot_32f_P3C1M(const float *const *pSrc0, const float *const *pSrc1, const int32_t *pMask,
                                   float *pDot, int32_t length);
             void ownDotChangeNorm_32f_IM(const float *const *pDirections, const int32_t *pMask,
                                          float *const *pNormals, float *pDot, int32_t length);
             void ownMul_32f_C1IM(const float *pSrc, const int32_t *pMask, float *pSrcDst, int32_t length);
             void ownMul_32f_C1P3IM(const float *pSrc, const int32_t *pMask, float *const *pSrcDst,
                                    int32_t length);
             void ownDiv_32f_C1IM(const float *pSrc, const int32_t *pMask, float *pSrcDst, int32_t length);
             void ownAddMulMul_32f_AC1P3IM(const float *pScale, const float *pFactor,
                                           const float *const *pColour, const int32_t *pMask,
                                           float *const *pAccumulator, int32_t length, RayForm form);
             void ownDistAttenuationSO_32f_M(const float *pLight, const float *const *pPoints,
                                             const int32_t *pMask, float *pDistance, int32_t length,
                                             RayForm form);)
