// Plain scalar twins of the one-ray nearest-hit forms, for any block, whatever its size and alignment.
#pragma once

#include <cstdint>

#include "vekr.h"

namespace vekr_reference {

void intersectMO(const float *const *origins, const float *const *directions, float *distances,
                 float *const *hits, int32_t *hitTriangles, const VekrIntersectScene *scene,
                 VekrBlockSize size);
void intersectEyeSO(const float *origin, const float *const *directions, float *distances, float *const *hits,
                    int32_t *hitTriangles, const VekrIntersectScene *scene, VekrBlockSize size);

}  // namespace vekr_reference
