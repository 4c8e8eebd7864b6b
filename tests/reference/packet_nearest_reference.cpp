#include "reference/packet_lanes.h"
#include "reference/packet_reference.h"

namespace vekr_reference {

namespace {

constexpr float kBig = 838860800.0f;

struct Call {
  const float *origin;          // one origin for all rays, or null
  const float *const *origins;  // otherwise
  const float *const *directions;
  float *distances;
  float *const *hits;
  int32_t *hitTriangles;
  const VekrIntersectScene *scene;
  int32_t width;
  PacketPlaces *places;

  float originOf(int axis, int32_t ray) const { return origin ? origin[axis] : origins[axis][ray]; }
};

// The wide kernels take the other kind of reciprocal in their first row: on y, and with many origins on z too.
bool smallReciprocal(const Call &call, int lanes, int axis, int lane) {
  if (lanes == 4 || lane >= 4) return false;
  return axis == 1 || (axis == 2 && !call.origin);
}

void kernel(const Call &call, int32_t first, int lanes, int octant, const LaneFlags &taken) {
  Packet p;
  p.lanes = lanes;
  p.octant = octant;
  LaneFloats limit{}, w0{}, w1{};
  LaneInts triangle{};
  for (int i = 0; i < lanes; ++i) {
    const int32_t ray = first + entryOf(i, call.width);
    limit[i] = taken[i] ? call.distances[ray] : 0.0f;
    triangle[i] = call.hitTriangles[ray];
    p.tnear[i] = 0.0f;
    p.tfar[i] = limit[i];
    for (int a = 0; a < 3; ++a) {
      p.o[a][i] = call.originOf(a, ray);
      p.d[a][i] = call.directions[a][ray];
      p.inv[a][i] = smallReciprocal(call, lanes, a, i) ? reciprocalOfDirection(p.d[a][i], kBig)
                                                       : reciprocalOfEstimate(p.d[a][i], kBig);
      const float t0 = (call.scene->pBox[a] - p.o[a][i]) * p.inv[a][i];
      const float t1 = (call.scene->pBox[3 + a] - p.o[a][i]) * p.inv[a][i];
      p.tnear[i] = greater(p.tnear[i], lesser(t0, t1));
      p.tfar[i] = lesser(p.tfar[i], greater(t0, t1));
    }
    p.active[i] = p.tnear[i] < p.tfar[i];
  }
  if (!p.anyActive()) {
    ++call.places->clippedAway;
    return;
  }
  for (int i = 0; i < lanes; ++i) p.tfar[i] = p.tfar[i] + kFarMargin;

  Mailbox mailbox;
  std::vector<StackEntry> stack;
  const VekrKDTreeNode *node = call.scene->pRoot;
  for (;;) {
    node = descend(node, p, stack);
    for (const int32_t n : leafTriangles(node)) {
      const VekrTriangleAccel &record = call.scene->pTriangles[n];
      if (record.axes == 0) continue;
      if (lanes == 8) {
        if (mailbox.holds(n)) {
          ++call.places->mailboxSkips;
          continue;
        }
        mailbox.put(n);
      }
      for (int i = 0; i < lanes; ++i) {
        const LaneTest test = testLane(record, p, i, lanes == 4 ? Sum::uThenV : Sum::vThenU);
        if (test.ok && test.t < limit[i] && 0.0f < test.t) {
          limit[i] = test.t;
          w0[i] = test.w0;
          w1[i] = test.w1;
          triangle[i] = n;
        }
      }
    }
    if (stack.empty()) break;
    for (int i = 0; i < lanes; ++i) {
      const bool before = p.active[i];
      p.active[i] = p.tfar[i] < limit[i];
      if (p.active[i] && !before) ++call.places->woken;
      p.tnear[i] = p.tfar[i];
    }
    p.tfar = stack.back().tfar;
    node = stack.back().node;
    stack.pop_back();
    if (!p.anyActive()) break;
  }

  for (int i = 0; i < lanes; ++i) {
    if (!taken[i]) continue;
    const int32_t ray = first + entryOf(i, call.width);
    call.distances[ray] = limit[i];
    call.hits[0][ray] = w0[i];
    call.hits[1][ray] = w1[i];
    call.hitTriangles[ray] = triangle[i];
  }
}

void block(const Call &call, VekrBlockSize size) {
  if (size.width < 1 || size.height < 1) return;
  for (int32_t i = 0; i < size.width * size.height; ++i) call.hitTriangles[i] = -1;
  forTiles(size.width, size.height, [&](int32_t corner) {
    const auto isWanted = [&](int32_t ray) { return 0.0f < call.distances[ray]; };
    if (!call.origin && !anyInTile(corner, call.width, isWanted)) {
      ++call.places->skippedTiles;
      return;
    }
    forTilePackets(call.directions, corner, call.width, call.places,
                   [&](int32_t first, int lanes, int octant, const LaneFlags &taken) {
                     kernel(call, first, lanes, octant, taken);
                   });
  });
}

}  // namespace

void packetIntersectEyeSO(const float *origin, const float *const *directions, float *distances,
                          float *const *hits, int32_t *hitTriangles, const VekrIntersectScene *scene,
                          VekrBlockSize size, PacketPlaces *places) {
  block({origin, nullptr, directions, distances, hits, hitTriangles, scene, size.width, places}, size);
}

void packetIntersectMO(const float *const *origins, const float *const *directions, float *distances,
                       float *const *hits, int32_t *hitTriangles, const VekrIntersectScene *scene,
                       VekrBlockSize size, PacketPlaces *places) {
  block({nullptr, origins, directions, distances, hits, hitTriangles, scene, size.width, places}, size);
}

}  // namespace vekr_reference
