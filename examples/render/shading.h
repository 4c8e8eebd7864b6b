// Traces and shades one block of rays with the library's functions.
#pragma once

#include <cstdint>
#include <vector>

#include "camera.h"
#include "environment.h"
#include "light_samples.h"
#include "scene.h"
#include "surface.h"

constexpr int kBlockSide = 64;
constexpr int kBlockRays = kBlockSide * kBlockSide;
constexpr int kGroupSide = kBlockSide / kGroupStep;
constexpr int kGroupRays = kGroupSide * kGroupSide;

struct ShadingOptions {
  int bounces = 1;
  bool flat = false;      // triangle normals instead of vertex normals
  int layers = 0;         // above 0: an X-ray picture of so many layers
  int shadowSamples = 0;  // of each light and ray; 0: lights are points
  float lightRadius = 0;  // of lights that are not
  int occlusionSamples =
      0;                 // directions in which a point looks for what hides its surroundings; 0: nothing does
  float mirror = 0.18f;  // share of light that a surface mirrors
};

// All that blocks of rays meet; the same for all threads.
struct World {
  const Scene &scene;
  const Surface &surface;
  const Environment &environment;
  std::vector<Light> lights;
  std::vector<LightSamples> lightSamples;  // of each light, if they are no points
  LightSamples dome;                       // if surroundings can be hidden
};

struct RayCounts {
  int64_t eye = 0;
  int64_t shadow = 0;
  int64_t reflection = 0;
  int64_t occlusion = 0;

  int64_t all() const { return eye + shadow + reflection + occlusion; }
  RayCounts &operator+=(const RayCounts &other) {
    eye += other.eye;
    shadow += other.shadow;
    reflection += other.reflection;
    occlusion += other.occlusion;
    return *this;
  }
};

// A float plane for each ray of a block, three of them as a vector. The planes are 16-byte aligned and the sides of blocks and
// of groups are multiples of four, so that the library takes its packet forms.
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
  BlockRenderer(const World &world, const Camera &camera, const ShadingOptions &options);

  // Renders block (x, y) of the picture; the colours are linear.
  void render(int32_t x, int32_t y);
  const float *colour(int c) { return colour_[c]; }
  const RayCounts &counts() const { return counts_; }

 private:
  void shade();
  void findColours();
  void addSurroundings();
  void addPointLight(const Light &light);
  void addSky();
  void bounce();
  void xray();

  // soft_shading.cpp
  void splitIntoGroups(Vector3Plane &normals, const std::vector<float> &dot);
  int64_t lightGroup(int first, const LightSample &sample, bool wantPossible);
  int64_t lightGroups(const LightSamples &samples, bool wantPossible);
  void addSoftLight(const Light &light, const LightSamples &samples);
  void findHidden();

  const World &world_;
  const Camera &camera_;
  const ShadingOptions &options_;
  float sampleSize_;  // what a ray covers at distance 1

  Vector3Plane directions_, points_, normals_, reflected_, shadowDirections_, albedo_, colour_, surroundings_,
      work_;
  std::vector<float> distances_, weights_, dot_, lightDot_, lightDistance_, throughput_, factor_,
      reflectivity_, travelled_;
  std::vector<int32_t> triangles_, mask_, occluders_;

  // The same rays in groups, one behind the other; and what adds up for them.
  std::vector<int32_t> place_;  // in the block, of each ray in its group
  Vector3Plane groupPoints_, groupNormals_;
  std::vector<float> groupDot_, reached_, possible_;
  std::vector<int32_t> groupTriangles_;
  RayCounts counts_;
};
