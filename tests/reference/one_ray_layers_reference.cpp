#include "reference/one_ray_layers_reference.h"

#include <cmath>

#include "reference/tree_reading.h"

namespace vekr_reference {

namespace {

constexpr float kParallel = std::bit_cast<float>(0x34000000u);         // 1.1920929e-7
constexpr float kFarMargin = std::bit_cast<float>(0x38d1b717u);        // 0.0001
constexpr float kFarthest = std::bit_cast<float>(0x7f7fffffu);         // 3.4028235e38
constexpr float kSegmentEnd = std::bit_cast<float>(0x3f800347u);       // 1.0001
constexpr float kSegmentFallback = std::bit_cast<float>(0x47a3d70au);  // 83886.078125
constexpr float kSegmentMargin = std::bit_cast<float>(0x3727c5acu);    // 1e-5, at nodes
constexpr float kLayerFallback = std::bit_cast<float>(0x4e480000u);    // 838860800.0
constexpr float kLayerMargin = std::bit_cast<float>(0x39473abdu);      // 0.00019, at nodes

float lesser(float a, float b) { return b < a ? b : a; }
float greater(float a, float b) { return a < b ? b : a; }

struct Ray {
  float o[3], d[3], inv[3];
  int sign[3];
  float tnear, tfar;
};

struct Candidate {
  float t, a, b, den;
};

// Whether the ray's line meets the triangle, and where.
bool meets(const VekrTriangleAccel &r, const Ray &ray, Candidate *hit) {
  const RecordAxes x(r);
  const float *o = ray.o, *d = ray.d;
  const float den = (r.nu * d[x.u] + r.nv * d[x.v]) + d[x.k];
  const float pu = r.cu - o[x.u];
  const float pv = r.cv - o[x.v];
  const float num = ((r.ck + r.nu * pu) + r.nv * pv) - o[x.k];
  const float wu = num * d[x.u] - pu * den;
  const float wv = num * d[x.v] - pv * den;
  const float a = wu * r.e2v - wv * r.e2u;
  const float b = wv * r.e1u - wu * r.e1v;
  const float c = (den - a) - b;
  *hit = {num / den, a, b, den};
  return c * a >= 0.0f && a * b >= 0.0f && c * b >= 0.0f;
}

// Visits the leaves along the ray. leaf(numbers) returns whether to stop; limit() is the best distance so far.
template <class Leaf, class Limit>
void walk(Ray ray, const VekrKDTreeNode *node, float margin, Leaf leaf, Limit limit) {
  struct Entry {
    const VekrKDTreeNode *node;
    float tfar;
  };
  std::vector<Entry> stack;
  for (;;) {
    while (isInner(node)) {
      const int axis = axisOf(node);
      const float t = (splitOf(node) - ray.o[axis]) * ray.inv[axis];
      const VekrKDTreeNode *near = childrenOf(node) + ray.sign[axis];
      const VekrKDTreeNode *far = childrenOf(node) + (1 - ray.sign[axis]);
      if (ray.tnear - t > margin) {
        node = far;
      } else if (t - ray.tfar > margin) {
        node = near;
      } else {
        stack.push_back({far, ray.tfar});
        ray.tfar = greater(ray.tnear, lesser(t, ray.tfar));
        node = near;
      }
    }
    if (leaf(leafTriangles(node))) return;
    if (stack.empty() || ray.tfar >= limit()) return;
    ray.tnear = ray.tfar;
    ray.tfar = stack.back().tfar;
    node = stack.back().node;
    stack.pop_back();
  }
}

struct LayeredCall {
  float *distances;
  float *const *hits;
  int32_t *hitTriangles;
  const VekrIntersectScene *scene;
  VekrVolumeSize volume;
};

void followRay(const LayeredCall &call, Ray ray, int64_t i) {
  const float *box = call.scene->pBox;
  ray.tnear = 0.0f;
  ray.tfar = call.distances[i];
  for (int a = 0; a < 3; ++a) {
    const float d = ray.d[a];
    if (kParallel >= std::fabs(d)) {
      ray.inv[a] = kLayerFallback;
      ray.sign[a] = 0;
      continue;
    }
    ray.sign[a] = !(d >= 0.0f) ? 1 : 0;
    ray.inv[a] = 1.0f / d;
    const float t0 = (box[a] - ray.o[a]) / d, t1 = (box[3 + a] - ray.o[a]) / d;
    ray.tnear = greater(lesser(t0, t1), ray.tnear);
    ray.tfar = lesser(greater(t0, t1), ray.tfar);
    if (ray.tnear > ray.tfar) return;
  }
  ray.tfar = ray.tfar + kFarMargin;

  const int64_t planeSize = static_cast<int64_t>(call.volume.width) * call.volume.height;
  int32_t memory[8] = {-1, -1, -1, -1, -1, -1, -1, -1};
  int32_t previous = -1;
  for (int32_t layer = 0;;) {
    const int64_t at = layer * planeSize + i;
    walk(
        ray, call.scene->pRoot, kLayerMargin,
        [&](const std::vector<int32_t> &numbers) {
          for (const int32_t n : numbers) {
            const VekrTriangleAccel &record = call.scene->pTriangles[n];
            if (record.axes == 0 || n == previous) continue;
            Candidate hit;
            if (!meets(record, ray, &hit)) continue;
            if (!(call.distances[at] > hit.t && hit.t > 0.0f)) continue;
            bool remembered = false;
            for (int m = 0; m < (layer & 7); ++m) remembered = remembered || memory[m] == n;
            if (remembered) continue;
            call.distances[at] = hit.t;
            call.hits[1][at] = hit.b / hit.den;
            call.hits[0][at] = hit.a / hit.den;
            call.hitTriangles[at] = n;
          }
          return false;
        },
        [&] { return call.distances[at]; });
    previous = call.hitTriangles[at];
    if (previous < 0) return;
    const float t = call.distances[at];
    for (int a = 0; a < 3; ++a) ray.o[a] = ray.o[a] + t * ray.d[a];
    if (layer > 0) call.distances[at] = t + call.distances[at - planeSize];
    memory[layer & 7] = previous;
    if (layer + 1 == call.volume.depth) return;
    ++layer;
    call.hitTriangles[at + planeSize] = -1;
    call.distances[at + planeSize] = kFarthest;
    if (layer > call.volume.depth) return;  // a depth below 1 ends here
    ray.tnear = 0.0f;
    ray.tfar = kFarthest;
    for (int a = 0; a < 3; ++a) {
      const float e0 = ray.inv[a] * (box[a] - ray.o[a]), e1 = ray.inv[a] * (box[3 + a] - ray.o[a]);
      ray.tfar = lesser(greater(e0, e1), ray.tfar);
    }
    ray.tfar = ray.tfar + kFarMargin;
  }
}

}  // namespace

void oneRayIntersectAnySO(const float *origin, const float *const *directions, int32_t *occluders,
                          int32_t *mask, VekrBlockSize size, const VekrIntersectScene *scene) {
  if (size.width < 1 || size.height < 1) return;
  for (int32_t i = 0; i < size.width * size.height; ++i) {
    occluders[i] = -1;
    if (mask[i] < 0) continue;
    Ray ray = {};
    for (int a = 0; a < 3; ++a) {
      ray.o[a] = origin[a];
      ray.d[a] = directions[a][i];
      ray.sign[a] = !(ray.d[a] >= 0.0f) ? 1 : 0;
      ray.inv[a] = kParallel >= std::fabs(ray.d[a]) ? kSegmentFallback : 1.0f / ray.d[a];
    }
    ray.tnear = 0.0f;
    ray.tfar = kSegmentEnd;
    walk(
        ray, scene->pRoot, kSegmentMargin,
        [&](const std::vector<int32_t> &numbers) {
          for (const int32_t n : numbers) {
            Candidate hit;
            if (scene->pTriangles[n].axes == 0 || !meets(scene->pTriangles[n], ray, &hit)) continue;
            if (!(1.0f > hit.t && hit.t > 0.0f)) continue;
            mask[i] = -1;
            occluders[i] = n;
            return true;
          }
          return false;
        },
        [] { return 1.0f; });
  }
}

void oneRayIntersectMultipleSO(const float *origin, const float *const *directions, float *distances,
                               float *const *hits, int32_t *hitTriangles, const VekrIntersectScene *scene,
                               VekrVolumeSize volume) {
  if (volume.width < 1 || volume.height < 1) return;
  const auto entries =
      static_cast<int32_t>(static_cast<uint32_t>(volume.width) * static_cast<uint32_t>(volume.height) *
                           static_cast<uint32_t>(volume.depth));
  for (int32_t e = 0; e < entries; ++e) hitTriangles[e] = -1;
  for (int32_t i = 0; i < volume.width * volume.height; ++i) {
    Ray ray = {};
    for (int a = 0; a < 3; ++a) {
      ray.o[a] = origin[a];
      ray.d[a] = directions[a][i];
    }
    followRay({distances, hits, hitTriangles, scene, volume}, ray, i);
  }
}

}  // namespace vekr_reference
