#include "reference/one_ray_reference.h"

#include <bit>
#include <cmath>
#include <vector>

#include "reference/tree_reading.h"

namespace vekr_reference {

namespace {

enum class Origins { one, many };

const float kParallel = std::bit_cast<float>(0x34000000u);      // 1.1920929e-7
const float kFallbackOne = std::bit_cast<float>(0x4e480000u);   // 838860800.0
const float kFallbackMany = std::bit_cast<float>(0x47a3d70au);  // 83886.078125
const float kMargin = std::bit_cast<float>(0x38d1b717u);        // 0.0001
const float kEps2 = std::bit_cast<float>(0x3727c5acu);          // 1e-5
const float kSmallestDen = std::bit_cast<float>(0x35a00000u);   // 1.1920929e-6

// min and max of two ordered numbers; what a NaN gives doesn't matter.
float lesser(float a, float b) { return b < a ? b : a; }
float greater(float a, float b) { return a < b ? b : a; }

struct Ray {
  float o[3], d[3];
  float inv[3];
  int sign[3];
  float tnear, tfar;
};

struct Result {
  float *distance, *hit0, *hit1;
  int32_t *triangle;
};

// Whether the ray goes on.
bool clip(Ray &ray, const float *box, Origins kind) {
  for (int a = 0; a < 3; ++a) {
    const float d = ray.d[a], o = ray.o[a];
    const float low = box[a], high = box[3 + a];
    if (kParallel >= std::fabs(d)) {
      ray.sign[a] = 0;
      if (kind == Origins::one) {
        ray.inv[a] = kFallbackOne;
      } else {
        ray.inv[a] = kFallbackMany;
        if (!(low < o && o < high)) return false;
      }
      continue;
    }
    ray.sign[a] = !(d >= 0.0f) ? 1 : 0;
    ray.inv[a] = 1.0f / d;
    const float t0 = kind == Origins::one ? (low - o) / d : (low - o) * ray.inv[a];
    const float t1 = kind == Origins::one ? (high - o) / d : (high - o) * ray.inv[a];
    ray.tnear = greater(lesser(t0, t1), ray.tnear);
    ray.tfar = lesser(greater(t0, t1), ray.tfar);
    if (ray.tnear > ray.tfar) return false;
  }
  return true;
}

void testTriangle(const Ray &ray, const VekrTriangleAccel *records, int32_t n, Origins kind, Result result) {
  const VekrTriangleAccel &r = records[n];
  if (r.axes == 0) return;
  if (kind == Origins::many && n == *result.triangle) return;
  const auto [k, u, v] = RecordAxes(r);
  const float *o = ray.o, *d = ray.d;
  const float den = (r.nu * d[u] + r.nv * d[v]) + d[k];
  if (kind == Origins::many && kSmallestDen > std::fabs(den)) return;
  const float pu = r.cu - o[u];
  const float pv = r.cv - o[v];
  const float num = ((r.ck + r.nu * pu) + r.nv * pv) - o[k];
  const float wu = num * d[u] - pu * den;
  const float wv = num * d[v] - pv * den;
  const float a = wu * r.e2v - wv * r.e2u;
  const float b = wv * r.e1u - wu * r.e1v;
  const float c = (den - a) - b;
  if (!(c * a >= 0.0f && a * b >= 0.0f && c * b >= 0.0f)) return;
  const float t = num / den;
  const float limit = kind == Origins::one ? *result.distance : *result.distance - kEps2;
  if (!(limit > t && t > 0.0f)) return;
  *result.distance = t;
  *result.hit1 = b / den;
  *result.hit0 = a / den;
  *result.triangle = n;
}

void walk(Ray ray, const VekrIntersectScene *scene, Origins kind, Result result) {
  struct Entry {
    const VekrKDTreeNode *node;
    float tfar;
  };
  std::vector<Entry> stack;
  const VekrKDTreeNode *node = scene->pRoot;
  for (;;) {
    if (isInner(node)) {
      const int axis = axisOf(node);
      const VekrKDTreeNode *pair = childrenOf(node);
      const float t = (splitOf(node) - ray.o[axis]) * ray.inv[axis];
      const VekrKDTreeNode *near = pair + ray.sign[axis];
      const VekrKDTreeNode *far = pair + (1 - ray.sign[axis]);
      if (ray.tnear - t > kEps2) {
        node = far;
      } else if (t - ray.tfar > kEps2) {
        node = near;
      } else {
        stack.push_back({far, ray.tfar});
        ray.tfar = greater(ray.tnear, lesser(t, ray.tfar));
        node = near;
      }
      continue;
    }
    for (const int32_t n : leafTriangles(node)) testTriangle(ray, scene->pTriangles, n, kind, result);
    if (stack.empty()) return;
    const Entry top = stack.back();
    stack.pop_back();
    if (ray.tfar >= *result.distance) return;
    ray.tnear = ray.tfar;
    node = top.node;
    ray.tfar = top.tfar;
  }
}

void nearestHit(Ray ray, const VekrIntersectScene *scene, Origins kind, Result result) {
  *result.triangle = -1;
  ray.tfar = *result.distance;
  ray.tnear = 0.0f;
  if (!clip(ray, scene->pBox, kind)) return;
  ray.tfar = ray.tfar + kMargin;
  walk(ray, scene, kind, result);
}

template <class OriginOf>
void block(OriginOf originOf, const float *const *directions, float *distances, float *const *hits,
           int32_t *hitTriangles, const VekrIntersectScene *scene, VekrBlockSize size, Origins kind) {
  if (size.width < 1 || size.height < 1) return;
  for (int32_t i = 0; i < size.width * size.height; ++i) {
    Ray ray = {};
    for (int a = 0; a < 3; ++a) {
      ray.o[a] = originOf(a, i);
      ray.d[a] = directions[a][i];
    }
    nearestHit(ray, scene, kind, {&distances[i], &hits[0][i], &hits[1][i], &hitTriangles[i]});
  }
}

}  // namespace

void intersectMO(const float *const *origins, const float *const *directions, float *distances,
                 float *const *hits, int32_t *hitTriangles, const VekrIntersectScene *scene,
                 VekrBlockSize size) {
  block([&](int a, int32_t i) { return origins[a][i]; }, directions, distances, hits, hitTriangles, scene,
        size, Origins::many);
}

void intersectEyeSO(const float *origin, const float *const *directions, float *distances, float *const *hits,
                    int32_t *hitTriangles, const VekrIntersectScene *scene, VekrBlockSize size) {
  block([&](int a, int32_t) { return origin[a]; }, directions, distances, hits, hitTriangles, scene, size,
        Origins::one);
}

}  // namespace vekr_reference
