#include "shading.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr float kFar = std::numeric_limits<float>::max();
constexpr float kInFront =
    0.9999f;  // points lie this far along their rays, so that they don't shade themselves
constexpr VekrBlockSize kBlock = {kBlockSide, kBlockSide};

}  // namespace

BlockRenderer::BlockRenderer(const World &world, const Camera &camera, const ShadingOptions &options)
    : world_(world),
      camera_(camera),
      options_(options),
      sampleSize_(std::hypot(camera.stepX[0], camera.stepX[1], camera.stepX[2])) {
  const auto layers = static_cast<size_t>(std::max(options.layers, 1));
  for (auto *plane : {&dot_, &lightDot_, &lightDistance_, &throughput_, &factor_, &reflectivity_, &travelled_,
                      &groupDot_, &reached_, &possible_}) {
    plane->resize(kBlockRays);
  }
  distances_.resize(kBlockRays * layers);
  weights_.resize(2 * kBlockRays * layers);
  triangles_.resize(kBlockRays * layers);
  mask_.resize(kBlockRays);
  occluders_.resize(kBlockRays);
  groupTriangles_.resize(kBlockRays);
  for (int group = 0; group < kGroups; ++group) {
    for (int i = 0; i < kGroupRays; ++i) {
      const int x = i % kGroupSide * kGroupStep + group % kGroupStep;
      const int y = i / kGroupSide * kGroupStep + group / kGroupStep;
      place_.push_back(y * kBlockSide + x);
    }
  }
}

void BlockRenderer::render(int32_t x, int32_t y) {
  colour_.fill(0.0f);
  std::fill(throughput_.begin(), throughput_.end(), 1.0f);
  vekrCastEye_32f(camera_.corner, camera_.stepX, camera_.stepY, kBlockSide, kBlockSide, {x, y},
                  directions_.planes(), kBlock);
  std::fill(distances_.begin(), distances_.end(), kFar);
  counts_.eye += kBlockRays;
  if (options_.layers > 0) {
    xray();
    return;
  }
  float *const hits[2] = {weights_.data(), weights_.data() + kBlockRays};
  vekrIntersectEyeSO_32f(camera_.eye, directions_.planes(), distances_.data(), hits, triangles_.data(),
                         world_.scene.view(), kBlock);
  addSky();
  travelled_.assign(distances_.begin(), distances_.begin() + kBlockRays);
  vekrHitPoint3DEpsS0_32f_M(camera_.eye, directions_.planes(), distances_.data(), triangles_.data(),
                            points_.planes(), kBlockRays, kInFront);
  shade();
  for (int i = 0; i < options_.bounces; ++i) bounce();
}

// Light and surroundings of the points that the last rays have hit.
void BlockRenderer::shade() {
  const Mesh &mesh = world_.scene.mesh();
  if (options_.flat) {
    vekrSurfFlatNormal_32f(world_.scene.triangleNormals().data(), triangles_.data(), normals_.planes(),
                           kBlockRays);
  } else {
    const float *const hits[2] = {weights_.data(), weights_.data() + kBlockRays};
    vekrSurfSmoothNormal_32f(mesh.normals.data(), mesh.indices.data(), triangles_.data(), hits,
                             normals_.planes(), kBlockRays, 4);
  }
  vekrDotChangeNorm_32f_IM(directions_.planes(), triangles_.data(), normals_.planes(), dot_.data(),
                           kBlockRays);

  findColours();
  const bool soft = !world_.lightSamples.empty();
  addSurroundings();
  if (soft) splitIntoGroups(normals_, dot_);
  for (size_t i = 0; i < world_.lights.size(); ++i) {
    soft ? addSoftLight(world_.lights[i], world_.lightSamples[i]) : addPointLight(world_.lights[i]);
  }
}

void BlockRenderer::findColours() {
  const Mesh &mesh = world_.scene.mesh();
  if (world_.surface.isPlain()) {
    for (int i = 0; i < kBlockRays; ++i) {
      if (triangles_[i] < 0) continue;
      const float *colour = &mesh.colours[3 * static_cast<size_t>(mesh.material[triangles_[i]])];
      for (int c = 0; c < 3; ++c) albedo_[c][i] = colour[c];
    }
    return;
  }
  for (int i = 0; i < kBlockRays; ++i) {
    if (triangles_[i] < 0) continue;
    // A surface that is seen from the side is covered in one direction only: the root is the mean of both.
    const float slant = std::sqrt(std::max(std::abs(dot_[i]), 0.01f));
    float colour[3];
    world_.surface.colour(triangles_[i], weights_[i], weights_[kBlockRays + i],
                          travelled_[i] * sampleSize_ / slant, colour);
    for (int c = 0; c < 3; ++c) albedo_[c][i] = colour[c];
  }
}

// Light from everywhere, as much of it as nothing hides.
void BlockRenderer::addSurroundings() {
  std::copy(throughput_.begin(), throughput_.end(), factor_.begin());
  if (!world_.dome.empty()) findHidden();
  Rgb scale = {1, 1, 1};
  Vector3Plane *colours = &albedo_;
  if (world_.environment.hasPanorama()) {
    world_.environment.sentBack(normals_.planes(), surroundings_.planes(), work_.planes(), kBlockRays);
    for (int c = 0; c < 3; ++c) {
      for (int i = 0; i < kBlockRays; ++i) surroundings_[c][i] *= albedo_[c][i];
    }
    colours = &surroundings_;
  } else {
    scale = world_.environment.plainLight();
    for (int i = 0; i < kBlockRays; ++i) factor_[i] *= 0.6f + 0.4f * normals_[1][i];  // more of it from above
  }
  vekrAddMulMul_32f_AC1P3IM(scale.data(), factor_.data(), colours->planes(), triangles_.data(),
                            colour_.planes(), kBlockRays);
}

void BlockRenderer::addPointLight(const Light &light) {
  std::copy_n(triangles_.begin(), kBlockRays, mask_.begin());
  vekrCastShadowSO_32f(light.position, dot_.data(), normals_.planes(), points_.planes(), mask_.data(),
                       lightDot_.data(), shadowDirections_.planes(), kBlockRays);
  counts_.shadow += std::count_if(mask_.begin(), mask_.end(), [](int32_t m) { return m >= 0; });
  vekrIntersectAnySO_32f(light.position, shadowDirections_.planes(), occluders_.data(), mask_.data(), kBlock,
                         world_.scene.view());
  vekrDistAttenuationSO_32f_M(light.position, points_.planes(), mask_.data(), lightDistance_.data(),
                              kBlockRays);
  vekrDiv_32f_C1IM(lightDistance_.data(), mask_.data(), lightDot_.data(), kBlockRays);  // now a cosine
  vekrMul_32f_C1IM(throughput_.data(), mask_.data(), lightDot_.data(), kBlockRays);
  vekrAddMulMul_32f_AC1P3IM(light.colour, lightDot_.data(), albedo_.planes(), mask_.data(), colour_.planes(),
                            kBlockRays);
}

// Rays that are on their way and have hit nothing see the sky.
void BlockRenderer::addSky() {
  for (int i = 0; i < kBlockRays; ++i) {
    if (triangles_[i] >= 0 || throughput_[i] == 0.0f) continue;
    float sky[3];
    world_.environment.seen(directions_[0][i], directions_[1][i], directions_[2][i], sky);
    for (int c = 0; c < 3; ++c) colour_[c][i] += throughput_[i] * sky[c];
  }
}

// Mirrors the rays that have hit something and goes on with them.
void BlockRenderer::bounce() {
  vekrCastReflectionRay_32f(directions_.planes(), triangles_.data(), normals_.planes(), reflected_.planes(),
                            kBlockRays);
  std::fill(reflectivity_.begin(), reflectivity_.end(), options_.mirror);
  vekrMul_32f_C1IM(reflectivity_.data(), triangles_.data(), throughput_.data(), kBlockRays);
  for (int c = 0; c < 3; ++c) std::copy_n(reflected_[c], kBlockRays, directions_[c]);
  for (int i = 0; i < kBlockRays; ++i) distances_[i] = triangles_[i] < 0 ? 0.0f : kFar;
  counts_.reflection += std::count_if(triangles_.begin(), triangles_.end(), [](int32_t t) { return t >= 0; });
  float *const hits[2] = {weights_.data(), weights_.data() + kBlockRays};
  vekrIntersectMO_32f(points_.planes(), directions_.planes(), distances_.data(), hits, triangles_.data(),
                      world_.scene.view(), kBlock);
  addSky();
  for (int i = 0; i < kBlockRays; ++i) travelled_[i] += distances_[i];
  vekrHitPoint3DEpsM0_32f_M(points_.planes(), directions_.planes(), distances_.data(), triangles_.data(),
                            points_.planes(), kBlockRays, kInFront);
  shade();
}

// Brightness by the number of surfaces that a ray passes.
void BlockRenderer::xray() {
  const auto plane = static_cast<size_t>(options_.layers) * kBlockRays;
  float *const hits[2] = {weights_.data(), weights_.data() + plane};
  vekrIntersectMultipleSO_32f(camera_.eye, directions_.planes(), distances_.data(), hits, triangles_.data(),
                              world_.scene.view(), {kBlockSide, kBlockSide, options_.layers});
  for (int i = 0; i < kBlockRays; ++i) {
    int passed = 0;
    while (passed < options_.layers && triangles_[static_cast<size_t>(passed) * kBlockRays + i] >= 0)
      ++passed;
    const float share = static_cast<float>(passed) / static_cast<float>(options_.layers);
    for (int c = 0; c < 3; ++c) colour_[c][i] = share;
  }
}
