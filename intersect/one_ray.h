// The four one-ray forms. Sizes are at least 1 by 1.
#pragma once

#include "frame/integer.h"
#include "vekr.h"

namespace vekr {

VekStatus ownIntersectBlock(const float *const *pOrigins, const float *const *pDirections,
                            const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                            int32_t *pHitTriangles, VekrBlockSize size);
VekStatus ownIntersectEyeBlock(const float *pOrigin, const float *const *pDirections,
                               const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                               int32_t *pHitTriangles, VekrBlockSize size);
VekStatus ownIntersectAnyBlock(const float *pOrigin, const float *const *pDirections,
                               const VekrIntersectScene &scene, int32_t *pOccluders, int32_t *pMask,
                               VekrBlockSize size);
VekStatus ownIntersectMultipleBlock(const float *pOrigin, const float *const *pDirections,
                                    const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                                    int32_t *pHitTriangles, VekrVolumeSize volume);

// Nearest hit of one segment, for the packet form's cache. `direction`: three pointers to one component each. *pLimit: the
// end of the segment, out: the distance of the hit; *pNearest: the triangle, or -1.
void ownIntersectNearestOccl(const float *pOrigin, const float *const *direction,
                             const VekrTriangleAccel *pTriangles, const VekrKDTreeNode *pRoot, float *pLimit,
                             int32_t *pNearest);

// Sets all layers of all rays to -1; nothing if width * height * depth, in 32 bits, is below 1 [C21].
void presetLayers(int32_t *pHitTriangles, VekrVolumeSize volume);

}  // namespace vekr
