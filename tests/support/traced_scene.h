// A scene whose box, records and tree each end at an unreadable page, at addresses that are multiples of four only.
#pragma once

#include <memory>

#include "pr_avlopsahopt/kdtree_format.h"
#include "support/arrays.h"
#include "support/test_tree.h"
#include "vekr.h"

namespace vekr_test {

// The words of a tree of one leaf that lists `numbers`.
inline std::vector<int32_t> oneLeaf(const std::vector<int32_t> &numbers) {
  const VekrKDTreeNode root =
      vekr::leafWithList(static_cast<int32_t>(numbers.size()), vekr::kTreeHeaderBytes);
  std::vector<int32_t> words = {root.word0, root.word1, 0, 0};
  words.insert(words.end(), numbers.begin(), numbers.end());
  return words;
}

inline constexpr VekrKDTreeNode kEmptyLeaf = {vekr::kLeafBit, 0};

// The words of a tree of one plane and two leaves that hold their triangles themselves.
inline std::vector<int32_t> oneSplit(int32_t axis, float plane, const VekrKDTreeNode &below,
                                     const VekrKDTreeNode &above) {
  const VekrKDTreeNode root = vekr::innerNode(axis, plane, vekr::kTreeHeaderBytes);
  return {root.word0, root.word1, 0, 0, below.word0, below.word1, above.word0, above.word1};
}

class TracedScene {
 public:
  // `slack` widens the box on every side; 0 lets outer triangles touch it.
  TracedScene(const Mesh &mesh, TreeShape shape, float slack = 0.0f)
      : mesh_(mesh), box_(6), records_(static_cast<size_t>(mesh.triangleCount())) {
    const TestTree tree(mesh_, shape);
    init(tree.words(), slack);
  }
  // With a tree made by hand.
  TracedScene(const Mesh &mesh, const std::vector<int32_t> &words, float slack = 0.0f)
      : mesh_(mesh), box_(6), records_(static_cast<size_t>(mesh.triangleCount())) {
    init(words, slack);
  }

  const Mesh &mesh() const { return mesh_; }
  float *box() { return box_.data(); }
  VekrTriangleAccel *records() { return records_.data(); }
  VekrIntersectScene get() {
    return {box_.data(), records_.data(), reinterpret_cast<const VekrKDTreeNode *>(tree_->data())};
  }

 private:
  void init(const std::vector<int32_t> &words, float slack) {
    for (size_t a = 0; a < 3; ++a) {
      box_[a] = 3e38f;
      box_[3 + a] = -3e38f;
      for (size_t v = a; v < mesh_.vertices.size(); v += 3) {
        box_[a] = std::min(box_[a], mesh_.vertices[v]);
        box_[3 + a] = std::max(box_[3 + a], mesh_.vertices[v]);
      }
      box_[a] -= slack;
      box_[3 + a] += slack;
    }
    vekrTriangleAccelInit(records_.data(), mesh_.vertices.data(), mesh_.indices.data(),
                          mesh_.triangleCount());
    tree_ = std::make_unique<PageEnd<int32_t>>(words.size());
    std::copy(words.begin(), words.end(), tree_->begin());
  }

  Mesh mesh_;
  PageEnd<float> box_;
  PageEnd<VekrTriangleAccel> records_;
  std::unique_ptr<PageEnd<int32_t>> tree_;
};

}  // namespace vekr_test
