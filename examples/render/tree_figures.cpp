#include "tree_figures.h"

#include <algorithm>
#include <cstring>

namespace {

struct Cell {
  float side[6];  // min x, y, z, max x, y, z

  double area() const {
    const double x = side[3] - side[0], y = side[4] - side[1], z = side[5] - side[2];
    return 2 * (x * y + y * z + z * x);
  }
};

void visit(const VekrKDTreeNode *node, const Cell &cell, int depth, double rootArea, TreeFigures &figures) {
  ++figures.nodes;
  figures.depth = std::max(figures.depth, depth);
  const double chance = rootArea > 0 ? cell.area() / rootArea : 1.0;
  if (node->word0 < 0) {
    const int64_t triangles = node->word1 > 0 ? node->word1 : node->word1 & 3;
    ++(triangles == 0 ? figures.emptyLeaves : node->word1 > 0 ? figures.listLeaves : figures.inlineLeaves);
    figures.references += triangles;
    figures.expectedCost += chance * static_cast<double>(triangles);
    return;
  }
  constexpr double kStepCost = 0.7;
  figures.expectedCost += kStepCost * chance;
  const int axis = node->word0 & 3;
  float position;
  std::memcpy(&position, &node->word1, sizeof position);
  const auto *pair =
      reinterpret_cast<const VekrKDTreeNode *>(reinterpret_cast<const char *>(node) + (node->word0 & ~7));
  Cell below = cell, above = cell;
  below.side[3 + axis] = position;
  above.side[axis] = position;
  visit(pair, below, depth + 1, rootArea, figures);
  visit(pair + 1, above, depth + 1, rootArea, figures);
}

}  // namespace

TreeFigures measureTree(const VekrKDTreeNode *root, const float *box) {
  Cell cell;
  std::copy(box, box + 6, cell.side);
  TreeFigures figures;
  visit(root, cell, 0, cell.area(), figures);
  return figures;
}
