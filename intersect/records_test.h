// One ray against several records at once, a record in each lane: for leaves whose triangles are all to be tested.
#pragma once

#include <bit>

#include "frame/lanes.h"
#include "frame/planes.h"
#include "intersect/scene.h"

namespace vekr::VEKR_ISA {

// The records of several triangles, one in each lane.
template <int N>
struct RecordLanes {
  Int<N> axes;
  Float<N> nu, ck, nv, cu, cv, e2u, e2v, e1u, e1v;

  // Reads the records of all `numbers`.
  RecordLanes(const VekrTriangleAccel *records, const int32_t *numbers) {
    const float *rows[N];
    for (int lane = 0; lane < N; ++lane) {
      rows[lane] = reinterpret_cast<const float *>(records + numbers[lane]);
    }
    Float<N> words0[4], words4[4], words6[4];  // the last four overlap the ones before: a record has ten
    loadColumns(rows, 0, words0);
    loadColumns(rows, 4, words4);
    loadColumns(rows, 6, words6);
    axes = asInts(words0[0]);
    nu = words0[1], ck = words0[2], nv = words0[3], cu = words4[0], cv = words4[1];
    e2u = words6[0], e2v = words6[1], e1u = words6[2], e1v = words6[3];
  }

  Mask<N> isDegenerate() const { return axes == Int<N>(0); }
};

// One of the three axes that a record names, which differ from lane to lane.
template <int N>
struct AxisLanes {
  Mask<N> isY, isZ;
};

template <int N>
AxisLanes<N> axisOf(const RecordLanes<N> &r, int shift) {
  const Int<N> axis = r.axes & Int<N>(3 << shift);
  return {axis == Int<N>(1 << shift), axis == Int<N>(2 << shift)};
}

// One ray, of which each lane takes the components that its record names.
class RayOfLanes {
  struct Components {
    const float (&of)[3];
    template <int N>
    Float<N> operator[](const AxisLanes<N> &axis) const {
      return select(axis.isZ, Float<N>(of[2]), select(axis.isY, Float<N>(of[1]), Float<N>(of[0])));
    }
  };

 public:
  explicit RayOfLanes(const Ray &ray) : origin{ray.origin}, direction{ray.direction} {}
  Components origin, direction;
};

// The arithmetic of TriangleTest, in its order. Weights are multiplied by den.
template <int N>
struct RecordsTest {
  Float<N> den, t;
  Float<N> a, b;
  Mask<N> inside;  // and not degenerate

  RecordsTest(const RecordLanes<N> &r, const RayOfLanes &ray) {
    const auto v = axisOf(r, 0), u = axisOf(r, 2), k = axisOf(r, 4);
    const Float<N> du = ray.direction[u], dv = ray.direction[v];
    den = (r.nu * du + r.nv * dv) + ray.direction[k];
    const Float<N> pu = r.cu - ray.origin[u], pv = r.cv - ray.origin[v];
    const Float<N> num = ((r.ck + r.nu * pu) + r.nv * pv) - ray.origin[k];
    const Float<N> wu = num * du - pu * den, wv = num * dv - pv * den;
    a = wu * r.e2v - wv * r.e2u;
    b = wv * r.e1u - wu * r.e1v;
    const Float<N> c = (den - a) - b, zero(0.0f);
    inside = (zero <= c * a) & (zero <= a * b) & (zero <= c * b) & !r.isDegenerate();
    t = num / den;
  }

  // What weights are made of a and b by.
  Float<N> scale() const { return den; }
};

// A triangle that a ray may hit.
struct Candidate {
  int32_t triangle;
  float t, a, b, scale;
};

// The first W of `count` triangles; if they are fewer, the last one fills the other lanes.
template <template <int> class Test, int W, class MayHit, class Take>
void testGroup(const VekrTriangleAccel *records, const int32_t *numbers, int32_t count, const Ray &ray,
               const MayHit &mayHit, const Take &take) {
  int32_t group[W];
  for (int k = 0; k < W; ++k) group[k] = numbers[k < count ? k : count - 1];
  const Test<W> test(RecordLanes<W>(records, group), RayOfLanes(ray));
  auto hits = static_cast<unsigned>(bits(test.inside & (Float<W>(0.0f) < test.t) & mayHit(test)));
  if (count < W) hits &= (1u << count) - 1;
  if (hits == 0) return;
  float t[W], a[W], b[W], scale[W];
  test.t.store(t);
  test.a.store(a);
  test.b.store(b);
  test.scale().store(scale);
  for (; hits != 0; hits &= hits - 1) {
    const int k = std::countr_zero(hits);
    take(Candidate{group[k], t[k], a[k], b[k], scale[k]});
  }
}

// The triangles of a leaf that has some, one behind the other.
struct LeafNumbers {
  int32_t count;
  const int32_t *first;

  explicit LeafNumbers(const VekrKDTreeNode *leaf) : count(leafTriangleCount(*leaf)), first(held_) {
    if (hasList(*leaf)) {
      first = leafList(leaf);
      return;
    }
    int32_t *next = held_;
    forLeafTriangles(leaf, [&](int32_t triangle) {
      *next++ = triangle;
      return true;
    });
  }
  LeafNumbers(const LeafNumbers &) = delete;

 private:
  int32_t held_[kInlineCountBits];
};

// Whether a leaf has a list that one ray alone is tested against sooner in groups: of fewer triangles than three each is tested by
// itself.
static inline bool isWorthGroups(const VekrKDTreeNode &leaf) { return leaf.word1 >= 3; }

// Tests all of a leaf's triangles, `count` of them: take(candidate) sees, in the leaf's order, those that the ray meets in front
// of its origin and for which mayHit(test) says so. The limit that mayHit() compares with only falls: what it refuses
// for a group would be refused later too, and take() compares once more.
template <template <int> class Test, class MayHit, class Take>
void testNumbers(const VekrTriangleAccel *records, const int32_t *numbers, int32_t count, const Ray &ray,
                 const MayHit &mayHit, const Take &take) {
  for (; count > 4; numbers += 8, count -= 8) testGroup<Test, 8>(records, numbers, count, ray, mayHit, take);
  if (count > 0) testGroup<Test, 4>(records, numbers, count, ray, mayHit, take);
}

// The same of a leaf that has some.
template <template <int> class Test, class MayHit, class Take>
void testLeaf(const VekrTriangleAccel *records, const VekrKDTreeNode *leaf, const Ray &ray,
              const MayHit &mayHit, const Take &take) {
  const LeafNumbers numbers(leaf);
  testNumbers<Test>(records, numbers.first, numbers.count, ray, mayHit, take);
}

}  // namespace vekr::VEKR_ISA
