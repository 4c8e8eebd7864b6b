// Plain scalar twin of the triangle records.
#pragma once

#include <cstdint>

#include "vekr.h"

namespace vekr_reference {

void triangleAccelInit(VekrTriangleAccel *records, const float *vertices, const int32_t *indices,
                       int32_t count);

}  // namespace vekr_reference
