#include "tree_figures.h"

#include <algorithm>

#include "pr_avlopsahopt/kdtree_format.h"

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
  if (vekr::isLeaf(*node)) {
    const int64_t triangles = vekr::leafTriangleCount(*node);
    ++(triangles == 0         ? figures.emptyLeaves
       : vekr::hasList(*node) ? figures.listLeaves
                              : figures.inlineLeaves);
    figures.references += triangles;
    figures.expectedCost += chance * static_cast<double>(triangles);
    return;
  }
  constexpr double kStepCost = 0.7;
  figures.expectedCost += kStepCost * chance;
  const int axis = vekr::splitAxis(*node);
  const float position = vekr::splitPosition(*node);
  const VekrKDTreeNode *pair = vekr::childPair(node);
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
