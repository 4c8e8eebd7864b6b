// Cutting a patch at a plane.
#pragma once

#include <cstdint>

#include "pr_avlopsahopt/psah_state.h"

namespace vekr {

// A patch that is being written, and its bounds.
struct PatchPlace {
  VekrPatch *patch;
  VekrPatchBounds *bounds;
};

// Cuts `patch`, which lies on both sides of `plane`, into the parts below and above it; its vertex pointers are given
// back. The outputs may stand where `patch` comes from. vekErrTreeBuild if the budget is spent, vekErrTreeInternal if
// a part would have more vertices than a mask can name (seen with NaN coordinates only).
VekStatus localPatchCut(const VekrPatch &patch, PatchPlace left, PatchPlace right, int32_t axis,
                        VekrBuildState &state, float plane);

}  // namespace vekr
