// One ray's way from layer to layer, whatever walks it through the tree. Functions are static: kernels for several
// instruction sets use them, and must not share compiled forms.
#pragma once

#include <cfloat>

#include "frame/integer.h"
#include "intersect/one_ray_walk.h"

namespace vekr {

constexpr float kLayerNodeMargin = std::bit_cast<float>(0x39473abdu);  // 0.00019 [C18]

// Sets all layers of all rays to -1; nothing if width * height * depth, in 32 bits, is below 1 [C21].
static inline void presetLayers(int32_t *pHitTriangles, VekrVolumeSize volume) {
  const int32_t count = wrappingMul(wrappingMul(volume.width, volume.height), volume.depth);
  for (int64_t i = 0; i < count; ++i) pHitTriangles[i] = -1;
}

// One ray's entries in the planes of the results.
struct LayerRow {
  float *distance;
  float *weightA, *weightB;
  int32_t *triangle;
};

struct LayeredRay {
  LayerRow row;  // of the present layer
  // The last eight triangles that the ray has passed. In layer l only the first (l mod 8) slots are searched and
  // the next one is filled afterwards, so that in the ninth layer the search starts over: callers depend on the
  // wrap [C19].
  int32_t passed[8];
  int32_t previous;  // the hit of the layer before, or -1
  int32_t layer;
  float sumBefore;  // the distance of the layer before from the ray's true origin
};

// The same entries `count` floats further on.
static inline LayerRow behind(const LayerRow &row, int64_t count) {
  return {row.distance + count, row.weightA + count, row.weightB + count, row.triangle + count};
}

static inline LayeredRay firstLayer(const LayerRow &row) {
  return {row, {-1, -1, -1, -1, -1, -1, -1, -1}, -1, 0, 0.0f};
}

static inline bool hasPassed(const LayeredRay &r, int32_t triangle) {
  for (int32_t slot = 0; slot < (r.layer & 7); ++slot) {
    if (r.passed[slot] == triangle) return true;
  }
  return false;
}

static inline void takeHit(const LayeredRay &r, int32_t triangle, float t, float weightA, float weightB) {
  *r.row.distance = t;
  *r.row.weightB = weightB;
  *r.row.weightA = weightA;
  *r.row.triangle = triangle;
}

// The end of the ray in the box from where its origin has moved to.
static inline float farFromHere(const float *box, const WalkRay &w) {
  float far = FLT_MAX;
  for (int axis = 0; axis < 3; ++axis) {
    const float toLow = w.inverse[axis] * (box[axis] - w.ray.origin[axis]);
    const float toHigh = w.inverse[axis] * (box[3 + axis] - w.ray.origin[axis]);
    const float end = toLow > toHigh ? toLow : toHigh;
    far = end < far ? end : far;
  }
  return far + kBoxMargin;
}

// After a layer's walk: moves the ray to its hit, for the next layer's; false if there is none.
static inline bool goToNextLayer(LayeredRay &r, const float *box, int64_t planeSize, int32_t depth,
                                 WalkRay &w) {
  r.previous = *r.row.triangle;
  if (r.previous < 0) return false;
  const float t = *r.row.distance;
  for (int axis = 0; axis < 3; ++axis) {
    w.ray.origin[axis] = w.ray.origin[axis] + t * w.ray.direction[axis];
  }
  if (r.layer > 0) *r.row.distance = t + r.sumBefore;
  r.sumBefore = *r.row.distance;
  r.passed[r.layer & 7] = r.previous;
  if (r.layer + 1 == depth) return false;
  ++r.layer;
  r.row = behind(r.row, planeSize);
  *r.row.triangle = -1;
  *r.row.distance = FLT_MAX;
  // A depth below 1 gets here once: plane 1 is written and that is the end [C20].
  if (r.layer >= depth) return false;
  w.near = 0.0f;
  w.far = farFromHere(box, w);
  return true;
}

}  // namespace vekr
