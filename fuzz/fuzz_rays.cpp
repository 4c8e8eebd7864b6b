// The four intersection functions against the twins of both forms: meshes, trees, blocks, alignments and rays from bytes.
#include "mesh.h"
#include "reference/one_ray_layers_reference.h"
#include "reference/one_ray_reference.h"
#include "reference/packet_reference.h"

using namespace vekr_fuzz;

namespace {

struct Block {
  Block(Input &in, VekrBlockSize blockSize, int32_t depth, size_t skip)
      : size(blockSize),
        rays(static_cast<size_t>(size.width) * static_cast<size_t>(size.height)),
        origins(rays, skip),
        directions(rays, skip),
        weights(rays * static_cast<size_t>(depth), skip),
        distances(rays * static_cast<size_t>(depth), skip),
        triangles(rays * static_cast<size_t>(depth), skip),
        mask(rays, skip) {
    Random random = in.contents();
    const int32_t kind = in.below(4);
    for (float &o : origin) o = in.real(Numbers::finite);
    float axis[3];
    for (float &a : axis) a = in.real(Numbers::finite);
    origins.fill([&] { return random.within(-5.0f, 5.0f); });
    for (size_t a = 0; a < 3; ++a) {
      directions[a].fill([&] {
        if (kind == 0) return random.within(-1.0f, 1.0f);
        if (kind == 1) return axis[a] + random.within(-0.1f, 0.1f);
        if (kind == 2) return static_cast<float>(random.below(3) - 1);
        return random.number(Numbers::finite);
      });
    }
    const float limit = in.real(Numbers::finite);
    distances.fill([&] { return random.below(3) ? 1e6f : limit; });
    mask.fill([&] { return random.below(3) - 1; });
  }
  friend bool operator==(const Block &x, const Block &y) {
    return x.origins == y.origins && x.directions == y.directions && x.weights == y.weights &&
           x.distances == y.distances && x.triangles == y.triangles && x.mask == y.mask;
  }
  VekrBlockSize size;
  size_t rays;
  Triple<float> origins, directions, weights;
  Array<float> distances;
  Array<int32_t> triangles, mask;
  float origin[3];
};

void trace(Block &b, int32_t function, const VekrIntersectScene &scene, int32_t depth) {
  const VekrVolumeSize volume = {b.size.width, b.size.height, depth};
  VekStatus status = vekOk;
  if (function == 0)
    status = vekrIntersectMO_32f(b.origins.in(), b.directions.in(), b.distances.data(), b.weights.list(),
                                 b.triangles.data(), &scene, b.size);
  if (function == 1)
    status = vekrIntersectEyeSO_32f(b.origin, b.directions.in(), b.distances.data(), b.weights.list(),
                                    b.triangles.data(), &scene, b.size);
  if (function == 2)
    status = vekrIntersectAnySO_32f(b.origin, b.directions.in(), b.triangles.data(), b.mask.data(), b.size,
                                    &scene);
  if (function == 3)
    status = vekrIntersectMultipleSO_32f(b.origin, b.directions.in(), b.distances.data(), b.weights.list(),
                                         b.triangles.data(), &scene, volume);
  FUZZ_CHECK(status == vekOk);
}

void traceTwin(Block &b, int32_t function, const VekrIntersectScene &scene, int32_t depth, bool packet) {
  namespace twin = vekr_reference;
  twin::PacketPlaces places;
  const VekrVolumeSize volume = {b.size.width, b.size.height, depth};
  const auto *o = b.origins.in(), *d = b.directions.in();
  float *const t = b.distances.data();
  float *const *const w = b.weights.list();
  int32_t *const hits = b.triangles.data(), *const mask = b.mask.data();
  if (function == 0) {
    packet ? twin::packetIntersectMO(o, d, t, w, hits, &scene, b.size, &places)
           : twin::intersectMO(o, d, t, w, hits, &scene, b.size);
  } else if (function == 1) {
    packet ? twin::packetIntersectEyeSO(b.origin, d, t, w, hits, &scene, b.size, &places)
           : twin::intersectEyeSO(b.origin, d, t, w, hits, &scene, b.size);
  } else if (function == 2) {
    packet ? twin::packetIntersectAnySO(b.origin, d, hits, mask, b.size, &scene, &places)
           : twin::oneRayIntersectAnySO(b.origin, d, hits, mask, b.size, &scene);
  } else {
    packet ? twin::packetIntersectMultipleSO(b.origin, d, t, w, hits, &scene, volume, &places)
           : twin::oneRayIntersectMultipleSO(b.origin, d, t, w, hits, &scene, volume);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  Input in(data, size);
  const Mesh mesh = meshFrom(in, 40);
  const int32_t function = in.below(4), depth = function == 3 ? in.within(1, 10) : 1;
  VekrBlockSize blockSize = {in.within(1, 16), in.within(1, 16)};
  if (in.flag()) blockSize = {4 * in.within(1, 3), 4 * in.within(1, 3)};
  const auto skip = static_cast<size_t>(in.below(4) * in.below(2));

  float box[6];
  vekrSetBoundBox_32f(mesh.vertices.data(), mesh.vertexCount(), box);
  std::vector<VekrTriangleAccel> records(static_cast<size_t>(mesh.triangleCount()) + 1);
  vekrTriangleAccelInit(records.data(), mesh.vertices.data(), mesh.indices.data(), mesh.triangleCount());
  const VekrPSAHBuildContext psah = {vekrPSAHBuildIdentifier, in.below(12), 0.5f, -1, box};
  const VekrSimpleBuildContext simple = {vekrSimpleBuildIdentifier, 0};
  VekrKDTreeNode *tree = nullptr;
  int32_t bytes = 0;
  FUZZ_CHECK(vekrKDTreeBuildAlloc(
                 &tree, mesh.vertices.data(), mesh.indices.data(), mesh.vertexCount(), mesh.triangleCount(),
                 &bytes,
                 in.flag() ? static_cast<const void *>(&psah) : static_cast<const void *>(&simple)) == vekOk);
  const VekrIntersectScene scene = {box, records.data(), tree};
  Block actual(in, blockSize, depth, skip), expected(actual);
  const bool packet = blockSize.width % 4 == 0 && blockSize.height % 4 == 0 && skip % 4 == 0;
  trace(actual, function, scene, depth);
  traceTwin(expected, function, scene, depth, packet);
  FUZZ_CHECK(actual == expected);
  vekrKDTreeFree(tree);
  return 0;
}
