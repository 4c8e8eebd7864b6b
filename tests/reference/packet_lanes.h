// What the packet twins share: a block's way from tile to tile and a tile's into packets, a packet as plain arrays with
// one entry a lane, its reciprocals, its decision at an inner node, and the test of one lane against one triangle.
#pragma once

#include <array>
#include <bit>
#include <cmath>
#include <vector>

#include "reference/estimates.h"
#include "reference/packet_reference.h"
#include "reference/tree_reading.h"

namespace vekr_reference {

inline constexpr int kMaxLanes = 8;
using LaneFloats = std::array<float, kMaxLanes>;
using LaneInts = std::array<int32_t, kMaxLanes>;
using LaneFlags = std::array<bool, kMaxLanes>;

inline constexpr float kParallel = std::bit_cast<float>(0x34000000u);   // 1.1920929e-7
inline constexpr float kFarMargin = std::bit_cast<float>(0x38d1b717u);  // 0.0001

// The second where either is a NaN.
inline float lesser(float a, float b) { return a < b ? a : b; }
inline float greater(float a, float b) { return b < a ? a : b; }

inline float newton(float r, float x) { return (r + r) - (r * r) * x; }

// A parallel lane takes `constant` as its approximate reciprocal, and its own direction in the Newton step.
inline float reciprocalOfEstimate(float d, float constant) {
  return newton(std::fabs(d) <= kParallel ? constant : approximateReciprocal(d), d);
}
// A parallel lane takes `constant` as its direction.
inline float reciprocalOfDirection(float d, float constant) {
  const float x = std::fabs(d) <= kParallel ? constant : d;
  return newton(approximateReciprocal(x), x);
}

inline int octantOf(float dx, float dy, float dz) {
  return (dx < 0.0f ? 1 : 0) + (dy < 0.0f ? 2 : 0) + (dz < 0.0f ? 4 : 0);
}

// One row of four rays, or two rows of them.
struct Packet {
  int lanes = 4;
  int octant = 0;
  std::array<LaneFloats, 3> o{}, d{}, inv{};
  LaneFloats tnear{}, tfar{};
  LaneFlags active{};

  bool anyActive() const {
    for (int i = 0; i < lanes; ++i) {
      if (active[i]) return true;
    }
    return false;
  }
};

// Where lane i stands, counted from the packet's first entry.
inline int32_t entryOf(int lane, int32_t width) { return lane / 4 * width + lane % 4; }

// A tile is four by four rays.
inline constexpr int kTileRays = 16;

// Calls tile(corner) for all tiles of a block, row by row; `corner` is a tile's first entry.
template <class Tile>
void forTiles(int32_t width, int32_t height, const Tile &tile) {
  for (int32_t y = 0; y < height; y += 4) {
    for (int32_t x = 0; x < width; x += 4) tile(y * width + x);
  }
}

// Whether some(ray) holds for any ray of a tile.
template <class Some>
bool anyInTile(int32_t corner, int32_t width, const Some &some) {
  bool any = false;
  for (int r = 0; r < kTileRays; ++r) any = any || some(corner + entryOf(r, width));
  return any;
}

// Calls kernel(first, lanes, octant, taken) for the packets of a tile: two of two full rows if all rays point into one
// octant; otherwise of one row, octants ascending, rows ascending within, with the lanes that point there.
template <class Kernel>
void forTilePackets(const float *const *directions, int32_t corner, int32_t width, PacketPlaces *places,
                    const Kernel &kernel) {
  std::array<int, kTileRays> octants{};
  bool uniform = true;
  for (int r = 0; r < kTileRays; ++r) {
    const int32_t ray = corner + entryOf(r, width);
    octants[r] = octantOf(directions[0][ray], directions[1][ray], directions[2][ray]);
    uniform = uniform && octants[r] == octants[0];
  }
  if (uniform) {
    LaneFlags all;
    all.fill(true);
    kernel(corner, 8, octants[0], all);
    kernel(corner + 2 * width, 8, octants[0], all);
    places->wideCalls += 2;
    return;
  }
  for (int octant = 0; octant < 8; ++octant) {
    for (int row = 0; row < 4; ++row) {
      LaneFlags taken{};
      bool some = false;
      for (int lane = 0; lane < 4; ++lane) {
        taken[lane] = octants[row * 4 + lane] == octant;
        some = some || taken[lane];
      }
      if (!some) continue;
      kernel(corner + row * width, 4, octant, taken);
      ++places->narrowCalls;
    }
  }
}

struct StackEntry {
  const VekrKDTreeNode *node;
  LaneFloats tfar;
};

// Goes down from `node` to a leaf.
inline const VekrKDTreeNode *descend(const VekrKDTreeNode *node, Packet &p, std::vector<StackEntry> &stack) {
  while (isInner(node)) {
    const int axis = axisOf(node);
    const int nearSide = p.octant >> axis & 1;
    const VekrKDTreeNode *near = childrenOf(node) + nearSide;
    const VekrKDTreeNode *far = childrenOf(node) + (1 - nearSide);
    LaneFloats t{};
    bool someReach = false, someStay = false;
    for (int i = 0; i < p.lanes; ++i) {
      t[i] = (splitOf(node) - p.o[axis][i]) * p.inv[axis][i];
      if (p.active[i] && p.tnear[i] <= t[i]) someReach = true;
      if (p.active[i] && t[i] <= p.tfar[i]) someStay = true;
    }
    if (!someReach) {
      node = far;
    } else if (!someStay) {
      node = near;
    } else {
      stack.push_back({far, p.tfar});
      for (int i = 0; i < p.lanes; ++i) {
        const float m = lesser(p.tfar[i], t[i]);
        p.active[i] = p.active[i] && p.tnear[i] <= m;
        p.tfar[i] = greater(m, p.tnear[i]);
      }
      node = near;
    }
  }
  return node;
}

// The two orders in which a packet kernel adds up the distance to a triangle's plane.
enum class Sum { uThenV, vThenU };

struct LaneTest {
  bool ok;  // the three weights agree in sign
  float t, w0, w1;
};

inline LaneTest testLane(const VekrTriangleAccel &r, const Packet &p, int i, Sum sum) {
  const RecordAxes x(r);
  const float du = p.d[x.u][i], dv = p.d[x.v][i], dk = p.d[x.k][i];
  const float den = (r.nu * du + dk) + r.nv * dv;
  const float pu = r.cu - p.o[x.u][i];
  const float pv = r.cv - p.o[x.v][i];
  const float pk = r.ck - p.o[x.k][i];
  const float num = sum == Sum::uThenV ? (pu * r.nu + pk) + pv * r.nv : (pk + pv * r.nv) + pu * r.nu;
  const float wu = num * du - pu * den;
  const float wv = num * dv - pv * den;
  const float a = wu * r.e2v - wv * r.e2u;
  const float b = wv * r.e1u - wu * r.e1v;
  const float c = (den - a) - b;
  const bool ok = !(c * a < 0.0f) && !(c * b < 0.0f) && !(a * b < 0.0f);
  const float inv = newton(ok ? approximateReciprocal(den) : 0.0f, den);
  return {ok, num * inv, a * inv, b * inv};
}

// The last four triangles tested.
struct Mailbox {
  std::array<int32_t, 4> numbers{-1, -1, -1, -1};
  uint32_t counter = 0;

  bool holds(int32_t n) const {
    for (const int32_t m : numbers) {
      if (m == n) return true;
    }
    return false;
  }
  void put(int32_t n) { numbers[counter++ & 3u] = n; }
  void clear() { numbers.fill(-1); }
};

}  // namespace vekr_reference
