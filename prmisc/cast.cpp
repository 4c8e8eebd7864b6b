// Ray casting: the doors.
#include "frame/checks.h"
#include "frame/integer.h"
#include "prmisc/cast_kernels.h"
#include "vekr.h"

using namespace vekr;

VekStatus vekrCastEye_32f(const float *pCorner, const float *pStepX, const float *pStepY, int32_t blockStepX,
                          int32_t blockStepY, VekrBlockIndex blockIndex, float *const *pDirections,
                          VekrBlockSize size) {
  if (anyNull(pDirections)) return vekErrNullPtr;
  if (size.width < 1 || size.height < 1) return vekOk;
  const EyeGrid grid = {{pCorner[0], pCorner[1], pCorner[2]},
                        {pStepX[0], pStepX[1], pStepX[2]},
                        {pStepY[0], pStepY[1], pStepY[2]},
                        static_cast<float>(wrappingMul(blockIndex.x, blockStepX)),
                        static_cast<float>(wrappingMul(blockIndex.y, blockStepY))};
  const RayForm form = isMultipleOfFour(size.width) ? RayForm::fourWide : RayForm::plain;
  VEKR_DISPATCH(ownCastEye)(grid, pDirections, size, form);
  return vekOk;
}

VekStatus vekrCastReflectionRay_32f(const float *const *pIncident, const int32_t *pMask,
                                    const float *const *pNormals, float *const *pReflected, int32_t length) {
  if (anyNull(pIncident, pMask, pNormals, pReflected)) return vekErrNullPtr;
  if (length < 1) return vekOk;
  const RayForm form = isMultipleOfFour(length) ? RayForm::fourWide : RayForm::plain;
  VEKR_DISPATCH(ownCastReflectionRay_32f)(pIncident, pMask, pNormals, pReflected, length, form);
  return vekOk;
}

VekStatus vekrCastShadowSO_32f(const float *pLight, const float *pSurfaceDot, const float *const *pNormals,
                               const float *const *pPoints, int32_t *pMask, float *pLightDot,
                               float *const *pShadowDirections, int32_t length) {
  if (anyNull(pSurfaceDot, pNormals, pPoints, pMask, pShadowDirections, pLightDot)) return vekErrNullPtr;
  if (length < 1) return vekOk;
  VEKR_DISPATCH(ownCastShadowSO_32f)
  (pLight, pSurfaceDot, pNormals, pPoints, pMask, pLightDot, pShadowDirections, length);
  return vekOk;
}
