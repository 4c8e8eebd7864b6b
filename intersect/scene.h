// What the walks share: constants of the one-ray forms, and the one-ray triangle test.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>

#include "pr_avlopsahopt/kdtree_format.h"
#include "vekr.h"

namespace vekr {

// A direction component of at most this size counts as parallel to its axis's planes.
constexpr float kParallel = std::bit_cast<float>(0x34000000u);  // 1.1920929e-7
// Added to a ray's end after the clip, so that the walk does not stop short of hits on the box's far side.
constexpr float kBoxMargin = std::bit_cast<float>(0x38d1b717u);  // 0.0001
// A split nearer than this to an end of the interval counts as inside it [C18].
constexpr float kNodeMargin = std::bit_cast<float>(0x3727c5acu);  // 1e-5

struct Ray {
  float origin[3];
  float direction[3];
};

// One ray against one record, up to the acceptance by the three weights; all weights are multiplied by den.
struct TriangleTest {
  float den, num;
  float a, b, c;

  TriangleTest(const VekrTriangleAccel &r, const Ray &ray) {
    const uint32_t v = r.axes & 3, u = (r.axes >> 2) & 3, k = (r.axes >> 4) & 3;
    const float *d = ray.direction, *o = ray.origin;
    den = (r.nu * d[u] + r.nv * d[v]) + d[k];
    const float pu = r.cu - o[u], pv = r.cv - o[v];
    num = ((r.ck + r.nu * pu) + r.nv * pv) - o[k];
    const float wu = num * d[u] - pu * den, wv = num * d[v] - pv * den;
    a = wu * r.e2v - wv * r.e2u;
    b = wv * r.e1u - wu * r.e1v;
    c = (den - a) - b;
  }

  // The weights agree in sign; zero passes, so the edges belong to the triangle; a NaN fails.
  bool inside() const { return c * a >= 0.0f && a * b >= 0.0f && c * b >= 0.0f; }
};

static inline bool isDegenerate(const VekrTriangleAccel &record) { return record.axes == 0; }

}  // namespace vekr
