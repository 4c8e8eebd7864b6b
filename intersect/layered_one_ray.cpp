#include <cfloat>

#include "intersect/clip.h"
#include "intersect/one_ray.h"
#include "intersect/one_ray_walk.h"

namespace vekr {

namespace {

constexpr float kLayerNodeMargin = std::bit_cast<float>(0x39473abdu);  // 0.00019 [C18]

// The last eight triangles that a ray has passed. In layer l only the first (l mod 8) slots are searched and
// the next one is filled afterwards, so that in the ninth layer the search starts over: callers depend on the
// wrap [C19].
class PassedTriangles {
 public:
  bool contains(int32_t triangle, int32_t layer) const {
    for (int32_t slot = 0; slot < (layer & 7); ++slot) {
      if (slots_[slot] == triangle) return true;
    }
    return false;
  }
  void remember(int32_t triangle, int32_t layer) { slots_[layer & 7] = triangle; }

 private:
  int32_t slots_[8] = {-1, -1, -1, -1, -1, -1, -1, -1};
};

// One ray's entries in the planes of the results.
struct LayerRow {
  float *distance;
  float *weightA, *weightB;
  int32_t *triangle;

  void advance(int64_t planeSize) {
    distance += planeSize;
    weightA += planeSize;
    weightB += planeSize;
    triangle += planeSize;
  }
};

void walkLayer(const VekrIntersectScene &scene, const WalkRay &w, int32_t previous,
               const PassedTriangles &passed, int32_t layer, const LayerRow &row) {
  float best = *row.distance;
  const auto visit = [&](int32_t triangle) {
    const VekrTriangleAccel &record = scene.pTriangles[triangle];
    if (isDegenerate(record) || triangle == previous) return true;
    const TriangleTest test(record, w.ray);
    if (!test.inside()) return true;
    const float t = test.num / test.den;
    if (!(best > t && t > 0.0f) || passed.contains(triangle, layer)) return true;
    best = t;
    *row.distance = t;
    *row.weightB = test.b / test.den;
    *row.weightA = test.a / test.den;
    *row.triangle = triangle;
    return true;
  };
  walkTree(scene.pRoot, w, kLayerNodeMargin, visit, [&](float far) { return far >= best; });
}

// The end of the ray in the box from where its origin has moved to.
float farFromHere(const float *box, const WalkRay &w) {
  float far = FLT_MAX;
  for (int axis = 0; axis < 3; ++axis) {
    const float toLow = w.inverse[axis] * (box[axis] - w.ray.origin[axis]);
    const float toHigh = w.inverse[axis] * (box[3 + axis] - w.ray.origin[axis]);
    const float end = toLow > toHigh ? toLow : toHigh;
    far = end < far ? end : far;
  }
  return far + kBoxMargin;
}

void traceLayers(const VekrIntersectScene &scene, WalkRay &w, LayerRow row, int64_t planeSize,
                 int32_t depth) {
  if (!clipToBox<EyeRays>(scene.pBox, *row.distance, w)) return;
  PassedTriangles passed;
  int32_t previous = -1;
  float sumBefore = 0.0f;
  for (int32_t layer = 0;;) {
    walkLayer(scene, w, previous, passed, layer, row);
    previous = *row.triangle;
    if (previous < 0) return;
    const float t = *row.distance;
    for (int axis = 0; axis < 3; ++axis) {
      w.ray.origin[axis] = w.ray.origin[axis] + t * w.ray.direction[axis];
    }
    if (layer > 0) *row.distance = t + sumBefore;
    sumBefore = *row.distance;
    passed.remember(previous, layer);
    if (layer + 1 == depth) return;
    ++layer;
    row.advance(planeSize);
    *row.triangle = -1;
    *row.distance = FLT_MAX;
    // A depth below 1 gets here once: plane 1 is written and that is the end [C20].
    if (layer >= depth) return;
    w.near = 0.0f;
    w.far = farFromHere(scene.pBox, w);
  }
}

}  // namespace

VekStatus ownIntersectMultipleBlock(const float *pOrigin, const float *const *pDirections,
                                    const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                                    int32_t *pHitTriangles, VekrVolumeSize volume) {
  presetLayers(pHitTriangles, volume);
  const int64_t rays = static_cast<int64_t>(volume.width) * volume.height;
  for (int64_t i = 0; i < rays; ++i) {
    WalkRay w;
    for (int axis = 0; axis < 3; ++axis) {
      w.ray.origin[axis] = pOrigin[axis];
      w.ray.direction[axis] = pDirections[axis][i];
    }
    traceLayers(scene, w, {pDistances + i, pHits[0] + i, pHits[1] + i, pHitTriangles + i}, rays,
                volume.depth);
  }
  return vekOk;
}

void presetLayers(int32_t *pHitTriangles, VekrVolumeSize volume) {
  const int32_t count = wrappingMul(wrappingMul(volume.width, volume.height), volume.depth);
  for (int64_t i = 0; i < count; ++i) pHitTriangles[i] = -1;
}

}  // namespace vekr
