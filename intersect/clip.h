// Clips one ray to the scene's box.
#pragma once

#include "intersect/one_ray_walk.h"

namespace vekr {

// What distinguishes rays from one point and rays with an origin each, as far as the box goes [C16], and by which numbers
// in the triangle test [C17]. Every difference is contract.
struct EyeRays {
  // Reciprocal of a parallel axis, which clips nothing: a ray outside the slab finds nothing on its walk.
  static constexpr float kParallelInverse = std::bit_cast<float>(0x4e480000u);  // 838860800.0
  static bool missesSlab(float, float, float) { return false; }
  static float toPlane(float plane, float origin, float direction, float) {
    return (plane - origin) / direction;
  }
};

struct ManyOriginRays {
  static constexpr float kParallelInverse = std::bit_cast<float>(0x47a3d70au);  // 83886.078125
  static constexpr float kSmallestDen = std::bit_cast<float>(0x35a00000u);      // 1.1920929e-6
  static constexpr float kHitMargin = std::bit_cast<float>(0x3727c5acu);        // 1e-5
  static bool missesSlab(float low, float origin, float high) { return !(low < origin && origin < high); }
  static float toPlane(float plane, float origin, float, float inverse) { return (plane - origin) * inverse; }
};

// Fills reciprocals and near children, and clips the interval 0 to `limit`; false if nothing of it is left.
template <class Kind>
bool clipToBox(const float *box, float limit, WalkRay &w) {
  int octant = 0;
  w.near = 0.0f;
  w.far = limit;
  for (int axis = 0; axis < 3; ++axis) {
    const float d = w.ray.direction[axis], o = w.ray.origin[axis];
    const float low = box[axis], high = box[3 + axis];
    if (kParallel >= std::fabs(d)) {
      w.inverse[axis] = Kind::kParallelInverse;
      if (Kind::missesSlab(low, o, high)) return false;
      continue;
    }
    octant |= !(d >= 0.0f) << axis;
    w.inverse[axis] = 1.0f / d;
    const float t0 = Kind::toPlane(low, o, d, w.inverse[axis]),
                t1 = Kind::toPlane(high, o, d, w.inverse[axis]);
    const float first = t0 < t1 ? t0 : t1, last = t0 < t1 ? t1 : t0;
    w.near = first > w.near ? first : w.near;
    w.far = last < w.far ? last : w.far;
    if (w.near > w.far) return false;
  }
  w.nearChildren = nearChildrenIn(octant);
  w.far = w.far + kBoxMargin;
  return true;
}

}  // namespace vekr
