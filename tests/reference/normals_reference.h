// Plain scalar twins of normals and bounds.
#pragma once

#include <cstdint>

#include "reference/form.h"

namespace vekr_reference {

void setBoundBox(const float *vertices, int32_t count, float *box);
void triangleNormal(const float *vertices, const int32_t *indices, float *normals, int32_t count);
void surfFlatNormal(const float *triangleNormals, const int32_t *hitTriangles, float *const *normals,
                    int32_t length);
void surfSmoothNormal(Form form, const float *vertexNormals, const int32_t *normalIndices,
                      const int32_t *hitTriangles, const float *const *hits, float *const *normals,
                      int32_t length, int32_t stride);

// The cross product of a triangle's edges in its fixed form, and the edges themselves, in double.
struct Edges {
  double e1[3], e2[3], n[3];
};
Edges edgesOf(const float *a, const float *b, const float *c);

}  // namespace vekr_reference
