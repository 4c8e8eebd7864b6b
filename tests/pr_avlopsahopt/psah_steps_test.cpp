// The steps of the surface-area build one by one: memory, planes, search, cut, packing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "frame/memory.h"
#include "pr_avlopsahopt/kdtree_format.h"
#include "pr_avlopsahopt/psah_axis.h"
#include "pr_avlopsahopt/psah_compact.h"
#include "pr_avlopsahopt/psah_cut.h"
#include "pr_avlopsahopt/psah_patch.h"
#include "pr_avlopsahopt/psah_planes_kernels.h"
#include "pr_avlopsahopt/psah_radix_sort.h"
#include "pr_avlopsahopt/psah_search.h"
#include "pr_avlopsahopt/psah_state.h"
#include "tests/support/arrays.h"
#include "tests/support/values.h"

using namespace vekr;
using namespace vekr_test;

namespace {

constexpr uint64_t kPlenty = uint64_t{1} << 40;
const float kVertices[9] = {0, 0, 0, 1, 0, 0, 0, 1, 0};

// A build that has its memory and nothing else.
struct OpenBuild : PsahBuild {
  explicit OpenBuild(uint64_t budget = kPlenty) {
    EXPECT_EQ(openBuild(*this, kVertices, 3, 1, budget), vekOk);
  }
  ~OpenBuild() { releaseBuild(*this); }
};

}  // namespace

TEST(BuildMemory, BudgetTestIsExactToTheByte) {
  EXPECT_FALSE(isBudgetEnough(33554919, 0, 0));
  EXPECT_TRUE(isBudgetEnough(33554920, 0, 0));
  EXPECT_FALSE(isBudgetEnough(123554919, 500000, 1000000));
  EXPECT_TRUE(isBudgetEnough(123554920, 500000, 1000000));
  EXPECT_TRUE(isBudgetEnough(UINT64_MAX, INT32_MAX, INT32_MAX));
}

TEST(BuildMemory, PoolsGrowInStepsAndAreCharged) {
  std::vector<float> vertices(3);
  PsahBuild build;
  ASSERT_EQ(openBuild(build, vertices.data(), 500000, 1000000, uint64_t{256} << 20), vekOk);
  EXPECT_EQ(build.state->patchPool.end - build.state->patchPool.base, 50331648);
  EXPECT_EQ(build.state->pointPool.end - build.state->pointPool.base, 33554432);
  EXPECT_EQ(build.state->memoryLeft, 136548968u);
  int chunks = 0;
  while (takeFromRing(*build.state, build.state->listChunks, 0x1000000) != nullptr) ++chunks;
  EXPECT_EQ(chunks, 8);
  releaseBuild(build);
}

TEST(BuildMemory, RequestsMustEndBeforeTheEndOfAChunkOrPool) {
  OpenBuild build;
  VekrBuildState &state = *build.state;
  const uint64_t before = state.memoryLeft;
  char *first = static_cast<char *>(takeFromRing(state, state.nodeChunks, 0x1000000 - 16));
  EXPECT_EQ(state.memoryLeft, before - 0x1000028);
  EXPECT_EQ(takeFromRing(state, state.nodeChunks, 12), first + 0x1000000 - 16);
  EXPECT_EQ(state.memoryLeft, before - 0x1000028);
  takeFromRing(state, state.nodeChunks, 4);  // would end at the very end: a new chunk
  EXPECT_EQ(state.memoryLeft, before - 2 * 0x1000028);
  takeFromRing(state, state.listChunks, 0);  // an empty ring's head has nothing to give, not even nothing
  EXPECT_EQ(state.memoryLeft, before - 3 * 0x1000028);

  VekrBuildPool &pool = state.pointPool;
  const uint64_t size = static_cast<uint64_t>(pool.end - pool.base);
  EXPECT_EQ(takeFromPool(pool, size), nullptr);
  EXPECT_EQ(takeFromPool(pool, size - 1), pool.base);
  EXPECT_EQ(takeFromPool(pool, 1), nullptr);
  EXPECT_EQ(takeFromPool(pool, 0), pool.end - 1);
}

TEST(BuildMemory, RequestsBeyondAChunkAreChargedWithTheirSize) {
  OpenBuild build;
  VekrBuildState &state = *build.state;
  const uint64_t before = state.memoryLeft, large = 0x1000000 + 4;
  char *block = static_cast<char *>(takeFromRing(state, state.listChunks, large));
  ASSERT_NE(block, nullptr);
  block[0] = block[large - 1] = 1;
  EXPECT_EQ(state.memoryLeft, before - large - 40);
  state.memoryLeft = large + 39;
  EXPECT_EQ(takeFromRing(state, state.listChunks, large), nullptr);
  state.memoryLeft = large + 40;
  EXPECT_NE(takeFromRing(state, state.listChunks, large), nullptr);
  EXPECT_EQ(state.memoryLeft, 0u);
}

TEST(BuildMemory, PointerArraysAreReusedByCount) {
  OpenBuild build;
  VekrBuildState &state = *build.state;
  const float **three = takeVertexPointers(state, 3), **four = takeVertexPointers(state, 4);
  EXPECT_EQ(reinterpret_cast<char *>(four) - reinterpret_cast<char *>(three), 24);
  giveVertexPointers(state, three, 3);
  const float **another = takeVertexPointers(state, 4);
  EXPECT_NE(another, three);
  EXPECT_EQ(takeVertexPointers(state, 3), three);
  giveVertexPointers(state, four, 4);
  giveVertexPointers(state, another, 4);
  EXPECT_EQ(takeVertexPointers(state, 4), another);
  EXPECT_EQ(takeVertexPointers(state, 4), four);
}

TEST(PatchMeasure, EarliestVertexCountsAmongEquals) {
  const float points[4][3] = {{1, 0, 2}, {1, 5, 2}, {0, 5, 2}, {0, 0, 2}};
  const float *vertices[4] = {points[0], points[1], points[2], points[3]};
  uint32_t mask;
  VekrPatchBounds bounds;
  measurePolygon(vertices, 4, &mask, &bounds);
  EXPECT_EQ(mask, 0u | 1u << 5 | 0u << 10 | 2u << 15 | 0u << 20 | 0u << 25);
  EXPECT_EQ(bounds.low[0], 0.0f);
  EXPECT_EQ(bounds.high[1], 5.0f);
  EXPECT_EQ(bounds.low[2], 2.0f);
  EXPECT_EQ(bounds.low[3], 0.0f);
}

namespace {

// A polygon in a build, cut; and what came of it.
struct Cut {
  OpenBuild build;
  std::vector<const float *> points;
  VekrPatch parts[2];
  VekrPatchBounds bounds[2];
  VekStatus status;
  int64_t newPoints;

  Cut(const std::vector<std::array<float, 3>> &polygon, int32_t axis, float plane) {
    const auto count = static_cast<int32_t>(polygon.size());
    VekrPatch patch;
    patch.word0 = 77 * 32 + static_cast<uint32_t>(count);
    patch.vertices = takeVertexPointers(*build.state, count);
    for (int32_t i = 0; i < count; ++i) {
      points.push_back(polygon[static_cast<size_t>(i)].data());
      patch.vertices[i] = points.back();
    }
    VekrPatchBounds whole;
    measurePolygon(patch.vertices, count, &patch.extremeMask, &whole);
    const char *before = build.state->pointPool.cursor;
    status =
        localPatchCut(patch, {&parts[0], &bounds[0]}, {&parts[1], &bounds[1]}, axis, *build.state, plane);
    newPoints = (build.state->pointPool.cursor - before) / 12;
    EXPECT_EQ(build.state->freeLists[count], patch.vertices) << "the old array is given back last";
  }
  std::vector<const float *> part(int side) const {
    return {parts[side].vertices, parts[side].vertices + (parts[side].word0 & 31)};
  }
};

using Polygon = std::vector<std::array<float, 3>>;

}  // namespace

TEST(PatchCut, OneVertexBelowAndTwoAbove) {
  const Polygon triangle = {{1, 0, 0}, {0, 0.2f, 0.3f}, {1, 1, 0.7f}};
  const Cut cut(triangle, 0, 0.3f);
  ASSERT_EQ(cut.status, vekOk);
  EXPECT_EQ(cut.newPoints, 2);
  const auto left = cut.part(0), right = cut.part(1);
  ASSERT_EQ(left.size(), 3u);
  ASSERT_EQ(right.size(), 4u);
  EXPECT_EQ(cut.parts[0].word0 >> 5, 77u);
  EXPECT_EQ(cut.parts[0].vertices + 3, cut.parts[1].vertices) << "the left array is taken first";
  // Left: the lowest vertex, the crossing upwards, the crossing downwards. The crossings are shared.
  EXPECT_EQ(left[0], cut.points[1]);
  EXPECT_EQ(right, (std::vector<const float *>{left[1], cut.points[2], cut.points[0], left[2]}));
  EXPECT_EQ(left[1][0], 0.3f);
  EXPECT_EQ(left[2][0], 0.3f);
  // From the lower vertex to the higher, then from the higher to the lower, in double.
  const double up = (double(0.3f) - 0.0) / (1.0 - 0.0), down = (double(0.3f) - 1.0) / (0.0 - 1.0);
  EXPECT_EQ(left[1][1], static_cast<float>(double(0.2f) + (1.0 - double(0.2f)) * up));
  EXPECT_EQ(left[2][2], static_cast<float>(0.0 + (double(0.3f) - 0.0) * down));
  EXPECT_EQ(cut.bounds[0].high[0], 0.3f);
  EXPECT_EQ(cut.bounds[1].low[0], 0.3f);
}

TEST(PatchCut, VertexOnThePlaneIsShared) {
  const Polygon triangle = {{0, 0, 0}, {0.5f, 1, 0}, {1, 0, 0}};
  const Cut cut(triangle, 0, 0.5f);
  EXPECT_EQ(cut.newPoints, 1);
  const auto left = cut.part(0), right = cut.part(1);
  EXPECT_EQ(left, (std::vector<const float *>{cut.points[0], cut.points[1], left[2]}));
  EXPECT_EQ(right, (std::vector<const float *>{cut.points[1], cut.points[2], left[2]}));
  const Polygon mirrored = {{0, 0, 0}, {1, 0, 0}, {0.5f, 1, 0}};  // the vertex is on the falling chain
  const Cut other(mirrored, 0, 0.5f);
  EXPECT_EQ(other.newPoints, 1);
  EXPECT_EQ(other.part(0), (std::vector<const float *>{other.points[0], other.part(1)[0], other.points[2]}));
  EXPECT_EQ(other.part(1), (std::vector<const float *>{other.part(0)[1], other.points[1], other.points[2]}));
}

TEST(PatchCut, QuadrilateralAtTwoVerticesMakesNoPoint) {
  const Polygon quad = {{0, 0, 0}, {0.5f, -1, 0}, {1, 0, 0}, {0.5f, 1, 0}};
  const Cut cut(quad, 0, 0.5f);
  EXPECT_EQ(cut.newPoints, 0);
  EXPECT_EQ(cut.part(0), (std::vector<const float *>{cut.points[0], cut.points[1], cut.points[3]}));
  EXPECT_EQ(cut.part(1), (std::vector<const float *>{cut.points[1], cut.points[2], cut.points[3]}));
}

TEST(PatchCut, ChainsOfSeveralVertices) {
  // Nine vertices on a circle, starting anywhere: each part keeps its run of the old polygon.
  for (int start = 0; start < 9; ++start) {
    Polygon polygon;
    for (int i = 0; i < 9; ++i) {
      const double angle = 0.3 + (i + start) * 6.283185307179586 / 9;
      polygon.push_back({static_cast<float>(std::cos(angle)), 1.0f, static_cast<float>(std::sin(angle))});
    }
    for (const float plane : {-0.8f, -0.1f, 0.0f, 0.3f, 0.9f}) {
      const Cut cut(polygon, 2, plane);
      ASSERT_EQ(cut.status, vekOk);
      for (int side = 0; side < 2; ++side) {
        const auto part = cut.part(side);
        double area = 0;  // of the fan; its sign is the winding
        for (size_t i = 1; i + 1 < part.size(); ++i) {
          area += double(part[i][0] - part[0][0]) * double(part[i + 1][2] - part[0][2]) -
                  double(part[i][2] - part[0][2]) * double(part[i + 1][0] - part[0][0]);
        }
        EXPECT_GT(area, 0.0);
        for (const float *v : part) EXPECT_TRUE(side == 0 ? v[2] <= plane : v[2] >= plane);
      }
      EXPECT_EQ(cut.part(0).size() + cut.part(1).size(), 9u + 4u);
    }
  }
}

TEST(PatchCut, FullPoolsEndInAStatus) {
  OpenBuild build;
  const Polygon triangle = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}};
  VekrPatch patch = {3, 0, takeVertexPointers(*build.state, 3)};
  for (int i = 0; i < 3; ++i) patch.vertices[i] = triangle[static_cast<size_t>(i)].data();
  VekrPatchBounds bounds[3];
  measurePolygon(patch.vertices, 3, &patch.extremeMask, &bounds[2]);
  VekrPatch parts[2];
  VekrBuildPool &pool = build.state->pointPool;
  for (const int room : {12, 24}) {  // one point, or two, that would end at the pool's end
    pool.cursor = pool.end - room;
    EXPECT_EQ(localPatchCut(patch, {&parts[0], &bounds[0]}, {&parts[1], &bounds[1]}, 0, *build.state, 0.5f),
              vekErrTreeBuild);
  }
  pool.cursor = pool.end - 28;
  EXPECT_EQ(localPatchCut(patch, {&parts[0], &bounds[0]}, {&parts[1], &bounds[1]}, 0, *build.state, 0.5f),
            vekOk);
}

TEST(RadixSort, OrdersAllFloatsWithNegativeZeroFirst) {
  for (const int32_t len : {1, 2, 15, 16, 17, 320, 321, 5000}) {
    Guarded<float> values(static_cast<size_t>(len)), work(static_cast<size_t>(len));
    Random random(static_cast<uint32_t>(len));
    for (float &x : values) {
      do {
        x = random.below(4) == 0 ? random.awkward() : fromBits(random.bits());
      } while (std::isnan(x));
    }
    std::vector<float> expected(values.begin(), values.end());
    std::sort(expected.begin(), expected.end(),
              [](float a, float b) { return a < b || (a == b && std::signbit(a) && !std::signbit(b)); });
    ownRadixSortAccend_32f_w7(values.data(), work.data(), len);
    EXPECT_TRUE(sameArrays(values, expected, static_cast<size_t>(len)));
    EXPECT_TRUE(values.intact() && work.intact());
  }
}

namespace {

// A node made of intervals on x; on y and z the patches fill the unit cell.
struct Node {
  std::vector<VekrPatchBounds> bounds;
  float box[6] = {0, 0, 0, 1, 1, 1};
  std::vector<std::vector<float>> scratch;

  void add(float low, float high) { bounds.push_back({{low, 0, 0, 0}, {high, 1, 1, 0}}); }
  void addBox(float x0, float x1, float y0, float y1, float z0, float z1) {
    bounds.push_back({{x0, y0, z0, 0}, {x1, y1, z1, 0}});
  }

  VekrSplitRecord search(float traversalCost = 0.0001f) {
    scratch.assign(12, std::vector<float>(bounds.size() + 1));
    void *lists[3][4];
    for (int i = 0; i < 12; ++i) lists[i / 4][i % 4] = scratch[static_cast<size_t>(i)].data();
    double w[3];
    for (int i = 0; i < 3; ++i) w[i] = static_cast<double>(box[i + 3] - box[i]);
    VekrSplitRecord record = {};
    record.cost = static_cast<double>(bounds.size()) * (w[0] * (w[1] + w[2]) + w[1] * w[2]);
    localFindBestSplitSortSearch_MT(&record, {bounds.data(), static_cast<int32_t>(bounds.size()), box}, lists,
                                    traversalCost);
    return record;
  }
};

}  // namespace

TEST(AxisCell, LengthsAreFloatDifferencesAndTheCrossSectionIsWidened) {
  const float box[6] = {0.1f, -0.3f, 0.7f, 1e3f, 1e3f, 1e3f};
  for (int32_t axis = 0; axis < 3; ++axis) {
    const AxisCell cell(box, axis);
    const int32_t u = (axis + 1) % 3, w = (axis + 2) % 3;
    const float extent1 = box[u + 3] - box[u], extent2 = box[w + 3] - box[w];
    const float area = extent1 * extent2, rim = extent1 + extent2;
    EXPECT_EQ(cell.rim, static_cast<double>(rim));
    EXPECT_EQ(cell.offset, static_cast<double>(area) / static_cast<double>(rim));
    const float plane = 333.3333f, below = plane - box[axis], above = box[axis + 3] - plane;
    EXPECT_EQ(cell.below(plane), cell.offset + static_cast<double>(below));
    EXPECT_EQ(cell.above(plane), cell.offset + static_cast<double>(above));
  }
  const float thin[6] = {0, 0, 0, 1, 3e-5f, 3e-5f};  // an area below 1e-9 counts as none
  EXPECT_EQ(AxisCell(thin, 0).offset, 0.0);
  EXPECT_GT(AxisCell(thin, 1).offset, 0.0);
}

TEST(SplitSearch, EmptySpaceOfATenthIsNotCut) {
  const float margin = 0.1f;  // of a cell of extent 1, as a float product
  for (const int copies : {1, 60}) {
    Node exact, above;
    for (int i = 0; i < copies; ++i) {
      exact.add(margin, 1.0f);
      above.add(std::nextafter(margin, 1.0f), 1.0f);
    }
    const VekrSplitRecord cut = above.search();
    EXPECT_EQ(cut.axis, 0);
    EXPECT_EQ(cut.left, 0);
    EXPECT_EQ(cut.right, copies);
    EXPECT_EQ(cut.plane, std::nextafter(margin, 1.0f));
    EXPECT_NEAR(cut.cost, 0.7 * copies * (1 + 2 * 0.9), 1e-5 * copies);
    // At exactly a tenth the plane comes from the sweep, at full cost.
    const VekrSplitRecord swept = exact.search();
    EXPECT_EQ(swept.axis, 0);
    EXPECT_NEAR(swept.cost, copies * (1 + 2 * 0.9), 1e-5 * copies);
  }
}

TEST(SplitSearch, EmptySpaceGoesBeforeABetterPlane) {
  Node node;
  for (int i = 0; i < 10; ++i) node.add(0.0f, 0.02f);
  for (int i = 0; i < 10; ++i) node.add(0.87f, 0.89f);
  const VekrSplitRecord record = node.search();
  EXPECT_EQ(record.plane, 0.89f);
  EXPECT_EQ(record.left, 20);
  EXPECT_EQ(record.right, 0);
}

TEST(SplitSearch, OfTwoEmptySidesTheFirstWinsATie) {
  Node node;
  node.add(0.25f, 0.75f);
  const VekrSplitRecord record = node.search();
  EXPECT_EQ(record.plane, 0.25f);
  EXPECT_EQ(record.left, 0);
}

TEST(SplitSearch, FlatsAloneInsideGoToTheSideOfTheNearerWall) {
  for (const int copies : {3, 60}) {
    for (const float at : {0.3f, 0.7f}) {
      Node node;
      for (int i = 0; i < copies; ++i) node.add(at, at);
      const VekrSplitRecord record = node.search();
      EXPECT_EQ(record.axis, 0);
      EXPECT_EQ(record.plane, at);
      EXPECT_EQ(record.left, at < 0.5f ? copies : 0);
      EXPECT_EQ(record.right, at < 0.5f ? 0 : copies);
      EXPECT_EQ(record.sideFlag, at < 0.5f ? 0 : 1);
      EXPECT_NEAR(record.cost, copies * (1 + 2 * 0.3), 1e-5 * copies)
          << "full cost, and no cut of empty space";
    }
  }
}

TEST(SplitSearch, OnlyTheFirstOfFlatsAloneIsTried) {
  for (const int copies : {4, 60}) {
    Node node;
    for (int i = 0; i < copies; ++i) {
      node.add(0.4f, 0.4f);
      node.add(0.6f, 0.6f);
    }
    const VekrSplitRecord record = node.search();
    EXPECT_EQ(record.plane, 0.4f);
    EXPECT_EQ(record.left, copies);
    EXPECT_EQ(record.right, copies);
    EXPECT_EQ(record.sideFlag, 0);
  }
}

TEST(SplitSearch, ABetterFlatBehindTheFirstOfFlatsAloneIsNotTaken) {
  for (const int copies : {4, 60, 300}) {
    Node node;
    for (int i = 0; i < 3 * copies; ++i) node.add(0.5f, 0.5f);
    for (int i = 0; i < copies; ++i) node.add(0.3f, 0.3f);
    const VekrSplitRecord record = node.search();
    EXPECT_EQ(record.plane, 0.3f);
    EXPECT_EQ(record.left, copies);
    EXPECT_EQ(record.right, 3 * copies);
  }
}

TEST(SplitSearch, ABetterFlatJustBehindTheLastSpanIsNotTaken) {
  for (const int copies : {2, 5, 100}) {
    Node node;
    for (int i = 0; i < copies; ++i) node.add(0.0f, 0.5f);
    for (int i = 0; i < 3 * copies; ++i) node.add(0.5005f, 0.5005f);
    for (int i = 0; i < copies; ++i) node.add(0.95f, 0.95f);
    const VekrSplitRecord record = node.search();
    EXPECT_EQ(record.plane, 0.5f);
    EXPECT_EQ(record.left, copies);
    EXPECT_EQ(record.right, 4 * copies);
  }
}

TEST(SplitSearch, FlatsOnWallsAreFavouredAndTheLowWallComesFirst) {
  for (const int copies : {4, 60}) {
    Node node;
    for (int i = 0; i < copies; ++i) {
      node.add(0.0f, 0.0f);
      node.add(1.0f, 1.0f);
      node.add(0.0f, 1.0f);
    }
    const VekrSplitRecord record = node.search();
    EXPECT_EQ(record.axis, 0);
    EXPECT_EQ(record.plane, 0.0f);
    EXPECT_EQ(record.left, copies);
    EXPECT_EQ(record.right, 2 * copies);
    EXPECT_EQ(record.sideFlag, 0);
    node.add(1.0f, 1.0f);
    const VekrSplitRecord high = node.search();
    EXPECT_EQ(high.plane, 1.0f);
    EXPECT_EQ(high.left, 2 * copies);
    EXPECT_EQ(high.right, copies + 1);
    EXPECT_EQ(high.sideFlag, 1);
  }
}

TEST(SplitSearch, FlatBeyondTheLastSpanIsNoCandidate) {
  for (const int copies : {6, 60}) {
    Node node;
    for (int i = 0; i < copies; ++i) node.add(0.0f, 0.05f);
    for (int i = 0; i < copies; ++i)
      node.add(0.95f, 0.95f);  // a gap before it, but less than a tenth behind it
    const VekrSplitRecord record = node.search();
    EXPECT_EQ(record.plane, 0.05f);
    EXPECT_EQ(record.left, copies);
    EXPECT_EQ(record.right, copies);
  }
}

TEST(SplitSearch, EndsPassBeforeStartsCount) {
  for (const int copies : {8, 60}) {
    Node node;
    for (int i = 0; i < copies; ++i) {
      node.add(0.0f, 0.5f);
      node.add(0.5f, 1.0f);
    }
    const VekrSplitRecord record = node.search();
    EXPECT_EQ(record.plane, 0.5f);
    EXPECT_EQ(record.left, copies);
    EXPECT_EQ(record.right, copies);
    EXPECT_EQ(record.sideFlag, 1);
  }
}

TEST(SplitSearch, EqualCostsFallToTheHigherAxis) {
  for (const int copies : {2, 10}) {
    for (int missing = -1; missing < 3; ++missing) {
      Node node;
      for (int i = 0; i < copies; ++i) {
        for (int corner = 0; corner < 8; ++corner) {
          float v[3][2];
          for (int axis = 0; axis < 3; ++axis) {
            v[axis][0] = (corner >> axis & 1) != 0 ? 0.5f : 0.0f;
            v[axis][1] = v[axis][0] + 0.5f;
            if (axis == missing) v[axis][0] = 0.0f, v[axis][1] = 1.0f;
          }
          node.addBox(v[0][0], v[0][1], v[1][0], v[1][1], v[2][0], v[2][1]);
        }
      }
      const VekrSplitRecord record = node.search();
      EXPECT_EQ(record.axis, missing == 2 ? 1 : 2);
      EXPECT_EQ(record.plane, 0.5f);
    }
  }
}

TEST(SplitSearch, ThinCellsAreNotSearched) {
  const float least = fromBits(0x3727C5ACu);
  Node node;
  for (int i = 0; i < 20; ++i) node.add(0.4f, 0.6f);
  node.box[4] = least;
  EXPECT_EQ(node.search().axis, 0) << "one thin axis is left out";
  node.box[5] = least;
  EXPECT_EQ(node.search().axis, -1) << "two thin axes leave nothing to search";
  node.box[5] = std::nextafter(least, 1.0f);
  EXPECT_NE(node.search(0.0f).axis, 1);
}

TEST(SplitSearch, GainMustBeAboveATraversalStep) {
  // One patch that leaves 60 % of the cell free: cost 0.7 * (1 + 2 * 0.4) of 3.
  Node node;
  node.add(0.0f, 0.4f);
  const double cost = node.search(0.0f).cost;
  const float limit = static_cast<float>((3.0 - cost) / 3.0);
  EXPECT_EQ(node.search(std::nextafter(limit, 0.0f)).axis, 0);
  EXPECT_EQ(node.search(std::nextafter(limit, 1.0f)).axis, -1);
}

TEST(PlaneTrial, BothInstructionSetsFindWhatAPlainLoopFinds) {
  for (uint32_t seed = 0; seed < 400; ++seed) {
    Random random(seed);
    const int32_t count = 1 + random.below(60);
    const bool isCoarse = seed % 2 == 0, hasFlats = seed % 3 == 0;
    std::vector<float> lows, highs, flats;
    float lastEnd = 0.0f;
    for (int32_t i = 0; i < count; ++i) {
      float a = random.unit(), b = random.unit();
      if (isCoarse) a = std::floor(a * 5) / 5, b = std::floor(b * 5) / 5;
      if (a == b && !hasFlats) b += 0.125f;
      lows.push_back(std::min(a, b));
      highs.push_back(std::max(a, b));
      if (a == b) flats.push_back(a);
      if (a != b) lastEnd = std::max(lastEnd, highs.back());
    }
    std::vector<float> planes = lows;
    planes.insert(planes.end(), highs.begin(), highs.end());
    const auto planeCount = static_cast<int32_t>(planes.size());
    planes.resize(planes.size() + kPlaneGroup);
    std::vector<int32_t> lowsBefore(planes.size()), highsBefore(planes.size());
    for (int32_t &n : lowsBefore) n = random.below(3);
    for (int32_t &n : highsBefore) n = random.below(3);
    const float box[6] = {-0.25f, 0, 0, 1.25f, 1, random.unit()};
    const AxisCell cell(box, 0);
    PlaneTrial trial = {cell.lo,
                        cell.hi,
                        cell.offset,
                        count + 7,
                        planes.data(),
                        planeCount,
                        lowsBefore.data(),
                        highsBefore.data(),
                        lows.data(),
                        count,
                        highs.data(),
                        count,
                        flats.data(),
                        static_cast<int32_t>(flats.size()),
                        lastEnd};
    double bestCost = std::numeric_limits<double>::max();
    float bestPlane = 0.0f;
    for (int32_t i = 0; i < planeCount; ++i) {
      const float p = planes[static_cast<size_t>(i)];
      if (!flats.empty() && p > lastEnd) continue;
      int64_t below = lowsBefore[static_cast<size_t>(i)], passed = highsBefore[static_cast<size_t>(i)],
              in = 0;
      for (const float x : lows) below += x < p;
      for (const float x : highs) passed += x <= p;
      for (const float x : flats) in += x == p;
      const int64_t rest = trial.patchCount - passed;
      for (const int64_t side : {in, int64_t{0}}) {
        const double cost = countOf(below + in - side) * cell.below(p) + countOf(rest + side) * cell.above(p);
        if (cost < bestCost || (cost == bestCost && p < bestPlane)) {
          bestCost = cost;
          bestPlane = p;
        }
      }
    }
#define EXPECT_CHOICE(set, isThere, ...)                 \
  if (isThere) {                                         \
    const PlaneChoice choice = set::ownTryPlanes(trial); \
    EXPECT_EQ(choice.cost, bestCost) << #set << seed;    \
    EXPECT_EQ(choice.plane, bestPlane) << #set << seed;  \
  }
    VEKR_SETS(EXPECT_CHOICE)
#undef EXPECT_CHOICE
  }
}

namespace {

struct Packed {
  explicit Packed(const VekrBuildNode &root) {
    EXPECT_EQ(ownCompactTreeRepresentation(&root, &tree, &size), vekOk);
  }
  ~Packed() { veksFree(tree); }
  // Whether node `i` of the block, by places of 8 bytes, is this one.
  bool has(int i, const VekrKDTreeNode &node) const {
    return tree[i].word0 == node.word0 && tree[i].word1 == node.word1;
  }
  VekrKDTreeNode *tree = nullptr;
  int32_t size = 0;
};

VekrBuildNode leafOf(std::vector<int32_t> &triangles) {
  return {vekrBuildLeafKind, static_cast<int32_t>(triangles.size()),
          triangles.empty() ? nullptr : triangles.data()};
}

}  // namespace

TEST(Packing, OneTriangleIsInline) {
  std::vector<int32_t> t = {12345};
  const Packed packed(leafOf(t));
  EXPECT_EQ(packed.size, 16);
  EXPECT_TRUE(packed.has(0, leafOfOne(12345)));
  EXPECT_TRUE(packed.has(1, kTreePadding));
}

TEST(Packing, TwoTrianglesPutTheFirstThatFitsIntoWordOne) {
  std::vector<int32_t> t = {10, 5};
  EXPECT_TRUE(Packed(leafOf(t)).has(0, leafOfTwo(5, 10)));
  t = {kMiddleLimit, kMiddleLimit - 1};
  const Packed swapped(leafOf(t));
  EXPECT_EQ(swapped.size, 16);
  EXPECT_TRUE(swapped.has(0, leafOfTwo(kMiddleLimit, kMiddleLimit - 1)));
  t = {kMiddleLimit - 1, INT32_MAX};
  const Packed kept(leafOf(t));
  EXPECT_EQ(kept.size, 16);
  EXPECT_TRUE(kept.has(0, leafOfTwo(INT32_MAX, kMiddleLimit - 1)));
  t = {kMiddleLimit, kMiddleLimit};
  EXPECT_EQ(Packed(leafOf(t)).size, 24);
}

TEST(Packing, ThreeTrianglesAreInlineInEveryOrder) {
  std::vector<int32_t> t = {1, 5, 9};
  do {
    const Packed packed(leafOf(t));
    EXPECT_EQ(packed.size, 16);
    EXPECT_TRUE(packed.has(0, leafOfThree(1, 5, 9)));
  } while (std::next_permutation(t.begin(), t.end()));
}

TEST(Packing, ThreeTrianglesTooFarApartAreAList) {
  std::vector<int32_t> t = {0, 40000, 80000};
  const Packed packed(leafOf(t));
  EXPECT_EQ(packed.size, 28);
  ASSERT_TRUE(packed.has(0, leafWithList(3, kTreeHeaderBytes)));
  for (size_t i = 0; i < 3; ++i) EXPECT_EQ(leafList(packed.tree)[i], t[i]);
  const auto sizeOf = [](std::vector<int32_t> triangles) { return Packed(leafOf(triangles)).size; };
  EXPECT_EQ(sizeOf({0, 32767, 32767 + 65535}), 16);
  EXPECT_EQ(sizeOf({0, 32768, 32768}), 28);
  EXPECT_EQ(sizeOf({0, 32767, 32767 + 65536}), 28);
  EXPECT_EQ(sizeOf({0x1FFFFFF0, 0x1FFFFFFF, 0x20000003}), 16);
  EXPECT_EQ(sizeOf({0x1FFFFFF0, 0x20000000, 0x20000003}), 28);
}

TEST(Packing, NegativeNumbersAreNeverInline) {
  const auto sizeOf = [](std::vector<int32_t> triangles) { return Packed(leafOf(triangles)).size; };
  EXPECT_EQ(sizeOf({-1}), 20);
  EXPECT_EQ(sizeOf({-1, 5}), 24);
  EXPECT_EQ(sizeOf({5, -1}), 24);
  EXPECT_EQ(sizeOf({5, -1, 7}), 28);
}

TEST(Packing, PairsInPreOrderAndListsFromLeftToRight) {
  std::vector<int32_t> a = {3, 1, 4, 1}, b = {}, c = {5, 9, 2, 6, 5}, d = {8};
  VekrBuildNode inner[2] = {leafOf(b), leafOf(c)};
  VekrBuildNode top[2] = {leafOf(a), {1, std::bit_cast<int32_t>(0.25f), inner}};
  VekrBuildNode other[2] = {{0, std::bit_cast<int32_t>(-2.0f), top}, leafOf(d)};
  const VekrBuildNode root = {2, std::bit_cast<int32_t>(7.0f), other};
  const Packed packed(root);
  const std::vector<VekrKDTreeNode> expected = {
      innerNode(2, 7.0f, 16),        // root
      kTreePadding,                  //
      innerNode(0, -2.0f, 32 - 16),  // at 16: other[0]
      leafOfOne(8),                  // at 24: other[1]
      leafWithList(4, 64 - 32),      // at 32: top[0], list at 64
      innerNode(1, 0.25f, 48 - 40),  // at 40: top[1]
      leafWithList(0, 80 - 48),      // at 48: empty, where the lists have come to
      leafWithList(5, 80 - 56),      // at 56: list at 80
  };
  const std::vector<int32_t> lists = {3, 1, 4, 1, 5, 9, 2, 6, 5};
  ASSERT_EQ(packed.size, static_cast<int32_t>(8 * expected.size() + 4 * lists.size()));
  for (size_t i = 0; i < expected.size(); ++i) {
    EXPECT_TRUE(packed.has(static_cast<int>(i), expected[i])) << "node " << i;
  }
  const auto *written = reinterpret_cast<const int32_t *>(packed.tree + expected.size());
  for (size_t i = 0; i < lists.size(); ++i) EXPECT_EQ(written[i], lists[i]) << "entry " << i;
}
