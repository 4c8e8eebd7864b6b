// Successive hits along each ray, tile by tile.
#include <cfloat>

#include "intersect/layers.h"
#include "intersect/packet.h"
#include "intersect/packet_forms.h"

namespace vekr::VEKR_ISA {

namespace {

constexpr float kParallelDivisor =
    std::bit_cast<float>(0x37480000u);  // 1.1920929e-5: a reciprocal of about 83886

// One packet's entries in the current plane of the results.
struct LayerRows {
  float *distance;
  float *weightA, *weightB;
  int32_t *triangle;
  int64_t width;
  int64_t planeSize;

  void advance() {
    distance += planeSize;
    weightA += planeSize;
    weightB += planeSize;
    triangle += planeSize;
  }
};

// The last four triangles that each lane has hit: in place of a margin on t they keep a ray from hitting again what it
// has just passed.
template <int N>
class HitMemory {
 public:
  HitMemory() {
    for (Int<N> &slot : slots_) slot = Int<N>(-1);
  }
  Mask<N> contains(Int<N> triangle) const {
    return ((slots_[0] == triangle) | (slots_[1] == triangle)) |
           ((slots_[2] == triangle) | (slots_[3] == triangle));
  }
  // Layers count from 1.
  void remember(Int<N> triangles, int32_t layer) { slots_[(layer - 1) & 3] = triangles; }

 private:
  Int<N> slots_[4];
};

template <int N, class T, class Lanes>
void storeWhere(Mask<N> m, T *p, int64_t width, Lanes x) {
  storeRows<N>(p, width, select(m, x, loadRows<N>(p, width)));
}

template <int N>
void walkLayer(const VekrIntersectScene &scene, const PacketRay<N> &ray, int octant, Mask<N> alive,
               const PacketInterval<N> &interval, Mailbox &mailbox, const HitMemory<N> &memory,
               const LayerRows &rows) {
  Float<N> limit = loadRows<N>(rows.distance, rows.width);
  const auto visit = [&](int32_t triangle, Mask<N>) {
    const VekrTriangleAccel &record = scene.pTriangles[triangle];
    if (isDegenerate(record) || mailbox.containsOrTakes(triangle)) return true;
    const PacketTest<N, true> test(record, ray);
    const Mask<N> inside = test.inside & alive;
    if (!anyOf(inside)) return true;
    const Float<N> inverse = test.inverseDen();
    const Float<N> t = test.num * inverse;
    const Mask<N> hit = inside & (t < limit) & (Float<N>(0.0f) < t) & !memory.contains(Int<N>(triangle));
    if (!anyOf(hit)) return true;
    limit = select(hit, t, limit);
    storeRows<N>(rows.distance, rows.width, limit);
    storeWhere(hit, rows.weightA, rows.width, test.a * inverse);
    storeWhere(hit, rows.weightB, rows.width, test.b * inverse);
    storeWhere(hit, rows.triangle, rows.width, Int<N>(triangle));
    return true;
  };
  walkTree(scene.pRoot, ray, octant, alive, interval, visit,
           [&](Float<N> far) { return alive & (far < limit); });
}

// The end of each ray in the box from where its origin has moved to, at most `limit`.
template <int N>
Float<N> farFromHere(const float *box, const PacketRay<N> &ray, Float<N> limit) {
  for (int c = 0; c < 3; ++c) {
    const Float<N> toLow = ray.inverse[c] * (Float<N>(box[c]) - ray.origin[c]);
    const Float<N> toHigh = ray.inverse[c] * (Float<N>(box[3 + c]) - ray.origin[c]);
    limit = minOf(limit, maxOf(toLow, toHigh));
  }
  return limit + Float<N>(kBoxMargin);
}

// `lanes` are those that the call is to handle: all of them with N = 8.
template <int N>
void traceLayers(const VekrIntersectScene &scene, PacketRay<N> &ray, int octant, Mask<N> lanes,
                 LayerRows rows, int32_t depth) {
  const Float<N> zero(0.0f);
  for (int c = 0; c < 3; ++c) ray.inverse[c] = reciprocalOfReplaced(ray.direction[c], kParallelDivisor);
  PacketInterval<N> interval = {zero, kept(lanes, loadRows<N>(rows.distance, rows.width))};
  clipToBox(scene.pBox, ray, interval);
  interval.far = kept(lanes, interval.far + Float<N>(kBoxMargin));
  Mask<N> alive = interval.near < interval.far;
  Mailbox mailbox;
  HitMemory<N> memory;
  Float<N> sumBefore = zero;
  for (int32_t layer = 1; anyOf(alive); ++layer) {
    walkLayer(scene, ray, octant, alive, interval, mailbox, memory, rows);
    const Int<N> hit = loadRows<N>(rows.triangle, rows.width);
    alive = alive & !isNegative(hit);
    const Float<N> working = loadRows<N>(rows.distance, rows.width);
    const Float<N> t = kept(alive, working);
    for (int c = 0; c < 3; ++c) ray.origin[c] = ray.origin[c] + t * ray.direction[c];
    const Float<N> sum = layer > 1 ? select(alive, t + sumBefore, working) : working;
    storeRows<N>(rows.distance, rows.width, sum);
    sumBefore = sum;
    if (layer == depth || !anyOf(alive)) return;
    memory.remember(hit, layer);
    mailbox.clear();
    rows.advance();
    // Lanes that have dropped out: a packet of all lanes clears their distances, one of some lanes leaves those alone,
    // as they may belong to another packet [C33].
    const Float<N> fallback = N == 8 ? zero : loadRows<N>(rows.distance, rows.width);
    const Float<N> limit = select(alive, Float<N>(FLT_MAX), fallback);
    storeRows<N>(rows.distance, rows.width, limit);
    if (layer >=
        depth) {  // a depth below 1, without presets: plane 1 is made to say that there is nothing more
      storeWhere<N>(alive, rows.triangle, rows.width, Int<N>(-1));
      return;
    }
    interval = {zero, kept(alive, farFromHere(scene.pBox, ray, limit))};
  }
}

}  // namespace

VekStatus ownIntersectMultipleBlock4_w7(const float *pOrigin, const float *const *pDirections,
                                        const VekrIntersectScene &scene, float *pDistances,
                                        float *const *pHits, int32_t *pHitTriangles, VekrVolumeSize volume) {
  const float origin[3] = {pOrigin[0], pOrigin[1], pOrigin[2]};
  const int64_t width = volume.width;
  const int64_t rays = width * volume.height;
  presetLayers(pHitTriangles, volume);
  const auto rowsAt = [&](int64_t first) -> LayerRows {
    return {pDistances + first, pHits[0] + first, pHits[1] + first, pHitTriangles + first, width, rays};
  };
  for (int64_t tileRow = 0; tileRow < rays; tileRow += kTileSide * width) {
    for (int64_t first = tileRow; first < tileRow + width; first += kTileSide) {
      if (!anyWanted(pDistances + first, width)) continue;
      const TileSigns signs(pDirections, first, width);
      const int common = signs.common();
      if (common >= 0) {
        for (const int64_t pair : {first, first + 2 * width}) {
          PacketRay<8> ray;
          ray.loadDirections(pDirections, pair, width);
          ray.setOrigin(origin);
          traceLayers<8>(scene, ray, common, maskOfBits<8>(0xFF), rowsAt(pair), volume.depth);
        }
        continue;
      }
      RowsByOctant remaining(signs);
      int octant;
      Mask<4> lanes;
      while (remaining.next(octant, lanes)) {
        const int64_t start = first + remaining.row() * width;
        PacketRay<4> ray;
        ray.loadDirections(pDirections, start, width);
        ray.setOrigin(origin);
        traceLayers<4>(scene, ray, octant, lanes, rowsAt(start), volume.depth);
      }
    }
  }
  return vekOk;
}

}  // namespace vekr::VEKR_ISA
