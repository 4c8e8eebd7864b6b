// Scalar twins of the one-ray forms of any hit and of layered hits, for any block, whatever its size and alignment.
#pragma once

#include <cstdint>

#include "vekr.h"

namespace vekr_reference {

void oneRayIntersectAnySO(const float *origin, const float *const *directions, int32_t *occluders,
                          int32_t *mask, VekrBlockSize size, const VekrIntersectScene *scene);
void oneRayIntersectMultipleSO(const float *origin, const float *const *directions, float *distances,
                               float *const *hits, int32_t *hitTriangles, const VekrIntersectScene *scene,
                               VekrVolumeSize volume);

}  // namespace vekr_reference
