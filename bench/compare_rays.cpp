// Builds of trees, and rays through them.
#include "compare_scene.h"

namespace vekr_bench {
namespace {

void compareTree(Comparison &comparison, const Scene &scene) {
  const Library &ours = comparison.newest();
  int32_t bytes = 0;
  VEKR_OF(ours, vekrKDTreeFree)(scene.build(ours, &bytes));
  comparison.compare("tree", scene.name, static_cast<size_t>(bytes),
                     [&](const Library &library, Bytes &output) {
                       int32_t built = 0;
                       VekrKDTreeNode *const root = scene.build(library, &built);
                       std::memcpy(output.data(), root, std::min(output.size(), static_cast<size_t>(built)));
                       VEKR_OF(library, vekrKDTreeFree)(root);
                     });
}

// Rays of a 64 by 64 block from above the scene to places in its box, one origin, and to a sixteenth of its width ("close", as
// pictures have them); between two random places; and from the middle all around.
void compareRays(Comparison &comparison, const Scene &scene) {
  const Library &ours = comparison.newest();
  constexpr int32_t kSide = 64, kRays = kSide * kSide;
  constexpr VekrBlockSize kBlock = {kSide, kSide};
  int32_t treeBytes = 0;
  VekrKDTreeNode *const root = scene.build(ours, &treeBytes);
  const VekrIntersectScene view = {scene.box, scene.records.data(), root};
  float eye[3], middle[3];
  std::vector<float> planes(13 * (kRays + 4));
  float *coherent[3], *close[3], *origin[3], *lost[3];
  vekr_test::Random random(5);
  for (int c = 0; c < 3; ++c) {
    const float low = scene.box[c], side = scene.box[3 + c] - low;
    eye[c] = low + side * (c == 1 ? 2.5f : 1.4f);
    middle[c] = low + side * 0.55f;
    coherent[c] = planes.data() + c * kRays;
    origin[c] = planes.data() + (3 + c) * kRays;
    lost[c] = planes.data() + (6 + c) * kRays;
    close[c] = planes.data() + (9 + c) * kRays;
    for (int32_t i = 0; i < kRays; ++i) {
      const float across = (static_cast<float>(c == 0 ? i % kSide : i / kSide) + 0.5f) / kSide;
      coherent[c][i] = low + side * (c == 1 ? 0.5f : across) - eye[c];
      close[c][i] = low + side * (c == 1 ? 0.5f : 0.45f + across / 16) - eye[c];
      origin[c][i] = random.within(low, low + side);
      lost[c][i] = random.within(-1.0f, 1.0f);
    }
  }
  const std::vector<float> far(kRays, 3.0e38f);
  for (const bool isPacket : {true, false}) {
    const size_t shift = isPacket ? 0 : 1;  // an address that is not aligned chooses the one-ray form
    const auto results = [=](Bytes &output) { return reinterpret_cast<float *>(output.data()) + shift; };
    const size_t bytes = (4 * kRays + 4) * sizeof(float);
    const std::string form = isPacket ? "/packet" : "/one-ray";
    const auto nearest = [&](const Library &library, Bytes &output, const float *const *fromEye) {
      float *const out = results(output);
      float *const weights[2] = {out + kRays, out + 2 * kRays};
      std::copy(far.begin(), far.end(), out);
      auto *const triangles = reinterpret_cast<int32_t *>(out + 3 * kRays);
      if (fromEye != nullptr) {
        VEKR_OF(library, vekrIntersectEyeSO_32f)(eye, fromEye, out, weights, triangles, &view, kBlock);
      } else {
        VEKR_OF(library, vekrIntersectMO_32f)(origin, lost, out, weights, triangles, &view, kBlock);
      }
    };
    const std::string &name = scene.name;
    comparison.compare("rays", name + "/eye" + form, bytes,
                       [&](const Library &l, Bytes &o) { nearest(l, o, coherent); });
    comparison.compare("rays", name + "/close eye" + form, bytes,
                       [&](const Library &l, Bytes &o) { nearest(l, o, close); });
    comparison.compare("rays", name + "/random" + form, bytes,
                       [&](const Library &l, Bytes &o) { nearest(l, o, nullptr); });
    const auto any = [&](const Library &library, Bytes &output, const float *from, float *const *directions) {
      auto *const out = reinterpret_cast<int32_t *>(results(output));
      std::fill_n(out, 2 * kRays, 0);
      VEKR_OF(library, vekrIntersectAnySO_32f)(from, directions, out, out + kRays, kBlock, &view);
    };
    comparison.compare("rays", name + "/shadow" + form, bytes,
                       [&](const Library &l, Bytes &o) { any(l, o, eye, coherent); });
    comparison.compare("rays", name + "/close shadow" + form, bytes,
                       [&](const Library &l, Bytes &o) { any(l, o, eye, close); });
    comparison.compare("rays", name + "/around" + form, bytes,
                       [&](const Library &l, Bytes &o) { any(l, o, middle, lost); });
    constexpr int32_t kLayers = 4;
    comparison.compare("rays", name + "/layers" + form, (4 * kLayers * kRays + 4) * sizeof(float),
                       [&](const Library &library, Bytes &output) {
                         float *const out = results(output);
                         float *const weights[2] = {out + kLayers * kRays, out + 2 * kLayers * kRays};
                         std::copy(far.begin(), far.end(), out);
                         VEKR_OF(library, vekrIntersectMultipleSO_32f)
                         (eye, coherent, out, weights, reinterpret_cast<int32_t *>(out + 3 * kLayers * kRays),
                          &view, {kSide, kSide, kLayers});
                       });
  }
  VEKR_OF(ours, vekrKDTreeFree)(root);
}

}  // namespace

void compareTreesAndRays(Comparison &comparison) {
  const Library &ours = comparison.newest();
  for (const int32_t size : {10000, 100000}) {
    const auto cells = static_cast<int32_t>(std::sqrt(size / 2.0));
    const float step = 1.0f / static_cast<float>(cells), grain = 1.0f / std::cbrt(static_cast<float>(size));
    const std::string count = size == 10000 ? "10k" : "100k";
    const Scene scenes[] = {
        {ours, "terrain" + count, vekr_test::terrain(cells, 0.9f * step, 1)},
        {ours, "ball" + count, vekr_test::ball(cells, 0.4f * step, 1)},
        {ours, "soup" + count, vekr_test::triangleSoup(size, grain, 1)},
        {ours, "town" + count, vekr_test::town(static_cast<int32_t>(std::sqrt(size / 12.0)), 1)}};
    for (const Scene &scene : scenes) {
      compareTree(comparison, scene);
      compareRays(comparison, scene);
    }
  }
}

}  // namespace vekr_bench
