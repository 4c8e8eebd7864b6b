// Procedural meshes, the same on every machine: vertices come from integers by correctly rounded operations only.
#pragma once

#include <cmath>
#include <cstdint>

#include "tests/support/mesh.h"
#include "tests/support/values.h"

namespace vekr_test {

// Triangles of up to `size` across in the unit cube, anywhere.
inline Mesh triangleSoup(int32_t count, float size, uint32_t seed) {
  Mesh mesh;
  Random random(seed);
  for (int32_t i = 0; i < count; ++i) {
    float centre[3];
    for (float &x : centre) x = random.unit();
    int32_t corners[3];
    for (int32_t &corner : corners) {
      float v[3];
      for (int k = 0; k < 3; ++k) v[k] = centre[k] + size * (random.unit() - 0.5f);
      corner = mesh.addVertex(v[0], v[1], v[2]);
    }
    mesh.addTriangle(corners[0], corners[1], corners[2]);
  }
  return mesh;
}

// A square of `cells` by `cells` quads with waves and noise for height: a terrain.
inline Mesh terrain(int32_t cells, float noise, uint32_t seed) {
  Mesh mesh;
  Random random(seed);
  const float step = 1.0f / static_cast<float>(cells);
  for (int32_t y = 0; y <= cells; ++y) {
    for (int32_t x = 0; x <= cells; ++x) {
      const float u = static_cast<float>(x) * step, v = static_cast<float>(y) * step;
      // Parabolas instead of sines, which differ from one machine to the next.
      const float wave = (u - 0.5f) * (u - 0.5f) * (v - 0.3f) + 0.25f * v * v * (1.0f - u);
      mesh.addVertex(u, v, wave + noise * (random.unit() - 0.5f));
    }
  }
  for (int32_t y = 0; y < cells; ++y) {
    for (int32_t x = 0; x < cells; ++x) {
      const int32_t corner = y * (cells + 1) + x;
      mesh.addQuad(corner, corner + 1, corner + cells + 2, corner + cells + 1);
    }
  }
  return mesh;
}

// A closed ball of `rings` rings of `rings` quads, its points on parabolic arcs.
inline Mesh ball(int32_t rings, float bumps, uint32_t seed) {
  Mesh mesh;
  Random random(seed);
  // A point of the square [-1, 1]^2 goes to the octahedron, then to the sphere.
  for (int32_t y = 0; y <= rings; ++y) {
    for (int32_t x = 0; x <= rings; ++x) {
      float u = static_cast<float>(2 * x - rings) / static_cast<float>(rings);
      float v = static_cast<float>(2 * y - rings) / static_cast<float>(rings);
      const float w = 1.0f - std::fabs(u) - std::fabs(v);
      if (w < 0.0f) {
        const float a = u;
        u = (1.0f - std::fabs(v)) * (a < 0.0f ? -1.0f : 1.0f);
        v = (1.0f - std::fabs(a)) * (v < 0.0f ? -1.0f : 1.0f);
      }
      const float length = std::sqrt(u * u + v * v + w * w) / (1.0f + bumps * random.unit());
      mesh.addVertex(u / length, v / length, w / length);
    }
  }
  for (int32_t y = 0; y < rings; ++y) {
    for (int32_t x = 0; x < rings; ++x) {
      const int32_t corner = y * (rings + 1) + x;
      mesh.addQuad(corner, corner + 1, corner + rings + 2, corner + rings + 1);
    }
  }
  return mesh;
}

// Boxes with faces along the axes, on a grid: every face is flat on an axis, and many share a plane.
inline Mesh town(int32_t blocks, uint32_t seed) {
  Mesh mesh;
  Random random(seed);
  for (int32_t y = 0; y < blocks; ++y) {
    for (int32_t x = 0; x < blocks; ++x) {
      const float height = static_cast<float>(1 + random.below(4)) * 0.5f;
      const float low[3] = {static_cast<float>(x), static_cast<float>(y), 0.0f};
      const float high[3] = {low[0] + 0.25f * static_cast<float>(2 + random.below(3)), low[1] + 0.75f,
                             height};
      int32_t v[8];
      for (int i = 0; i < 8; ++i) {
        v[i] = mesh.addVertex((i & 1) != 0 ? high[0] : low[0], (i & 2) != 0 ? high[1] : low[1],
                              (i & 4) != 0 ? high[2] : low[2]);
      }
      mesh.addQuad(v[0], v[1], v[3], v[2]);
      mesh.addQuad(v[4], v[5], v[7], v[6]);
      mesh.addQuad(v[0], v[1], v[5], v[4]);
      mesh.addQuad(v[2], v[3], v[7], v[6]);
      mesh.addQuad(v[0], v[2], v[6], v[4]);
      mesh.addQuad(v[1], v[3], v[7], v[5]);
    }
  }
  return mesh;
}

// Triangles with corners on a coarse lattice: equal coordinates, planes through vertices, degenerate triangles.
inline Mesh latticeSoup(int32_t count, int32_t lattice, uint32_t seed) {
  Mesh mesh;
  Random random(seed);
  for (int32_t i = 0; i < count; ++i) {
    int32_t corners[3];
    const int32_t at[3] = {random.below(lattice), random.below(lattice), random.below(lattice)};
    for (int32_t &corner : corners) {
      float v[3];
      for (int k = 0; k < 3; ++k) v[k] = static_cast<float>(at[k] + random.below(3));
      corner = mesh.addVertex(v[0], v[1], v[2]);
    }
    mesh.addTriangle(corners[0], corners[1], corners[2]);
  }
  return mesh;
}

// Long thin triangles across the whole cube: most are cut many times.
inline Mesh needles(int32_t count, uint32_t seed) {
  Mesh mesh;
  Random random(seed);
  for (int32_t i = 0; i < count; ++i) {
    float a[3], b[3];
    for (int k = 0; k < 3; ++k) {
      a[k] = random.unit();
      b[k] = random.unit();
    }
    const int32_t first = mesh.addVertex(a[0], a[1], a[2]), second = mesh.addVertex(b[0], b[1], b[2]);
    mesh.addTriangle(first, second, mesh.addVertex(b[0] + 0.01f, b[1] - 0.01f, b[2] + 0.01f));
  }
  return mesh;
}

}  // namespace vekr_test
