// Meshes from bytes: few triangles of finite vertices, many of them on a lattice, so that planes and edges coincide.
#pragma once

#include "input.h"

namespace vekr_fuzz {

struct Mesh {
  std::vector<float> vertices;
  std::vector<int32_t> indices;
  int32_t vertexCount() const { return static_cast<int32_t>(vertices.size() / 3); }
  int32_t triangleCount() const { return static_cast<int32_t>(indices.size() / 4); }
};

inline Mesh meshFrom(Input &in, int32_t mostTriangles) {
  Mesh mesh;
  const int32_t vertexCount = in.within(1, 40), triangleCount = in.within(0, mostTriangles);
  Random random = in.contents();
  const int32_t kind = in.below(4);
  for (int32_t i = 0; i < 3 * vertexCount; ++i) {
    float c = random.within(-4.0f, 4.0f);
    if (kind == 1) c = static_cast<float>(random.below(5)) - 2.0f;
    if (kind == 2) c = random.below(3) ? c : 1.0f;
    if (kind == 3) c = in.real(Numbers::finite);
    mesh.vertices.push_back(std::fabs(c) < 1e15f ? c : 1.0f);
  }
  mesh.indices.reserve(4);  // an address without triangles too
  for (int32_t i = 0; i < triangleCount; ++i) {
    for (int k = 0; k < 3; ++k) mesh.indices.push_back(random.below(vertexCount));
    mesh.indices.push_back(INT32_MIN);
  }
  return mesh;
}

}  // namespace vekr_fuzz
