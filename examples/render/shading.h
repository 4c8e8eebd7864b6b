// Traces and shades one block of rays with the library's functions.
#pragma once

#include <cstdint>
#include <vector>

#include "scene.h"

constexpr int kBlockSide = 64;
constexpr int kBlockRays = kBlockSide * kBlockSide;

struct Light {
  float position[3];
  float colour[3];
};

struct Camera {
  float eye[3];
  float corner[3];  // direction to the picture's first sample
  float stepX[3];   // from sample to sample
  float stepY[3];
};

struct ShadingOptions {
  int bounces = 1;
  bool flat = false;  // triangle normals instead of vertex normals
  int layers = 0;     // above 0: an X-ray picture of so many layers
};

struct RayCounts {
  int64_t eye = 0;
  int64_t shadow = 0;
  int64_t reflection = 0;

  int64_t all() const { return eye + shadow + reflection; }
};

// A float plane for each ray of a block, three of them as a vector. The planes are 16-byte aligned and the block's sides
// are multiples of four, so that the library takes its packet forms.
class Vector3Plane {
 public:
  Vector3Plane() : values_(3 * kBlockRays) {
    for (int c = 0; c < 3; ++c) planes_[c] = values_.data() + c * kBlockRays;
  }
  Vector3Plane(const Vector3Plane &) = delete;
  Vector3Plane &operator=(const Vector3Plane &) = delete;
  float *const *planes() { return planes_; }
  float *operator[](int c) { return planes_[c]; }
  void fill(float value) { values_.assign(values_.size(), value); }

 private:
  std::vector<float> values_;
  float *planes_[3];
};

// Working memory of one thread.
class BlockRenderer {
 public:
  BlockRenderer(const Scene &scene, const Camera &camera, const std::vector<Light> &lights,
                const ShadingOptions &options);

  // Renders block (x, y) of the picture; the colours are linear.
  void render(int32_t x, int32_t y);
  const float *colour(int c) { return colour_[c]; }
  const RayCounts &counts() const { return counts_; }

 private:
  void shade();
  void addLight(const Light &light);
  void addSky();
  void bounce();
  void xray();

  const Scene &scene_;
  const Camera &camera_;
  const std::vector<Light> &lights_;
  const ShadingOptions &options_;

  Vector3Plane directions_, points_, normals_, reflected_, shadowDirections_, albedo_, colour_;
  std::vector<float> distances_, weights_, dot_, lightDot_, lightDistance_, throughput_, factor_,
      reflectivity_;
  std::vector<int32_t> triangles_, mask_, occluders_;
  RayCounts counts_;
};
