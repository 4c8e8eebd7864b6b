// Meshes for tests of the ray functions, the same on every run: soups, closed surfaces with shared edges, stacks of
// coincident triangles, degenerate ones.
#pragma once

#include <cmath>
#include <cstdint>

#include "support/mesh.h"
#include "support/values.h"

namespace vekr_test {

inline Point pointWithin(Random &random, float low, float high) {
  const float x = random.within(low, high), y = random.within(low, high), z = random.within(low, high);
  return {x, y, z};
}

// Triangles of about `size`, anywhere in the cube from -1 to 1.
inline Mesh soup(int32_t count, float size, uint32_t seed) {
  Random random(seed);
  Mesh mesh;
  for (int32_t i = 0; i < count; ++i) {
    const Point center = pointWithin(random, -1.0f, 1.0f);
    Point corners[3];
    for (Point &p : corners) {
      const Point step = pointWithin(random, -size, size);
      for (size_t a = 0; a < 3; ++a) p[a] = center[a] + step[a];
    }
    mesh.addTriangle(corners[0], corners[1], corners[2]);
  }
  return mesh;
}

// A sphere of radius 0.8 around the origin whose triangles share vertices and edges.
inline Mesh ball(int32_t rings, int32_t sectors) {
  Mesh mesh;
  const double pi = 3.14159265358979323846;
  for (int32_t r = 0; r <= rings; ++r) {
    for (int32_t s = 0; s < sectors; ++s) {
      const double theta = pi * r / rings, phi = 2.0 * pi * s / sectors;
      mesh.addVertex({static_cast<float>(0.8 * std::sin(theta) * std::cos(phi)),
                      static_cast<float>(0.8 * std::sin(theta) * std::sin(phi)),
                      static_cast<float>(0.8 * std::cos(theta))});
    }
  }
  for (int32_t r = 0; r < rings; ++r) {
    for (int32_t s = 0; s < sectors; ++s) {
      const int32_t next = (s + 1) % sectors;
      const int32_t a = r * sectors + s, b = r * sectors + next, c = a + sectors, d = b + sectors;
      if (r > 0) mesh.addTriangle(a, b, c);
      if (r + 1 < rings) mesh.addTriangle(b, d, c);
    }
  }
  return mesh;
}

// A closed cube from -half to half: axis-aligned faces, whose planes coincide with box sides and splits.
inline Mesh cube(float half) {
  Mesh mesh;
  for (int32_t i = 0; i < 8; ++i) {
    mesh.addVertex({i & 1 ? half : -half, i & 2 ? half : -half, i & 4 ? half : -half});
  }
  static constexpr int32_t kFaces[6][4] = {{0, 2, 4, 6}, {1, 3, 5, 7}, {0, 1, 4, 5},
                                           {2, 3, 6, 7}, {0, 1, 2, 3}, {4, 5, 6, 7}};
  for (const auto &f : kFaces) {
    mesh.addTriangle(f[0], f[1], f[2]);
    mesh.addTriangle(f[1], f[3], f[2]);
  }
  return mesh;
}

// A grid of axis-aligned squares on integer coordinates, in `layers` sheets: rays meet edges, corners and splits
// exactly.
inline Mesh sheets(int32_t cells, int32_t layers) {
  Mesh mesh;
  for (int32_t l = 0; l < layers; ++l) {
    const float z = static_cast<float>(l);
    for (int32_t y = 0; y < cells; ++y) {
      for (int32_t x = 0; x < cells; ++x) {
        const float x0 = static_cast<float>(x - cells / 2), y0 = static_cast<float>(y - cells / 2);
        mesh.addTriangle({x0, y0, z}, {x0 + 1, y0, z}, {x0, y0 + 1, z});
        mesh.addTriangle({x0 + 1, y0, z}, {x0 + 1, y0 + 1, z}, {x0, y0 + 1, z});
      }
    }
  }
  return mesh;
}

// A triangle in the plane of constant z that covers the square from -2 to 2 several times over.
inline void addWall(Mesh &mesh, float z) { mesh.addTriangle({-9, -9, z}, {27, -9, z}, {-9, 27, z}); }

// `groups` slanted triangles, each of them `copies` times in the same place.
inline Mesh coincident(int32_t groups, int32_t copies, uint32_t seed) {
  Random random(seed);
  Mesh mesh;
  for (int32_t g = 0; g < groups; ++g) {
    const float z = -0.9f + 1.8f * static_cast<float>(g) / static_cast<float>(groups);
    const float tilt = random.within(-0.1f, 0.1f);
    const int32_t a = mesh.addVertex({-1.5f, -1.5f, z - tilt});
    const int32_t b = mesh.addVertex({2.5f, -1.5f, z + tilt});
    const int32_t c = mesh.addVertex({-1.5f, 2.5f, z});
    for (int32_t i = 0; i < copies; ++i) mesh.addTriangle(a, b, c);
  }
  return mesh;
}

// `copies` triangles in one plane y = (x - 2^27) / 2. A ray along +x from (2^27, 1, 0) meets it at t = 2, and stays
// where it is when it moves there, since its x is a multiple of 16: it meets one copy after the other for ever.
inline constexpr float kStuckX = 134217728.0f;
inline Mesh stuckStack(int32_t copies) {
  Mesh mesh;
  const int32_t a = mesh.addVertex({kStuckX - 1024.0f, -512.0f, -1000.0f});
  const int32_t b = mesh.addVertex({kStuckX + 1024.0f, 512.0f, -1000.0f});
  const int32_t c = mesh.addVertex({kStuckX, 0.0f, 2000.0f});
  for (int32_t i = 0; i < copies; ++i) mesh.addTriangle(a, b, c);
  return mesh;
}

// Adds points, needles without area and collinear triangles, and spreads them among the others.
inline void addDegenerate(Mesh &mesh, int32_t count, uint32_t seed) {
  Random random(seed);
  for (int32_t i = 0; i < count; ++i) {
    const int32_t a = mesh.addVertex(pointWithin(random, -1.0f, 1.0f));
    const int32_t b = i % 3 == 0 ? a : mesh.addVertex(pointWithin(random, -1.0f, 1.0f));
    mesh.addTriangle(a, b, i % 3 == 1 ? a : b);
    const int32_t last = mesh.triangleCount() - 1;
    const int32_t other = random.below(last + 1);
    for (int32_t k = 0; k < 4; ++k) {
      std::swap(mesh.indices[static_cast<size_t>(last * 4 + k)],
                mesh.indices[static_cast<size_t>(other * 4 + k)]);
    }
  }
}

}  // namespace vekr_test
