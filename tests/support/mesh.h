// A triangle mesh as the library takes it, to be put together by tests and benchmarks.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "vekr.h"

namespace vekr_test {

using Point = std::array<float, 3>;

struct Mesh {
  std::vector<float> vertices;   // three floats a vertex
  std::vector<int32_t> indices;  // four ints a triangle; the fourth is junk

  int32_t vertexCount() const { return static_cast<int32_t>(vertices.size() / 3); }
  int32_t triangleCount() const { return static_cast<int32_t>(indices.size() / 4); }

  int32_t addVertex(float x, float y, float z) {
    vertices.insert(vertices.end(), {x, y, z});
    return vertexCount() - 1;
  }
  int32_t addVertex(const Point &p) { return addVertex(p[0], p[1], p[2]); }

  void addTriangle(int32_t a, int32_t b, int32_t c) { indices.insert(indices.end(), {a, b, c, INT32_MIN}); }
  void addTriangle(const Point &a, const Point &b, const Point &c) {
    const int32_t first = addVertex(a);
    addVertex(b);
    addVertex(c);
    addTriangle(first, first + 1, first + 2);
  }
  void addQuad(int32_t a, int32_t b, int32_t c, int32_t d) {
    addTriangle(a, b, c);
    addTriangle(a, c, d);
  }

  Point corner(int32_t triangle, int number) const {
    const auto v = static_cast<size_t>(indices[static_cast<size_t>(triangle * 4 + number)]) * 3;
    return {vertices[v], vertices[v + 1], vertices[v + 2]};
  }

  // One record for each triangle, and room for one more, so that there is an address without triangles too.
  std::vector<VekrTriangleAccel> records() const {
    std::vector<VekrTriangleAccel> all(static_cast<size_t>(triangleCount()) + 1);
    vekrTriangleAccelInit(all.data(), vertices.data(), indices.data(), triangleCount());
    return all;
  }
};

}  // namespace vekr_test
