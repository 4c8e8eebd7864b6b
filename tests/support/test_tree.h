// A small kd-tree builder for tests: median splits over the triangles' boxes, every form of leaf, and in the bits that
// nothing reads, junk.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "pr_avlopsahopt/kdtree_format.h"
#include "support/ray_meshes.h"

namespace vekr_test {

enum class Leaves { mixed, lists, inlined };

struct TreeShape {
  int32_t maxDepth = 12;
  size_t leafSize = 3;
  Leaves leaves = Leaves::mixed;
  uint32_t seed = 1;
};

// Words of a finished block: the root, 8 bytes of zero, child pairs, lists.
class TestTree {
 public:
  TestTree(const Mesh &mesh, TreeShape shape) : mesh_(mesh), shape_(shape), random_(shape.seed) {
    words_.assign(4, 0);
    std::vector<int32_t> all(static_cast<size_t>(mesh.triangleCount()));
    for (size_t i = 0; i < all.size(); ++i) all[i] = static_cast<int32_t>(i);
    float low[3], high[3];
    boundsOf(all, low, high);
    build(0, all, low, high, 0);
    placeLists();
  }

  const std::vector<int32_t> &words() const { return words_; }
  size_t innerNodes() const { return innerNodes_; }
  int32_t depth() const { return depth_; }
  size_t leavesOfForm(int form) const { return leavesOfForm_[form]; }  // 0 empty, 1 to 3 inline, 4 list

 private:
  struct List {
    size_t node;
    std::vector<int32_t> numbers;
  };

  // `junk` goes to the free bits.
  void set(size_t at, const VekrKDTreeNode &node, int32_t junk = 0) {
    words_[at] = node.word0 | junk;
    words_[at + 1] = node.word1;
  }
  static int64_t bytesBetween(size_t from, size_t to) {
    return static_cast<int64_t>((to - from) * sizeof(int32_t));
  }

  void boundsOf(const std::vector<int32_t> &list, float *low, float *high) const {
    for (size_t a = 0; a < 3; ++a) {
      low[a] = 3e38f;
      high[a] = -3e38f;
      for (const int32_t n : list) {
        low[a] = std::min(low[a], edgeOf(n, a, false));
        high[a] = std::max(high[a], edgeOf(n, a, true));
      }
    }
  }
  float edgeOf(int32_t n, size_t axis, bool upper) const {
    const float x = mesh_.corner(n, 0)[axis], y = mesh_.corner(n, 1)[axis], z = mesh_.corner(n, 2)[axis];
    return upper ? std::max({x, y, z}) : std::min({x, y, z});
  }

  void build(size_t node, const std::vector<int32_t> &list, const float *low, const float *high,
             int32_t depth) {
    depth_ = std::max(depth_, depth);
    if (depth >= shape_.maxDepth || list.size() <= shape_.leafSize) return leaf(node, list);
    for (int attempt = 0; attempt < 3; ++attempt) {
      size_t axis = 0;
      for (size_t a = 1; a < 3; ++a) {
        if (high[a] - low[a] > high[axis] - low[axis]) axis = a;
      }
      if (attempt > 0 || random_.below(4) == 0) axis = static_cast<size_t>(random_.below(3));
      const float split = splitAt(list, axis, low[axis], high[axis]);
      if (!(low[axis] <= split && split <= high[axis])) continue;
      std::vector<int32_t> below, above;
      for (const int32_t n : list) {
        if (edgeOf(n, axis, false) <= split) below.push_back(n);
        if (edgeOf(n, axis, true) >= split) above.push_back(n);
      }
      if (below.size() == list.size() && above.size() == list.size()) continue;
      ++innerNodes_;
      const size_t pair = words_.size();
      words_.resize(pair + 4);
      const int32_t junk = random_.below(2) * vekr::kFreeInnerBits;
      set(node, vekr::innerNode(static_cast<int32_t>(axis), split, bytesBetween(node, pair)), junk);
      float middle[3] = {high[0], high[1], high[2]};
      middle[axis] = split;
      build(pair, below, low, middle, depth + 1);
      std::copy_n(low, 3, middle);
      middle[axis] = split;
      build(pair + 2, above, middle, high, depth + 1);
      return;
    }
    leaf(node, list);
  }

  // As a rule the median of a vertex coordinate, so that triangles end exactly on the plane; sometimes a plane that cuts
  // off empty space.
  float splitAt(const std::vector<int32_t> &list, size_t axis, float low, float high) {
    if (random_.below(8) == 0) return low + 0.03f * (high - low);
    std::vector<float> edges;
    for (const int32_t n : list) {
      edges.push_back(edgeOf(n, axis, false));
      edges.push_back(edgeOf(n, axis, true));
    }
    std::nth_element(edges.begin(), edges.begin() + static_cast<int64_t>(edges.size() / 2), edges.end());
    return edges[edges.size() / 2];
  }

  void leaf(size_t node, const std::vector<int32_t> &list) {
    bool inlined =
        shape_.leaves == Leaves::inlined || (shape_.leaves == Leaves::mixed && random_.below(3) > 0);
    if (list.empty()) {
      const auto junk = static_cast<int32_t>(random_.bits());
      // An inline leaf of no triangles counts as empty too.
      const bool asInline = random_.below(2) != 0;
      const auto more = static_cast<int32_t>(asInline ? random_.bits() : 0u);
      set(node, {junk | vekr::kLeafBit, asInline ? (more & vekr::kMiddleBits) | vekr::kLeafBit : 0});
    } else if (inlined && list.size() == 1) {
      set(node, vekr::leafOfOne(list[0]));
    } else if (inlined && list.size() == 2) {
      set(node, vekr::leafOfTwo(list[0], list[1]));
    } else if (inlined && list.size() == 3 && list[1] - list[0] < vekr::kBelowLimit &&
               list[2] - list[1] < vekr::kAboveLimit) {
      set(node, vekr::leafOfThree(list[0], list[1], list[2]));
    } else {
      inlined = false;
      lists_.push_back({node, list});
    }
    ++leavesOfForm_[list.empty() ? 0 : inlined ? list.size() : 4];
  }

  void placeLists() {
    for (const List &list : lists_) {
      const auto count = static_cast<int32_t>(list.numbers.size());
      const int64_t distance = bytesBetween(list.node, words_.size());
      set(list.node, vekr::leafWithList(count, distance), random_.below(vekr::kFreeListBits + 1));
      words_.insert(words_.end(), list.numbers.begin(), list.numbers.end());
    }
  }

  const Mesh &mesh_;
  TreeShape shape_;
  Random random_;
  std::vector<int32_t> words_;
  std::vector<List> lists_;
  size_t innerNodes_ = 0;
  int32_t depth_ = 0;
  size_t leavesOfForm_[5] = {};
};

}  // namespace vekr_test
