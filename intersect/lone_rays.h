// Lone rays of mixed tiles: those whose packets hold no other ray that has a distance left to look for. What such a packet
// decides depends on its lone ray alone, so they walk by sixteen (lane_walk.h), each as its packet would.
//
// Why nothing else in the packet matters. A lane with a limit of 0 or less, as those of other octants get, is never active:
// its interval from 0 on is empty; where another cell waits, the one that is left ends at 0 or later, and that is not below
// the limit; and no hit is. It takes numbers, though: an unordered distance of a slab lets the next slab begin
// the interval anew, below 0 perhaps, and a limit that is a NaN drops out. Tiles with either go the packets' way.
// What a packet does to the other lanes of its octant is to zero their weights if its own ray meets the box.
// Segments that ask for any hit (packet_any.cpp) are lone if no other of their row points into their octant, be it dead.
#pragma once

#include <bit>

#include "intersect/lane_walk.h"
#include "intersect/packet.h"
#include "intersect/records_test.h"

namespace vekr::VEKR_ISA {

// In 128-bit registers packets of one row have as many lanes as there are, and a lone ray is no faster apart.
constexpr bool kLoneRaysPay = kWidestGroup >= 8;
// A mixed tile with fewer lone rays is one between tiles of one octant, where most rays have company, and a few don't
// keep the lanes busy.
constexpr int kWorthTaking = 5;

// Which rays of a tile share a packet.
class SharedPackets {
 public:
  explicit SharedPackets(const TileSigns &signs) {
    const uint64_t all = signs.axis[0] | static_cast<uint64_t>(signs.axis[1]) << kTileRays |
                         static_cast<uint64_t>(signs.axis[2]) << 2 * kTileRays;
    for (int places = 1; places < kTileSide; ++places) {
      const uint64_t unlike = all ^ turned(all, places);
      shares_[places - 1] =
          kAllRays & ~static_cast<unsigned>(unlike | unlike >> kTileRays | unlike >> 2 * kTileRays);
    }
  }

  // The rays that share a packet with another one of `rays`.
  unsigned companyOf(unsigned rays) const {
    unsigned result = 0;
    for (int places = 1; places < kTileSide; ++places) {
      result |= shares_[places - 1] & static_cast<unsigned>(turned(rays, places));
    }
    return result;
  }
  unsigned packetsOf(unsigned rays) const { return rays | companyOf(rays); }

 private:
  // Each ray's place tells of the one `places` further on in its row, from the row's start again after its end.
  static uint64_t turned(uint64_t rays, int places) {
    constexpr uint64_t kFirstOfRows = 0x1111111111111111u;
    const uint64_t stay = kFirstOfRows * ((1u << (kTileSide - places)) - 1);
    return (rays >> places & stay) | (rays << (kTileSide - places) & ~stay);
  }

  unsigned shares_[kTileSide - 1];  // the rays that share one with that so many places further on
};

// The sixteen rays of a tile, set up for the lanes.
struct TileRays : RayPlanes<kTileRays> {
  int64_t first, width;
  unsigned live = 0;
  int64_t number(int k) const { return first + k / kTileSide * width + k % kTileSide; }
};

// Puts the rays of two rows, with their reciprocals, where lanes take them from. Returns those whose reciprocals have another
// sign, be it a NaN's, than the octant says: lanes go by it, packets by the octant.
inline unsigned placeRows(const PacketRay<2 * kTileSide> &ray, int row, const TileSigns &signs,
                          TileRays &to) {
  const int at = row * kTileSide;
  unsigned turned = 0;
  for (int c = 0; c < 3; ++c) {
    ray.origin[c].store(to.origin[c] + at);
    ray.direction[c].store(to.direction[c] + at);
    ray.inverse[c].store(to.inverse[c] + at);
    const auto below = static_cast<unsigned>(bits(isNegative(asInts(ray.inverse[c])))) << at;
    turned |= (below ^ signs.axis[c]) & 0xFFu << at;
  }
  return turned;
}

// What clipping tells of a tile's rays.
struct ClippedTile {
  unsigned wanted;     // with a limit above 0
  unsigned active;     // that meet the box before it
  unsigned unordered;  // with a limit or a distance of a slab that is no number
  unsigned turned;     // as placeRows() tells
};

// Sets up all rays of a tile as packets of one row do, two rows at a time. load(ray, row) gives directions and origins;
// reciprocal(d) and limits are those of the packets.
template <class Load, class Reciprocal>
ClippedTile clipTile(const float *box, const float *limits, int64_t width, const TileSigns &signs,
                     const Load &load, const Reciprocal &reciprocal, TileRays &to) {
  ClippedTile tile = {0, 0, 0, 0};
  for (int row = 0; row < kTileSide; row += 2) {
    constexpr int N = 2 * kTileSide;
    const int at = row * kTileSide;
    const auto set = [at](Mask<N> lanes) { return static_cast<unsigned>(bits(lanes)) << at; };
    PacketRay<N> ray;
    load(ray, row);
    const Float<N> limit = loadRows<N>(limits + row * width, width);
    PacketInterval<N> interval = {Float<N>(0.0f), limit};
    Mask<N> ordered = limit == limit;
    for (int c = 0; c < 3; ++c) {
      ray.inverse[c] = reciprocal(ray.direction[c]);
      for (const float side : {box[c], box[3 + c]}) {
        const Float<N> t = (Float<N>(side) - ray.origin[c]) * ray.inverse[c];
        ordered = ordered & (t == t);
      }
    }
    tile.turned |= placeRows(ray, row, signs, to);
    clipToBox(box, ray, interval);
    tile.wanted |= set(Float<N>(0.0f) < limit);
    tile.active |= set(interval.near < interval.far);  // not a touch [C25]
    tile.unordered |= set(!ordered);
    interval.near.store(to.near + at);
    (interval.far + Float<N>(kBoxMargin)).store(to.far + at);
    limit.store(to.best + at);
  }
  return tile;
}

// The test of packets of one row, of one ray against a record in each lane.
template <int N>
struct PacketRecordsTest : PacketTest<N, false> {
  Float<N> inverse, t;

  PacketRecordsTest(const RecordLanes<N> &r, const RayOfLanes &ray)
      : PacketTest<N, false>(r, ray), inverse(this->inverseDen()), t(this->num * inverse) {
    this->inside = this->inside & !r.isDegenerate();
  }

  Float<N> scale() const { return inverse; }
};

// For LaneWalk: what the rays that source.setUpLone(rays) gives have in common, whatever they look for.
template <class Source>
struct LoneWalkers {
  using Prepared = TileRays;

  Source &source;
  int64_t ray[kWalkLanes];

  // As at the nodes of packets, where a NaN compares as behind.
  template <int N>
  static Mask<N> isBehind(Float<N> t, Float<N> other) {
    return !(t <= other);
  }

  bool setUp(TileRays &to) { return source.setUpLone(to); }
  void begin(int64_t i, int lane) { ray[lane] = i; }
  static bool goOn(LaneRays &, int) { return false; }
};

// Their nearest hits. Misses have got their weights before.
template <class Source>
struct LoneQuery : LoneWalkers<Source> {
  const VekrTriangleAccel *records;
  float *distances, *weightsA, *weightsB;
  int32_t *triangles;

  void visitLeaf(LaneRays &rays, int lane, const VekrKDTreeNode *leaf) {
    float &best = rays.best[lane];
    const auto mayHit = [&]<int W>(const PacketRecordsTest<W> &test) { return test.t < Float<W>(best); };
    const auto take = [&](const Candidate &hit) {
      if (!(hit.t < best)) return;
      best = hit.t;
      const int64_t i = this->ray[lane];
      distances[i] = hit.t;
      weightsA[i] = hit.a * hit.scale;
      weightsB[i] = hit.b * hit.scale;
      triangles[i] = hit.triangle;
    };
    testLeaf<PacketRecordsTest>(records, leaf, rays.at(lane), mayHit, take);
  }
};

}  // namespace vekr::VEKR_ISA
