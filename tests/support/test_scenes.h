// The scenes on which every form is compared with its twin.
#pragma once

#include "support/traced_scene.h"

namespace vekr_test {

// Calls visit(scene, seed) for each of them.
template <class Visit>
void forEachScene(Visit visit) {
  const auto build = [&](const Mesh &mesh, TreeShape shape, float slack) {
    TracedScene scene(mesh, shape, slack);
    visit(scene, shape.seed);
  };
  build(soup(60, 0.5f, 1), {12, 3, Leaves::mixed, 1}, 0.0f);
  build(soup(400, 0.2f, 2), {20, 2, Leaves::inlined, 2}, 0.001f);
  build(soup(400, 0.15f, 3), {9, 6, Leaves::lists, 3}, 0.0f);
  build(soup(30, 1.0f, 4), {0, 1, Leaves::lists, 4}, 0.1f);  // one leaf
  build(soup(3, 1.0f, 5), {0, 1, Leaves::inlined, 5}, 0.0f);
  build(ball(10, 14), {14, 3, Leaves::mixed, 6}, 0.0f);
  build(ball(24, 30), {20, 2, Leaves::mixed, 7}, 0.01f);
  build(cube(0.75f), {6, 2, Leaves::mixed, 8}, 0.0f);
  build(cube(1.0f), {4, 1, Leaves::inlined, 9}, 0.25f);
  build(sheets(4, 3), {10, 2, Leaves::mixed, 10}, 0.0f);
  build(coincident(4, 7, 11), {5, 4, Leaves::mixed, 11}, 0.0f);
  build(coincident(2, 12, 12), {3, 5, Leaves::lists, 12}, 0.01f);
  Mesh mixed = soup(200, 0.3f, 13);
  addDegenerate(mixed, 60, 13);
  build(mixed, {14, 3, Leaves::mixed, 13}, 0.0f);
  build(coincident(24, 2, 15), {9, 3, Leaves::mixed, 15}, 0.0f);
  Mesh degenerate = coincident(3, 3, 14);
  addDegenerate(degenerate, 20, 14);
  build(degenerate, {8, 3, Leaves::inlined, 14}, 0.0f);
}

}  // namespace vekr_test
