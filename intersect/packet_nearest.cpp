// Nearest hits, tile by tile.
#include "intersect/packet.h"
#include "intersect/packet_forms.h"

namespace vekr::VEKR_ISA {

namespace {

constexpr float kBigInverse = std::bit_cast<float>(0x4e480000u);  // 838860800.0

// The two kinds of rays differ in their origins and in one thing more: in the first row of a two-row packet some
// axes replace the divisor of a parallel lane instead of its estimate, which in effect loses such a lane. Callers
// depend on which.
struct EyeRays {
  static constexpr bool replacesDivisor[3] = {false, true, false};
};
struct ManyOriginRays {
  static constexpr bool replacesDivisor[3] = {false, true, true};
};

template <class Kind, int N>
Float<N> reciprocal(Float<N> d, int axis) {
  if constexpr (N == 8) {
    if (Kind::replacesDivisor[axis]) {
      return rowsOf(reciprocalOfReplaced(firstRow(d), kBigInverse),
                    reciprocalWithBigEstimate(secondRow(d), kBigInverse));
    }
  }
  return reciprocalWithBigEstimate(d, kBigInverse);
}

// One packet's entries in the planes of the results.
struct ResultRows {
  float *distance;
  float *weightA, *weightB;
  int32_t *triangle;
  int64_t width;
};

// `lanes` are those that the call is to handle: all eight with N = 8.
template <class Kind, int N>
void intersectPacket(const VekrIntersectScene &scene, PacketRay<N> &ray, int octant, Mask<N> lanes,
                     const ResultRows &rows) {
  const Float<N> before = loadRows<N>(rows.distance, rows.width);
  Float<N> limit = N == 8 ? before : kept(lanes, before);
  for (int c = 0; c < 3; ++c) ray.inverse[c] = reciprocal<Kind, N>(ray.direction[c], c);
  PacketInterval<N> interval = {Float<N>(0.0f), limit};
  clipToBox(scene.pBox, ray, interval);
  const Mask<N> active = interval.near < interval.far;
  if (!anyOf(active)) return;
  interval.far = interval.far + Float<N>(kBoxMargin);

  Float<N> weightA(0.0f), weightB(0.0f);
  Int<N> hit = loadRows<N>(rows.triangle, rows.width);
  Mailbox mailbox;
  const auto visit = [&](int32_t triangle, Mask<N>) {
    const VekrTriangleAccel &record = scene.pTriangles[triangle];
    if (isDegenerate(record)) return true;
    if (N == 8 && mailbox.containsOrTakes(triangle)) return true;
    const PacketTest<N> test(record, ray);
    if (!anyOf(test.inside)) return true;
    const Float<N> inverse = test.inverseDen();
    const Float<N> t = test.num * inverse;
    const Mask<N> nearer = test.inside & (t < limit) & (Float<N>(0.0f) < t);
    limit = select(nearer, t, limit);
    weightA = select(nearer, test.a * inverse, weightA);
    weightB = select(nearer, test.b * inverse, weightB);
    hit = select(nearer, Int<N>(triangle), hit);
    return true;
  };
  walkTree(scene.pRoot, ray, octant, active, interval, visit, [&](Float<N> far) { return far < limit; });

  if constexpr (N == 4) {
    limit = select(lanes, limit, before);
    weightA = select(lanes, weightA, Float<N>::load(rows.weightA));
    weightB = select(lanes, weightB, Float<N>::load(rows.weightB));
    hit = select(lanes, hit, Int<N>::load(rows.triangle));
  }
  storeRows<N>(rows.distance, rows.width, limit);
  storeRows<N>(rows.weightA, rows.width, weightA);
  storeRows<N>(rows.weightB, rows.width, weightB);
  storeRows<N>(rows.triangle, rows.width, hit);
}

// setOrigin(ray, first) gives a packet its origins; `first` is the index of its first ray.
template <class Kind, class SetOrigin>
VekStatus intersectBlock(const SetOrigin &setOrigin, const float *const *pDirections,
                         const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                         int32_t *pHitTriangles, VekrBlockSize size) {
  constexpr bool kSkipsUnwanted = std::is_same_v<Kind, ManyOriginRays>;
  const int64_t width = size.width;
  const int64_t rays = width * size.height;
  for (int64_t i = 0; i < rays; ++i) pHitTriangles[i] = -1;
  const auto rowsAt = [&](int64_t first) -> ResultRows {
    return {pDistances + first, pHits[0] + first, pHits[1] + first, pHitTriangles + first, width};
  };
  for (int64_t tileRow = 0; tileRow < rays; tileRow += kTileSide * width) {
    for (int64_t first = tileRow; first < tileRow + width; first += kTileSide) {
      if (kSkipsUnwanted && !anyWanted(pDistances + first, width)) continue;
      const TileSigns signs(pDirections, first, width);
      const int common = signs.common();
      if (common >= 0) {
        for (const int64_t pair : {first, first + 2 * width}) {
          PacketRay<8> ray;
          ray.loadDirections(pDirections, pair, width);
          setOrigin(ray, pair);
          intersectPacket<Kind, 8>(scene, ray, common, Mask<8>(), rowsAt(pair));
        }
        continue;
      }
      forRowsByOctant(signs, [&](int octant, int row, Mask<4> lanes) {
        const int64_t start = first + row * width;
        PacketRay<4> ray;
        ray.loadDirections(pDirections, start, width);
        setOrigin(ray, start);
        intersectPacket<Kind, 4>(scene, ray, octant, lanes, rowsAt(start));
      });
    }
  }
  return vekOk;
}

}  // namespace

VekStatus ownIntersectEyeBlock4_w7(const float *pOrigin, const float *const *pDirections,
                                   const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                                   int32_t *pHitTriangles, VekrBlockSize size) {
  const float origin[3] = {pOrigin[0], pOrigin[1], pOrigin[2]};
  return intersectBlock<EyeRays>([&](auto &ray, int64_t) { ray.setOrigin(origin); }, pDirections, scene,
                                 pDistances, pHits, pHitTriangles, size);
}

VekStatus ownIntersectBlock4_w7(const float *const *pOrigins, const float *const *pDirections,
                                const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                                int32_t *pHitTriangles, VekrBlockSize size) {
  const int64_t width = size.width;
  return intersectBlock<ManyOriginRays>(
      [&](auto &ray, int64_t first) { ray.loadOrigins(pOrigins, first, width); }, pDirections, scene,
      pDistances, pHits, pHitTriangles, size);
}

}  // namespace vekr::VEKR_ISA
