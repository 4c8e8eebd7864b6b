// Hit points and masked arithmetic: the doors. Some pointers are not tested [C43].
#include "frame/checks.h"
#include "prmisc/form.h"
#include "prmisc/masked_kernels.h"
#include "vekr.h"

using namespace vekr;

VekStatus vekrHitPoint3DEpsS0_32f_M(const float *pOrigin, const float *const *pDirections,
                                    const float *pDistances, const int32_t *pMask, float *const *pHitPoints,
                                    int32_t length, float eps) {
  if (anyNull(pDistances, pMask, pDirections, pHitPoints)) return vekErrNullPtr;
  if (length < 1) return vekOk;
  const RayForm form = formFor(
      length, allAligned(pDistances, pMask) && planesAligned(pDirections) && planesAligned(pHitPoints));
  VEKR_DISPATCH(ownHitPoint3DEpsS0_32f_M)
  (pOrigin, pDirections, pDistances, pMask, pHitPoints, length, eps, form);
  return vekOk;
}

VekStatus vekrHitPoint3DEpsM0_32f_M(const float *const *pOrigins, const float *const *pDirections,
                                    const float *pDistances, const int32_t *pMask, float *const *pHitPoints,
                                    int32_t length, float eps) {
  if (anyNull(pDistances, pMask, pDirections, pHitPoints, pOrigins)) return vekErrNullPtr;
  if (length < 1) return vekOk;
  const RayForm form = formFor(length, allAligned(pDistances, pMask) && planesAligned(pDirections) &&
                                           planesAligned(pHitPoints) && planesAligned(pOrigins));
  VEKR_DISPATCH(ownHitPoint3DEpsM0_32f_M)
  (pOrigins, pDirections, pDistances, pMask, pHitPoints, length, eps, form);
  return vekOk;
}

VekStatus vekrDot_32f_P3C1M(const float *const *pSrc0, const float *const *pSrc1, const int32_t *pMask,
                            float *pDot, int32_t length) {
  if (anyNull(pSrc0, pSrc1, pMask, pDot)) return vekErrNullPtr;
  if (length < 1) return vekOk;
  VEKR_DISPATCH(ownDot_32f_P3C1M)(pSrc0, pSrc1, pMask, pDot, length);
  return vekOk;
}

VekStatus vekrDotChangeNorm_32f_IM(const float *const *pDirections, const int32_t *pMask,
                                   float *const *pNormals, float *pDot, int32_t length) {
  if (anyNull(pDirections, pMask, pNormals, pDot)) return vekErrNullPtr;
  if (length < 1) return vekOk;
  VEKR_DISPATCH(ownDotChangeNorm_32f_IM)(pDirections, pMask, pNormals, pDot, length);
  return vekOk;
}

VekStatus vekrMul_32f_C1IM(const float *pSrc, const int32_t *pMask, float *pSrcDst, int32_t length) {
  if (length < 1) return vekOk;
  VEKR_DISPATCH(ownMul_32f_C1IM)(pSrc, pMask, pSrcDst, length);
  return vekOk;
}

VekStatus vekrMul_32f_C1P3IM(const float *pSrc, const int32_t *pMask, float *const *pSrcDst, int32_t length) {
  if (anyNull(pSrc, pMask, pSrcDst)) return vekErrNullPtr;
  if (length < 1) return vekOk;
  VEKR_DISPATCH(ownMul_32f_C1P3IM)(pSrc, pMask, pSrcDst, length);
  return vekOk;
}

VekStatus vekrDiv_32f_C1IM(const float *pSrc, const int32_t *pMask, float *pSrcDst, int32_t length) {
  if (anyNull(pSrc, pSrcDst)) return vekErrNullPtr;
  if (length < 1) return vekOk;
  VEKR_DISPATCH(ownDiv_32f_C1IM)(pSrc, pMask, pSrcDst, length);
  return vekOk;
}

VekStatus vekrAddMulMul_32f_AC1P3IM(const float *pScale, const float *pFactor, const float *const *pColour,
                                    const int32_t *pMask, float *const *pAccumulator, int32_t length) {
  if (anyNull(pFactor, pColour, pMask, pAccumulator)) return vekErrNullPtr;
  if (length < 1) return vekOk;
  // pColour plays no part: callers may hand over a colour at any address without leaving the kernel's order [C40].
  const RayForm form = formFor(length, allAligned(pFactor, pMask) && planesAligned(pAccumulator));
  VEKR_DISPATCH(ownAddMulMul_32f_AC1P3IM)(pScale, pFactor, pColour, pMask, pAccumulator, length, form);
  return vekOk;
}

VekStatus vekrDistAttenuationSO_32f_M(const float *pLight, const float *const *pPoints, const int32_t *pMask,
                                      float *pDistance, int32_t length) {
  if (anyNull(pPoints, pMask, pDistance)) return vekErrNullPtr;
  if (length < 1) return vekOk;
  const RayForm form = formFor(length, allAligned(pDistance, pMask) && planesAligned(pPoints));
  VEKR_DISPATCH(ownDistAttenuationSO_32f_M)(pLight, pPoints, pMask, pDistance, length, form);
  return vekOk;
}
