// Trees made by hand, in any of the forms that a reader must understand.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "pr_avlopsahopt/kdtree_format.h"
#include "support/mesh.h"
#include "support/values.h"
#include "vekr.h"

namespace vekr_test {

// Links nodes into one block. Node 0 is the root; children are numbered as they are asked for.
class TreeBlock {
 public:
  TreeBlock() : nodes_(2) {}  // the second is the gap behind the root

  // Makes `node` an inner node; returns the number of its lower child, the upper one follows. `noise`: with its free bit
  // set.
  int inner(int node, int axis, float plane, bool noise = false) {
    const int child = static_cast<int>(nodes_.size());
    nodes_.resize(nodes_.size() + 2);
    set(node, vekr::innerNode(axis, plane, (child - node) * int64_t{sizeof(VekrKDTreeNode)}));
    if (noise) nodes_[static_cast<size_t>(node)].word0 |= vekr::kFreeInnerBits;
    return child;
  }

  // An empty leaf: word0 means nothing but its sign.
  void empty(int node, uint32_t noise = 0) { set(node, {static_cast<int32_t>(noise) | vekr::kLeafBit, 0}); }
  // The inline form of no triangle at all.
  void emptyInline(int node, uint32_t noise = 0) {
    const auto bits = static_cast<int32_t>(noise);
    set(node, {bits | vekr::kLeafBit, bits << vekr::kMiddleShift | vekr::kLeafBit});
  }

  // `noise`: 0 to 3, for its free bits.
  void list(int node, std::vector<int32_t> triangles, int noise = 0) {
    lists_.push_back({node, noise, std::move(triangles)});
  }

  void one(int node, int32_t a) { set(node, vekr::leafOfOne(a)); }
  void two(int node, int32_t a, int32_t b) { set(node, vekr::leafOfTwo(a, b)); }
  // a <= b <= c, near enough for the fields.
  void three(int node, int32_t a, int32_t b, int32_t c) { set(node, vekr::leafOfThree(a, b, c)); }

  // The finished block. It lives as long as this object.
  const VekrKDTreeNode *finish() {
    std::vector<int32_t> entries;
    for (const List &list : lists_) {
      const size_t at = nodes_.size() * sizeof(VekrKDTreeNode) + entries.size() * sizeof(int32_t);
      const size_t from = static_cast<size_t>(list.node) * sizeof(VekrKDTreeNode);
      set(list.node,
          vekr::leafWithList(static_cast<int32_t>(list.triangles.size()), static_cast<int64_t>(at - from)));
      nodes_[static_cast<size_t>(list.node)].word0 |= list.noise;
      entries.insert(entries.end(), list.triangles.begin(), list.triangles.end());
    }
    block_.clear();
    for (const VekrKDTreeNode &node : nodes_) block_.insert(block_.end(), {node.word0, node.word1});
    block_.insert(block_.end(), entries.begin(), entries.end());
    return reinterpret_cast<const VekrKDTreeNode *>(block_.data());
  }

 private:
  struct List {
    int node, noise;
    std::vector<int32_t> triangles;
  };
  void set(int node, const VekrKDTreeNode &value) { nodes_[static_cast<size_t>(node)] = value; }
  std::vector<VekrKDTreeNode> nodes_;
  std::vector<List> lists_;
  std::vector<int32_t> block_;
};

// Triangles of all kinds within [-4, 4]: free, in planes of constant coordinate, doubled, nearly doubled, degenerate.
inline Mesh randomMesh(int32_t count, Random &random) {
  Mesh mesh;
  while (mesh.triangleCount() < count) {
    Point v[3];
    const float extent = random.below(3) == 0 ? 4.0f : 1.0f;
    float centre[3];
    for (float &x : centre) x = random.within(-3, 3);
    for (auto &p : v) {
      for (int c = 0; c < 3; ++c)
        p[c] = std::min(4.0f, std::max(-4.0f, centre[c] + random.within(-extent, extent)));
    }
    const int kind = random.below(10);
    if (kind < 3) {  // flat, on a grid so that planes meet other planes
      const int axis = random.below(3);
      v[0][axis] = v[1][axis] = v[2][axis] = static_cast<float>(random.below(9) - 4);
    }
    if (kind == 3) v[1] = v[0];
    mesh.addTriangle(v[0], v[1], v[2]);
    if (kind == 4 || kind == 0) mesh.addTriangle(v[0], v[1], v[2]);
    if (kind == 5) {
      const int axis = random.below(3);
      const float shift = random.below(2) ? 5e-6f : 2e-5f;
      for (auto &p : v) p[axis] += shift;
      mesh.addTriangle(v[0], v[1], v[2]);
    }
  }
  return mesh;
}

// Splits the mesh at planes near the middle of the largest side, with leaves in every form.
class RandomTree {
 public:
  RandomTree(const Mesh &mesh, int depth, Random &random) : mesh_(mesh), random_(random) {
    std::vector<int32_t> all;
    for (int32_t n = 0; n < mesh.triangleCount(); ++n) all.push_back(n);
    const float box[6] = {-4, -4, -4, 4, 4, 4};
    node(0, all, box, depth);
    root_ = block_.finish();
  }
  const VekrKDTreeNode *root() const { return root_; }

 private:
  float edge(int32_t n, int axis, bool high) const {
    float x = 0;
    for (int i = 0; i < 3; ++i) {
      const auto vertex = static_cast<size_t>(mesh_.indices[static_cast<size_t>(4 * n + i)]);
      const float y = mesh_.vertices[3 * vertex + static_cast<size_t>(axis)];
      if (i == 0 || (high ? y > x : y < x)) x = y;
    }
    return x;
  }

  void node(int number, std::vector<int32_t> triangles, const float *box, int depth) {
    if (depth == 0 || triangles.size() <= 2 || random_.below(12) == 0)
      return leaf(number, std::move(triangles));
    const int axis = random_.below(3);
    float plane = box[axis] + (box[3 + axis] - box[axis]) * random_.within(0.3f, 0.7f);
    if (random_.below(3) == 0) plane = std::round(plane);  // where flat triangles lie
    std::vector<int32_t> below, above;
    for (const int32_t n : triangles) {
      if (edge(n, axis, false) <= plane) below.push_back(n);
      if (edge(n, axis, true) >= plane) above.push_back(n);
    }
    const int child = block_.inner(number, axis, plane, random_.below(2) == 0);
    float lower[6], upper[6];
    std::copy_n(box, 6, lower);
    std::copy_n(box, 6, upper);
    lower[3 + axis] = upper[axis] = plane;
    node(child, below, lower, depth - 1);
    node(child + 1, above, upper, depth - 1);
  }

  void leaf(int number, std::vector<int32_t> t) {
    const bool asList = random_.below(4) == 0;
    if (t.empty()) {
      random_.below(2) ? block_.empty(number, random_.bits() >> 1)
                       : block_.emptyInline(number, random_.bits() >> 8);
    } else if (t.size() == 1 && !asList) {
      block_.one(number, t[0]);
    } else if (t.size() == 2 && !asList) {
      random_.below(2) ? block_.two(number, t[0], t[1]) : block_.two(number, t[1], t[0]);
    } else if (t.size() == 3 && !asList) {
      block_.three(number, t[0], t[1], t[2]);
    } else {
      for (size_t i = t.size() - 1; i > 0; --i) {  // the order of a list is the order of the tests
        std::swap(t[i], t[static_cast<size_t>(random_.below(static_cast<int32_t>(i + 1)))]);
      }
      block_.list(number, t, random_.below(4));
    }
  }

  const Mesh &mesh_;
  Random &random_;
  TreeBlock block_;
  const VekrKDTreeNode *root_;
};

}  // namespace vekr_test
