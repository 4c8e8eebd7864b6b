// Light from more than a point: a block of rays in interleaved groups, each of which has points of its own.
#include <algorithm>

#include "shading.h"

namespace {

constexpr VekrBlockSize kGroup = {kGroupSide, kGroupSide};

}  // namespace

void BlockRenderer::splitIntoGroups(Vector3Plane &normals, const std::vector<float> &dot) {
  for (int i = 0; i < kBlockRays; ++i) {
    const int32_t from = place_[i];
    groupTriangles_[i] = triangles_[from];
    groupDot_[i] = dot[static_cast<size_t>(from)];
    for (int c = 0; c < 3; ++c) {
      groupPoints_[c][i] = points_[c][from];
      groupNormals_[c][i] = normals[c][from];
    }
  }
}

// Which rays of a group, its first ray `first`, a point lights: their mask is not negative afterwards, and their cosine, times
// `weight`, is added to `reached_`. Where `possible_` is wanted, the same of all that the point would light if nothing stood in
// its way is added there. Returns how many were looked for.
int64_t BlockRenderer::lightGroup(int first, const LightSample &sample, bool wantPossible) {
  const float *const normals[3] = {groupNormals_[0] + first, groupNormals_[1] + first,
                                   groupNormals_[2] + first};
  const float *const points[3] = {groupPoints_[0] + first, groupPoints_[1] + first, groupPoints_[2] + first};
  std::copy_n(groupTriangles_.begin() + first, kGroupRays, mask_.begin());
  vekrCastShadowSO_32f(sample.position, groupDot_.data() + first, normals, points, mask_.data(),
                       lightDot_.data(), shadowDirections_.planes(), kGroupRays);
  const int64_t rays =
      std::count_if(mask_.begin(), mask_.begin() + kGroupRays, [](int32_t m) { return m >= 0; });
  if (rays == 0) return 0;
  vekrDistAttenuationSO_32f_M(sample.position, points, mask_.data(), lightDistance_.data(), kGroupRays);
  vekrDiv_32f_C1IM(lightDistance_.data(), mask_.data(), lightDot_.data(), kGroupRays);  // now a cosine
  if (wantPossible) {
    for (int i = 0; i < kGroupRays; ++i)
      possible_[first + i] += sample.weight * lightDot_[i];  // 0 at dead rays
  }
  vekrIntersectAnySO_32f(sample.position, shadowDirections_.planes(), occluders_.data(), mask_.data(), kGroup,
                         world_.scene.view());
  for (int i = 0; i < kGroupRays; ++i) {
    if (mask_[i] >= 0) reached_[first + i] += sample.weight * lightDot_[i];
  }
  return rays;
}

// By all samples of all groups.
int64_t BlockRenderer::lightGroups(const LightSamples &samples, bool wantPossible) {
  std::fill(reached_.begin(), reached_.end(), 0.0f);
  std::fill(possible_.begin(), possible_.end(), 0.0f);
  const size_t count = samples.size() / kGroups;
  int64_t rays = 0;
  for (size_t i = 0; i < samples.size(); ++i) {
    rays += lightGroup(static_cast<int>(i / count) * kGroupRays, samples[i], wantPossible);
  }
  return rays;
}

void BlockRenderer::addSoftLight(const Light &light, const LightSamples &samples) {
  counts_.shadow += lightGroups(samples, false);
  const float share = static_cast<float>(kGroups) / static_cast<float>(samples.size());
  for (int i = 0; i < kBlockRays; ++i) {
    factor_[place_[i]] = reached_[i] * share * throughput_[place_[i]];
  }
  vekrAddMulMul_32f_AC1P3IM(light.colour, factor_.data(), albedo_.planes(), triangles_.data(),
                            colour_.planes(), kBlockRays);
}

// The light of the surroundings is weakened by how much of it, by brightness and cosine, can reach a point. By the normals of
// triangles: those of a smooth surface ask for light from behind its triangles, which hide it.
void BlockRenderer::findHidden() {
  vekrSurfFlatNormal_32f(world_.scene.triangleNormals().data(), triangles_.data(), work_.planes(),
                         kBlockRays);
  vekrDotChangeNorm_32f_IM(directions_.planes(), triangles_.data(), work_.planes(), lightDistance_.data(),
                           kBlockRays);
  splitIntoGroups(work_, lightDistance_);
  counts_.occlusion += lightGroups(world_.dome, true);
  for (int i = 0; i < kBlockRays; ++i) {
    if (possible_[i] > 0.0f) factor_[place_[i]] *= reached_[i] / possible_[i];
  }
}
