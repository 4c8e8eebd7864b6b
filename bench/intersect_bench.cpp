// Rays per second of every form of intersection, one thread: eye rays of a 1024 by 1024 picture in blocks of 64 by 64,
// shadow segments from a light to what they hit, random rays from there, and four layers of hits. The one-ray form runs
// on the same rays in arrays that are misaligned by one float.
//   bench_intersect [Google Benchmark's options] [mesh.obj ...]
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "check.h"
#include "tests/support/meshes.h"
#include "tests/support/values.h"
#include "vekr.h"

namespace {

using vekr_test::Mesh;

constexpr int32_t kSide = 64, kBlocks = 16, kBlockRays = kSide * kSide;
constexpr int64_t kRays = int64_t{kBlockRays} * kBlocks * kBlocks;
constexpr int32_t kLayers = 4;

// Planes of all blocks, block after block; `shift` floats off 16-byte alignment.
struct Plane {
  std::vector<float> storage;
  int64_t shift = 0, perBlock = kBlockRays;
  void resize(int64_t shiftBy, int64_t entries = kBlockRays) {
    shift = shiftBy;
    perBlock = entries;
    storage.resize(static_cast<size_t>(perBlock * kBlocks * kBlocks + 4));
  }
  float *block(int b) { return storage.data() + shift + b * perBlock; }
  int32_t *ints(int b) { return reinterpret_cast<int32_t *>(block(b)); }
};

struct Rays {
  Plane origin[3], direction[3], limit, distance, weight[2], triangle, mask, workMask, occluder;
  Plane layerDistance, layerWeight[2], layerTriangle;

  explicit Rays(int64_t shift) {
    for (Plane *p : {&origin[0], &origin[1], &origin[2], &direction[0], &direction[1], &direction[2], &limit,
                     &distance, &weight[0], &weight[1], &triangle, &mask, &workMask, &occluder}) {
      p->resize(shift);
    }
    for (Plane *p : {&layerDistance, &layerWeight[0], &layerWeight[1], &layerTriangle}) {
      p->resize(shift, kBlockRays * kLayers);
    }
  }
};

struct Scene {
  float box[6];
  std::vector<VekrTriangleAccel> records;
  VekrKDTreeNode *root = nullptr;
  VekrIntersectScene view;
  float eye[3], light[3];

  explicit Scene(const Mesh &mesh) {
    const auto vertices = static_cast<int32_t>(mesh.vertices.size() / 3);
    const auto triangles = static_cast<int32_t>(mesh.indices.size() / 4);
    vekrSetBoundBox_32f(mesh.vertices.data(), vertices, box);
    records.resize(static_cast<size_t>(triangles));
    vekrTriangleAccelInit(records.data(), mesh.vertices.data(), mesh.indices.data(), triangles);
    const VekrPSAHBuildContext context = {vekrPSAHBuildIdentifier,
                                          std::min(50, static_cast<int>(8 + 1.3 * std::log2(triangles))),
                                          0.5f, -1, box};
    int32_t size = 0;
    if (vekrKDTreeBuildAlloc(&root, mesh.vertices.data(), mesh.indices.data(), vertices, triangles, &size,
                             &context) != vekOk) {
      std::fprintf(stderr, "the tree could not be built\n");
      std::exit(1);
    }
    view = {box, records.data(), root};
    float diagonal = 0;
    for (int c = 0; c < 3; ++c) diagonal = std::hypot(diagonal, box[3 + c] - box[c]);
    const float back[3] = {0.45f, 0.5f, 0.74f}, up[3] = {0.5f, 0.1f, 1.2f};
    for (int c = 0; c < 3; ++c) {
      const float centre = (box[c] + box[3 + c]) / 2;
      eye[c] = centre + 1.1f * diagonal * back[c];
      light[c] = centre + 1.3f * diagonal * up[c];
    }
  }
  ~Scene() { vekrKDTreeFree(root); }
  Scene(const Scene &) = delete;
  Scene &operator=(const Scene &) = delete;
};

// The rays of a scene, traced once in the form that `shift` selects, so that all inputs of all queries are there.
class Workload {
 public:
  Workload(const Scene &scene, int64_t shift)
      : scene_(scene), eyeRays_(shift), shadow_(shift), random_(shift) {
    castEye();
    eye();
    castShadow();
    castRandom();
  }

  void eye() {
    forBlocks([&](int b) {
      Rays &r = eyeRays_;
      std::copy_n(r.limit.block(b), kBlockRays, r.distance.block(b));
      float *const d[3] = {r.direction[0].block(b), r.direction[1].block(b), r.direction[2].block(b)};
      float *const w[2] = {r.weight[0].block(b), r.weight[1].block(b)};
      vekrIntersectEyeSO_32f(scene_.eye, d, r.distance.block(b), w, r.triangle.ints(b), &scene_.view,
                             {kSide, kSide});
    });
  }
  void shadow() {
    forBlocks([&](int b) {
      Rays &r = shadow_;
      std::copy_n(r.mask.ints(b), kBlockRays, r.workMask.ints(b));
      float *const d[3] = {r.direction[0].block(b), r.direction[1].block(b), r.direction[2].block(b)};
      vekrIntersectAnySO_32f(scene_.light, d, r.occluder.ints(b), r.workMask.ints(b), {kSide, kSide},
                             &scene_.view);
    });
  }
  void random() {
    forBlocks([&](int b) {
      Rays &r = random_;
      std::copy_n(r.limit.block(b), kBlockRays, r.distance.block(b));
      float *const o[3] = {r.origin[0].block(b), r.origin[1].block(b), r.origin[2].block(b)};
      float *const d[3] = {r.direction[0].block(b), r.direction[1].block(b), r.direction[2].block(b)};
      float *const w[2] = {r.weight[0].block(b), r.weight[1].block(b)};
      vekrIntersectMO_32f(o, d, r.distance.block(b), w, r.triangle.ints(b), &scene_.view, {kSide, kSide});
    });
  }
  void layers() {
    forBlocks([&](int b) {
      Rays &r = eyeRays_;
      std::copy_n(r.limit.block(b), kBlockRays, r.layerDistance.block(b));
      float *const d[3] = {r.direction[0].block(b), r.direction[1].block(b), r.direction[2].block(b)};
      float *const w[2] = {r.layerWeight[0].block(b), r.layerWeight[1].block(b)};
      vekrIntersectMultipleSO_32f(scene_.eye, d, r.layerDistance.block(b), w, r.layerTriangle.ints(b),
                                  &scene_.view, {kSide, kSide, kLayers});
    });
  }

  int64_t liveShadowRays() { return countLive(shadow_.mask); }
  int64_t liveRandomRays() { return countLive(eyeRays_.triangle); }
  Plane &eyeHits() { return eyeRays_.triangle; }
  Plane &randomHits() { return random_.triangle; }
  Plane &shadowMask() { return shadow_.workMask; }
  Plane &layerHits() { return eyeRays_.layerTriangle; }

 private:
  template <class Body>
  void forBlocks(const Body &body) {
    for (int b = 0; b < kBlocks * kBlocks; ++b) body(b);
  }

  int64_t countLive(Plane &plane) {
    int64_t live = 0;
    forBlocks([&](int b) {
      for (int i = 0; i < kBlockRays; ++i) live += plane.ints(b)[i] >= 0;
    });
    return live;
  }

  // A picture that the scene's box fills, seen from the eye.
  void castEye() {
    float forward[3], length = 0;
    for (int c = 0; c < 3; ++c) forward[c] = (scene_.box[c] + scene_.box[3 + c]) / 2 - scene_.eye[c];
    for (const float f : forward) length = std::hypot(length, f);
    const float level = std::hypot(forward[0], forward[2]);
    const float right[3] = {-forward[2] / level, 0, forward[0] / level};
    const float down[3] = {forward[0] * forward[1] / (level * length), -level / length,
                           forward[2] * forward[1] / (level * length)};
    const float step = 0.9f / (kSide * kBlocks);
    float corner[3], stepX[3], stepY[3];
    for (int c = 0; c < 3; ++c) {
      stepX[c] = step * right[c];
      stepY[c] = step * down[c];
      corner[c] = forward[c] / length - 511.5f * (stepX[c] + stepY[c]);
    }
    forBlocks([&](int b) {
      float *const d[3] = {eyeRays_.direction[0].block(b), eyeRays_.direction[1].block(b),
                           eyeRays_.direction[2].block(b)};
      vekrCastEye_32f(corner, stepX, stepY, kSide, kSide, {b % kBlocks, b / kBlocks}, d, {kSide, kSide});
      std::fill_n(eyeRays_.limit.block(b), kBlockRays, 3.0e38f);
    });
  }

  void castShadow() {
    forBlocks([&](int b) {
      for (int i = 0; i < kBlockRays; ++i) {
        for (int c = 0; c < 3; ++c) {
          const float point =
              scene_.eye[c] + 0.9999f * eyeRays_.distance.block(b)[i] * eyeRays_.direction[c].block(b)[i];
          shadow_.direction[c].block(b)[i] =
              eyeRays_.triangle.ints(b)[i] < 0 ? 0.0f : point - scene_.light[c];
        }
        shadow_.mask.ints(b)[i] = eyeRays_.triangle.ints(b)[i];
      }
    });
  }

  void castRandom() {
    vekr_test::Random random(7);
    forBlocks([&](int b) {
      for (int i = 0; i < kBlockRays; ++i) {
        const bool live = eyeRays_.triangle.ints(b)[i] >= 0;
        for (int c = 0; c < 3; ++c) {
          random_.origin[c].block(b)[i] = live ? scene_.eye[c] + 0.9999f * eyeRays_.distance.block(b)[i] *
                                                                     eyeRays_.direction[c].block(b)[i]
                                               : 0.0f;
          random_.direction[c].block(b)[i] = random.within(-1.0f, 1.0f);
        }
        random_.limit.block(b)[i] = live ? 3.0e38f : 0.0f;
      }
    });
  }

  const Scene &scene_;
  Rays eyeRays_, shadow_, random_;
};

// The two forms must find the same but for rounding.
void requireAgreement(const char *what, Plane &a, Plane &b) {
  int64_t different = 0;
  for (int block = 0; block < kBlocks * kBlocks; ++block) {
    for (int i = 0; i < kBlockRays; ++i) different += (a.ints(block)[i] < 0) != (b.ints(block)[i] < 0);
  }
  if (different > kRays / 500) {
    std::fprintf(stderr, "%s: the forms differ at %lld rays, nothing is timed\n", what,
                 static_cast<long long>(different));
    std::exit(1);
  }
}

struct Subject {
  explicit Subject(const Mesh &mesh) : scene(mesh), packet(scene, 0), oneRay(scene, 1) {
    for (Workload *w : {&packet, &oneRay}) {
      w->shadow();
      w->random();
      w->layers();
    }
    requireAgreement("eye", packet.eyeHits(), oneRay.eyeHits());
    requireAgreement("shadow", packet.shadowMask(), oneRay.shadowMask());
    requireAgreement("random", packet.randomHits(), oneRay.randomHits());
    requireAgreement("layers", packet.layerHits(), oneRay.layerHits());
  }
  Scene scene;
  Workload packet, oneRay;
};

// OBJ files only, the plainest of formats: the benchmark is about rays.
Mesh loadObj(const char *path) {
  Mesh mesh;
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    std::string kind;
    words >> kind;
    if (kind == "v") {
      float p[3];
      words >> p[0] >> p[1] >> p[2];
      mesh.vertices.insert(mesh.vertices.end(), p, p + 3);
    } else if (kind == "f") {
      std::vector<int32_t> corners;
      for (std::string corner; words >> corner;) corners.push_back(std::stoi(corner) - 1);
      for (size_t k = 2; k < corners.size(); ++k) {
        mesh.indices.insert(mesh.indices.end(), {corners[0], corners[k - 1], corners[k], 0});
      }
    }
  }
  if (mesh.indices.empty()) {
    std::fprintf(stderr, "%s: no mesh\n", path);
    std::exit(1);
  }
  return mesh;
}

// A scene's rays are made when the first of its benchmarks runs: not for those that a filter leaves out.
void add(const std::string &name, std::function<Mesh()> mesh) {
  const auto made = std::make_shared<std::unique_ptr<Subject>>();
  const auto one = [&](const char *query, void (Workload::*trace)(), auto rays) {
    for (const bool packets : {true, false}) {
      benchmark::RegisterBenchmark((name + "/" + query + (packets ? "/packet" : "/one-ray")).c_str(),
                                   [=](benchmark::State &state) {
                                     if (!*made) *made = std::make_unique<Subject>(mesh());
                                     Workload &w = packets ? (*made)->packet : (*made)->oneRay;
                                     for (auto _ : state) (w.*trace)();
                                     state.SetItemsProcessed(state.iterations() * rays(w));
                                   })
          ->Unit(benchmark::kMillisecond);
    }
  };
  one("eye", &Workload::eye, [](Workload &) { return kRays; });
  one("shadow", &Workload::shadow, [](Workload &w) { return w.liveShadowRays(); });
  one("random", &Workload::random, [](Workload &w) { return w.liveRandomRays(); });
  one("layers", &Workload::layers, [](Workload &) { return kRays; });
}

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  add("ball80k", [] { return vekr_test::ball(200, 0.0f, 1); });
  add("terrain500k", [] { return vekr_test::terrain(500, 0.002f, 2); });
  add("soup10k", [] { return vekr_test::triangleSoup(10000, 0.08f, 3); });
  for (int i = 1; i < argc; ++i) add(argv[i], [path = argv[i]] { return loadObj(path); });
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
