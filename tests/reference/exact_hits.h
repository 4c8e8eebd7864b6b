// Crossings of a ray with a mesh, decided in double from the vertices themselves: what is far from any doubt must come
// out of every form.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

namespace vekr_reference {

struct Crossing {
  int32_t triangle;
  double t;
  bool clear;  // well within the triangle, and not along it
};

struct Crossings {
  std::vector<Crossing> inOrder;  // by distance, those with t > 0
  bool doubtful = false;  // some triangle is met so near to an edge, or so flatly, that it may go either way
};

// `corners` is called with (triangle, number) and returns a point of three floats. `margin` is the distance from an edge
// in barycentric weights, below which a crossing isn't clear.
template <class Corners>
Crossings exactCrossings(int32_t triangles, Corners corners, const float *origin, const float *direction,
                         double margin) {
  using Vector = std::array<double, 3>;
  const auto minus = [](const Vector &a, const Vector &b) {
    return Vector{a[0] - b[0], a[1] - b[1], a[2] - b[2]};
  };
  const auto cross = [](const Vector &a, const Vector &b) {
    return Vector{a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
  };
  const auto dot = [](const Vector &a, const Vector &b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; };
  const Vector o = {origin[0], origin[1], origin[2]}, d = {direction[0], direction[1], direction[2]};
  Crossings result;
  for (int32_t n = 0; n < triangles; ++n) {
    Vector p[3];
    for (int i = 0; i < 3; ++i) {
      const auto c = corners(n, i);
      p[i] = {c[0], c[1], c[2]};
    }
    const Vector e1 = minus(p[0], p[2]), e2 = minus(p[1], p[2]), normal = cross(e1, e2);
    const double area = std::sqrt(dot(normal, normal));
    if (area == 0.0) continue;
    const double den = dot(normal, d);
    const double flatness = std::fabs(den) / (area * std::sqrt(dot(d, d)));
    if (flatness < 0.02) {
      result.doubtful = true;
      continue;
    }
    const double t = dot(normal, minus(p[2], o)) / den;
    const Vector hit = minus({o[0] + t * d[0], o[1] + t * d[1], o[2] + t * d[2]}, p[2]);
    const double a = dot(cross(hit, e2), normal) / (area * area);
    const double b = dot(cross(e1, hit), normal) / (area * area);
    const double least = std::min({a, b, 1.0 - a - b});
    if (least < -margin || t < -1e-3) continue;
    if (least < margin || t < 1e-3) result.doubtful = true;
    if (least >= 0.0 && t > 0.0) result.inOrder.push_back({n, t, least >= margin && t >= 1e-3});
  }
  std::sort(result.inOrder.begin(), result.inOrder.end(),
            [](const Crossing &x, const Crossing &y) { return x.t < y.t; });
  return result;
}

}  // namespace vekr_reference
