// One-ray forms in lanes: rays that walk at once, a lane each, and triangles of a leaf that are tested at once. The results of
// those in one_ray.h, sooner.
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
             VekStatus traceEyeAlone(const float *pOrigin, const float *const *pDirections,
                                     const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                                     int32_t *pHitTriangles, VekrBlockSize size);
             VekStatus traceLayersAlone(const float *pOrigin, const float *const *pDirections,
                                        const VekrIntersectScene &scene, float *pDistances,
                                        float *const *pHits, int32_t *pHitTriangles, VekrVolumeSize volume);
             void traceSegmentsAlone(const Segments &segments, int64_t first, int64_t end, RecordsMet &met);
             void traceSegmentsApart(const Segments &segments, int64_t first, int64_t end, RecordsMet &met);
             VekStatus ownIntersectAnyBlock_w7(const float *pOrigin, const float *const *pDirections,
                                               const VekrIntersectScene &scene, int32_t *pOccluders,
                                               int32_t *pMask, VekrBlockSize size);
             VekStatus ownIntersectMultipleBlock_w7(const float *pOrigin, const float *const *pDirections,
                                                    const VekrIntersectScene &scene, float *pDistances,
                                                    float *const *pHits, int32_t *pHitTriangles,
                                                    VekrVolumeSize volume);)
