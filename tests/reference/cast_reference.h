// Plain scalar twins of ray casting.
#pragma once

#include <cstdint>

#include "reference/form.h"
#include "vekr.h"

namespace vekr_reference {

// Chooses its form by the width, as alignment has no effect.
void castEye(const float *corner, const float *stepX, const float *stepY, int32_t blockStepX,
             int32_t blockStepY, VekrBlockIndex blockIndex, float *const *directions, VekrBlockSize size);

// Chooses its form by the length.
void castReflectionRay(const float *const *incident, const int32_t *mask, const float *const *normals,
                       float *const *reflected, int32_t length);

void castShadow(const float *light, const float *surfaceDot, const float *const *normals,
                const float *const *points, int32_t *mask, float *lightDot, float *const *shadowDirections,
                int32_t length);

}  // namespace vekr_reference
