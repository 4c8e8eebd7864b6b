#include "pr_avlopsahopt/psah_loop.h"

#include <bit>
#include <cstring>

#include "pr_avlopsahopt/kdtree_format.h"
#include "pr_avlopsahopt/psah_cut.h"
#include "pr_avlopsahopt/psah_patch.h"
#include "pr_avlopsahopt/psah_search.h"

namespace vekr {
namespace {

// Cost of a traversal step, in triangle tests, is 10 - 9 * bias times this: 0.5057569742202759.
constexpr double kTraversalFactor = static_cast<double>(std::bit_cast<float>(0x3F01794Au));

float traversalCostOf(float splitBias) {
  return static_cast<float>((10.0 - 9.0 * static_cast<double>(splitBias)) * kTraversalFactor);
}

// A subtree that is pending or under work.
struct VekrBuildJob {
  VekrBuildNode *node;  // its root, a leaf for the time being
  float box[6];
  int32_t depth;
  char *patchCursor;  // where the pools stand when this job runs
  char *pointCursor;
};

// Half the surface of a cell.
double halfSurface(const float *box) {
  double w[3];
  for (int axis = 0; axis < 3; ++axis) {
    const float extent = box[axis + 3] - box[axis];
    w[axis] = static_cast<double>(extent);
  }
  return w[0] * (w[1] + w[2]) + w[1] * w[2];
}

// The loop goes down on the right and leaves left children on a stack, so that memory is needed for the patches of
// one path only. The current node's patches are always in the root's array, `home`: no child has more patches than its
// parent. The patch pool holds the left arrays that wait; what lies above a job's cursors in the pools belongs to
// subtrees that are done.
class Loop {
 public:
  Loop(const PsahBuild &build, VekrBuildNode *pRoot, int32_t maxDepth, const float *pBox, float splitBias)
      : build_(build),
        state_(*build.state),
        home_(static_cast<VekrPatch *>(pRoot->link)),
        homeBounds_(build.boundsOf(home_)),
        maxDepth_(maxDepth),
        traversalCost_(traversalCostOf(splitBias)),
        job_{pRoot, {}, 0, state_.patchPool.cursor, state_.pointPool.cursor} {
    std::memcpy(job_.box, pBox, sizeof job_.box);
  }

  VekStatus run() {
    for (;;) {
      state_.pointPool.cursor = job_.pointCursor;
      state_.patchPool.cursor = job_.patchCursor;
      const VekrSplitRecord split = search();
      if (split.axis < 0) {
        if (!finishLeaf()) return vekErrTreeBuild;
        if (pendingCount_ == 0) return vekOk;
        popJob();
      } else {
        const VekStatus status = splitNode(split);
        if (status != vekOk) return status;
      }
    }
  }

 private:
  VekrSplitRecord search() const {
    const int32_t count = job_.node->value;
    VekrSplitRecord record = {0.0, 0.0f, -1, 0, 0, 0};
    if (job_.depth == maxDepth_) return record;
    record.cost = static_cast<double>(count) * halfSurface(job_.box);
    localFindBestSplitSortSearch_MT(&record, {homeBounds_, count, job_.box}, state_.scratch, traversalCost_);
    return record;
  }

  bool finishLeaf() {
    VekrBuildNode &leaf = *job_.node;
    const int32_t count = leaf.value;
    auto *list = static_cast<int32_t *>(
        takeFromRing(state_, state_.listChunks, sizeof(int32_t) * static_cast<uint64_t>(count)));
    if (list == nullptr) return false;
    for (int32_t i = 0; i < count; ++i) {
      list[i] = triangleOf(home_[i]);
      giveVertexPointers(state_, home_[i].vertices, vertexCountOf(home_[i]));
    }
    leaf.link = list;
    return true;
  }

  void popJob() {
    job_ = pending_[--pendingCount_];
    const auto *patches = static_cast<const VekrPatch *>(job_.node->link);
    const size_t count = static_cast<size_t>(job_.node->value);
    std::memcpy(homeBounds_, build_.boundsOf(patches), sizeof(VekrPatchBounds) * count);
    std::memcpy(home_, patches, sizeof(VekrPatch) * count);
    job_.node->link = home_;
  }

  VekStatus splitNode(const VekrSplitRecord &split) {
    VekrBuildNode &node = *job_.node;
    auto *pair = static_cast<VekrBuildNode *>(takeFromRing(state_, state_.nodeChunks, kNodePairBytes));
    if (pair == nullptr) return vekErrTreeBuild;
    pair[0] = pair[1] = node;
    node = {split.axis, std::bit_cast<int32_t>(split.plane), pair};
    ++job_.depth;
    if (split.left == 0 || split.right == 0) {
      fenceOff(split, pair);
      return vekOk;
    }
    return divide(split, pair);
  }

  // One side is empty: the job goes on in the other with all patches as they are.
  void fenceOff(const VekrSplitRecord &split, VekrBuildNode *pair) {
    const bool emptyLeft = split.left == 0;
    VekrBuildNode &empty = pair[emptyLeft ? 0 : 1];
    empty.value = 0;
    empty.link = nullptr;
    job_.box[split.axis + (emptyLeft ? 0 : 3)] = split.plane;
    job_.node = &pair[emptyLeft ? 1 : 0];
  }

  // The left child's patches go to the pool, to wait; the right child's close up in `home`.
  VekStatus divide(const VekrSplitRecord &split, VekrBuildNode *pair) {
    const int32_t count = pair[0].value;
    VekrBuildJob left = job_;
    left.node = &pair[0];
    left.box[split.axis + 3] = split.plane;
    left.patchCursor = state_.patchPool.cursor;
    auto *leftPatches = static_cast<VekrPatch *>(
        takeFromPool(state_.patchPool, sizeof(VekrPatch) * static_cast<uint64_t>(split.left)));
    if (leftPatches == nullptr) return vekErrTreeBuild;
    job_.patchCursor = state_.patchPool.cursor;
    // The budget counts an array for the right child too, though its patches need no second place [C04].
    if (takeFromPool(state_.patchPool, sizeof(VekrPatch) * static_cast<uint64_t>(split.right)) == nullptr) {
      return vekErrTreeBuild;
    }
    job_.node = &pair[1];
    job_.box[split.axis] = split.plane;

    const VekStatus status = partition(split, count, leftPatches);
    if (status != vekOk) return status;
    job_.pointCursor = left.pointCursor = state_.pointPool.cursor;
    pair[0].value = split.left;
    pair[0].link = leftPatches;
    pair[1].value = split.right;
    pair[1].link = home_;
    pending_[pendingCount_++] = left;
    return vekOk;
  }

  VekStatus partition(const VekrSplitRecord &split, int32_t count, VekrPatch *leftPatches) {
    VekrPatchBounds *leftBounds = build_.boundsOf(leftPatches);
    const int32_t axis = split.axis;
    const float plane = split.plane;
    int32_t left = 0, right = 0;
    for (int32_t i = 0; i < count; ++i) {
      const float low = homeBounds_[i].low[axis], high = homeBounds_[i].high[axis];
      bool goesLeft = high <= plane, goesRight = low >= plane;
      if (low == high && low == plane) {
        goesLeft = split.sideFlag == 0;
        goesRight = !goesLeft;
      }
      const bool isCut = !goesLeft && !goesRight;
      if (left == split.left && (goesLeft || isCut)) return vekErrTreeInternal;
      if (isCut) {
        const VekStatus status = localPatchCut(home_[i], {&leftPatches[left], &leftBounds[left]},
                                               {&home_[right], &homeBounds_[right]}, axis, state_, plane);
        if (status != vekOk) return status;
        ++left;
        ++right;
      } else if (goesLeft) {
        leftPatches[left] = home_[i];
        leftBounds[left++] = homeBounds_[i];
      } else {
        home_[right] = home_[i];
        homeBounds_[right++] = homeBounds_[i];
      }
    }
    return left == split.left && right == split.right ? vekOk : vekErrTreeInternal;
  }

  const PsahBuild &build_;
  VekrBuildState &state_;
  VekrPatch *const home_;
  VekrPatchBounds *const homeBounds_;
  const int32_t maxDepth_;
  const float traversalCost_;
  VekrBuildJob job_;
  // Every push comes with a rise of depth, and depth ends at the limit.
  VekrBuildJob pending_[kMaxTreeDepth];
  int32_t pendingCount_ = 0;
};

}  // namespace

VekStatus ownOptimizationPSAH(const PsahBuild &build, VekrBuildNode *pRoot, int32_t maxDepth,
                              const float *pBox, float splitBias) {
  Loop loop(build, pRoot, maxDepth, pBox, splitBias);
  return loop.run();
}

}  // namespace vekr
