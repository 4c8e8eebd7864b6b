// Nearest hits of rays from one origin, one after the other.
#include "intersect/clip.h"
#include "intersect/lane_forms.h"
#include "intersect/records_test.h"

namespace vekr::VEKR_ISA {

namespace {

struct Nearest {
  float t, a, b;
  int32_t triangle;
};

// Out of line, for the walk's sake, and with all that it calls.
[[gnu::noinline]] VEKR_FLATTEN void testList(const VekrTriangleAccel *records, const VekrKDTreeNode *leaf,
                                             const Ray &ray, Nearest &best) {
  const auto mayHit = [&]<int W>(const RecordsTest<W> &test) { return test.t < Float<W>(best.t); };
  const auto take = [&](const Candidate &hit) {
    if (best.t > hit.t) best = {hit.t, hit.a / hit.scale, hit.b / hit.scale, hit.triangle};
  };
  testNumbers<RecordsTest>(records, leafList(leaf), leafTriangleCount(*leaf), ray, mayHit, take);
}

}  // namespace

VekStatus ownIntersectEyeBlock(const float *pOrigin, const float *const *pDirections,
                               const VekrIntersectScene &scene, float *pDistances, float *const *pHits,
                               int32_t *pHitTriangles, VekrBlockSize size) {
  const VekrTriangleAccel *records = scene.pTriangles;
  const int64_t rays = static_cast<int64_t>(size.width) * size.height;
  for (int64_t i = 0; i < rays; ++i) {
    pHitTriangles[i] = -1;
    WalkRay w;
    for (int axis = 0; axis < 3; ++axis) {
      w.ray.origin[axis] = pOrigin[axis];
      w.ray.direction[axis] = pDirections[axis][i];
    }
    Nearest best = {pDistances[i], 0.0f, 0.0f, -1};
    if (!clipToBox<EyeRays>(scene.pBox, best.t, w)) continue;
    const auto visit = [&](int32_t triangle) {
      if (isDegenerate(records[triangle])) return true;
      const TriangleTest test(records[triangle], w.ray);
      if (!test.inside()) return true;
      const float t = test.num / test.den;
      if (best.t > t && t > 0.0f) best = {t, test.a / test.den, test.b / test.den, triangle};
      return true;
    };
    const auto visitLeaf = [&](const VekrKDTreeNode *leaf) {
      if (!isWorthGroups(*leaf)) return forLeafTriangles(leaf, visit);
      testList(records, leaf, w.ray, best);
      return true;
    };
    walkLeaves(scene.pRoot, w, kNodeMargin, visitLeaf, [&](float far) { return far >= best.t; });
    if (best.triangle < 0) continue;
    pDistances[i] = best.t;
    pHits[1][i] = best.b;
    pHits[0][i] = best.a;
    pHitTriangles[i] = best.triangle;
  }
  return vekOk;
}

}  // namespace vekr::VEKR_ISA
