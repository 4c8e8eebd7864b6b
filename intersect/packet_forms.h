// The packet forms: tiles of four by four rays. Widths and heights are multiples of four, at least four, and the arrays
// that are walked ray by ray are 16-byte aligned.
#pragma once

#include "frame/dispatch.h"
#include "vekr.h"

VEKR_KERNELS(packet_forms,
             VekStatus ownIntersectEyeBlock4_w7(const float *pOrigin, const float *const *pDirections,
                                                const VekrIntersectScene &scene, float *pDistances,
                                                float *const *pHits, int32_t *pHitTriangles,
                                                VekrBlockSize size);
             VekStatus ownIntersectBlock4_w7(const float *const *pOrigins, const float *const *pDirections,
                                             const VekrIntersectScene &scene, float *pDistances,
                                             float *const *pHits, int32_t *pHitTriangles, VekrBlockSize size);
             VekStatus ownIntersectAnyBlock4_w7(const float *pOrigin, const float *const *pDirections,
                                                const VekrIntersectScene &scene, int32_t *pOccluders,
                                                int32_t *pMask, VekrBlockSize size);
             VekStatus ownIntersectMultipleBlock4_w7(const float *pOrigin, const float *const *pDirections,
                                                     const VekrIntersectScene &scene, float *pDistances,
                                                     float *const *pHits, int32_t *pHitTriangles,
                                                     VekrVolumeSize volume);)
