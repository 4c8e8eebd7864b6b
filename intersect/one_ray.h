// What single rays do without lanes. Sizes are at least 1 by 1.
#pragma once

#include "vekr.h"

namespace vekr {

VekStatus ownIntersectBlock(const float *const *pOrigins, const float *const *pDirections,
                            const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                            int32_t *pHitTriangles, VekrBlockSize size);

// Nearest hit of one segment, for the packet form's cache. `direction`: three pointers to one component each. *pLimit: the
// end of the segment, out: the distance of the hit; *pNearest: the triangle, or -1.
void ownIntersectNearestOccl(const float *pOrigin, const float *const *direction,
                             const VekrTriangleAccel *pTriangles, const VekrKDTreeNode *pRoot, float *pLimit,
                             int32_t *pNearest);

}  // namespace vekr
