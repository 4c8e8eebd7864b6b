#include "prmisc/normals_kernels.h"

#include <bit>

#include "frame/integer.h"
#include "prmisc/masked_groups.h"

namespace vekr::VEKR_ISA {

namespace {

// normalOf(lane) gives the number of the normal of each lane.
template <class NumberOf>
Vec3<4> gatherNormals(const float *normals, const NumberOf &numberOf) {
  const auto at = [&](int lane) { return normals + 3 * static_cast<int64_t>(numberOf(lane)); };
  Vec3<4> v;
  loadPoints(at(0), at(1), at(2), at(3), v.x, v.y, v.z);
  return v;
}

template <int N>
Vec3<N> broadcastNormal(const float *normals, int64_t number) {
  return broadcast3<N>(normals + 3 * number);
}

// Triangle numbers of a group with at least one live lane. Dead lanes take the number of a live one, so that
// nothing is indexed with a negative number and every number is one that the caller gave.
template <int N>
struct GroupNumbers {
  int32_t lane[N];
  bool equal;

  GroupNumbers(const int32_t *numbers, Mask<N> alive) : equal(true) {
    const int32_t live = numbers[std::countr_zero(static_cast<unsigned>(bits(alive)))];
    for (int k = 0; k < N; ++k) {
      lane[k] = numbers[k] < 0 ? live : numbers[k];
      equal = equal && lane[k] == live;
    }
  }
};

// The normals of a group: `numberOf(triangle)` tells which one belongs to a triangle. Neighbouring rays
// mostly hit the same triangle, and then it is fetched once.
template <int N, class NumberOf>
Vec3<N> groupNormals(const float *normals, const GroupNumbers<N> &group, const NumberOf &numberOf) {
  if (group.equal) return broadcastNormal<N>(normals, numberOf(group.lane[0]));
  if constexpr (N == 4) {
    return gatherNormals(normals, [&](int k) { return numberOf(group.lane[k]); });
  }
  return broadcastNormal<N>(normals, numberOf(group.lane[0]));  // not reached: one lane equals itself
}

// Squared length from which a sum of normals has a direction.
constexpr float kShortest = std::bit_cast<float>(0x34000000u);  // 1.1920929e-7

// The factor or divisor differs between the forms, and so does what a squared length of exactly kShortest
// gives [C44], and the sign of a zero [C100].
template <RayForm form, int N>
Vec3<N> normalised(Vec3<N> sum) {
  const Float<N> s = dot(sum, sum);
  if constexpr (form == RayForm::fourWide) {
    const Float<N> r = kept(s > Float<N>(kShortest), approxReciprocalSqrt(s));
    const Float<N> q = (r * -0.5f) * (((s * r) * r) - 3.0f);
    return {sum.x * q, sum.y * q, sum.z * q};
  } else {
    const Float<N> length = sqrtOf(s);
    return kept(!(s < Float<N>(kShortest)), Vec3<N>{sum.x / length, sum.y / length, sum.z / length});
  }
}

template <RayForm form>
VEKR_FLATTEN void surfSmoothNormal(const float *pVertexNormals, const int32_t *pNormalIndices,
                                   const int32_t *pHitTriangles, const float *const *pHits,
                                   float *const *pNormals, int32_t length, int32_t stride) {
  const Planes normals = pNormals;
  forMaskedGroups<4>(
      pHitTriangles, length,
      [&]<int N>(RayGroup<N, AllOf> rays) {
        const Float<N> u = rays.load(pHits[0]);
        const Float<N> v = rays.load(pHits[1]);
        const Float<N> w = (1.0f - u) - v;
        const GroupNumbers<N> group(pHitTriangles + rays.i, rays.alive);
        const auto corner = [&](int which) {
          return groupNormals<N>(pVertexNormals, group, [&](int32_t triangle) -> int64_t {
            return pNormalIndices[static_cast<int64_t>(wrappingMul(triangle, stride)) + which];  // [C45]
          });
        };
        const Vec3<N> a = corner(0), b = corner(1), c = corner(2);
        const Vec3<N> sum = {(a.x * u + b.x * v) + c.x * w, (a.y * u + b.y * v) + c.y * w,
                             (a.z * u + b.z * v) + c.z * w};
        rays.store(kept(rays.alive, normalised<form, N>(sum)), normals);
      },
      [&]<int N>(Lanes<N>, int64_t i) { clearPlanes<N>(normals, i); });
}

}  // namespace

VEKR_FLATTEN void ownTriangleNormal_32f(const float *pVertices, const int32_t *pIndices,
                                        float *pTriangleNormals, int64_t first, int64_t end) {
  // Cross products one by one, then roots and quotients of a whole chunk, which the compiler puts into lanes.
  constexpr int kChunk = 64;
  double n[3][kChunk], lengthOf[kChunk];
  constexpr double kSmallest = 2.220446049250313e-16;  // 2^-52
  for (int64_t start = first; start < end; start += kChunk) {
    const int count = static_cast<int>(end - start < kChunk ? end - start : kChunk);
    for (int k = 0; k < count; ++k) {
      const int32_t *corners = pIndices + 4 * (start + k);
      const float *a = pVertices + 3 * static_cast<int64_t>(corners[0]);
      const float *b = pVertices + 3 * static_cast<int64_t>(corners[1]);
      const float *c = pVertices + 3 * static_cast<int64_t>(corners[2]);
      double e1[3], e2[3];
      for (int axis = 0; axis < 3; ++axis) {
        e1[axis] = static_cast<double>(a[axis]) - static_cast<double>(c[axis]);
        e2[axis] = static_cast<double>(b[axis]) - static_cast<double>(c[axis]);
      }
      n[0][k] = e1[1] * e2[2] - e1[2] * e2[1];
      n[1][k] = e1[2] * e2[0] - e2[2] * e1[0];
      n[2][k] = e2[1] * e1[0] - e1[1] * e2[0];
    }
    for (int k = 0; k < count; ++k) {
      const double s = (n[0][k] * n[0][k] + n[1][k] * n[1][k]) + n[2][k] * n[2][k];
      lengthOf[k] = kSmallest > s ? 0.0 : __builtin_sqrt(s);
    }
    float *out = pTriangleNormals + 3 * start;
    for (int k = 0; k < count; ++k) {
      const double length = lengthOf[k];
      for (int axis = 0; axis < 3; ++axis) {
        out[3 * k + axis] = length == 0.0 ? 0.0f : static_cast<float>(n[axis][k] / length);
      }
    }
  }
}

VEKR_FLATTEN void ownSurfFlatNormal_32f(const float *pTriangleNormals, const int32_t *pHitTriangles,
                                        float *const *pNormals, int32_t length) {
  const Planes normals = pNormals;
  forMaskedGroups<4>(
      pHitTriangles, length,
      [&]<int N>(RayGroup<N, AllOf> rays) {
        const GroupNumbers<N> group(pHitTriangles + rays.i, rays.alive);
        const Vec3<N> normal =
            groupNormals<N>(pTriangleNormals, group, [](int32_t triangle) -> int64_t { return triangle; });
        rays.store(kept(rays.alive, normal), normals);
      },
      [&]<int N>(Lanes<N>, int64_t i) { clearPlanes<N>(normals, i); });
}

VEKR_FLATTEN void ownSurfSmoothNormal_32f(const float *pVertexNormals, const int32_t *pNormalIndices,
                                          const int32_t *pHitTriangles, const float *const *pHits,
                                          float *const *pNormals, int32_t length, int32_t stride,
                                          RayForm form) {
  const auto run =
      form == RayForm::fourWide ? surfSmoothNormal<RayForm::fourWide> : surfSmoothNormal<RayForm::plain>;
  run(pVertexNormals, pNormalIndices, pHitTriangles, pHits, pNormals, length, stride);
}

VEKR_FLATTEN void ownBounds(const float *pVertices, int64_t count, float *box) {
  // Four vertices are twelve floats, three registers whose lanes keep their axis from step to step. A NaN
  // loses every comparison.
  const auto smaller = [](float a, float b) { return a < b ? a : b; };
  const auto larger = [](float a, float b) { return a > b ? a : b; };
  float low[12], high[12];
  for (int k = 0; k < 12; ++k) {
    low[k] = box[k % 3];
    high[k] = box[3 + k % 3];
  }
  int64_t vertex = 0;
  for (; vertex + 4 <= count; vertex += 4) {
    const float *p = pVertices + 3 * vertex;
    for (int k = 0; k < 12; k += 4) {
      const Float<4> v = Float<4>::load(p + k);
      minOf(v, Float<4>::load(low + k)).store(low + k);
      maxOf(v, Float<4>::load(high + k)).store(high + k);
    }
  }
  for (; vertex < count; ++vertex) {
    for (int axis = 0; axis < 3; ++axis) {
      low[axis] = smaller(pVertices[3 * vertex + axis], low[axis]);
      high[axis] = larger(pVertices[3 * vertex + axis], high[axis]);
    }
  }
  for (int k = 0; k < 12; ++k) {
    box[k % 3] = smaller(low[k], box[k % 3]);
    box[3 + k % 3] = larger(high[k], box[3 + k % 3]);
  }
}

}  // namespace vekr::VEKR_ISA
