/* What extra_test.c offers to extra_test.cpp. */
#pragma once

#include "vekr.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Looks at the mesh (16 triangles at most), traces 4 x 4 rays from (1/4, 1/4, 2), twelve of them downwards, and returns
 * the number of hits; below 0: what failed. */
int32_t extraTraceFromC(const float *pVertices, const int32_t *pIndices, int32_t vertexCount,
                        int32_t triangleCount);
const char *extraStatusTextFromC(VekStatus status);

#ifdef __cplusplus
}
#endif
