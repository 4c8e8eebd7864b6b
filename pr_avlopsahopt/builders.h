// The builders behind vekrKDTreeBuildAlloc. Their arguments have been checked.
#pragma once

#include <cstdint>

#include "vekr.h"

namespace vekr {

// One leaf that lists all triangles; looks at neither vertices nor indices.
VekStatus ownKDTBldSmpl_TL(int32_t triangleCount, VekrKDTreeNode **ppTree, int32_t *pTreeSize);

}  // namespace vekr
