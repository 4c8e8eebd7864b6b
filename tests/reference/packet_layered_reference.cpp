#include "reference/packet_lanes.h"
#include "reference/packet_reference.h"

namespace vekr_reference {

namespace {

constexpr float kSmallest =
    std::bit_cast<float>(0x37480000u);  // 1.1920929e-5, in place of a parallel direction
constexpr float kFarthest = std::bit_cast<float>(0x7f7fffffu);  // 3.4028235e38
constexpr int kAllRays = 16;

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

void tile(const Call &call, int32_t corner) {
  std::array<int, kAllRays> octants{};
  bool someDistance = false, uniform = true;
  for (int r = 0; r < kAllRays; ++r) {
    const int32_t ray = corner + entryOf(r, call.volume.width);
    octants[r] = octantOf(call.directions[0][ray], call.directions[1][ray], call.directions[2][ray]);
    uniform = uniform && octants[r] == octants[0];
    someDistance = someDistance || call.distances[ray] > 0.0f;
  }
  if (!someDistance) {
    ++call.places->skippedTiles;
    return;
  }
  if (uniform) {
    LaneFlags all;
    all.fill(true);
    kernel(call, corner, 8, octants[0], all);
    kernel(call, corner + 2 * call.volume.width, 8, octants[0], all);
    call.places->wideCalls += 2;
    return;
  }
  for (int octant = 0; octant < 8; ++octant) {
    for (int row = 0; row < 4; ++row) {
      LaneFlags taken{};
      bool some = false;
      for (int i = 0; i < 4; ++i) {
        taken[i] = octants[row * 4 + i] == octant;
        some = some || taken[i];
      }
      if (!some) continue;
      kernel(call, corner + row * call.volume.width, 4, octant, taken);
      ++call.places->narrowCalls;
    }
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
  for (int32_t y = 0; y < volume.height; y += 4) {
    for (int32_t x = 0; x < volume.width; x += 4) tile(call, y * volume.width + x);
  }
}

}  // namespace vekr_reference
