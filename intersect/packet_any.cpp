// Blocked segments, tile by tile, with the triangle that blocked the last tile tried first.
#include <limits>

#include "intersect/joint_packets.h"
#include "intersect/lone_rays.h"
#include "intersect/one_ray.h"
#include "intersect/packet_forms.h"
#include "intersect/segments.h"

namespace vekr::VEKR_ISA {

namespace {

constexpr float kBigInverse = std::bit_cast<float>(0x4b000000u);  // 8388608.0

// What a lone segment that is blocked has left, so that its walk is over; others have more than any cell's end.
constexpr float kBlocked = -1.0f;
constexpr float kOpen = std::numeric_limits<float>::infinity();

// The lanes whose segment the triangle of a test blocks.
template <int N, bool TwoRowOrder>
Mask<N> blockedLanes(const PacketTest<N, TwoRowOrder> &test) {
  const Float<N> t = test.num * test.inverseDen();
  return test.inside & (t < Float<N>(kSegmentEnd)) & (Float<N>(0.0f) < t);
}

template <int N>
void setReciprocals(PacketRay<N> &ray) {
  for (int c = 0; c < 3; ++c) ray.inverse[c] = reciprocalWithBigEstimate(ray.direction[c], kBigInverse);
}

// ownIntersectAnyBlock4x2: two rows, all eight lanes, whatever their masks [C30]. Leaves the cache with a blocker of the second
// row if all of that row is blocked, otherwise empty [C31]. With N = 16 the two packets of a tile, of which the second one
// leaves the cache.
template <int N>
struct AnyPairPacket {
  static constexpr int kLanes = N;

  const VekrIntersectScene *scene;
  int32_t *occluderRow, *maskRow;
  int64_t width;
  int32_t *cached;
  PacketRay<N> ray;
  int octant;
  Mask<N> live;
  Int<N> occluders;

  Mask<N> begin(PacketInterval<N> &interval) {
    setReciprocals(ray);
    live = maskOfBits<N>(allLanes<N>());
    occluders = loadRows<N>(occluderRow, width);
    interval = {Float<N>(0.0f), Float<N>(kSegmentFar)};
    return live;
  }

  bool visit(int32_t triangle, Mask<N>) {
    const VekrTriangleAccel &record = scene->pTriangles[triangle];
    if (isDegenerate(record)) return true;
    // Not asked first is whether any lane is inside: of a mesh's triangles a fourth or fifth is, and to foresee it wrongly
    // costs more than the arithmetic.
    take(blockedLanes(PacketTest<N>(record, ray)), triangle);
    return anyOf(live);
  }

  unsigned visit(int32_t triangle, unsigned here) {
    const VekrTriangleAccel &record = scene->pTriangles[triangle];
    if (isDegenerate(record)) return here;
    take(blockedLanes(PacketTest<N>(record, ray)) & lanesOf(here), triangle);
    return here & packetsWith(bits(live));
  }

  void take(Mask<N> blocked, int32_t triangle) {
    occluders = select(blocked, Int<N>(triangle), occluders);
    live = live & !blocked;
  }

  Mask<N> resume(Float<N>) const { return live; }

  void end() {
    storeRows<N>(occluderRow, width, occluders);
    storeRows<N>(maskRow, width, select(live, loadRows<N>(maskRow, width), Int<N>(-1)));
    const unsigned lastRow = 0xFu << (N - kTileSide);
    *cached = bits(live) & lastRow ? -1 : occluderRow[(N / kTileSide - 1) * width + 2];
  }
  void end(unsigned) { end(); }  // both have begun
};

// ownIntersectAnyBlock4x1: the lanes of one row that point into one octant. A triangle whose weights accept an active
// lane overwrites all of `occluders`: its number where it blocks, 0 elsewhere. So a lane that another triangle has
// blocked before may end with 0; callers know that the mask alone tells what is blocked [C32].
struct AnyRowPacket {
  static constexpr int kLanes = 4;

  const VekrIntersectScene *scene;
  int32_t *occluderRow, *maskRow;
  PacketRay<4> ray;
  int octant;
  Mask<4> lanes, live;
  Int<4> occluders;

  Mask<4> begin(PacketInterval<4> &interval) {
    setReciprocals(ray);
    live = lanes;
    occluders = Int<4>(0);
    interval = {Float<4>(0.0f), kept(lanes, Float<4>(kSegmentFar))};
    return lanes;
  }

  bool visit(int32_t triangle, Mask<4> active) {
    const VekrTriangleAccel &record = scene->pTriangles[triangle];
    if (isDegenerate(record) || !anyOf(live & active)) return true;
    const PacketTest<4> test(record, ray);
    if (!anyOf(test.inside & active)) return true;
    const Mask<4> blocked = blockedLanes(test);
    occluders = select(blocked, Int<4>(triangle), Int<4>(0));
    live = live & !blocked;
    return true;
  }

  Mask<4> resume(Float<4>) const { return live; }

  void end() {
    const Mask<4> blocked = lanes & !live;
    select(blocked, occluders, Int<4>::load(occluderRow)).store(occluderRow);
    select(blocked, Int<4>(-1), Int<4>::load(maskRow)).store(maskRow);
  }
};

// One tile: sixteen segments from index `first` on.
class Tile {
 public:
  Tile(const float *const *pDirections, int32_t *pOccluders, int32_t *pMask, int64_t first, int64_t width)
      : directions_(pDirections), occluders_(pOccluders), mask_(pMask), first_(first), width_(width) {}

  void presetOccluders() const {
    for (int row = 0; row < kTileSide; ++row) Int<4>(-1).store(occluders_ + at(row));
  }

  bool isDead() const {
    int dead = allLanes<4>();
    for (int row = 0; row < kTileSide; ++row) dead &= bits(isNegative(Int<4>::load(mask_ + at(row))));
    return dead == allLanes<4>();
  }

  // Live segments against the cached triangle. If no live lane of row 1 passes its weights, rows 2 and 3 are not
  // tested: callers depend on this shortcut, which looks at row 1 alone [C29].
  void testCached(const VekrIntersectScene &scene, const float *origin, int32_t cached) const {
    const VekrTriangleAccel &record = scene.pTriangles[cached];
    for (int row = 0; row < kTileSide; ++row) {
      const Int<4> mask = Int<4>::load(mask_ + at(row));
      const Mask<4> live = !isNegative(mask);
      const PacketTest<4> test(record, rayOf(origin, row));
      if (!anyOf(test.inside & live)) {
        if (row == 1) return;
        continue;
      }
      const Mask<4> blocked = blockedLanes(test) & live;
      select(blocked, Int<4>(cached), Int<4>::load(occluders_ + at(row))).store(occluders_ + at(row));
      select(blocked, Int<4>(-1), mask).store(mask_ + at(row));
    }
  }

  void traceUniform(const VekrIntersectScene &scene, const float *origin, int octant, int32_t &cached) const {
    constexpr int kLanes = kJoinsPackets ? kJointLanes : 2 * kTileSide;
    for (int row = 0; row < kTileSide; row += kLanes / kTileSide) {
      AnyPairPacket<kLanes> packet;
      packet.scene = &scene;
      packet.occluderRow = occluders_ + at(row);
      packet.maskRow = mask_ + at(row);
      packet.width = width_;
      packet.cached = &cached;
      packet.ray.loadDirections(directions_, at(row), width_);
      packet.ray.setOrigin(origin);
      packet.octant = octant;
      if constexpr (kJoinsPackets) {
        JointWalk<AnyPairPacket<kLanes>>(packet).run();
      } else {
        walkAlone(packet);
      }
    }
  }

  // Sets up the segments that are alone in their packets, dead ones too: they walk.
  void setUpLone(const float *origin, const TileSigns &signs, TileRays &to) const {
    constexpr int N = 2 * kTileSide;
    to.live = kAllRays & ~SharedPackets(signs).companyOf(kAllRays);
    to.first = first_;
    to.width = width_;
    for (int row = 0; row < kTileSide; row += 2) {
      const int k = row * kTileSide;
      PacketRay<N> ray;
      ray.loadDirections(directions_, at(row), width_);
      ray.setOrigin(origin);
      setReciprocals(ray);
      to.live &= ~placeRows(ray, row, signs, to);
      Float<N>(0.0f).store(to.near + k);
      Float<N>(kSegmentFar).store(to.far + k);
      Float<N>(kOpen).store(to.best + k);
    }
  }

  // The packets of one row that `rays` are in.
  void traceRows(const VekrIntersectScene &scene, const float *origin, const TileSigns &signs,
                 unsigned rays) const {
    RowsByOctant remaining(signs, rays);
    AnyRowPacket packet;
    packet.scene = &scene;
    while (remaining.next(packet.octant, packet.lanes)) {
      packet.occluderRow = occluders_ + at(remaining.row());
      packet.maskRow = mask_ + at(remaining.row());
      packet.ray = rayOf(origin, remaining.row());
      walkAlone(packet);
    }
  }

 private:
  int64_t at(int row) const { return first_ + row * width_; }

  PacketRay<4> rayOf(const float *origin, int row) const {
    PacketRay<4> ray;
    ray.loadDirections(directions_, at(row), width_);
    ray.setOrigin(origin);
    return ray;
  }

  const float *const *directions_;
  int32_t *occluders_;
  int32_t *mask_;
  int64_t first_;
  int64_t width_;
};

// The triangle in front of the first live segment among the first four of row 3, or -1 [C27].
int32_t seedCache(const VekrIntersectScene &scene, const float *origin, const float *const *pDirections,
                  const int32_t *pMask, int64_t width) {
  for (int64_t i = 3 * width; i < 3 * width + kTileSide; ++i) {
    if (pMask[i] < 0) continue;
    float limit = kSegmentEnd;
    int32_t nearest = -1;
    const float *const direction[3] = {pDirections[0] + i, pDirections[1] + i, pDirections[2] + i};
    ownIntersectNearestOccl(origin, direction, scene.pTriangles, scene.pRoot, &limit, &nearest);
    return nearest;
  }
  return -1;
}

// The mixed tiles of a block. Packets of one row neither read nor write the cache, so they may wait until there are enough of
// them for the segments that are alone in theirs to walk by sixteen.
class MixedTiles {
 public:
  MixedTiles(const Segments &segments, int64_t width) : segments_(segments), width_(width) {}

  // Out of line, like trace(): tiles that the cached triangle decides take 40 ns, and are slower in a loop with a walk in it.
  [[gnu::noinline]] void add(int64_t first) {
    first_[count_++] = first;
    if (count_ == kMost) trace();
  }

  [[gnu::noinline]] void trace() {
    next_ = 0;
    TileRays first;
    if (setUpLone(first)) {
      LoneSegments query = {*this, {}};
      LaneWalk<LoneSegments>(*segments_.scene, query, first).run();
    }
    count_ = 0;
  }

  // The next tile with lone segments; `to` has none yet. Other packets are traced on the way.
  bool setUpLone(TileRays &to) {
    while (next_ < count_) {
      const int64_t first = first_[next_++];
      const Tile tile(segments_.directions, segments_.occluders, segments_.mask, first, width_);
      const TileSigns signs(segments_.directions, first, width_);
      tile.setUpLone(segments_.origin, signs, to);
      if (std::popcount(to.live) < kWorthTaking) to.live = 0;
      tile.traceRows(*segments_.scene, segments_.origin, signs, kAllRays & ~to.live);
      if (to.live != 0) return true;
    }
    return false;
  }

 private:
  // What a packet of one row does for one segment.
  struct LoneSegments : LoneWalkers<MixedTiles> {
    // Packets look at all records of a leaf too.
    void visitLeaf(LaneRays &rays, int lane, const VekrKDTreeNode *leaf) {
      const Segments &segments = source.segments_;
      float &best = rays.best[lane];
      const auto mayHit = [&]<int W>(const PacketRecordsTest<W> &test) {
        return test.t < Float<W>(kSegmentEnd);
      };
      const auto take = [&](const Candidate &hit) {
        if (best == kBlocked) return;
        best = kBlocked;
        segments.occluders[ray[lane]] = hit.triangle;
        segments.mask[ray[lane]] = -1;
      };
      testLeaf<PacketRecordsTest>(segments.scene->pTriangles, leaf, rays.at(lane), mayHit, take);
    }
  };

  static constexpr int kMost = 256;
  const Segments segments_;
  const int64_t width_;
  int64_t first_[kMost];
  int count_ = 0, next_ = 0;
};

}  // namespace

VekStatus ownIntersectAnyBlock4_w7(const float *pOrigin, const float *const *pDirections,
                                   const VekrIntersectScene &scene, int32_t *pOccluders, int32_t *pMask,
                                   VekrBlockSize size) {
  const float origin[3] = {pOrigin[0], pOrigin[1], pOrigin[2]};
  const int64_t width = size.width;
  const int64_t rays = width * size.height;
  const bool mayWait = kLoneRaysPay && rays >= kWorthLanes;
  MixedTiles mixed({origin, pDirections, &scene, pOccluders, pMask}, width);
  int32_t cached = seedCache(scene, origin, pDirections, pMask, width);
  for (int64_t tileRow = 0; tileRow < rays; tileRow += kTileSide * width) {
    for (int64_t first = tileRow; first < tileRow + width; first += kTileSide) {
      const Tile tile(pDirections, pOccluders, pMask, first, width);
      tile.presetOccluders();
      if (tile.isDead()) continue;
      if (cached >= 0) {
        tile.testCached(scene, origin, cached);
        if (tile.isDead()) continue;
      }
      const TileSigns signs(pDirections, first, width);
      const int common = signs.common();
      if (common >= 0) {
        tile.traceUniform(scene, origin, common, cached);
      } else if (mayWait) {
        mixed.add(first);
      } else {
        tile.traceRows(scene, origin, signs, kAllRays);
      }
    }
  }
  if (mayWait) mixed.trace();
  return vekOk;
}

}  // namespace vekr::VEKR_ISA
