// Nearest hits, tile by tile.
#include <algorithm>

#include "intersect/joint_packets.h"
#include "intersect/lone_rays.h"
#include "intersect/packet_forms.h"
#include "intersect/packet_interleaved.h"

namespace vekr::VEKR_ISA {

namespace {

constexpr float kBigInverse = std::bit_cast<float>(0x4e480000u);  // 838860800.0

// The two kinds of rays differ in their origins and in one thing more: in the first row of a two-row packet some
// axes replace the divisor of a parallel lane instead of its estimate, which in effect loses such a lane. Callers
// depend on which [C23].
struct EyeRays {
  static constexpr bool replacesDivisor[3] = {false, true, false};
};
struct ManyOriginRays {
  static constexpr bool replacesDivisor[3] = {false, true, true};
};

template <class Kind, int N>
Float<N> reciprocal(Float<N> d, int axis) {
  if constexpr (N > 8) {
    return joined(reciprocal<Kind, N / 2>(lowHalf(d), axis), reciprocal<Kind, N / 2>(highHalf(d), axis));
  } else if constexpr (N == 8) {
    if (Kind::replacesDivisor[axis]) {
      return joined(reciprocalOfReplaced(lowHalf(d), kBigInverse),
                    reciprocalWithBigEstimate(highHalf(d), kBigInverse));
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

  ResultRows from(int64_t i) const { return {distance + i, weightA + i, weightB + i, triangle + i, width}; }
};

// `lanes` are those that the packet is to handle: all of them but with N = 4. N = 16 is the two packets of a tile.
template <class Kind, int N>
struct NearestPacket {
  static constexpr int kLanes = N;

  const VekrIntersectScene *scene;
  ResultRows rows;
  PacketRay<N> ray;
  int octant;
  Mask<N> lanes;
  Float<N> limit, weightA, weightB;
  Int<N> hit;
  std::conditional_t<N == kJointLanes, JointMailbox, Mailbox> mailbox;

  Mask<N> begin(PacketInterval<N> &interval) {
    limit = loadRows<N>(rows.distance, rows.width);
    if (N == 4) limit = kept(lanes, limit);
    for (int c = 0; c < 3; ++c) ray.inverse[c] = reciprocal<Kind, N>(ray.direction[c], c);
    interval = {Float<N>(0.0f), limit};
    clipToBox(scene->pBox, ray, interval);
    const Mask<N> active = interval.near < interval.far;  // not a touch [C25]
    interval.far = interval.far + Float<N>(kBoxMargin);
    weightA = weightB = Float<N>(0.0f);  // of a miss too [C24]
    hit = loadRows<N>(rows.triangle, rows.width);
    return active;
  }

  bool visit(int32_t triangle, Mask<N>) {
    const VekrTriangleAccel &record = scene->pTriangles[triangle];
    if (isDegenerate(record)) return true;
    if (N == 8 && mailbox.containsOrTakes(triangle)) return true;
    const PacketTest<N> test(record, ray);
    take(test, test.inside, triangle);
    return true;
  }

  // Of a tile's two packets.
  unsigned visit(int32_t triangle, unsigned here) {
    const VekrTriangleAccel &record = scene->pTriangles[triangle];
    if (isDegenerate(record)) return here;
    const unsigned taking = mailbox.takenBy(triangle, here);
    if (taking == 0) return here;
    const PacketTest<N> test(record, ray);
    take(test, test.inside & lanesOf(taking), triangle);
    return here;
  }

  void take(const PacketTest<N> &test, Mask<N> inside, int32_t triangle) {
    if (!anyOf(inside)) return;
    const Float<N> inverse = test.inverseDen();
    const Float<N> t = test.num * inverse;
    const Mask<N> nearer = inside & (t < limit) & (Float<N>(0.0f) < t);
    limit = select(nearer, t, limit);
    weightA = select(nearer, test.a * inverse, weightA);
    weightB = select(nearer, test.b * inverse, weightB);
    hit = select(nearer, Int<N>(triangle), hit);
  }

  Mask<N> resume(Float<N> far) const { return far < limit; }

  // Other lanes of a row may have got results since begin(): they belong to other packets.
  void end() {
    if constexpr (N == 4) {
      limit = select(lanes, limit, Float<N>::load(rows.distance));
      weightA = select(lanes, weightA, Float<N>::load(rows.weightA));
      weightB = select(lanes, weightB, Float<N>::load(rows.weightB));
      hit = select(lanes, hit, Int<N>::load(rows.triangle));
    }
    store<N>(rows, limit, weightA, weightB, hit);
  }

  void end(unsigned begun) {
    if (begun & kFirstPacket) {
      store<N / 2>(rows, lowHalf(limit), lowHalf(weightA), lowHalf(weightB), lowHalf(hit));
    }
    if (begun & kSecondPacket) {
      store<N / 2>(rows.from(2 * rows.width), highHalf(limit), highHalf(weightA), highHalf(weightB),
                   highHalf(hit));
    }
  }

 private:
  template <int M>
  static void store(const ResultRows &to, Float<M> distance, Float<M> a, Float<M> b, Int<M> triangle) {
    storeRows<M>(to.distance, to.width, distance);
    storeRows<M>(to.weightA, to.width, a);
    storeRows<M>(to.weightB, to.width, b);
    storeRows<M>(to.triangle, to.width, triangle);
  }
};

// A block on its way from tile to tile. setOrigin(ray, first) gives a packet its origins; `first` is the index of its
// first ray.
template <class Kind, class SetOrigin>
class NearestBlock {
 public:
  using RowPacket = NearestPacket<Kind, 4>;

  NearestBlock(const SetOrigin &setOrigin, const float *const *pDirections, const VekrIntersectScene &scene,
               float *pDistances, float *const *pHits, int32_t *pHitTriangles, VekrBlockSize size)
      : setOrigin_(setOrigin),
        directions_(pDirections),
        scene_(scene),
        results_{pDistances, pHits[0], pHits[1], pHitTriangles, size.width},
        rays_(static_cast<int64_t>(size.width) * size.height) {}

  void trace() {
    std::fill_n(results_.triangle, rays_, -1);
    TileRays first;
    if (setUpLone(first)) {
      LoneQuery<NearestBlock> query = {{*this, {}},      scene_.pTriangles, results_.distance,
                                       results_.weightA, results_.weightB,  results_.triangle};
      LaneWalk<LoneQuery<NearestBlock>>(scene_, query, first).run();
    }
    tracePutOff();
  }

  // For LoneQuery: the next tile with lone rays; `to` has none yet. Packets of other rays are put off, so that those of many
  // tiles take turns.
  bool setUpLone(TileRays &to) {
    TileSigns signs;
    while (nextMixed(signs)) {
      const unsigned left = kLoneRaysPay && rays_ >= kWorthLanes ? takeLone(signs, to) : kAllRays;
      if (left != 0) putOff(left);
      if (to.live != 0) return true;
    }
    return false;
  }

 private:
  // Sets up the lone rays of the tile, if they are worth it; returns the rays that are left to packets.
  unsigned takeLone(const TileSigns &signs, TileRays &to) {
    const int64_t width = results_.width;
    const auto load = [this, width](PacketRay<8> &ray, int row) {
      ray.loadDirections(directions_, tile_ + row * width, width);
      setOrigin_(ray, tile_ + row * width);
    };
    const auto inverseOf = [](Float<8> d) { return reciprocalWithBigEstimate(d, kBigInverse); };
    to.first = tile_;
    to.width = width;
    const ClippedTile tile =
        clipTile(scene_.pBox, results_.distance + tile_, width, signs, load, inverseOf, to);
    if (tile.unordered != 0) return kAllRays;
    const SharedPackets packets(signs);
    const unsigned lone = tile.wanted & ~packets.companyOf(tile.wanted) & ~tile.turned;
    if (std::popcount(lone) < kWorthTaking) return kAllRays;
    to.live = lone & tile.active;
    // Their weights, should they hit nothing, and in any case those of the others in their packets [C24].
    const unsigned misses = packets.packetsOf(to.live);
    for (int row = 0; row < kTileSide; ++row) {
      const unsigned missed = misses >> row * kTileSide & 0xF;
      if (missed == 0) continue;
      const Mask<4> lanes = maskOfBits<4>(missed);
      for (float *plane : {results_.weightA, results_.weightB}) {
        float *const weights = plane + tile_ + row * width;
        select(lanes, Float<4>(0.0f), Float<4>::load(weights)).store(weights);
      }
    }
    return packets.packetsOf(tile.wanted & ~lone);
  }

  void putOff(unsigned rays) {
    if (putOffCount_ == kPutOff) tracePutOff();
    putOff_[putOffCount_++] = {tile_, rays};
  }

  void tracePutOff() {
    nextPutOff_ = 0;
    walkInterleaved<PacketWalk<RowPacket>>([this](auto &walk) { return nextRow(walk.packet); });
    putOffCount_ = 0;
  }

  // Sets up the next packet of one row.
  bool nextRow(RowPacket &packet) {
    while (!remaining_.next(packet.octant, packet.lanes)) {
      if (nextPutOff_ == putOffCount_) return false;
      const auto &[first, rays] = putOff_[nextPutOff_++];
      remaining_ = RowsByOctant(TileSigns(directions_, first, results_.width), rays);
      remainingTile_ = first;
    }
    setUp(packet, remainingTile_ + remaining_.row() * results_.width);
    return true;
  }

  // Goes on to the next mixed tile; the uniform ones before it are traced on the way.
  bool nextMixed(TileSigns &signs) {
    while (nextTile()) {
      if (kSkipsUnwanted && !anyWanted(results_.distance + tile_, results_.width)) continue;
      signs = TileSigns(directions_, tile_, results_.width);
      const int common = signs.common();
      if (common < 0) return true;
      traceUniform(common);
    }
    return false;
  }

  bool nextTile() {
    if (tile_ >= rays_) return false;
    const int64_t width = results_.width;
    tile_ += kTileSide;
    if (tile_ == rowEnd_) {
      tile_ += (kTileSide - 1) * width;
      rowEnd_ = tile_ + width;
    }
    return tile_ < rays_;
  }

  void traceUniform(int octant) {
    if constexpr (kJoinsPackets) {
      NearestPacket<Kind, kJointLanes> packets;
      setUp(packets, tile_);
      packets.octant = octant;
      JointWalk<NearestPacket<Kind, kJointLanes>>(packets).run();
    } else {
      traceRowPair(tile_, octant);
      traceRowPair(tile_ + 2 * results_.width, octant);
    }
  }

  void traceRowPair(int64_t first, int octant) {
    NearestPacket<Kind, 8> packet;
    setUp(packet, first);
    packet.octant = octant;
    walkAlone(packet);
  }

  template <int N>
  void setUp(NearestPacket<Kind, N> &packet, int64_t first) const {
    packet.scene = &scene_;
    packet.rows = results_.from(first);
    packet.ray.loadDirections(directions_, first, results_.width);
    setOrigin_(packet.ray, first);
  }

  static constexpr bool kSkipsUnwanted = std::is_same_v<Kind, ManyOriginRays>;  // [C26]

  const SetOrigin &setOrigin_;
  const float *const *directions_;
  const VekrIntersectScene &scene_;
  const ResultRows results_;
  const int64_t rays_;
  int64_t tile_ = -kTileSide, rowEnd_ = results_.width;

  // Mixed tiles that are put off, and their rays that packets are to trace.
  static constexpr int kPutOff = 256;
  struct {
    int64_t first;
    unsigned rays;
  } putOff_[kPutOff];
  int putOffCount_ = 0, nextPutOff_ = 0;
  RowsByOctant remaining_;  // packets of the tile that is being handed out
  int64_t remainingTile_ = 0;
};

}  // namespace

VekStatus ownIntersectEyeBlock4_w7(const float *pOrigin, const float *const *pDirections,
                                   const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                                   int32_t *pHitTriangles, VekrBlockSize size) {
  const float origin[3] = {pOrigin[0], pOrigin[1], pOrigin[2]};
  const auto setOrigin = [&](auto &ray, int64_t) { ray.setOrigin(origin); };
  NearestBlock<EyeRays, decltype(setOrigin)>(setOrigin, pDirections, scene, pDistances, pHits, pHitTriangles,
                                             size)
      .trace();
  return vekOk;
}

VekStatus ownIntersectBlock4_w7(const float *const *pOrigins, const float *const *pDirections,
                                const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                                int32_t *pHitTriangles, VekrBlockSize size) {
  const auto setOrigin = [&](auto &ray, int64_t first) { ray.loadOrigins(pOrigins, first, size.width); };
  NearestBlock<ManyOriginRays, decltype(setOrigin)>(setOrigin, pDirections, scene, pDistances, pHits,
                                                    pHitTriangles, size)
      .trace();
  return vekOk;
}

}  // namespace vekr::VEKR_ISA
