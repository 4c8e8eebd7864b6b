// One ray against several records at once, a record in each lane: for leaves whose triangles are all to be tested.
#pragma once

#include <bit>

#include "frame/planes.h"
#include "intersect/scene.h"

namespace vekr::VEKR_ISA {

// The arithmetic of TriangleTest, in its order. Weights are multiplied by den.
template <int N>
struct RecordsTest {
  Float<N> den, t;
  Float<N> a, b;
  Mask<N> inside;  // and not degenerate

  // Reads the records of all `numbers`.
  RecordsTest(const VekrTriangleAccel *records, const int32_t *numbers, const Ray &ray) {
    const float *rows[N];
    for (int lane = 0; lane < N; ++lane) {
      rows[lane] = reinterpret_cast<const float *>(records + numbers[lane]);
    }
    Float<N> words0[4], words4[4], words6[4];  // the last four overlap the ones before: a record has ten
    loadColumns(rows, 0, words0);
    loadColumns(rows, 4, words4);
    loadColumns(rows, 6, words6);
    const Int<N> axes = asInts(words0[0]);
    const Float<N> nu = words0[1], ck = words0[2], nv = words0[3], cu = words4[0], cv = words4[1];
    const Float<N> e2u = words6[0], e2v = words6[1], e1u = words6[2], e1v = words6[3];
    const Axis v(axes, 0), u(axes, 2), k(axes, 4);
    const Float<N> du = u.of(ray.direction), dv = v.of(ray.direction);
    den = (nu * du + nv * dv) + k.of(ray.direction);
    const Float<N> pu = cu - u.of(ray.origin), pv = cv - v.of(ray.origin);
    const Float<N> num = ((ck + nu * pu) + nv * pv) - k.of(ray.origin);
    const Float<N> wu = num * du - pu * den, wv = num * dv - pv * den;
    a = wu * e2v - wv * e2u;
    b = wv * e1u - wu * e1v;
    const Float<N> c = (den - a) - b, zero(0.0f);
    inside = (zero <= c * a) & (zero <= a * b) & (zero <= c * b) & !(axes == Int<N>(0));
    t = num / den;
  }

 private:
  // One of the three axes that a record names, which differ from lane to lane.
  struct Axis {
    Mask<N> isY, isZ;
    Axis(Int<N> axes, int shift) {
      const Int<N> axis = axes & Int<N>(3 << shift);
      isY = axis == Int<N>(1 << shift);
      isZ = axis == Int<N>(2 << shift);
    }
    Float<N> of(const float (&component)[3]) const {
      return select(isZ, Float<N>(component[2]), select(isY, Float<N>(component[1]), Float<N>(component[0])));
    }
  };
};

// A triangle that a ray may hit.
struct Candidate {
  int32_t triangle;
  float t, a, b, den;
};

// The first W of `count` triangles; if they are fewer, the last one fills the other lanes.
template <int W, class MayHit, class Take>
void testGroup(const VekrTriangleAccel *records, const int32_t *numbers, int32_t count, const Ray &ray,
               const MayHit &mayHit, const Take &take) {
  int32_t group[W];
  for (int k = 0; k < W; ++k) group[k] = numbers[k < count ? k : count - 1];
  const RecordsTest<W> test(records, group, ray);
  auto hits = static_cast<unsigned>(bits(test.inside & (Float<W>(0.0f) < test.t) & mayHit(test)));
  if (count < W) hits &= (1u << count) - 1;
  if (hits == 0) return;
  float t[W], a[W], b[W], den[W];
  test.t.store(t);
  test.a.store(a);
  test.b.store(b);
  test.den.store(den);
  for (; hits != 0; hits &= hits - 1) {
    const int k = std::countr_zero(hits);
    take(Candidate{group[k], t[k], a[k], b[k], den[k]});
  }
}

// Tests all triangles of a leaf that has some: take(candidate) sees, in the leaf's order, those that the ray meets in front
// of its origin and for which mayHit(test) says so. The limit that mayHit() compares with only falls: what it refuses
// for a group would be refused later too, and take() compares once more.
template <class MayHit, class Take>
void testLeaf(const VekrTriangleAccel *records, const VekrKDTreeNode *leaf, const Ray &ray,
              const MayHit &mayHit, const Take &take) {
  int32_t held[kInlineCountBits], count = leafTriangleCount(*leaf);
  const int32_t *numbers = held;
  if (hasList(*leaf)) {
    numbers = leafList(leaf);
  } else {
    int32_t *next = held;
    forLeafTriangles(leaf, [&](int32_t triangle) {
      *next++ = triangle;
      return true;
    });
  }
  for (; count > 4; numbers += 8, count -= 8) testGroup<8>(records, numbers, count, ray, mayHit, take);
  if (count > 0) testGroup<4>(records, numbers, count, ray, mayHit, take);
}

}  // namespace vekr::VEKR_ISA
