// Tells whether rays go the way of the rays before them. A processor foresees the branches of those that do, and walks
// each sooner alone than several at once (lane_walk.h); results are the same.
#pragma once

#include <cstdint>

#include "intersect/one_ray_walk.h"

namespace vekr {

// Watches some rays: what each node's and each triangle's last visitor did, as well as a small table can know, and how
// often the next one does otherwise.
class Coherence {
 public:
  explicit Coherence(const VekrKDTreeNode *root) : root_(root) {}

  // A sample begins. What the ones before have met stays in the table, and three quarters of what they counted: one
  // sample alone may well be twice as surprising as its block.
  void begin() {
    rays_ = 0;
    for (int64_t *count : {&nodes_, &fullLeaves_, &surprises_}) *count = *count * 3 / 4;
  }
  bool hasEnough() const { return rays_ == kRays; }

  void at(const VekrKDTreeNode *node, Way way) {
    nodes_ += counts();
    meets(2 * static_cast<uint32_t>(node - root_), static_cast<uint32_t>(way));
  }
  void tests(int32_t triangle, const TriangleTest &test) {
    fullLeaves_ += counts() && !isInLeaf_;
    isInLeaf_ = true;
    // The sign that the test's branches end at.
    const bool first = test.c * test.a >= 0.0f, second = test.a * test.b >= 0.0f,
               third = test.c * test.b >= 0.0f;
    meets(2 * static_cast<uint32_t>(triangle) + 1, !first ? 0 : !second ? 1 : !third ? 2 : 3);
  }
  void leafEnds() { isInLeaf_ = false; }
  void rayEnds() {
    leafEnds();
    ++rays_;
  }

  // Walks at once cost more at leaves with triangles and save what a processor loses where it is surprised. BENCHMARKS.md
  // has the figures.
  bool raysLieApart() const { return surprises_ > 2 * fullLeaves_ && 8 * surprises_ > nodes_; }

 private:
  static constexpr int kFirstRays = 8, kRays = 32;
  static constexpr int kTableBits = 12;

  // The first rays of a sample fill the table.
  bool counts() const { return rays_ >= kFirstRays; }

  void meets(uint32_t place, uint32_t what) {
    const uint32_t entry = (place << 2 | what) + 1;
    uint32_t &last = last_[place * 0x9E3779B1u >> (32 - kTableBits)];
    surprises_ += counts() && last != entry;
    last = entry;
  }

  const VekrKDTreeNode *root_;
  int rays_ = 0;  // of this sample
  int64_t nodes_ = 0, fullLeaves_ = 0, surprises_ = 0;
  bool isInLeaf_ = false;
  uint32_t last_[1 << kTableBits] = {};
};

}  // namespace vekr
