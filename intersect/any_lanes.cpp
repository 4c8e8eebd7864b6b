// Blocked segments, many at once, where they lie apart. What is found is told in any_alone.cpp.
#include "intersect/lane_forms.h"
#include "intersect/lane_walk.h"
#include "intersect/segments_leaf.h"

namespace vekr::VEKR_ISA {

namespace {

struct AnyQuery {
  using Prepared = RaysInRow;

  const Segments &segments;
  RecordsMet &met;
  int64_t at, end;
  int64_t ray[kWalkLanes] = {};

  template <int N>
  static Mask<N> isBehind(Float<N> t, Float<N> other) {
    return Float<N>(kNodeMargin) < t - other;
  }

  bool setUp(Prepared &to) {
    using F = Float<kPrepared>;
    const int64_t count = std::min<int64_t>(end - at, kPrepared);
    if (count <= 0) return false;
    to.first = at;
    at += count;
    to.live = 0;
    for (int k = 0; k < count; ++k) {
      segments.occluders[to.first + k] = -1;
      to.live |= static_cast<unsigned>(segments.mask[to.first + k] >= 0) << k;
    }
    if (to.live == 0) return true;
    Mask<kPrepared> isTurned = maskOfBits<kPrepared>(0);
    for (int c = 0; c < 3; ++c) {
      const F d = loadGroup(segments.directions[c] + to.first, count);
      const Mask<kPrepared> isParallel = absOf(d) <= F(kParallel), isDownward = !(F(0.0f) <= d);
      F(segments.origin[c]).store(to.origin[c]);
      d.store(to.direction[c]);
      // A NaN counts as downward, whatever its sign.
      const F signedInverse = negatedWhere(isDownward, absOf(F(1.0f) / d));
      select(isParallel, F(kSegmentParallelInverse), signedInverse).store(to.inverse[c]);
      isTurned = isTurned | (isParallel & isDownward);
    }
    F(0.0f).store(to.near);
    F(kSegmentFar).store(to.far);
    F(kSegmentEnd).store(to.best);
    // The lower child comes second for a component just below 0, whose reciprocal has no sign to say so.
    for (unsigned turned = to.live & static_cast<unsigned>(bits(isTurned)); turned != 0;
         turned &= turned - 1) {
      const int64_t i = to.first + std::countr_zero(turned);
      traceSegmentsAlone(segments, i, i + 1, met);
    }
    to.live &= ~static_cast<unsigned>(bits(isTurned));
    return true;
  }

  void begin(int64_t i, int lane) { ray[lane] = i; }

  void visitLeaf(LaneRays &rays, int lane, const VekrKDTreeNode *leaf) {
    const LeafNumbers numbers(leaf);
    const int32_t blocker =
        firstBlocker(segments.scene->pTriangles, numbers.first, numbers.count, rays.at(lane), met);
    if (blocker < 0) return;
    rays.best[lane] = kBlocked;
    markBlocked(segments, ray[lane], blocker);
  }

  static bool goOn(LaneRays &, int) { return false; }

 private:
  // Nearer than any cell's end, so that the walk is over.
  static constexpr float kBlocked = -1.0f;
};

}  // namespace

void traceSegmentsApart(const Segments &segments, int64_t first, int64_t end, RecordsMet &met) {
  AnyQuery query = {segments, met, first, end};
  LaneWalk<AnyQuery>(*segments.scene, query).run();
}

VekStatus ownIntersectAnyBlock_w7(const float *pOrigin, const float *const *pDirections,
                                  const VekrIntersectScene &scene, int32_t *pOccluders, int32_t *pMask,
                                  VekrBlockSize size) {
  const int64_t rays = static_cast<int64_t>(size.width) * size.height;
  if (!kEyeRaysPay || rays < 2 * kWorthLanes) {
    return ownIntersectAnyBlock(pOrigin, pDirections, scene, pOccluders, pMask, size);
  }
  traceSegmentsByStretch({pOrigin, pDirections, &scene, pOccluders, pMask}, rays, traceSegmentsAlone,
                         traceSegmentsApart);
  return vekOk;
}

}  // namespace vekr::VEKR_ISA
