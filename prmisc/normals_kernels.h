// Kernels of normals and bounds. All of them take counts of at least 1 and valid pointers.
#pragma once

#include <cstdint>

#include "frame/dispatch.h"
#include "prmisc/form.h"

VEKR_KERNELS(normals_kernels,
             // Triangles `first` to `end` - 1.
             void ownTriangleNormal_32f(const float *pVertices, const int32_t *pIndices,
                                        float *pTriangleNormals, int64_t first, int64_t end);
             void ownSurfFlatNormal_32f(const float *pTriangleNormals, const int32_t *pHitTriangles,
                                        float *const *pNormals, int32_t length);
             void ownSurfSmoothNormal_32f(const float *pVertexNormals, const int32_t *pNormalIndices,
                                          const int32_t *pHitTriangles, const float *const *pHits,
                                          float *const *pNormals, int32_t length, int32_t stride,
                                          RayForm form);
             // Bounds of `count` vertices, added to those in `box` (min x, y, z, max x, y, z).
             void ownBounds(const float *pVertices, int64_t count, float *box);)
