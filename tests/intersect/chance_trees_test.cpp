// Trees whose planes and leaves are out of a hat: a triangle may stand in leaves that it doesn't reach, in many of them, and in none
// that it does. What a walk visits too much or too little, too early or too late then shows in the results, which it would seldom do
// in a tree that was built for its mesh.
#include <gtest/gtest.h>

#include "intersect/packet_blocks.h"
#include "pr_avlopsahopt/kdtree_format.h"
#include "support/test_scenes.h"

namespace {

using namespace vekr_test;

// A tree of at most `depth` planes one behind the other. Children stand in pairs behind all nodes before them, lists behind all nodes.
std::vector<int32_t> chanceTree(const Mesh &mesh, int depth, Random &random) {
  struct Open {
    size_t node;
    int depth;
  };
  std::vector<VekrKDTreeNode> nodes(2, vekr::kTreePadding);
  std::vector<Open> open = {{0, 0}};
  std::vector<std::pair<size_t, std::vector<int32_t>>> lists;
  const auto anyTriangle = [&] { return random.below(mesh.triangleCount()); };
  while (!open.empty()) {
    const Open at = open.back();
    open.pop_back();
    if (at.depth < depth && random.below(8) > 0) {
      const size_t pair = nodes.size();
      nodes[at.node] = vekr::innerNode(random.below(3), random.within(-1.0f, 1.0f),
                                       static_cast<int64_t>((pair - at.node) * sizeof(VekrKDTreeNode)));
      nodes.insert(nodes.end(), 2, kEmptyLeaf);
      open.push_back({pair, at.depth + 1});
      open.push_back({pair + 1, at.depth + 1});
      continue;
    }
    switch (random.below(4)) {
      case 0:
        nodes[at.node] = kEmptyLeaf;
        break;
      case 1:
        nodes[at.node] = vekr::leafOfOne(anyTriangle());
        break;
      case 2:
        nodes[at.node] = vekr::leafOfTwo(anyTriangle(), anyTriangle());
        break;
      default:
        lists.push_back({at.node, {}});
        for (int32_t i = 1 + random.below(6); i > 0; --i) lists.back().second.push_back(anyTriangle());
    }
  }
  std::vector<int32_t> tail;
  for (const auto &[node, list] : lists) {
    const size_t distance = (nodes.size() - node) * sizeof(VekrKDTreeNode) + tail.size() * sizeof(int32_t);
    nodes[node] = vekr::leafWithList(static_cast<int32_t>(list.size()), static_cast<int64_t>(distance));
    tail.insert(tail.end(), list.begin(), list.end());
  }
  std::vector<int32_t> words;
  for (const VekrKDTreeNode &n : nodes) words.insert(words.end(), {n.word0, n.word1});
  words.insert(words.end(), tail.begin(), tail.end());
  return words;
}

// A block of tiles, each of rays of one octant or of any, mostly of one.
void fillTiles(RayBlock &block, TracedScene &scene, Random &random) {
  setOrigin(block, originFor(scene, random));
  if (random.below(2) > 0) scatterOrigins(block, scene, random);
  constexpr Tiles kKinds[] = {Tiles::coherent, Tiles::coherent, Tiles::oneOctant, Tiles::anyOctant};
  fillDirections(block, kKinds[random.below(4)], scene.mesh(), random);
  scaleDirections(block, random);
  for (size_t i = 0; i < block.rays; ++i) {
    block.distances[i] = random.below(4) > 0 ? random.within(0.0f, 4.0f) : farLimit(random);
    block.mask[i] = random.below(6) > 0 ? 0 : -1;
  }
}

// In blocks of the size that sizeFor(random) gives.
template <class SizeFor>
void expectAgreement(const RayFunctions &expected, const SizeFor &sizeFor) {
  Met met;
  for (uint32_t seed = 1; seed <= 1500; ++seed) {
    Random random(seed);
    const Mesh mesh = soup(20 + random.below(60), random.within(0.3f, 1.5f), seed);
    TracedScene scene(mesh, chanceTree(mesh, 2 + random.below(7), random));
    const VekrBlockSize size = sizeFor(random);
    const int32_t depth = 1 + random.below(5);
    RayBlock before(size, depth);
    fillTiles(before, scene, random);
    ASSERT_TRUE(formsAgree(linkedFunctions(), expected, before, scene.get(), depth, met)) << "seed " << seed;
  }
  EXPECT_GT(met.hits, 10000u);
  EXPECT_GT(met.deepHits, 500u);
  EXPECT_GT(met.blocked, 3000u);
}

TEST(ChanceTrees, PacketsAgreeWithTheTwin) {
  expectAgreement(packetTwins(), [](Random &random) -> VekrBlockSize {
    return {4 + 4 * random.below(3), 4 + 4 * random.below(3)};
  });
}

TEST(ChanceTrees, SingleRaysAgreeWithTheTwin) {
  expectAgreement(twins(), [](Random &random) -> VekrBlockSize { return {1 + random.below(200), 1}; });
}

}  // namespace
