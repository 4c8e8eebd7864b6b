// Scenes and rays out of a hat, most of them of kinds that hurt: for comparing one-ray forms with their twins, or builds of
// the library with each other, over as many rounds as one has time for.
#pragma once

#include <memory>

#include "support/ray_fill.h"
#include "support/tree.h"

namespace vekr_test {

// `depth` planes, each with a triangle on one side and the rest of the tree on the other.
inline std::vector<int32_t> chainOfPlanes(int32_t depth, int32_t triangles, bool sorted, Random &random) {
  std::vector<int32_t> words(4 + 4 * static_cast<size_t>(depth));
  const auto set = [&](size_t at, const VekrKDTreeNode &node) {
    words[at] = node.word0;
    words[at + 1] = node.word1;
  };
  const int32_t axis = random.below(3);
  size_t node = 0;
  for (int32_t i = 0; i < depth; ++i) {
    const size_t pair = 4 + 4 * static_cast<size_t>(i);
    const float plane =
        sorted ? 1.0f - 2.0f * static_cast<float>(i) / static_cast<float>(depth) : random.within(-1.0f, 1.0f);
    const size_t inner = sorted || random.below(2) == 0 ? 0 : 2;  // words behind the pair
    set(node, vekr::innerNode(sorted ? axis : random.below(3), plane,
                              static_cast<int64_t>((pair - node) * sizeof(int32_t))));
    const int32_t triangle = random.below(triangles);
    set(pair + 2 - inner, random.below(4) == 0 ? kEmptyLeaf : vekr::leafOfOne(triangle));
    node = pair + inner;
  }
  set(node, vekr::leafOfOne(random.below(triangles)));
  return words;
}

inline std::unique_ptr<TracedScene> hostileScene(Random &random) {
  const uint32_t seed = random.bits();
  const TreeShape shape = {random.below(20), 1 + static_cast<size_t>(random.below(9)),
                           static_cast<Leaves>(random.below(3)), seed};
  const float slack = random.below(3) == 0 ? random.within(-0.5f, 0.5f) : 0.0f;
  Mesh mesh;
  switch (random.below(8)) {
    case 0:
      mesh = soup(1 + random.below(300), random.within(0.05f, 1.0f), seed);
      break;
    case 1:
      mesh = coincident(1 + random.below(12), 1 + random.below(12), seed);
      break;
    case 2:
      mesh = soup(1 + random.below(60), 0.5f, seed);
      addDegenerate(mesh, 1 + random.below(40), seed);
      break;
    case 3:
      mesh = sheets(1 + random.below(5), 1 + random.below(4));
      break;
    case 4:
      mesh = randomMesh(1 + random.below(100), random);
      break;
    case 5: {  // one leaf, which may be empty, whose triangles come again and again
      mesh = coincident(1 + random.below(6), 1 + random.below(4), seed);
      std::vector<int32_t> numbers(static_cast<size_t>(random.below(41)));
      for (int32_t &n : numbers) n = random.below(mesh.triangleCount());
      return std::make_unique<TracedScene>(mesh, oneLeaf(numbers), slack);
    }
    case 6:
      mesh = soup(1 + random.below(60), random.within(0.3f, 1.5f), seed);
      return std::make_unique<TracedScene>(mesh,
                                           chainOfPlanes(1 + random.below(vekr::kMaxTreeDepth),
                                                         mesh.triangleCount(), random.below(2) == 0, random),
                                           slack);
    default:
      mesh = random.below(2) == 0 ? cube(0.75f) : ball(4 + random.below(12), 4 + random.below(12));
  }
  return std::make_unique<TracedScene>(mesh, shape, slack);
}

// A coordinate of the scene's: of its box, of a vertex, between.
inline float hostileCoordinate(TracedScene &scene, size_t axis, Random &random) {
  const Mesh &mesh = scene.mesh();
  switch (random.below(8)) {
    case 0:
      return scene.box()[axis + 3 * static_cast<size_t>(random.below(2))];
    case 1:
      return mesh.corner(random.below(mesh.triangleCount()), random.below(3))[axis];
    case 2:
      return random.below(4) == 0 ? random.awkward() : 0.0f;
    default:
      return random.within(-1.5f, 1.5f);
  }
}

inline float hostileLimit(Random &random) {
  static constexpr float kOdd[] = {0.0f,     -0.0f,     -1.0f, 1e-5f,
                                   2e-5f,    1e-42f,    1e30f, std::numeric_limits<float>::quiet_NaN(),
                                   1.00001f, -INFINITY, 0.5f};
  switch (random.below(6)) {
    case 0:
      return random.within(0.0f, 3.0f);
    case 1:
      return kOdd[random.below(static_cast<int32_t>(std::size(kOdd)))];
    default:
      return farLimit(random);
  }
}

// Fills whatever the four functions read; results hold what they must leave.
inline void fillHostile(RayBlock &block, TracedScene &scene, Random &random) {
  Point origin;
  for (size_t a = 0; a < 3; ++a) origin[a] = hostileCoordinate(scene, a, random);
  setOrigin(block, origin);
  const int scattered = random.below(4);  // of four rays, those that start elsewhere
  Point before = {1.0f, 0.0f, 0.0f};
  for (size_t i = 0; i < block.rays; ++i) {
    for (size_t a = 0; a < 3 && random.below(4) < scattered; ++a) {
      block.origins[a][i] = hostileCoordinate(scene, a, random);
    }
    const Point from = {block.origins[0][i], block.origins[1][i], block.origins[2][i]};
    Point d = before;
    const int32_t triangle = random.below(scene.mesh().triangleCount());
    const int kind = random.below(10);
    if (kind < 3) d = towards(pointOnTriangle(scene.mesh(), triangle, random), from);
    if (kind == 3) d = towards(pointOnEdge(scene.mesh(), triangle, random), from);
    if (kind == 4) d = pointWithin(random, -1.0f, 1.0f);
    if (kind == 5) d[static_cast<size_t>(random.below(3))] = nearlyZero(random);
    if (kind == 6) d[static_cast<size_t>(random.below(3))] = random.awkward();
    if (kind == 7 && random.below(4) == 0) d = {0.0f, -0.0f, nearlyZero(random)};
    if (kind == 8) d = {random.awkward(), random.awkward(), random.awkward()};
    before = d;
    const float length = random.below(3) == 0 ? random.within(0.5f, 3.0f) : 1.0f;
    for (size_t a = 0; a < 3; ++a) block.directions[a][i] = d[a] * length;
    block.distances[i] = hostileLimit(random);
    block.mask[i] = random.below(8) == 0 ? -1 - random.below(9) : random.below(9);
  }
}

}  // namespace vekr_test
