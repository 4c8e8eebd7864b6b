#include "tree_check.h"

#include <algorithm>
#include <vector>

#include "pr_avlopsahopt/kdtree_format.h"

namespace {

class Checker {
 public:
  Checker(const VekrKDTreeNode *root, int32_t bytes, int32_t triangles)
      : root_(root), bytes_(bytes), triangles_(triangles) {}

  const char *check() {
    struct Step {
      int64_t offset;
      int32_t depth;
    };
    std::vector<Step> steps = {{0, 0}};
    int64_t nodes = 0;
    while (!steps.empty()) {
      const auto [offset, depth] = steps.back();
      steps.pop_back();
      // Nodes that are met twice would make walks without an end that anybody lives to see.
      if (++nodes > bytes_ / static_cast<int64_t>(sizeof(VekrKDTreeNode)))
        return "nodes are met more than once";
      const VekrKDTreeNode &node = root_[offset / static_cast<int64_t>(sizeof(VekrKDTreeNode))];
      if (vekr::isLeaf(node)) {
        if (const char *fault = checkLeaf(node, offset); fault != nullptr) return fault;
        continue;
      }
      const int64_t pair = offset + (node.word0 & vekr::kPairDistanceBits);
      if (vekr::splitAxis(node) > 2) return "a plane has no axis";
      if (depth >= vekr::kMaxTreeDepth) return "it is too deep";
      if (pair < vekr::kTreeHeaderBytes || pair == offset || pair + vekr::kTreePairBytes > bytes_) {
        return "a node leads outside";
      }
      steps.push_back({pair, depth + 1});
      steps.push_back({pair + static_cast<int64_t>(sizeof(VekrKDTreeNode)), depth + 1});
    }
    return nullptr;
  }

 private:
  const char *checkLeaf(const VekrKDTreeNode &node, int64_t offset) {
    if (vekr::hasList(node)) {
      const int64_t list = offset - (node.word0 & vekr::kListDistanceBits);
      const int64_t end = list + 4 * static_cast<int64_t>(node.word1);
      if (list < vekr::kTreeHeaderBytes || end > bytes_) return "a list leads outside";
      listed_ += node.word1;
      if (listed_ > bytes_ / 4) return "lists are met more than once";
    }
    const bool inside =
        vekr::forLeafTriangles(&root_[offset / static_cast<int64_t>(sizeof(VekrKDTreeNode))],
                               [&](int32_t triangle) { return triangle >= 0 && triangle < triangles_; });
    return inside ? nullptr : "a leaf holds a triangle that isn't there";
  }

  const VekrKDTreeNode *root_;
  int64_t bytes_;
  int32_t triangles_;
  int64_t listed_ = 0;
};

// Axes are what walks take arrays' elements by: three different ones of x, y and z, and no other bits than are known. A record
// of zeros is that of a triangle which is never hit.
bool areAxesGood(const VekrTriangleAccel &record) {
  constexpr uint32_t kKnown = 0x8000003f;
  const uint32_t v = record.axes & 3, u = record.axes >> 2 & 3, k = record.axes >> 4 & 3;
  if ((record.axes & ~kKnown) != 0) return false;
  return record.axes == 0 || (v <= 2 && u <= 2 && k <= 2 && v != u && u != k && v != k);
}

}  // namespace

const char *findTreeFault(const VekrKDTreeNode *root, int32_t treeBytes, const VekrTriangleAccel *records,
                          int32_t triangles) {
  if (const char *fault = Checker(root, treeBytes, triangles).check(); fault != nullptr) return fault;
  if (!std::all_of(records, records + triangles, areAxesGood)) return "a record has no axes";
  return nullptr;
}
