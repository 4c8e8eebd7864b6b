// Blocked segments, one after the other, as neighbours are traced soonest: a processor foresees their branches.
#include "intersect/lane_forms.h"
#include "intersect/segments_leaf.h"

namespace vekr::VEKR_ISA {

namespace {

// Of fewer segments most records haven't been read before.
constexpr int64_t kWorthKnowing = 32;

// Out of line, for the walk's sake, and with all that it calls.
[[gnu::noinline]] VEKR_FLATTEN int32_t blockerInList(const VekrTriangleAccel *records,
                                                     const VekrKDTreeNode *leaf, const Ray &segment,
                                                     RecordsMet &met) {
  return firstBlocker(records, leafList(leaf), leafTriangleCount(*leaf), segment, met);
}

}  // namespace

void traceSegmentsAlone(const Segments &shared, int64_t first, int64_t end, RecordsMet &met) {
  const Segments segments = shared;  // in registers, whatever is written
  const VekrTriangleAccel *records = segments.scene->pTriangles;
  const bool worthKnowing = end - first >= kWorthKnowing;
  for (int64_t i = first; i < end; ++i) {
    segments.occluders[i] = -1;
    if (segments.mask[i] < 0) continue;
    const WalkRay w = segmentRay(segments, i);
    int32_t blocker = -1;
    const auto visit = [&](int32_t triangle) {
      if (!isBlocked(records[triangle], w.ray)) return true;
      blocker = triangle;
      return false;
    };
    const auto visitLeaf = [&](const VekrKDTreeNode *leaf) {
      if (!worthKnowing || !isWorthGroups(*leaf)) return forLeafTriangles(leaf, visit);
      blocker = blockerInList(records, leaf, w.ray, met);
      return blocker < 0;
    };
    walkLeaves(segments.scene->pRoot, w, kNodeMargin, visitLeaf,
               [](float far) { return far >= kSegmentEnd; });
    if (blocker >= 0) markBlocked(segments, i, blocker);
  }
}

VekStatus ownIntersectAnyBlock(const float *pOrigin, const float *const *pDirections,
                               const VekrIntersectScene &scene, int32_t *pOccluders, int32_t *pMask,
                               VekrBlockSize size) {
  RecordsMet met;
  traceSegmentsAlone({pOrigin, pDirections, &scene, pOccluders, pMask}, 0,
                     static_cast<int64_t>(size.width) * size.height, met);
  return vekOk;
}

}  // namespace vekr::VEKR_ISA
