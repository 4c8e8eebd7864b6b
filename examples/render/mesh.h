// Triangle meshes, and one that is built in.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct Mesh {
  static constexpr size_t kMost = size_t{1}
                                  << 29;  // vertices, and triangles: so that 32-bit counts hold their floats

  std::vector<float> vertices;    // three floats a vertex
  std::vector<float> normals;     // three floats a vertex, unit length
  std::vector<int32_t> indices;   // four ints a triangle; the fourth is not read
  std::vector<int32_t> material;  // one a triangle
  std::vector<float> colours;     // three floats a material, 0 to 1, linear

  int32_t vertexCount() const { return static_cast<int32_t>(vertices.size() / 3); }
  int32_t triangleCount() const { return static_cast<int32_t>(indices.size() / 4); }
  void addTriangle(int32_t a, int32_t b, int32_t c, int32_t materialNumber);
};

enum class Axis { y, z };

// A torus knot on which light has something to do.
Mesh makeKnot();

// Moves and scales a mesh so that its bounding sphere has the given radius and its lowest point stands on y = 0; adds
// a floor if asked for.
void placeOnFloor(Mesh &mesh, float radius, bool floor);
