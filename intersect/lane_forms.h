// The one-ray forms. ownIntersectBlock_w7 and its like choose whether rays walk at once, a lane each, or alone, one after the other;
// ownIntersectEyeBlock and its like are the latter (for many origins it is in one_ray.h). Sizes are at least 1 by 1.
#pragma once

#include "frame/dispatch.h"
#include "intersect/segments.h"
#include "vekr.h"

VEKR_KERNELS(lane_forms,
             VekStatus ownIntersectBlock_w7(const float *const *pOrigins, const float *const *pDirections,
                                            const VekrIntersectScene &scene, float *pDistances,
                                            float *const *pHits, int32_t *pHitTriangles, VekrBlockSize size);
             VekStatus ownIntersectEyeBlock_w7(const float *pOrigin, const float *const *pDirections,
                                               const VekrIntersectScene &scene, float *pDistances,
                                               float *const *pHits, int32_t *pHitTriangles,
                                               VekrBlockSize size);
             VekStatus ownIntersectEyeBlock(const float *pOrigin, const float *const *pDirections,
                                            const VekrIntersectScene &scene, float *pDistances,
                                            float *const *pHits, int32_t *pHitTriangles, VekrBlockSize size);
             VekStatus ownIntersectMultipleBlock(const float *pOrigin, const float *const *pDirections,
                                                 const VekrIntersectScene &scene, float *pDistances,
                                                 float *const *pHits, int32_t *pHitTriangles,
                                                 VekrVolumeSize volume);
             VekStatus ownIntersectAnyBlock(const float *pOrigin, const float *const *pDirections,
                                            const VekrIntersectScene &scene, int32_t *pOccluders,
                                            int32_t *pMask, VekrBlockSize size);
             void traceSegmentsAlone(const Segments &segments, int64_t first, int64_t end, RecordsMet &met);
             void traceSegmentsApart(const Segments &segments, int64_t first, int64_t end, RecordsMet &met);
             VekStatus ownIntersectAnyBlock_w7(const float *pOrigin, const float *const *pDirections,
                                               const VekrIntersectScene &scene, int32_t *pOccluders,
                                               int32_t *pMask, VekrBlockSize size);
             VekStatus ownIntersectMultipleBlock_w7(const float *pOrigin, const float *const *pDirections,
                                                    const VekrIntersectScene &scene, float *pDistances,
                                                    float *const *pHits, int32_t *pHitTriangles,
                                                    VekrVolumeSize volume);)
