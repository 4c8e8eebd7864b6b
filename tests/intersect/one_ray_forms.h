// The four one-ray forms, of the library under test and of whatever it is compared with.
#pragma once

#include "reference/one_ray_layers_reference.h"
#include "reference/one_ray_reference.h"
#include "support/hostile_rays.h"

namespace vekr_test {

// The four functions, from wherever they are.
struct RayFunctions {
  decltype(&vekrIntersectMO_32f) manyOrigins;
  decltype(&vekrIntersectEyeSO_32f) eye;
  decltype(&vekrIntersectAnySO_32f) any;
  decltype(&vekrIntersectMultipleSO_32f) layers;
};

inline RayFunctions linkedFunctions() {
  return {vekrIntersectMO_32f, vekrIntersectEyeSO_32f, vekrIntersectAnySO_32f, vekrIntersectMultipleSO_32f};
}

inline RayFunctions twins() {
  namespace twin = vekr_reference;
  return {[](auto o, auto d, auto t, auto h, auto n, auto scene, auto size) {
            twin::intersectMO(o, d, t, h, n, scene, size);
            return static_cast<VekStatus>(vekOk);
          },
          [](auto o, auto d, auto t, auto h, auto n, auto scene, auto size) {
            twin::intersectEyeSO(o, d, t, h, n, scene, size);
            return static_cast<VekStatus>(vekOk);
          },
          [](auto o, auto d, auto blockers, auto mask, auto size, auto scene) {
            twin::oneRayIntersectAnySO(o, d, blockers, mask, size, scene);
            return static_cast<VekStatus>(vekOk);
          },
          [](auto o, auto d, auto t, auto h, auto n, auto scene, auto volume) {
            twin::oneRayIntersectMultipleSO(o, d, t, h, n, scene, volume);
            return static_cast<VekStatus>(vekOk);
          }};
}

enum class OneRayForm { manyOrigins, eye, any, layers };
inline constexpr OneRayForm kOneRayForms[] = {OneRayForm::manyOrigins, OneRayForm::eye, OneRayForm::any,
                                              OneRayForm::layers};

inline void run(const RayFunctions &f, OneRayForm form, const RayBlock &b, const VekrIntersectScene &scene,
                int32_t depth) {
  switch (form) {
    case OneRayForm::manyOrigins:
      f.manyOrigins(b.originList, b.directionList, b.distances.data(), b.hitList, b.triangles.data(), &scene,
                    b.size);
      break;
    case OneRayForm::eye:
      f.eye(b.pointOrigin.data(), b.directionList, b.distances.data(), b.hitList, b.triangles.data(), &scene,
            b.size);
      break;
    case OneRayForm::any:
      f.any(b.pointOrigin.data(), b.directionList, b.occluders.data(), b.mask.data(), b.size, &scene);
      break;
    case OneRayForm::layers:
      f.layers(b.pointOrigin.data(), b.directionList, b.distances.data(), b.hitList, b.triangles.data(),
               &scene, {b.size.width, b.size.height, depth});
  }
}

// What a round has met, so that nobody trusts rounds that meet nothing.
struct Met {
  size_t rays = 0, hits = 0, blocked = 0, deepHits = 0;  // deep: behind the first layer
};

// One form by both libraries over the same rays, and what it has met.
inline ::testing::AssertionResult formAgrees(const RayFunctions &actual, const RayFunctions &expected,
                                             OneRayForm form, RayBlock &ours, RayBlock &theirs,
                                             const VekrIntersectScene &scene, int32_t depth, Met &met) {
  run(actual, form, ours, scene, depth);
  run(expected, form, theirs, scene, depth);
  if (auto r = sameBlocks(ours, theirs); !r) {
    return ::testing::AssertionFailure()
           << "form " << static_cast<int>(form) << ", " << theirs.size.width << " x " << theirs.size.height
           << ", depth " << depth << ": " << r.message();
  }
  met.rays += theirs.rays;
  for (size_t i = 0; i < theirs.rays; ++i) {
    met.hits += form != OneRayForm::any && theirs.triangles[i] >= 0;
    met.blocked += form == OneRayForm::any && theirs.occluders[i] >= 0;
    met.deepHits += form == OneRayForm::layers && depth > 1 && theirs.triangles[theirs.rays + i] >= 0;
  }
  return ::testing::AssertionSuccess();
}

// All four forms over the same block.
inline ::testing::AssertionResult formsAgree(const RayFunctions &actual, const RayFunctions &expected,
                                             const RayBlock &before, const VekrIntersectScene &scene,
                                             int32_t depth, Met &met) {
  for (const OneRayForm form : kOneRayForms) {
    RayBlock ours(before.size, depth), theirs(before.size, depth);
    ours.copyFrom(before);
    theirs.copyFrom(before);
    if (auto r = formAgrees(actual, expected, form, ours, theirs, scene, depth, met); !r) return r;
  }
  return ::testing::AssertionSuccess();
}

// One row of `count` rays through `scene`, in all four forms: never a packet, whatever the addresses.
inline ::testing::AssertionResult rowAgrees(const RayFunctions &actual, const RayFunctions &expected,
                                            TracedScene &scene, int32_t count, Random &random, Met &met) {
  const int32_t depth = random.below(16) == 0 ? -random.below(2) : 1 + random.below(10);
  const RayLayout layout = {-1, 4, random.below(4) == 0 ? kAtPageEnd : 4 * random.below(16)};
  const VekrBlockSize row = {count, 1};
  const VekrIntersectScene traced = scene.get();
  RayBlock before(row, std::max(depth, 2));
  fillHostile(before, scene, random);
  for (const OneRayForm form : kOneRayForms) {
    const int32_t planes = form == OneRayForm::layers ? std::max(depth, 2) : 1;
    RayBlock ours(row, planes, layout), theirs(row, planes);
    // The rest of the planes above the first is as the block was made.
    const auto copyRays = [&, &from = before](RayBlock &to) {
      to.pointOrigin.copyFrom(from.pointOrigin);
      for (size_t a = 0; a < 3; ++a) {
        to.origins[a].copyFrom(from.origins[a]);
        to.directions[a].copyFrom(from.directions[a]);
      }
      std::copy_n(from.distances.data(), from.rays, to.distances.data());
      to.mask.copyFrom(from.mask);
      // A depth below 1 presets nothing, and what stands there would tell how a limit that is no number was clipped.
      if (depth < 1) to.triangles.fill(-1);
    };
    copyRays(ours);
    copyRays(theirs);
    if (auto r = formAgrees(actual, expected, form, ours, theirs, traced, depth, met); !r) return r;
  }
  return ::testing::AssertionSuccess();
}

}  // namespace vekr_test
