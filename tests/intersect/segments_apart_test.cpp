// Segments that walk at once where they lie apart, and alone where they don't: what each finds is the same, and which of them walk so.
#include <gtest/gtest.h>

#include "intersect/coherence.h"
#include "intersect/lane_forms.h"
#include "reference/one_ray_layers_reference.h"
#include "support/hostile_rays.h"

namespace {

using namespace vekr_test;

vekr::Segments segmentsOf(const RayBlock &block, const VekrIntersectScene &scene) {
  return {block.pointOrigin.data(), block.directionList, &scene, block.occluders.data(), block.mask.data()};
}

void runTwin(const RayBlock &block, const VekrIntersectScene &scene) {
  vekr_reference::oneRayIntersectAnySO(block.pointOrigin.data(), block.directionList, block.occluders.data(),
                                       block.mask.data(), block.size, &scene);
}

// Segments `first` up to `end` alone and then at once, whether that pays or not, are the twin's; the others stay.
::testing::AssertionResult apartAgrees(const RayBlock &block, TracedScene &scene, int64_t first,
                                       int64_t end) {
  const VekrIntersectScene traced = scene.get();
  RayBlock expected(block.size);
  expected.copyFrom(block);
  runTwin(expected, traced);
  for (size_t i = 0; i < block.rays; ++i) {
    if (static_cast<int64_t>(i) >= first && static_cast<int64_t>(i) < end) continue;
    expected.occluders[i] = block.occluders[i];
    expected.mask[i] = block.mask[i];
  }
  RayBlock alone(block.size);
  alone.copyFrom(block);
  vekr::RecordsMet met, metAlone;
  VEKR_DISPATCH(traceSegmentsAlone)(segmentsOf(alone, traced), first, end, metAlone);
  if (auto r = sameBlocks(alone, expected); !r) return r << " (alone)";
  VEKR_DISPATCH(traceSegmentsApart)(segmentsOf(block, traced), first, end, met);
  return sameBlocks(block, expected);
}

void setAll(RayBlock &block, const Point &direction) {
  for (size_t a = 0; a < 3; ++a) block.directions[a].fill(direction[a]);
}

TEST(SegmentsApart, AnyNumberOfHostileOnesAgreesWithTheTwin) {
  Random random(95);
  size_t blocked = 0, rays = 0;
  for (int32_t count = 1; count <= 300; ++count) {
    for (int round = 0; round < 3; ++round) {
      const auto scene = hostileScene(random);
      RayBlock block({count, 1}, 1, {-1, 4, random.below(3) == 0 ? kAtPageEnd : 4 * random.below(16)});
      fillHostile(block, *scene, random);
      const int32_t first = random.below(2) * random.below(count),
                    end = count - random.below(2) * random.below(3);
      ASSERT_TRUE(apartAgrees(block, *scene, first, std::max(first, end))) << count << ", " << round;
      rays += block.rays;
      for (size_t i = 0; i < block.rays; ++i) blocked += block.occluders[i] >= 0 && block.occluders[i] != 888;
    }
  }
  EXPECT_GT(blocked, rays / 20);
}

// A component that is nearly 0 takes the children in the order of its sign, with a reciprocal that has none.
TEST(SegmentsApart, ComponentsOfNearlyNothingKeepTheOrderOfTheirSign) {
  Mesh mesh;
  for (const float x : {-0.5f, 0.5f}) {
    mesh.addTriangle({x - 2.0f, -9.0f, 1.0f}, {x + 2.0f, -9.0f, 1.0f}, {x, 18.0f, 1.0f});
  }
  // Both lie on both sides of the plane at 0; each side names another one.
  TracedScene scene(mesh, oneSplit(0, 0.0f, vekr::leafOfOne(0), vekr::leafOfOne(1)));
  RayBlock block({128, 1});
  setOrigin(block, {0.0f, 0.0f, 0.0f});
  setAll(block, {0.0f, 0.0f, 2.0f});
  constexpr float kNearly[] = {1e-9f, -1e-9f, 0.0f, -0.0f, 1.1920929e-7f, -1.1920929e-7f, 1e-42f, -1e-42f};
  for (size_t i = 0; i < block.rays; ++i) block.directions[0][i] = kNearly[i % std::size(kNearly)];
  ASSERT_TRUE(apartAgrees(block, scene, 0, 128));
  for (size_t i = 0; i < 8; ++i) EXPECT_EQ(block.occluders[i], i == 1 || i == 5 || i == 7 ? 1 : 0) << i;
}

TEST(SegmentsApart, NoRecordBehindTheFirstBlockerIsRead) {
  Mesh mesh;
  for (const float z : {3.0f, 1.0f, 2.0f, 5.0f}) addWall(mesh, z);
  for (const std::vector<int32_t> &leaf : {std::vector<int32_t>{2, 1, 0x10000000},
                                           {1, -0x10000000, 1},
                                           {0, 3, 2, 1, 1, 1, 0x7fffffff, 0},
                                           {2, 0, 1, 3, 4, 5}}) {
    TracedScene scene(mesh, oneLeaf(leaf));
    for (const vekr::TraceSegments trace :
         {VEKR_DISPATCH(traceSegmentsApart), VEKR_DISPATCH(traceSegmentsAlone)}) {
      RayBlock block({150, 1});
      setOrigin(block, {0.0f, 0.0f, 0.0f});
      setAll(block, {0.0f, 0.0f, 4.0f});
      vekr::RecordsMet met;
      const VekrIntersectScene traced = scene.get();
      trace(segmentsOf(block, traced), 0, 150, met);
      for (size_t i = 0; i < block.rays; ++i) {
        ASSERT_EQ(block.occluders[i], leaf[0]) << i;
        ASSERT_EQ(block.mask[i], -1) << i;
      }
    }
  }
}

// Numbers next to those whose records have been read are not known to have one.
TEST(SegmentsApart, RecordsAreKnownUpToTheLastOneThatWasRead) {
  Mesh mesh;
  for (const float z : {9.0f, 8.0f, 1.0f, 7.0f}) addWall(mesh, z);
  TracedScene scene(mesh, oneSplit(0, 0.0f, vekr::leafOfThree(0, 1, 3), vekr::leafOfTwo(2, 4)));
  const VekrIntersectScene traced = scene.get();
  RayBlock block({200, 1});
  setOrigin(block, {-1.0f, 0.0f, 0.0f});
  setAll(block, {2.0f, 0.0f, 4.0f});
  // Those that go to one side only look at walls behind their end, as far as the last record; the others cross.
  for (size_t i = 0; i < 100; ++i) block.directions[0][i] = -1.0f;
  vekr::RecordsMet met;
  VEKR_DISPATCH(traceSegmentsApart)(segmentsOf(block, traced), 0, 200, met);
  EXPECT_EQ(met.lowest, 0);
  EXPECT_EQ(met.highest, 3);
  for (size_t i = 0; i < 200; ++i) ASSERT_EQ(block.occluders[i], i < 100 ? -1 : 2) << i;
}

TEST(SegmentsApart, RecordsAreKnownUpToTheLastOneThatWasReadAlone) {
  Mesh mesh;
  for (const float z : {9.0f, 8.0f, 1.0f, 7.0f}) addWall(mesh, z);
  TracedScene open(mesh, oneLeaf({0, 1, 3})), blocked(mesh, oneLeaf({2, 4, 4}));
  const VekrIntersectScene first = open.get(), second = blocked.get();
  RayBlock block({40, 1});
  setOrigin(block, {-1.0f, 0.0f, 0.0f});
  setAll(block, {0.0f, 0.0f, 4.0f});
  vekr::RecordsMet met;
  const vekr::TraceSegments trace = VEKR_DISPATCH(traceSegmentsAlone);
  for (const auto &[scene, blocker] : {std::pair(&first, -1), std::pair(&second, 2)}) {
    trace(segmentsOf(block, *scene), 0, 40, met);
    EXPECT_EQ(met.lowest, 0);
    EXPECT_EQ(met.highest, 3);
    for (size_t i = 0; i < 40; ++i) ASSERT_EQ(block.occluders[i], blocker) << i;
  }
}

// Whether equal segments from 0 along a direction are blocked by a wall that stands in one child of a plane.
bool isBlocked(const Mesh &mesh, int32_t axis, float plane, bool wallAbove, const Point &direction) {
  const VekrKDTreeNode wall = vekr::leafOfOne(0);
  TracedScene scene(mesh,
                    oneSplit(axis, plane, wallAbove ? kEmptyLeaf : wall, wallAbove ? wall : kEmptyLeaf));
  RayBlock block({40, 1});
  setOrigin(block, {0.0f, 0.0f, 0.0f});
  setAll(block, direction);
  const VekrIntersectScene traced = scene.get();
  vekr::RecordsMet met;
  VEKR_DISPATCH(traceSegmentsApart)(segmentsOf(block, traced), 0, 40, met);
  for (size_t i = 1; i < 40; ++i) EXPECT_EQ(block.occluders[i], block.occluders[0]);
  return block.occluders[0] == 0;
}

TEST(SegmentsApart, MarginsAreThoseOfSegmentsAlone) {
  Mesh mesh;
  addWall(mesh, 0.75f);
  const Point up = {0.001f, 0.002f, 1.0f};
  // The walk ends where a cell ends at 1.
  for (const float plane : {0.99999f, std::nextafter(1.0f, 0.0f)})
    EXPECT_TRUE(isBlocked(mesh, 2, plane, true, up));
  for (const float plane : {1.0f, 1.00001f, 1.00009f, 1.000105f})
    EXPECT_FALSE(isBlocked(mesh, 2, plane, true, up));
  const float margin = fromBits(0x3727c5acu);  // 1e-5
  EXPECT_TRUE(isBlocked(mesh, 2, -margin, false, up));
  EXPECT_FALSE(isBlocked(mesh, 2, -std::nextafter(margin, 1.0f), false, up));
}

TEST(SegmentsApart, ReciprocalsOfParallelAxesAreThoseOfSegmentsAlone) {
  Mesh mesh;
  addWall(mesh, 0.75f);
  const float reciprocal = fromBits(0x47a3d70au), margin = fromBits(0x3727c5acu);  // 83886.078125, 1e-5
  float y = margin / reciprocal;
  while (y * reciprocal > margin) y = std::nextafter(y, 0.0f);
  while (std::nextafter(y, 1.0f) * reciprocal <= margin) y = std::nextafter(y, 1.0f);
  EXPECT_TRUE(isBlocked(mesh, 1, -y, false, {0.125f, 0.0f, 1.0f}));
  EXPECT_FALSE(isBlocked(mesh, 1, -std::nextafter(y, 1.0f), false, {0.125f, 0.0f, 1.0f}));
}

// Of several blockers in a group that is tested at once the leaf's first one counts, not the nearest.
TEST(SegmentsApart, TheLeafsOrderDecides) {
  Mesh mesh;
  for (int32_t k = 0; k < 12; ++k) addWall(mesh, 3.0f - 0.2f * static_cast<float>(k));
  Random random(96);
  for (int round = 0; round < 50; ++round) {
    std::vector<int32_t> leaf = {0, 11};
    for (int32_t k = 1 + random.below(20); k > 0; --k) leaf.push_back(random.below(12));
    TracedScene scene(mesh, oneLeaf(leaf));
    RayBlock block({70, 1});
    setOrigin(block, {0.0f, 0.0f, 0.0f});
    // Short ones pass the walls that are behind their end.
    for (size_t i = 0; i < 70; ++i) {
      for (size_t a = 0; a < 3; ++a) block.directions[a][i] = a == 2 ? random.within(0.5f, 4.0f) : 0.0f;
    }
    ASSERT_TRUE(apartAgrees(block, scene, 0, 70)) << round;
  }
}

// Which stretches of a block are given to the walk at once.
struct Stretches {
  std::vector<std::pair<int64_t, int64_t>> apart;
  static inline Stretches *seen;
  static void walk(const vekr::Segments &segments, int64_t first, int64_t end, vekr::RecordsMet &met) {
    seen->apart.emplace_back(first, end);
    alone(segments, first, end, met);
  }
  static void alone(const vekr::Segments &segments, int64_t first, int64_t end, vekr::RecordsMet &met) {
    VEKR_DISPATCH(traceSegmentsAlone)(segments, first, end, met);
  }
};

TEST(SegmentsApart, NeighboursWalkAloneAndStrangersAtOnce) {
  const Mesh mesh = soup(3000, 0.1f, 97);
  TracedScene scene(mesh, TreeShape{16, 3, Leaves::mixed, 97});
  const VekrIntersectScene traced = scene.get();
  constexpr int32_t kNeighbours = 3000, kRays = 9000;
  RayBlock block({kRays, 1}), expected({kRays, 1});
  Random random(97);
  setOrigin(block, {0.1f, 0.2f, -0.1f});
  for (size_t i = 0; i < block.rays; ++i) {
    for (size_t a = 0; a < 3; ++a) {
      block.directions[a][i] =
          i < kNeighbours ? 0.6f + 1e-6f * static_cast<float>(i) : random.within(-1.5f, 1.5f);
    }
    block.mask[i] = random.below(3) == 0 ? -5 : 3;
  }
  expected.copyFrom(block);
  runTwin(expected, traced);
  Stretches stretches;
  Stretches::seen = &stretches;
  vekr::traceSegmentsByStretch(segmentsOf(block, traced), kRays, Stretches::alone, Stretches::walk);
  ASSERT_TRUE(sameBlocks(block, expected));
  ASSERT_FALSE(stretches.apart.empty());
  EXPECT_GE(stretches.apart.front().first, kNeighbours);
  int64_t together = 0;
  for (const auto &[first, end] : stretches.apart) together += end - first;
  EXPECT_GT(together, (kRays - kNeighbours) / 2);
}

TEST(SegmentsApart, ABlockOfStrangersAgreesWithTheTwin) {
  const Mesh mesh = soup(3000, 0.1f, 98);
  TracedScene scene(mesh, TreeShape{16, 3, Leaves::mixed, 98});
  Random random(98);
  for (const int32_t count : {127, 128, 129, 2079, 2080, 2081, 5001}) {
    RayBlock block({count, 1}), expected({count, 1});
    setOrigin(block, {0.1f, 0.2f, -0.1f});
    for (size_t i = 0; i < block.rays; ++i) {
      for (size_t a = 0; a < 3; ++a) block.directions[a][i] = random.within(-1.5f, 1.5f);
      block.mask[i] = random.below(8) - 1;
    }
    expected.copyFrom(block);
    ASSERT_EQ(runAny(block, scene.get()), vekOk);
    runTwin(expected, scene.get());
    ASSERT_TRUE(sameBlocks(block, expected)) << count;
  }
}

TEST(SegmentsApart, DeadOnesTellNothing) {
  const Mesh mesh = soup(3000, 0.1f, 99);
  TracedScene scene(mesh, TreeShape{16, 3, Leaves::mixed, 99});
  const VekrIntersectScene traced = scene.get();
  RayBlock block({3000, 1});
  Random random(99);
  setOrigin(block, {0.1f, 0.2f, -0.1f});
  for (size_t i = 0; i < block.rays; ++i) {
    for (size_t a = 0; a < 3; ++a) block.directions[a][i] = random.within(-1.5f, 1.5f);
    block.mask[i] = i < 1000 ? -1 : 0;
  }
  Stretches stretches;
  Stretches::seen = &stretches;
  vekr::traceSegmentsByStretch(segmentsOf(block, traced), 3000, Stretches::alone, Stretches::walk);
  ASSERT_EQ(stretches.apart.size(), 1u);
  EXPECT_EQ(stretches.apart[0], std::pair(int64_t{1032}, int64_t{3000}));
}

class CoherenceOf : public ::testing::Test {
 protected:
  // A ray that takes `way` at `count` nodes from `first` on.
  void ray(size_t first, size_t count, vekr::Way way) {
    for (size_t n = 0; n < count; ++n) coherence.at(nodes.data() + first + n, way);
    coherence.rayEnds();
  }
  // And looks at a triangle.
  void rayWithLeaf(size_t first, size_t count, vekr::Way way, float sign) {
    vekr::TriangleTest test({}, {});
    test.a = test.b = 1.0f;
    test.c = sign;
    coherence.tests(5, test);
    ray(first, count, way);
  }

  std::vector<VekrKDTreeNode> nodes = std::vector<VekrKDTreeNode>(2000);
  vekr::Coherence coherence{nodes.data()};
};

TEST_F(CoherenceOf, NothingIsNotApart) {
  coherence.begin();
  EXPECT_FALSE(coherence.raysLieApart());
  for (int i = 0; i < 32; ++i) {
    EXPECT_FALSE(coherence.hasEnough());
    coherence.rayEnds();
  }
  EXPECT_TRUE(coherence.hasEnough());
  EXPECT_FALSE(coherence.raysLieApart());
}

TEST_F(CoherenceOf, TheFirstEightRaysDoNotCount) {
  coherence.begin();
  for (size_t i = 0; i < 32; ++i) ray(i < 7 ? 20 * i : 140, 20, vekr::Way::both);
  EXPECT_FALSE(coherence.raysLieApart());
  coherence.begin();
  coherence = vekr::Coherence(nodes.data());
  for (size_t i = 0; i < 32; ++i) ray(i < 7 ? 140 : 20 * i, 20, vekr::Way::both);
  EXPECT_TRUE(coherence.raysLieApart());
}

TEST_F(CoherenceOf, AnotherWayAtTheSameNodesIsASurprise) {
  coherence.begin();
  for (size_t i = 0; i < 32; ++i) ray(0, 20, i % 2 == 0 ? vekr::Way::nearChild : vekr::Way::farChild);
  EXPECT_TRUE(coherence.raysLieApart());
}

TEST_F(CoherenceOf, OneNewNodeInEightIsTooFew) {
  for (const size_t nodesOfARay : {7u, 8u}) {
    coherence = vekr::Coherence(nodes.data());
    for (size_t i = 0; i < 32; ++i) {
      coherence.at(nodes.data() + 100 * nodesOfARay + i, vekr::Way::both);
      ray(0, nodesOfARay - 1, vekr::Way::both);
    }
    EXPECT_EQ(coherence.raysLieApart(), nodesOfARay == 7) << nodesOfARay;
  }
}

// 20 surprises a ray, then none: 3/4 of the sum are left each time, against the 20 nodes of every ray.
TEST_F(CoherenceOf, SamplesBeforeTellToo) {
  coherence.begin();
  for (size_t i = 0; i < 32; ++i) ray(20 * i, 20, vekr::Way::both);
  ASSERT_TRUE(coherence.raysLieApart());
  int samples = 0;
  while (coherence.raysLieApart()) {
    coherence.begin();
    for (size_t i = 0; i < 32; ++i) ray(1000, 20, vekr::Way::both);
    ++samples;
  }
  EXPECT_EQ(samples, 4);
}

// Less than two surprises for each leaf with triangles.
TEST_F(CoherenceOf, LeavesWeighAgainst) {
  for (const bool isOtherWay : {false, true}) {
    coherence = vekr::Coherence(nodes.data());
    for (size_t i = 0; i < 32; ++i) {
      const bool isOdd = i % 2 != 0;
      rayWithLeaf(0, 4, isOdd && isOtherWay ? vekr::Way::nearChild : vekr::Way::both, isOdd ? -1.0f : 1.0f);
    }
    EXPECT_EQ(coherence.raysLieApart(), isOtherWay);
  }
}

}  // namespace
