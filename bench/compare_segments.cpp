// Blocked segments from one origin, near to one another and apart, in scenes of many kinds: what tells whether those of a
// block had better walk at once (intersect/coherence.h) is judged by these. They take minutes, and run if the word asks for them.
#include "compare_scene.h"

namespace vekr_bench {
namespace {

constexpr int32_t kSide = 64, kSegments = kSide * kSide;

// Segments from `from` to somewhere, one direction a component.
struct Bundle {
  const char *name;
  float from[3];
  std::vector<float> directions[3];
  bool isHalfDead;
};

std::vector<Bundle> bundlesOf(const Scene &scene) {
  std::vector<Bundle> bundles;
  float outside[3], inside[3];
  std::vector<float> targets[3], anywhere[3];
  vekr_test::Random random(5);
  for (size_t c = 0; c < 3; ++c) {
    const float low = scene.box[c], side = scene.box[3 + c] - low;
    outside[c] = low + side * (c == 1 ? 2.5f : 1.4f);
    inside[c] = low + side * 0.55f;
    for (int32_t i = 0; i < kSegments; ++i) {
      const float across = (static_cast<float>(c == 0 ? i % kSide : i / kSide) + 0.5f) / kSide;
      targets[c].push_back(low + side * (c == 1 ? 0.5f : across));
      anywhere[c].push_back(random.within(-1.0f, 1.0f));
    }
  }
  // `share` of the width of what is seen of the scene, around its middle.
  const auto add = [&](const char *name, const float(&from)[3], float share, bool isHalfDead = false) {
    Bundle bundle = {name, {from[0], from[1], from[2]}, {}, isHalfDead};
    for (size_t c = 0; c < 3; ++c) {
      const float middle = targets[c][kSegments / 2 + kSide / 2] - from[c];
      for (const float target : targets[c]) {
        bundle.directions[c].push_back(middle + (target - from[c] - middle) * share);
      }
    }
    bundles.push_back(std::move(bundle));
  };
  add("outside", outside, 1.0f);
  add("outside/half-dead", outside, 1.0f, true);
  add("outside/4", outside, 0.25f);
  add("outside/16", outside, 0.0625f);
  add("inside", inside, 1.0f);
  Bundle around = {"around", {inside[0], inside[1], inside[2]}, {}, false};
  for (size_t c = 0; c < 3; ++c) around.directions[c] = anywhere[c];
  bundles.push_back(around);
  // Nearly parallel, to a light far away.
  Bundle sun = {"sun", {outside[0], outside[1], outside[2]}, {}, false};
  for (size_t c = 0; c < 3; ++c) {
    for (const float target : targets[c]) {
      sun.directions[c].push_back((scene.box[3 + c] - inside[c]) * 4 + 0.02f * (target - outside[c]));
    }
  }
  bundles.push_back(sun);
  return bundles;
}

void compareSegmentsOf(Comparison &comparison, const Scene &scene) {
  const Library &ours = comparison.newest();
  int32_t treeBytes = 0;
  VekrKDTreeNode *const root = scene.build(ours, &treeBytes);
  const VekrIntersectScene view = {scene.box, scene.records.data(), root};
  for (const Bundle &bundle : bundlesOf(scene)) {
    for (const bool isPacket : {true, false}) {
      const size_t shift = isPacket ? 0 : 1;  // an address that is not aligned chooses the one-ray form
      const float *const directions[3] = {bundle.directions[0].data(), bundle.directions[1].data(),
                                          bundle.directions[2].data()};
      comparison.compare("segments", scene.name + "/" + bundle.name + (isPacket ? "/packet" : "/one-ray"),
                         (2 * kSegments + 4) * sizeof(int32_t), [&](const Library &library, Bytes &output) {
                           auto *const occluders = reinterpret_cast<int32_t *>(output.data()) + shift;
                           int32_t *const mask = occluders + kSegments;
                           std::fill_n(occluders, 2 * kSegments, 0);
                           for (uint32_t i = 0; bundle.isHalfDead && i < kSegments; ++i) {
                             mask[i] = (i * 0x9E3779B1u >> 13 & 1) != 0 ? -1 : 0;
                           }
                           VEKR_OF(library, vekrIntersectAnySO_32f)
                           (bundle.from, directions, occluders, mask, {kSide, kSide}, &view);
                         });
    }
  }
  VEKR_OF(ours, vekrKDTreeFree)(root);
}

}  // namespace

void compareSegments(Comparison &comparison) {
  if (!comparison.asksFor("segments")) return;
  const Library &ours = comparison.newest();
  for (const int32_t rings : {22, 71, 200}) {
    const float bumps = 0.4f / static_cast<float>(rings);
    compareSegmentsOf(comparison, {ours, "ball" + std::to_string(rings), vekr_test::ball(rings, bumps, 1)});
  }
  for (const int32_t cells : {22, 70, 500}) {
    const float noise = 0.9f / static_cast<float>(cells);
    compareSegmentsOf(comparison,
                      {ours, "terrain" + std::to_string(cells), vekr_test::terrain(cells, noise, 1)});
  }
  for (const int32_t count : {12, 100, 1000, 10000, 100000}) {
    const float size = 1.0f / std::cbrt(static_cast<float>(count));
    compareSegmentsOf(comparison,
                      {ours, "soup" + std::to_string(count), vekr_test::triangleSoup(count, size, 1)});
  }
  for (const int32_t blocks : {9, 28, 91}) {
    compareSegmentsOf(comparison, {ours, "town" + std::to_string(blocks), vekr_test::town(blocks, 1)});
  }
  for (const int32_t count : {2000, 20000}) {
    compareSegmentsOf(comparison, {ours, "needles" + std::to_string(count), vekr_test::needles(count, 1)});
  }
}

}  // namespace vekr_bench
