// Kernels of ray casting. All of them take sizes of at least 1 and valid pointers.
#pragma once

#include <cstdint>

#include "frame/dispatch.h"
#include "prmisc/form.h"
#include "vekr.h"

namespace vekr {

// What a block of eye rays is computed from.
struct EyeGrid {
  float corner[3];
  float stepX[3];
  float stepY[3];
  float x0;  // column and row of the block's first ray
  float y0;
};

}  // namespace vekr

VEKR_KERNELS(cast_kernels, void ownCastEye(const EyeGrid &grid, float *const *pDirections, VekrBlockSize size,
                                           RayForm form);
             void ownCastReflectionRay_32f(const float *const *pIncident, const int32_t *pMask,
                                           const float *const *pNormals, float *const *pReflected,
                                           int32_t length, RayForm form);
             void ownCastShadowSO_32f(const float *pLight, const float *pSurfaceDot,
                                      const float *const *pNormals, const float *const *pPoints,
                                      int32_t *pMask, float *pLightDot, float *const *pShadowDirections,
                                      int32_t length);)
