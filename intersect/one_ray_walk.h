// The one-ray walk through a tree, for every kind of query.
#pragma once

#include "intersect/scene.h"

namespace vekr {

// A ray as the walk needs it: reciprocals, near children, and the interval that is left to visit.
struct WalkRay {
  Ray ray;
  float inverse[3];
  int32_t sign[3];  // which child comes first
  float near, far;
};

// Walks from `root` along w.near to w.far. At a leaf, visit(triangle) is called for its triangles in their
// order; it returns false to end the walk at once. done(far) is asked when a cell has been left at distance
// `far` and others are waiting; it returns true to end the walk. `margin` widens the comparisons at inner
// nodes. The stack has no bounds check: a tree is at most kMaxTreeDepth deep.
template <class Visit, class Done>
void walkTree(const VekrKDTreeNode *root, const WalkRay &w, float margin, const Visit &visit,
              const Done &done) {
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
      const VekrKDTreeNode *nearChild = pair + w.sign[axis], *farChild = pair + (1 - w.sign[axis]);
      if (near - t > margin) {
        node = farChild;
      } else if (t - far > margin) {
        node = nearChild;
      } else {
        *top++ = {farChild, far};
        const float end = t < far ? t : far;
        far = near > end ? near : end;
        node = nearChild;
      }
    }
    if (!forLeafTriangles(node, visit)) return;
    if (top == stack || done(far)) return;
    --top;
    near = far;
    node = top->node;
    far = top->far;
  }
}

}  // namespace vekr
