// Packets of rays: one row of four (N = 4) or two rows of four (N = 8) that point into one octant and walk the tree
// together; N = 16 is two packets of two rows (joint_packets.h). The walk and the triangle test here serve every kind of
// query; what a kind does otherwise is in its own file.
#pragma once

#include <bit>
#include <initializer_list>
#include <type_traits>

#include "frame/planes.h"
#include "intersect/scene.h"

namespace vekr::VEKR_ISA {

constexpr int kTileSide = 4;
constexpr int kTileRays = kTileSide * kTileSide;
// Sets of a tile's rays are bits, bit 4 * row + lane.
constexpr unsigned kAllRays = (1u << kTileRays) - 1;

// ---------------------------------------------------------------- rows of the caller's planes

// Rows of four are `width` entries apart; with N = 4 `width` plays no part.
template <int N>
constexpr int kRowsOfHalf = N / 2 / kTileSide;

template <int N>
Float<N> loadRows(const float *p, int64_t width) {
  if constexpr (N == 4) {
    return Float<4>::load(p);
  } else {
    return joined(loadRows<N / 2>(p, width), loadRows<N / 2>(p + kRowsOfHalf<N> * width, width));
  }
}

template <int N>
Int<N> loadRows(const int32_t *p, int64_t width) {
  if constexpr (N == 4) {
    return Int<4>::load(p);
  } else {
    return joined(loadRows<N / 2>(p, width), loadRows<N / 2>(p + kRowsOfHalf<N> * width, width));
  }
}

template <int N, class T>
void storeRows(T *p, int64_t width, std::conditional_t<std::is_same_v<T, float>, Float<N>, Int<N>> x) {
  if constexpr (N == 4) {
    x.store(p);
  } else {
    storeRows<N / 2>(p, width, lowHalf(x));
    storeRows<N / 2>(p + kRowsOfHalf<N> * width, width, highHalf(x));
  }
}

// Whether any ray of a tile has a distance left to look for.
inline bool anyWanted(const float *distances, int64_t width) {
  const Float<4> zero(0.0f);
  Mask<4> wanted = zero < Float<4>::load(distances);
  for (int row = 1; row < kTileSide; ++row)
    wanted = wanted | (zero < Float<4>::load(distances + row * width));
  return anyOf(wanted);
}

// ---------------------------------------------------------------- octants

// Signs of the sixteen directions of a tile: the rays of which a component is below zero; -0 and NaN count as positive.
struct TileSigns {
  unsigned axis[3];

  TileSigns() = default;
  TileSigns(const float *const *directions, int64_t first, int64_t width) {
    for (int c = 0; c < 3; ++c) {
      axis[c] = 0;
      for (int row = 0; row < kTileSide; ++row) {
        const Float<4> d = Float<4>::load(directions[c] + first + row * width);
        axis[c] |= static_cast<unsigned>(bits(d < Float<4>(0.0f))) << (4 * row);
      }
    }
  }

  // The rays that point into an octant: bit a of its number tells the sign along axis a.
  unsigned raysIn(int octant) const {
    unsigned rays = kAllRays;
    for (int c = 0; c < 3; ++c) rays &= (octant >> c) & 1 ? axis[c] : ~axis[c];
    return rays;
  }

  // The octant of all sixteen, or -1.
  int common() const {
    int octant = 0;
    for (int c = 0; c < 3; ++c) {
      if (axis[c] == kAllRays) {
        octant |= 1 << c;
      } else if (axis[c] != 0) {
        return -1;
      }
    }
    return octant;
  }
};

// The packets of a mixed tile, or those of some of its rays: octants ascending, rows ascending within.
class RowsByOctant {
 public:
  RowsByOctant() : octant_(7) {}  // none
  explicit RowsByOctant(const TileSigns &signs, unsigned rays = kAllRays)
      : signs_(signs), octant_(-1), chosen_(rays) {}

  // Goes on to the next row that has rays in an octant, and tells which; false if there is none.
  bool next(int &octant, Mask<4> &lanes) {
    while (rays_ == 0) {
      if (octant_ == 7) return false;
      rays_ = signs_.raysIn(++octant_) & chosen_;
    }
    row_ = std::countr_zero(rays_) / kTileSide;
    octant = octant_;
    lanes = maskOfBits<4>((rays_ >> (kTileSide * row_)) & 0xF);
    rays_ &= ~(0xFu << (kTileSide * row_));
    return true;
  }
  int row() const { return row_; }

 private:
  TileSigns signs_;
  int octant_;
  unsigned chosen_ = 0;
  int row_ = 0;
  unsigned rays_ = 0;  // of this octant, not yet handed out
};

// ---------------------------------------------------------------- rays

template <int N>
struct PacketRay {
  Float<N> origin[3];
  Float<N> direction[3];
  Float<N> inverse[3];

  void loadDirections(const float *const *directions, int64_t first, int64_t width) {
    for (int c = 0; c < 3; ++c) direction[c] = loadRows<N>(directions[c] + first, width);
  }
  void loadOrigins(const float *const *origins, int64_t first, int64_t width) {
    for (int c = 0; c < 3; ++c) origin[c] = loadRows<N>(origins[c] + first, width);
  }
  void setOrigin(const float *p) {
    for (int c = 0; c < 3; ++c) origin[c] = Float<N>(p[c]);
  }
};

template <int N>
Mask<N> isParallel(Float<N> d) {
  return absOf(d) <= Float<N>(kParallel);
}

// One Newton step on an estimate r of 1 / d.
template <int N>
Float<N> refined(Float<N> r, Float<N> d) {
  return (r + r) - (r * r) * d;
}

// Reciprocal whose estimate is replaced in parallel lanes: d = 0 gives twice `big`.
template <int N>
Float<N> reciprocalWithBigEstimate(Float<N> d, float big) {
  return refined(select(isParallel(d), Float<N>(big), approxReciprocal(d)), d);
}

// Reciprocal of a divisor that is itself replaced in parallel lanes.
template <int N>
Float<N> reciprocalOfReplaced(Float<N> d, float replacement) {
  const Float<N> x = select(isParallel(d), Float<N>(replacement), d);
  return refined(approxReciprocal(x), x);
}

template <int N>
struct PacketInterval {
  Float<N> near, far;
};

template <int N>
void clipToBox(const float *box, const PacketRay<N> &ray, PacketInterval<N> &interval) {
  for (int c = 0; c < 3; ++c) {
    const Float<N> t0 = (Float<N>(box[c]) - ray.origin[c]) * ray.inverse[c];
    const Float<N> t1 = (Float<N>(box[3 + c]) - ray.origin[c]) * ray.inverse[c];
    interval.near = maxOf(interval.near, minOf(t0, t1));
    interval.far = minOf(interval.far, maxOf(t0, t1));
  }
}

// ---------------------------------------------------------------- walk

// Walks from `root` with one decision for the whole packet at each inner node, taken by the active lanes alone. At a
// leaf, visit(triangle, active) is called for its triangles in their order; it returns false to end the walk at
// once. resume(far) gives the lanes that are active in the next cell, when one has been left at `far` and others
// are waiting; none ends the walk. Comparisons at the nodes carry no margin [C18].
template <int N, class Visit, class Resume>
[[gnu::always_inline]] inline void walkTree(const VekrKDTreeNode *root, const PacketRay<N> &ray, int octant,
                                            Mask<N> active, PacketInterval<N> interval, const Visit &visit,
                                            const Resume &resume) {
  struct Entry {
    const VekrKDTreeNode *node;
    Float<N> far;
  };
  Entry stack[kMaxTreeDepth];
  int waiting = 0;
  const VekrKDTreeNode *node = root;
  Float<N> near = interval.near, far = interval.far;
  const NearChildren nearChildren = nearChildrenIn(octant);
  for (;;) {
    while (!isLeaf(*node)) {
      const int32_t axis = splitAxis(*node);
      const Float<N> t = (Float<N>(splitPosition(*node)) - ray.origin[axis]) * ray.inverse[axis];
      const VekrKDTreeNode *pair = childPair(node);
      const uint32_t first = nearChildOf(*node, nearChildren);
      if (!anyOf(active & (near <= t))) {
        node = pair + (1 - first);
      } else if (!anyOf(active & (t <= far))) {
        node = pair + first;
      } else {
        stack[waiting].node = pair + (1 - first);
        stack[waiting].far = far;
        ++waiting;
        const Float<N> end = minOf(far, t);
        active = active & (near <= end);
        far = maxOf(end, near);
        node = pair + first;
      }
    }
    if (!forLeafTriangles(node, [&](int32_t triangle) { return visit(triangle, active); })) return;
    if (waiting == 0) return;
    --waiting;
    active = resume(far);
    if (!anyOf(active)) return;
    near = far;
    far = stack[waiting].far;
    node = stack[waiting].node;
  }
}

// What a packet of one kind of query looks for is told by a Packet:
//   const VekrIntersectScene *scene, PacketRay<N> ray, int octant
//   Mask<N> begin(PacketInterval<N> &)       set up; the active lanes, of which there may be none
//   bool visit(int32_t triangle, Mask<N>)    as in walkTree()
//   Mask<N> resume(Float<N> far)             as in walkTree()
//   void end()                               results to the caller's arrays; not called if no lane was active
template <class Packet>
[[gnu::always_inline]] inline void walkAlone(Packet &packet) {
  PacketInterval<Packet::kLanes> interval;
  const auto active = packet.begin(interval);
  if (!anyOf(active)) return;
  walkTree(
      packet.scene->pRoot, packet.ray, packet.octant, active, interval,
      [&](int32_t triangle, auto lanes) { return packet.visit(triangle, lanes); },
      [&](auto far) { return packet.resume(far); });
  packet.end();
}

// ---------------------------------------------------------------- triangle test

// The axes that a record names: v, u, k from the lowest bits up.
inline uint32_t axisOf(const VekrTriangleAccel &r, int shift) { return (r.axes >> shift) & 3; }

// All lanes, each with its ray, against one record, or one in each lane (records_test.h), up to the acceptance by the weights,
// which are multiplied by den. The widths sum num in different orders; callers depend on each [C22].
template <int N, bool TwoRowOrder = (N >= 8)>
struct PacketTest {
  Float<N> den, num;
  Float<N> a, b;
  Mask<N> inside;

  template <class Record, class Rays>
  PacketTest(const Record &r, const Rays &ray) {
    const auto v = axisOf(r, 0), u = axisOf(r, 2), k = axisOf(r, 4);
    const Float<N> du = ray.direction[u], dv = ray.direction[v];
    den = (Float<N>(r.nu) * du + ray.direction[k]) + Float<N>(r.nv) * dv;
    const Float<N> pu = Float<N>(r.cu) - ray.origin[u], pv = Float<N>(r.cv) - ray.origin[v];
    const Float<N> toPlane = Float<N>(r.ck) - ray.origin[k];
    num = TwoRowOrder ? (toPlane + pv * Float<N>(r.nv)) + pu * Float<N>(r.nu)
                      : (pu * Float<N>(r.nu) + toPlane) + pv * Float<N>(r.nv);
    const Float<N> wu = num * du - pu * den, wv = num * dv - pv * den;
    a = wu * Float<N>(r.e2v) - wv * Float<N>(r.e2u);
    b = wv * Float<N>(r.e1u) - wu * Float<N>(r.e1v);
    const Float<N> c = (den - a) - b;
    const Float<N> zero(0.0f);
    // In this form a NaN passes; the comparisons of t refuse it.
    inside = !((c * a < zero) | (c * b < zero) | (a * b < zero));
  }

  // Approximate 1 / den, for the lanes that are inside.
  Float<N> inverseDen() const { return refined(kept(inside, approxReciprocal(den)), den); }
};

// The numbers of the last four triangles tested, so that one which straddles neighbouring leaves is not tested twice.
class Mailbox {
 public:
  void clear() { numbers_ = Int<4>(-1); }

  // Whether the triangle is among them; if not, it takes the place of the oldest.
  bool containsOrTakes(int32_t triangle) {
    if (anyOf((numbers_ == Int<4>(triangle)))) return true;
    numbers_ = shiftedIn(numbers_, triangle);
    return false;
  }

 private:
  Int<4> numbers_ = Int<4>(-1);
};

}  // namespace vekr::VEKR_ISA
