// The builders behind vekrKDTreeBuildAlloc. Their arguments have been checked.
#pragma once

#include <cstdint>

#include "vekr.h"

namespace vekr {

// One leaf that lists all triangles; looks at neither vertices nor indices.
VekStatus ownKDTBldSmpl_TL(int32_t triangleCount, VekrKDTreeNode **ppTree, int32_t *pTreeSize);

// A real tree by the surface area heuristic, within `budget` bytes of working memory. `pBounds`: six floats, or null.
VekStatus ownKDTBldPSAH_ML(const float *pVertices, const int32_t *pIndices, int32_t vertexCount,
                           int32_t triangleCount, VekrKDTreeNode **ppTree, int32_t *pTreeSize,
                           int32_t maxDepth, uint64_t budget, const float *pBounds, float splitBias);

}  // namespace vekr
