// From the mesh to the root's patches.
#pragma once

#include <cstdint>

#include "pr_avlopsahopt/psah_state.h"

namespace vekr {

// One patch for each triangle, and the bounds of all vertices (of the first one at least) as box.
VekStatus localInitPatchesFromTriangles(VekrPatch **ppPatches, int32_t *pCount, const int32_t *pIndices,
                                        int32_t triangleCount, float *pBox, const PsahBuild &build);

// One patch for each triangle that has a part in the box `pBounds`: that part.
VekStatus localInitPatchesFromTrianglesBB(VekrPatch **ppPatches, int32_t *pCount, const int32_t *pIndices,
                                          int32_t triangleCount, const float *pBounds,
                                          const PsahBuild &build);

}  // namespace vekr
