// Rays that hurt: tiles of one octant and of several, directions parallel to an axis in all their spellings, rays
// through edges and corners, limits of every sign, dead rays.
#pragma once

#include <cmath>

#include "support/ray_block.h"
#include "support/traced_scene.h"

namespace vekr_test {

enum class Tiles {
  coherent,         // neighbours look at neighbouring points
  oneOctant,        // random directions, of one octant in a tile
  anyOctant,        // random directions
  parallelUniform,  // one octant, with components that are 0 or nearly so, whole rows of them and single lanes
  parallelAny,      // such components among random ones
  cornersAndEdges,  // at vertices and edges of the mesh, exactly
  changing,         // another kind in every tile
};
inline constexpr Tiles kAllTiles[] = {Tiles::coherent,        Tiles::oneOctant,   Tiles::anyOctant,
                                      Tiles::parallelUniform, Tiles::parallelAny, Tiles::cornersAndEdges,
                                      Tiles::changing};

// 0 in both signs, numbers just inside the threshold for a parallel axis, on it and just outside.
inline float nearlyZero(Random &random) {
  static constexpr float kValues[] = {0.0f,          0.0f,          -0.0f,          1e-8f,
                                      -1e-8f,        1.1920929e-7f, -1.1920929e-7f, 1.192093e-7f,
                                      -1.192093e-7f, 1e-42f,        -1e-42f};
  return kValues[random.below(static_cast<int32_t>(std::size(kValues)))];
}

inline Point pointOnTriangle(const Mesh &mesh, int32_t triangle, Random &random) {
  float a = random.unit(), b = random.unit();
  if (a + b > 1.0f) {
    a = 1.0f - a;
    b = 1.0f - b;
  }
  const Point p = mesh.corner(triangle, 0), q = mesh.corner(triangle, 1), r = mesh.corner(triangle, 2);
  Point result;
  for (size_t i = 0; i < 3; ++i) result[i] = p[i] * a + q[i] * b + r[i] * (1.0f - a - b);
  return result;
}

// A corner or the middle of an edge.
inline Point pointOnEdge(const Mesh &mesh, int32_t triangle, Random &random) {
  const int first = random.below(3);
  const Point p = mesh.corner(triangle, first), q = mesh.corner(triangle, (first + 1) % 3);
  if (random.below(2) == 0) return p;
  return {0.5f * (p[0] + q[0]), 0.5f * (p[1] + q[1]), 0.5f * (p[2] + q[2])};
}

inline Point towards(const Point &target, const Point &origin) {
  return {target[0] - origin[0], target[1] - origin[1], target[2] - origin[2]};
}

// The direction of one ray; `base` is the tile's own target, `octant` and `axis` the tile's own, too.
inline Point directionOf(Tiles tiles, const Mesh &mesh, const Point &origin, const Point &base, int octant,
                         int axis, size_t row, size_t column, Random &random) {
  Point d{};
  const int32_t triangle = random.below(mesh.triangleCount());
  if (tiles == Tiles::coherent) {
    d = towards({base[0] + 0.02f * static_cast<float>(column), base[1] + 0.02f * static_cast<float>(row),
                 base[2] + 0.01f * static_cast<float>(row + column)},
                origin);
  } else if (tiles == Tiles::cornersAndEdges) {
    d = towards(pointOnEdge(mesh, triangle, random), origin);
  } else {
    d = random.below(2) == 0 ? towards(pointOnTriangle(mesh, triangle, random), origin)
                             : pointWithin(random, -1, 1);
  }
  const bool uniform = tiles == Tiles::oneOctant || tiles == Tiles::parallelUniform;
  if (tiles == Tiles::parallelUniform || tiles == Tiles::parallelAny) {
    const auto a = static_cast<size_t>(axis);
    if (octant == 0 || random.below(3) == 0) d[a] = nearlyZero(random);
    if (random.below(6) == 0) d[static_cast<size_t>(random.below(3))] = nearlyZero(random);
    if (random.below(24) == 0) d = {0.0f, -0.0f, 0.0f};
  }
  if (uniform) {
    // A 0 of either sign belongs to the positive side.
    for (size_t a = 0; a < 3; ++a) {
      const bool negative = (octant >> a & 1) != 0;
      if (negative != (d[a] < 0.0f)) d[a] = -d[a];
      if (negative && d[a] == 0.0f) d[a] = -1e-8f;
    }
  }
  return d;
}

inline void fillDirections(RayBlock &block, Tiles tiles, const Mesh &mesh, Random &random) {
  const auto width = static_cast<size_t>(block.size.width), height = static_cast<size_t>(block.size.height);
  for (size_t y0 = 0; y0 < height; y0 += 4) {
    for (size_t x0 = 0; x0 < width; x0 += 4) {
      const Tiles kind = tiles == Tiles::changing ? static_cast<Tiles>(random.below(6)) : tiles;
      const Point base = pointOnTriangle(mesh, random.below(mesh.triangleCount()), random);
      const int octant = random.below(8), axis = random.below(3);
      for (size_t y = y0; y < std::min(y0 + 4, height); ++y) {
        for (size_t x = x0; x < std::min(x0 + 4, width); ++x) {
          const size_t i = y * width + x;
          const Point origin = {block.origins[0][i], block.origins[1][i], block.origins[2][i]};
          const Point d = directionOf(kind, mesh, origin, base, octant, axis, y - y0, x - x0, random);
          for (size_t a = 0; a < 3; ++a) block.directions[a][i] = d[a];
        }
      }
    }
  }
}

// Makes segments that end before, on and behind what they aim at.
inline void scaleDirections(RayBlock &block, Random &random) {
  static constexpr float kLengths[] = {1.0f, 0.5f, 1.5f, 4.0f, 0.999f};
  for (size_t i = 0; i < block.rays; ++i) {
    const float length = kLengths[random.below(5)];
    for (auto &plane : block.directions) plane[i] *= length;
  }
}

// One origin for the block, also written to every ray's own.
inline void setOrigin(RayBlock &block, const Point &origin) {
  for (size_t a = 0; a < 3; ++a) {
    block.pointOrigin[a] = origin[a];
    block.origins[a].fill(origin[a]);
  }
}

// In front of the mesh, within it, on a vertex, or on a side of the box.
inline Point originFor(TracedScene &scene, Random &random) {
  Point p = pointWithin(random, -1.0f, 1.0f);
  const auto axis = static_cast<size_t>(random.below(3));
  switch (random.below(4)) {
    case 0:
      p[axis] = random.below(2) == 0 ? 3.0f : -3.0f;
      break;
    case 1:
      p = scene.mesh().corner(random.below(scene.mesh().triangleCount()), 0);
      break;
    case 2:
      p[axis] = scene.box()[axis + 3 * static_cast<size_t>(random.below(2))];
      break;
    default:
      break;
  }
  return p;
}

// Around one point, or anywhere.
inline void scatterOrigins(RayBlock &block, TracedScene &scene, Random &random) {
  const Point center = originFor(scene, random);
  const bool anywhere = random.below(3) == 0;
  for (size_t i = 0; i < block.rays; ++i) {
    const Point p = anywhere ? originFor(scene, random) : center;
    const float spread = anywhere || random.below(8) == 0 ? 0.0f : 0.05f;
    for (size_t a = 0; a < 3; ++a) block.origins[a][i] = p[a] + random.within(-spread, spread);
  }
}

enum class Limits { far, mixed, dead };

inline float farLimit(Random &random) {
  static constexpr float kFar[] = {1e30f, 3.4028235e38f, 1000.0f, std::numeric_limits<float>::infinity()};
  return kFar[random.below(4)];
}

inline void fillLimits(RayBlock &block, Limits limits, Random &random) {
  for (size_t i = 0; i < block.rays; ++i) {
    static constexpr float kDead[] = {0.0f, -0.0f, -1.0f, -1e30f};
    float x = farLimit(random);
    if (limits == Limits::mixed && random.below(2) == 0) x = random.within(-0.5f, 3.0f);
    if (limits == Limits::dead || (limits == Limits::mixed && random.below(6) == 0))
      x = kDead[random.below(4)];
    block.distances[i] = x;
  }
  // Some whole tiles and some whole rows have nothing to look for.
  if (limits != Limits::mixed) return;
  const auto width = static_cast<size_t>(block.size.width);
  for (size_t i = 0; i < block.rays; ++i) {
    const size_t tile = i / width / 4 * 31 + i % width / 4;
    if (tile % 5 == 4) block.distances[i] = i % 2 == 0 ? 0.0f : -2.0f;
    if (tile % 5 == 3 && i / width % 2 == 1) block.distances[i] = 0.0f;
  }
}

enum class Masks { live, mixed, rows, dead };

inline void fillMask(RayBlock &block, Masks masks, Random &random) {
  const auto width = static_cast<size_t>(block.size.width);
  for (size_t i = 0; i < block.rays; ++i) {
    static constexpr int32_t kLive[] = {0, 1, 5, INT32_MAX}, kDead[] = {-1, -3, INT32_MIN};
    bool live = masks != Masks::dead;
    const size_t row = i / width, tile = row / 4 * 31 + i % width / 4;
    if (masks == Masks::mixed) live = random.below(3) > 0 && tile % 4 != 2;
    if (masks == Masks::rows) live = (row % 4 != 1 || tile % 3 == 0) && random.below(6) > 0;
    block.mask[i] = live ? kLive[random.below(4)] : kDead[random.below(3)];
  }
}

}  // namespace vekr_test
