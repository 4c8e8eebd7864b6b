// Figures of a finished tree, read from its block.
#pragma once

#include <cstdint>

#include "vekr.h"

struct TreeFigures {
  int64_t nodes = 0;  // inner nodes and leaves
  int64_t emptyLeaves = 0;
  int64_t inlineLeaves = 0;  // one to three triangles within the node
  int64_t listLeaves = 0;
  int64_t references = 0;  // triangles, counted in every leaf that holds them
  int depth = 0;
  double expectedCost = 0;  // by the surface area heuristic: 1 for a triangle test, 0.7 for a step
};

TreeFigures measureTree(const VekrKDTreeNode *root, const float *box);
