#include "reference/packet_lanes.h"
#include "reference/packet_reference.h"

namespace vekr_reference {

namespace {

constexpr float kSmallest =
    std::bit_cast<float>(0x37480000u);  // 1.1920929e-5, in place of a parallel direction
constexpr float kFarthest = std::bit_cast<float>(0x7f7fffffu);  // 3.4028235e38

struct Call {
  const float *origin;
  const float *const *directions;
  float *distances;
  float *const *hits;
  int32_t *hitTriangles;
  const VekrIntersectScene *scene;
  VekrVolumeSize volume;
  PacketPlaces *places;
};

// One layer's walk. Hits go to the plane that starts at entry `plane`.
void walkLayer(const Call &call, Packet &p, const LaneFlags &alive, int32_t first, int64_t plane,
               Mailbox &mailbox, const std::array<std::array<int32_t, 4>, kMaxLanes> &memory) {
  const auto at = [&](int lane) { return plane + first + entryOf(lane, call.volume.width); };
  std::vector<StackEntry> stack;
  const VekrKDTreeNode *node = call.scene->pRoot;
  for (;;) {
    node = descend(node, p, stack);
    for (const int32_t n : leafTriangles(node)) {
      const VekrTriangleAccel &record = call.scene->pTriangles[n];
      if (record.axes == 0) continue;
      if (mailbox.holds(n)) {
        ++call.places->mailboxSkips;
        continue;
      }
      mailbox.put(n);
      for (int i = 0; i < p.lanes; ++i) {
        if (!alive[i]) continue;
        const LaneTest test = testLane(record, p, i, Sum::vThenU);
        if (!(test.ok && test.t < call.distances[at(i)] && 0.0f < test.t)) continue;
        bool remembered = false;
        for (const int32_t m : memory[i]) remembered = remembered || m == n;
        if (remembered) {
          ++call.places->memoryRefusals;
          continue;
        }
        call.distances[at(i)] = test.t;
        call.hits[0][at(i)] = test.w0;
        call.hits[1][at(i)] = test.w1;
        call.hitTriangles[at(i)] = n;
      }
    }
    if (stack.empty()) return;
    for (int i = 0; i < p.lanes; ++i) {
      const bool before = p.active[i];
      p.active[i] = alive[i] && p.tfar[i] < call.distances[at(i)];
      if (p.active[i] && !before) ++call.places->woken;
    }
    if (!p.anyActive()) return;
    p.tnear = p.tfar;
    p.tfar = stack.back().tfar;
    node = stack.back().node;
    stack.pop_back();
  }
}

void kernel(const Call &call, int32_t first, int lanes, int octant, const LaneFlags &taken) {
  const float *box = call.scene->pBox;
  Packet p;
  p.lanes = lanes;
  p.octant = octant;
  LaneFlags alive{};
  for (int i = 0; i < lanes; ++i) {
    const int32_t ray = first + entryOf(i, call.volume.width);
    p.tfar[i] = taken[i] ? call.distances[ray] : 0.0f;
    for (int a = 0; a < 3; ++a) {
      p.o[a][i] = call.origin[a];
      p.d[a][i] = call.directions[a][ray];
      p.inv[a][i] = reciprocalOfDirection(p.d[a][i], kSmallest);
      const float t0 = (box[a] - p.o[a][i]) * p.inv[a][i];
      const float t1 = (box[3 + a] - p.o[a][i]) * p.inv[a][i];
      p.tnear[i] = greater(p.tnear[i], lesser(t0, t1));
      p.tfar[i] = lesser(p.tfar[i], greater(t0, t1));
    }
    p.tfar[i] = taken[i] ? p.tfar[i] + kFarMargin : 0.0f;
    alive[i] = p.tnear[i] < p.tfar[i];
  }
  p.active = alive;
  if (!p.anyActive()) {
    ++call.places->clippedAway;
    return;
  }

  std::array<std::array<int32_t, 4>, kMaxLanes> memory;
  for (auto &m : memory) m.fill(-1);
  Mailbox mailbox;
  const int64_t planeSize = static_cast<int64_t>(call.volume.width) * call.volume.height;
  int64_t plane = 0;
  for (int32_t layer = 1;; ++layer) {
    ++call.places->layers;
    if (!p.anyActive()) ++call.places->idleLayers;
    walkLayer(call, p, alive, first, plane, mailbox, memory);

    const auto at = [&](int lane) { return plane + first + entryOf(lane, call.volume.width); };
    bool someHit = false;
    for (int i = 0; i < lanes; ++i) someHit = someHit || call.hitTriangles[at(i)] >= 0;
    if (!someHit) return;
    for (int i = 0; i < lanes; ++i) {
      alive[i] = alive[i] && call.hitTriangles[at(i)] >= 0;
      const float t = alive[i] ? call.distances[at(i)] : 0.0f;
      for (int a = 0; a < 3; ++a) p.o[a][i] = p.o[a][i] + t * p.d[a][i];
      if (layer > 1 && alive[i]) call.distances[at(i)] = t + call.distances[at(i) - planeSize];
    }
    if (layer == call.volume.depth) return;
    for (int i = 0; i < lanes; ++i) memory[i][(layer - 1) & 3] = call.hitTriangles[at(i)];
    mailbox.clear();

    plane += planeSize;
    for (int i = 0; i < lanes; ++i) {
      if (alive[i]) {
        call.distances[at(i)] = kFarthest;
      } else if (lanes == 8) {
        call.distances[at(i)] = 0.0f;
      }
      p.tnear[i] = 0.0f;
      p.tfar[i] = kFarthest;
      for (int a = 0; a < 3; ++a) {
        const float e0 = p.inv[a][i] * (box[a] - p.o[a][i]);
        const float e1 = p.inv[a][i] * (box[3 + a] - p.o[a][i]);
        p.tfar[i] = lesser(p.tfar[i], greater(e0, e1));
      }
      p.tfar[i] = alive[i] ? p.tfar[i] + kFarMargin : 0.0f;
    }
    p.active = alive;
  }
}

}  // namespace

void packetIntersectMultipleSO(const float *origin, const float *const *directions, float *distances,
                               float *const *hits, int32_t *hitTriangles, const VekrIntersectScene *scene,
                               VekrVolumeSize volume, PacketPlaces *places) {
  if (volume.width < 1 || volume.height < 1) return;
  const auto entries =
      static_cast<int32_t>(static_cast<uint32_t>(volume.width) * static_cast<uint32_t>(volume.height) *
                           static_cast<uint32_t>(volume.depth));
  for (int32_t i = 0; i < entries; ++i) hitTriangles[i] = -1;
  const Call call{origin, directions, distances, hits, hitTriangles, scene, volume, places};
  forTiles(volume.width, volume.height, [&](int32_t corner) {
    if (!anyInTile(corner, volume.width, [&](int32_t ray) { return distances[ray] > 0.0f; })) {
      ++places->skippedTiles;
      return;
    }
    forTilePackets(directions, corner, volume.width, places,
                   [&](int32_t first, int lanes, int octant, const LaneFlags &taken) {
                     kernel(call, first, lanes, octant, taken);
                   });
  });
}

}  // namespace vekr_reference
