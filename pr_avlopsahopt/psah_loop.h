// Grows the tree from the root.
#pragma once

#include <cstdint>

#include "pr_avlopsahopt/psah_state.h"

namespace vekr {

// Splits the leaf `pRoot`, which holds all patches, as far as it pays. `pBox`: its cell, six floats.
// vekErrTreeBuild if the budget is spent; vekErrTreeInternal if a search and its partition disagree, which takes NaN
// coordinates.
VekStatus ownOptimizationPSAH(const PsahBuild &build, VekrBuildNode *pRoot, int32_t maxDepth,
                              const float *pBox, float splitBias);

}  // namespace vekr
