// From the build's nodes to the finished block.
#pragma once

#include <cstdint>

#include "pr_avlopsahopt/psah_state.h"

namespace vekr {

// Allocates and fills the block of the tree under `pRoot`. vekErrMemAlloc if there is no memory for it; the outputs are
// written on success only.
VekStatus ownCompactTreeRepresentation(const VekrBuildNode *pRoot, VekrKDTreeNode **ppTree,
                                       int32_t *pTreeSize);

}  // namespace vekr
