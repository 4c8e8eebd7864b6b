#include "reference/packet_lanes.h"
#include "reference/packet_reference.h"

namespace vekr_reference {

namespace {

constexpr float kBig = std::bit_cast<float>(0x4b000000u);             // 8388608.0
constexpr float kSegmentEnd = std::bit_cast<float>(0x3f800347u);      // 1.0001
constexpr float kSeedFallback = std::bit_cast<float>(0x47a3d70au);    // 83886.078125
constexpr float kSeedNodeMargin = std::bit_cast<float>(0x3727c5acu);  // 1e-5

struct Call {
  const float *origin;
  const float *const *directions;
  int32_t *occluders;
  int32_t *mask;
  const VekrIntersectScene *scene;
  int32_t width;
  PacketPlaces *places;
};

// The nearest triangle of one segment, with a sign test of its own.
int32_t nearestOccluder(const Call &call, int32_t ray) {
  float d[3], inv[3];
  int sign[3];
  const float *o = call.origin;
  for (int a = 0; a < 3; ++a) {
    d[a] = call.directions[a][ray];
    sign[a] = !(d[a] >= 0.0f) ? 1 : 0;
    inv[a] = kParallel >= std::fabs(d[a]) ? kSeedFallback : 1.0f / d[a];
  }
  float tnear = 0.0f, tfar = kSegmentEnd, limit = 1.0f;
  int32_t nearest = -1;
  struct Entry {
    const VekrKDTreeNode *node;
    float tfar;
  };
  std::vector<Entry> stack;
  const VekrKDTreeNode *node = call.scene->pRoot;
  for (;;) {
    while (isInner(node)) {
      const int axis = axisOf(node);
      const float t = (splitOf(node) - o[axis]) * inv[axis];
      const VekrKDTreeNode *near = childrenOf(node) + sign[axis];
      const VekrKDTreeNode *far = childrenOf(node) + (1 - sign[axis]);
      if (tnear - t > kSeedNodeMargin) {
        node = far;
      } else if (t - tfar > kSeedNodeMargin) {
        node = near;
      } else {
        stack.push_back({far, tfar});
        tfar = greater(tnear, lesser(t, tfar));
        node = near;
      }
    }
    for (const int32_t n : leafTriangles(node)) {
      const VekrTriangleAccel &r = call.scene->pTriangles[n];
      if (r.axes == 0 || n == nearest) continue;
      const RecordAxes x(r);
      const float den = (r.nu * d[x.u] + r.nv * d[x.v]) + d[x.k];
      const float pu = r.cu - o[x.u], pv = r.cv - o[x.v];
      const float num = ((r.ck + r.nu * pu) + r.nv * pv) - o[x.k];
      const float wu = num * d[x.u] - pu * den, wv = num * d[x.v] - pv * den;
      const float a = wu * r.e2v - wv * r.e2u, b = wv * r.e1u - wu * r.e1v, c = (den - a) - b;
      const int below = (a < 0.0f) + (b < 0.0f) + (c < 0.0f);
      if (below != 0 && below != 3) continue;
      const float t = num / den;
      if (limit - kParallel > t && t > 0.0f) {
        limit = t;
        nearest = n;
      }
    }
    if (stack.empty() || tfar >= limit) return nearest;
    tnear = tfar;
    tfar = stack.back().tfar;
    node = stack.back().node;
    stack.pop_back();
  }
}

void load(Packet &p, const Call &call, int32_t first, int lanes, int octant) {
  p.lanes = lanes;
  p.octant = octant;
  for (int i = 0; i < lanes; ++i) {
    for (int a = 0; a < 3; ++a) {
      p.o[a][i] = call.origin[a];
      p.d[a][i] = call.directions[a][first + entryOf(i, call.width)];
      p.inv[a][i] = reciprocalOfEstimate(p.d[a][i], kBig);
    }
  }
}

bool blocks(const LaneTest &test) { return test.ok && test.t < 1.0f && 0.0f < test.t; }

void wideKernel(const Call &call, int32_t first, int octant, int32_t *cached) {
  Packet p;
  load(p, call, first, 8, octant);
  p.active.fill(true);
  p.tfar.fill(kSegmentEnd);
  LaneFlags live;
  live.fill(true);
  const auto someLive = [&] {
    for (const bool l : live) {
      if (l) return true;
    }
    return false;
  };
  std::vector<StackEntry> stack;
  const VekrKDTreeNode *node = call.scene->pRoot;
  bool ended = false;
  while (!ended) {
    node = descend(node, p, stack);
    for (const int32_t n : leafTriangles(node)) {
      const VekrTriangleAccel &record = call.scene->pTriangles[n];
      if (record.axes == 0) continue;
      for (int i = 0; i < 8; ++i) {
        if (!blocks(testLane(record, p, i, Sum::vThenU))) continue;
        int32_t &occluder = call.occluders[first + entryOf(i, call.width)];
        if (!live[i] && occluder != n) ++call.places->overwritten;
        occluder = n;
        live[i] = false;
      }
      if (!someLive()) {
        ++call.places->fullyBlocked;
        ended = true;
        break;
      }
    }
    if (ended || stack.empty()) break;
    p.active = live;
    p.tnear = p.tfar;
    p.tfar = stack.back().tfar;
    node = stack.back().node;
    stack.pop_back();
  }
  for (int i = 0; i < 8; ++i) {
    int32_t &mask = call.mask[first + entryOf(i, call.width)];
    if (live[i]) continue;
    if (mask < 0) ++call.places->deadRaysBlocked;
    mask = -1;
  }
  const bool secondRowBlocked = !live[4] && !live[5] && !live[6] && !live[7];
  if (!secondRowBlocked && *cached >= 0) ++call.places->cacheClears;
  *cached = secondRowBlocked ? call.occluders[first + call.width + 2] : -1;
  if (*cached >= 0) ++call.places->cacheRefreshes;
}

// `occluders` is the row's vector, of which the caller keeps what it needs. Returns the lanes of `taken` that are left.
LaneFlags narrowKernel(const Call &call, int32_t first, int octant, const LaneFlags &taken,
                       std::array<int32_t, 4> &occluders) {
  Packet p;
  load(p, call, first, 4, octant);
  LaneFlags live = taken;
  p.active = taken;
  for (int i = 0; i < 4; ++i) p.tfar[i] = taken[i] ? kSegmentEnd : 0.0f;
  std::vector<StackEntry> stack;
  const VekrKDTreeNode *node = call.scene->pRoot;
  for (;;) {
    node = descend(node, p, stack);
    for (const int32_t n : leafTriangles(node)) {
      const VekrTriangleAccel &record = call.scene->pTriangles[n];
      bool someLiveAndActive = false;
      for (int i = 0; i < 4; ++i) someLiveAndActive = someLiveAndActive || (live[i] && p.active[i]);
      if (record.axes == 0 || !someLiveAndActive) continue;
      std::array<LaneTest, 4> tests;
      bool someActivePasses = false;
      for (int i = 0; i < 4; ++i) {
        tests[i] = testLane(record, p, i, Sum::uThenV);
        someActivePasses = someActivePasses || (p.active[i] && tests[i].ok);
      }
      if (!someActivePasses) continue;
      for (int i = 0; i < 4; ++i) {
        const bool hit = blocks(tests[i]);
        if (!hit && taken[i] && !live[i] && occluders[i] != 0) ++call.places->zeroed;
        occluders[i] = hit ? n : 0;
        if (hit) live[i] = false;
      }
    }
    if (stack.empty()) break;
    p.active = live;
    if (!p.anyActive()) {
      ++call.places->fullyBlocked;
      break;
    }
    p.tnear = p.tfar;
    p.tfar = stack.back().tfar;
    node = stack.back().node;
    stack.pop_back();
  }
  return live;
}

void testCached(const Call &call, int32_t corner, int32_t cached) {
  const VekrTriangleAccel &record = call.scene->pTriangles[cached];
  std::array<bool, kTileRays> tested{};
  for (int r = 0; r < kTileRays; ++r) tested[r] = call.mask[corner + entryOf(r, call.width)] >= 0;
  for (int row = 0; row < 4; ++row) {
    const int32_t first = corner + row * call.width;
    Packet p;
    load(p, call, first, 4, 0);
    bool somePasses = false;
    for (int i = 0; i < 4; ++i) {
      if (!tested[row * 4 + i]) continue;
      const LaneTest test = testLane(record, p, i, Sum::uThenV);
      somePasses = somePasses || test.ok;
      if (!blocks(test)) continue;
      ++call.places->cacheHits;
      call.occluders[first + i] = cached;
      call.mask[first + i] = -1;
    }
    if (row == 1 && !somePasses) {
      ++call.places->rowShortcuts;
      return;
    }
  }
}

bool allDead(const Call &call, int32_t corner) {
  return !anyInTile(corner, call.width, [&](int32_t ray) { return call.mask[ray] >= 0; });
}

// A packet of one row writes to the lanes that it has taken, and to no others.
void traceRow(const Call &call, int32_t first, int octant, const LaneFlags &taken) {
  std::array<int32_t, 4> occluders;
  for (int i = 0; i < 4; ++i) occluders[i] = call.occluders[first + i];
  const LaneFlags left = narrowKernel(call, first, octant, taken, occluders);
  for (int i = 0; i < 4; ++i) {
    if (!taken[i] || left[i]) continue;
    if (call.mask[first + i] < 0) ++call.places->deadRaysBlocked;
    call.mask[first + i] = -1;
    call.occluders[first + i] = occluders[i];
  }
}

void tile(const Call &call, int32_t corner, int32_t *cached) {
  for (int r = 0; r < kTileRays; ++r) call.occluders[corner + entryOf(r, call.width)] = -1;
  if (allDead(call, corner)) {
    ++call.places->skippedTiles;
    return;
  }
  if (*cached >= 0) {
    testCached(call, corner, *cached);
    if (allDead(call, corner)) {
      ++call.places->cachedTiles;
      return;
    }
  }
  forTilePackets(call.directions, corner, call.width, call.places,
                 [&](int32_t first, int lanes, int octant, const LaneFlags &taken) {
                   if (lanes == 8) {
                     wideKernel(call, first, octant, cached);
                   } else {
                     traceRow(call, first, octant, taken);
                   }
                 });
}

}  // namespace

void packetIntersectAnySO(const float *origin, const float *const *directions, int32_t *occluders,
                          int32_t *mask, VekrBlockSize size, const VekrIntersectScene *scene,
                          PacketPlaces *places) {
  if (size.width < 1 || size.height < 1) return;
  const Call call{origin, directions, occluders, mask, scene, size.width, places};
  int32_t cached = -1;
  for (int32_t ray = 3 * size.width; ray < 3 * size.width + 4; ++ray) {
    if (mask[ray] < 0) continue;
    cached = nearestOccluder(call, ray);
    if (cached >= 0) ++places->seeds;
    break;
  }
  forTiles(size.width, size.height, [&](int32_t corner) { tile(call, corner, &cached); });
}

}  // namespace vekr_reference
