// The one-ray walk through a tree, for every kind of query.
#pragma once

#include "intersect/scene.h"

namespace vekr {

// A ray as the walk needs it: reciprocals, near children, and the interval that is left to visit.
struct WalkRay {
  Ray ray;
  float inverse[3];
  NearChildren nearChildren;
  float near, far;
};

enum class Way { farChild, nearChild, both };

// Walks from `root` along w.near to w.far. visitLeaf(leaf) returns false to end the walk at once. done(far) is asked [C99]
// when a cell has been left at distance `far` and others are waiting; it returns true to end the walk. `margin` widens the
// comparisons at inner nodes. The stack has no bounds check: a tree is at most kMaxTreeDepth deep. notice(node, way) is
// told which way is taken at each inner node.
template <class VisitLeaf, class Done, class Notice>
void walkLeaves(const VekrKDTreeNode *root, const WalkRay &w, float margin, const VisitLeaf &visitLeaf,
                const Done &done, const Notice &notice) {
  struct Entry {
    const VekrKDTreeNode *node;
    float far;
  };
  Entry stack[kMaxTreeDepth];
  Entry *top = stack;
  const VekrKDTreeNode *node = root;
  float near = w.near, far = w.far;
  for (;;) {
    while (!isLeaf(*node)) {
      const int32_t axis = splitAxis(*node);
      const float t = (splitPosition(*node) - w.ray.origin[axis]) * w.inverse[axis];
      const VekrKDTreeNode *pair = childPair(node);
      const uint32_t first = nearChildOf(*node, w.nearChildren);
      const VekrKDTreeNode *nearChild = pair + first, *farChild = pair + (1 - first);
      if (near - t > margin) {
        notice(node, Way::farChild);
        node = farChild;
      } else if (t - far > margin) {
        notice(node, Way::nearChild);
        node = nearChild;
      } else {
        notice(node, Way::both);
        *top++ = {farChild, far};
        const float end = t < far ? t : far;
        far = near > end ? near : end;
        node = nearChild;
      }
    }
    if (!visitLeaf(node)) return;
    if (top == stack || done(far)) return;
    --top;
    near = far;
    node = top->node;
    far = top->far;
  }
}

// The same without notice.
template <class VisitLeaf, class Done>
void walkLeaves(const VekrKDTreeNode *root, const WalkRay &w, float margin, const VisitLeaf &visitLeaf,
                const Done &done) {
  walkLeaves(root, w, margin, visitLeaf, done, [](const VekrKDTreeNode *, Way) {});
}

// With visit(triangle) for a leaf's triangles in their order; it returns false to end the walk at once.
template <class Visit, class Done>
void walkTree(const VekrKDTreeNode *root, const WalkRay &w, float margin, const Visit &visit,
              const Done &done) {
  const auto visitLeaf = [&](const VekrKDTreeNode *leaf) { return forLeafTriangles(leaf, visit); };
  walkLeaves(root, w, margin, visitLeaf, done);
}

// The same walk for turns with others (interleaved.h): what is decided by branches above is computed here, which
// pays where rays have little to do with one another. What a ray looks for is told by a Query:
//   const VekrIntersectScene *scene, WalkRay w, static constexpr float kMargin
//   bool begin()                            sets up w; false if nothing of the interval is left
//   bool visit(triangle), bool done(far)    as above
template <class Query>
class OneRayWalk {
 public:
  Query query;

  bool begin() {
    if (!query.begin()) return false;
    node_ = query.scene->pRoot;
    near_ = query.w.near;
    far_ = query.w.far;
    waiting_ = 0;
    return true;
  }

  bool atLeaf() const { return isLeaf(*node_); }

  // An entry is written in any case, and counts if both children are entered.
  [[gnu::always_inline]] inline void descend() {
    const int32_t axis = splitAxis(*node_);
    const float t = (splitPosition(*node_) - query.w.ray.origin[axis]) * query.w.inverse[axis];
    const VekrKDTreeNode *pair = childPair(node_);
    const uint32_t first = nearChildOf(*node_, query.w.nearChildren);
    const int32_t farOnly = near_ - t > Query::kMargin;
    const int32_t both = (farOnly ^ 1) & !(t - far_ > Query::kMargin);
    stack_[waiting_] = {pair + (1 - first), far_};
    waiting_ += both;
    const float end = t < far_ ? t : far_;
    const float clipped = near_ > end ? near_ : end;
    const uint32_t taken = 0u - static_cast<uint32_t>(both);
    far_ = std::bit_cast<float>((std::bit_cast<uint32_t>(clipped) & taken) |
                                (std::bit_cast<uint32_t>(far_) & ~taken));
    node_ = pair + (first ^ static_cast<uint32_t>(farOnly));
  }

  [[gnu::noinline]] bool leave() {
    if (!forLeafTriangles(node_, [this](int32_t triangle) { return query.visit(triangle); })) return false;
    if (waiting_ == 0 || query.done(far_)) return false;
    --waiting_;
    near_ = far_;
    far_ = stack_[waiting_].far;
    node_ = stack_[waiting_].node;
    return true;
  }

  void end() {}

 private:
  struct Entry {
    const VekrKDTreeNode *node;
    float far;
  };
  const VekrKDTreeNode *node_;
  float near_, far_;
  int waiting_;
  Entry stack_[kMaxTreeDepth + 1];  // one more: an entry is written before it is known to count
};

}  // namespace vekr
