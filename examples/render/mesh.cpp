#include "mesh.h"

#include <algorithm>
#include <cmath>
#include <numbers>

void Mesh::addTriangle(int32_t a, int32_t b, int32_t c, int32_t materialNumber) {
  indices.insert(indices.end(), {a, b, c, 0});
  material.push_back(materialNumber);
}

Mesh makeKnot() {
  constexpr int kRings = 480, kSides = 40;
  constexpr double kTau = 2 * std::numbers::pi;
  const auto centre = [](double s, double *p) {
    const double a = 2 * s, r = 2 + std::cos(3 * s);
    p[0] = r * std::cos(a);
    p[1] = 1.2 * std::sin(3 * s);
    p[2] = r * std::sin(a);
  };
  Mesh mesh;
  mesh.colours = {0.80f, 0.42f, 0.20f, 0.20f, 0.45f, 0.75f};
  for (int ring = 0; ring < kRings; ++ring) {
    double p[3], q[3];
    centre(kTau * ring / kRings, p);
    centre(kTau * (ring + 0.01) / kRings, q);
    // A frame around the tangent: `side` level, `over` at right angles to both.
    double t[3], length = 0;
    for (int c = 0; c < 3; ++c) length += (q[c] - p[c]) * (q[c] - p[c]);
    for (int c = 0; c < 3; ++c) t[c] = (q[c] - p[c]) / std::sqrt(length);
    const double level = std::hypot(t[0], t[2]);
    const double side[3] = {t[2] / level, 0, -t[0] / level};
    const double over[3] = {side[1] * t[2] - side[2] * t[1], side[2] * t[0] - side[0] * t[2],
                            side[0] * t[1] - side[1] * t[0]};
    for (int k = 0; k < kSides; ++k) {
      const double angle = kTau * k / kSides;
      for (int c = 0; c < 3; ++c) {
        const double normal = std::cos(angle) * side[c] + std::sin(angle) * over[c];
        mesh.vertices.push_back(static_cast<float>(p[c] + 0.42 * normal));
        mesh.normals.push_back(static_cast<float>(normal));
      }
    }
  }
  for (int ring = 0; ring < kRings; ++ring) {
    for (int k = 0; k < kSides; ++k) {
      const int next = (ring + 1) % kRings, beside = (k + 1) % kSides;
      const int a = ring * kSides + k, b = ring * kSides + beside, c = next * kSides + k,
                d = next * kSides + beside;
      const int stripe = (ring / 12) % 2;
      mesh.addTriangle(a, c, b, stripe);
      mesh.addTriangle(b, c, d, stripe);
    }
  }
  return mesh;
}

Placement placeOnFloor(Mesh &mesh, float radius, const Floor &floor) {
  double low[3] = {1e300, 1e300, 1e300}, high[3] = {-1e300, -1e300, -1e300};
  for (size_t i = 0; i < mesh.vertices.size(); ++i) {
    low[i % 3] = std::min<double>(low[i % 3], mesh.vertices[i]);
    high[i % 3] = std::max<double>(high[i % 3], mesh.vertices[i]);
  }
  const double diagonal = std::hypot(high[0] - low[0], high[1] - low[1], high[2] - low[2]);
  const double scale = diagonal > 0 ? 2 * radius / diagonal : 1;
  const Point move = {(low[0] + high[0]) / 2, low[1], (low[2] + high[2]) / 2};
  for (size_t i = 0; i < mesh.vertices.size(); ++i) {
    mesh.vertices[i] = static_cast<float>((mesh.vertices[i] - move[i % 3]) * scale);
  }
  if (!floor.wanted) return {move, scale};
  const int32_t first = mesh.vertexCount();
  const auto grey = static_cast<int32_t>(mesh.colours.size() / 3);
  mesh.colours.insert(mesh.colours.end(), floor.colour.begin(), floor.colour.end());
  if (!mesh.materialTextures.empty()) mesh.materialTextures.push_back(-1);
  const float reach = 12 * radius, y = -0.002f * radius;
  for (const float x : {-reach, reach}) {
    for (const float z : {-reach, reach}) {
      mesh.vertices.insert(mesh.vertices.end(), {x, y, z});
      mesh.normals.insert(mesh.normals.end(), {0.0f, 1.0f, 0.0f});
    }
  }
  if (!mesh.vertexColours.empty()) mesh.vertexColours.resize(mesh.vertices.size(), 1.0f);
  if (!mesh.textureCoordinates.empty()) mesh.textureCoordinates.resize(mesh.vertices.size() / 3 * 2, 0.0f);
  mesh.addTriangle(first, first + 1, first + 2, grey);
  mesh.addTriangle(first + 1, first + 3, first + 2, grey);
  return {move, scale};
}
