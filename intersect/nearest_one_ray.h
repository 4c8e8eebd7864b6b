// Nearest hits, one ray at a time. `size` is at least 1 by 1.
#pragma once

#include "vekr.h"

namespace vekr {

VekStatus ownIntersectBlock(const float *const *pOrigins, const float *const *pDirections,
                            const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                            int32_t *pHitTriangles, VekrBlockSize size);
VekStatus ownIntersectEyeBlock(const float *pOrigin, const float *const *pDirections,
                               const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                               int32_t *pHitTriangles, VekrBlockSize size);

}  // namespace vekr
