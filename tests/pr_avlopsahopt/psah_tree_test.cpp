// The finished tree, judged from outside: its format, its leaves, the hits found through it, its independence of threads
// and compilers.
#include <gtest/gtest.h>
#include <omp.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <string>

#include "pr_avlopsahopt/kdtree_format.h"
#include "tests/support/trees.h"

using namespace vekr_test;

namespace {

struct Cell {
  double low[3], high[3];
};

struct Leaf {
  Cell cell;
  int depth;
  std::vector<int32_t> triangles;
};

// Reads a block node by node and checks on the way that every node is as the builder makes it: it is made a second time,
// so that its free bits count too.
class Walker {
 public:
  Walker(const Tree &tree, const Cell &box, int32_t triangleCount)
      : block_(tree.block()), triangleCount_(triangleCount) {
    EXPECT_TRUE(isSameNode(nodeAt(sizeof(VekrKDTreeNode)), vekr::kTreePadding));
    walk(0, box, 0);
    const int64_t nodeBytes = vekr::kTreeHeaderBytes + int64_t{sizeof(VekrKDTreeNode)} * (nodes - 1);
    EXPECT_EQ(nodeBytes + 4 * listEntries, tree.size) << "size";
    EXPECT_EQ(nextPair_, nodeBytes);
    EXPECT_TRUE(nextList_ < 0 || nextList_ == tree.size) << "lists end the block";
    EXPECT_TRUE(firstList_ < 0 || firstList_ == nextPair_) << "lists follow the pairs";
  }

  std::vector<Leaf> leaves;
  int nodes = 0, listEntries = 0, deepest = 0;

 private:
  const VekrKDTreeNode *nodeAt(int64_t offset) const {
    return reinterpret_cast<const VekrKDTreeNode *>(&block_.at(static_cast<size_t>(offset / 4 + 1)) - 1);
  }
  int64_t offsetOf(const void *p) const {
    return static_cast<const char *>(p) - reinterpret_cast<const char *>(block_.data());
  }
  static bool isSameNode(const VekrKDTreeNode *a, const VekrKDTreeNode &b) {
    return a->word0 == b.word0 && a->word1 == b.word1;
  }

  void walk(int64_t at, const Cell &cell, int depth) {
    ++nodes;
    deepest = std::max(deepest, depth);
    const VekrKDTreeNode *node = nodeAt(at);
    if (!vekr::isLeaf(*node)) {
      const int32_t axis = vekr::splitAxis(*node);
      ASSERT_LE(axis, 2);
      const int64_t pair = offsetOf(vekr::childPair(node));
      ASSERT_EQ(pair, nextPair_) << "pairs stand in pre-order of their parents";
      nextPair_ += vekr::kTreePairBytes;
      EXPECT_TRUE(isSameNode(node, vekr::innerNode(axis, vekr::splitPosition(*node), pair - at)));
      const double plane = vekr::splitPosition(*node);
      ASSERT_GE(plane, cell.low[axis]);
      ASSERT_LE(plane, cell.high[axis]);
      Cell below = cell, above = cell;
      below.high[axis] = above.low[axis] = plane;
      walk(pair, below, depth + 1);
      walk(pair + int64_t{sizeof(VekrKDTreeNode)}, above, depth + 1);
      return;
    }
    Leaf leaf = {cell, depth, {}};
    std::vector<int32_t> &t = leaf.triangles;
    if (vekr::hasList(*node)) {
      const int64_t list = offsetOf(vekr::leafList(node));
      if (firstList_ < 0) firstList_ = nextList_ = list;
      ASSERT_EQ(list, nextList_) << "lists stand from left to right";
      nextList_ += 4 * static_cast<int64_t>(vekr::leafTriangleCount(*node));
      ASSERT_LE(nextList_, static_cast<int64_t>(4 * block_.size()));
      listEntries += vekr::leafTriangleCount(*node);
      EXPECT_TRUE(isSameNode(node, vekr::leafWithList(vekr::leafTriangleCount(*node), list - at)));
    }
    vekr::forLeafTriangles(node, [&](int32_t triangle) {
      t.push_back(triangle);
      return true;
    });
    ASSERT_EQ(t.size(), static_cast<size_t>(vekr::leafTriangleCount(*node)));
    EXPECT_EQ(!vekr::hasList(*node) && !t.empty(), mayBeInline(t));
    EXPECT_TRUE(!t.empty() || isSameNode(node, {node->word0, 0})) << "inline leaf of none";
    if (!vekr::hasList(*node) && !t.empty()) {
      EXPECT_TRUE(isSameNode(node, t.size() == 1   ? vekr::leafOfOne(t[0])
                                   : t.size() == 2 ? vekr::leafOfTwo(t[0], t[1])
                                                   : vekr::leafOfThree(t[0], t[1], t[2])));
    }
    for (const int32_t triangle : t) {
      EXPECT_GE(triangle, 0);
      EXPECT_LT(triangle, triangleCount_);
    }
    leaves.push_back(leaf);
  }

  static bool mayBeInline(std::vector<int32_t> t) {
    std::sort(t.begin(), t.end());
    if (t.size() == 3) return t[1] - t[0] < vekr::kBelowLimit && t[2] - t[1] < vekr::kAboveLimit;
    return t.size() == 1 || t.size() == 2;
  }

  const std::vector<uint32_t> block_;
  int32_t triangleCount_;
  int64_t nextPair_ = vekr::kTreeHeaderBytes, firstList_ = -1, nextList_ = -1;
};

Cell boundsOf(const Mesh &mesh) {
  Cell box;
  for (int axis = 0; axis < 3; ++axis) {
    box.low[axis] = box.high[axis] = mesh.vertices[static_cast<size_t>(axis)];
    for (size_t i = static_cast<size_t>(axis); i < mesh.vertices.size(); i += 3) {
      box.low[axis] = std::min(box.low[axis], static_cast<double>(mesh.vertices[i]));
      box.high[axis] = std::max(box.high[axis], static_cast<double>(mesh.vertices[i]));
    }
  }
  return box;
}

using Corner = std::array<double, 3>;

// Area of the part of a triangle inside a cell, by clipping in double.
double areaInside(const Mesh &mesh, int32_t triangle, const Cell &cell, double margin) {
  std::vector<Corner> polygon;
  for (int k = 0; k < 3; ++k) {
    const float *v =
        &mesh.vertices[3 * static_cast<size_t>(
                               mesh.indices[4 * static_cast<size_t>(triangle) + static_cast<size_t>(k)])];
    polygon.push_back({v[0], v[1], v[2]});
  }
  for (int axis = 0; axis < 3; ++axis) {
    for (const double side : {1.0, -1.0}) {
      const double wall = side > 0 ? cell.low[axis] + margin : -(cell.high[axis] - margin);
      std::vector<Corner> kept;
      for (size_t i = 0; i < polygon.size(); ++i) {
        const Corner &a = polygon[i], &b = polygon[(i + 1) % polygon.size()];
        const double da = side * a[axis] - wall, db = side * b[axis] - wall;
        if (da >= 0) kept.push_back(a);
        if ((da < 0) != (db < 0)) {
          Corner p;
          for (int k = 0; k < 3; ++k) p[k] = a[k] + (b[k] - a[k]) * (da / (da - db));
          kept.push_back(p);
        }
      }
      polygon = kept;
      if (polygon.size() < 3) return 0.0;
    }
  }
  Corner sum = {0, 0, 0};
  for (size_t i = 1; i + 1 < polygon.size(); ++i) {
    Corner u, w;
    for (int k = 0; k < 3; ++k) {
      u[k] = polygon[i][k] - polygon[0][k];
      w[k] = polygon[i + 1][k] - polygon[0][k];
    }
    for (int k = 0; k < 3; ++k) sum[k] += u[(k + 1) % 3] * w[(k + 2) % 3] - u[(k + 2) % 3] * w[(k + 1) % 3];
  }
  return 0.5 * std::sqrt(sum[0] * sum[0] + sum[1] * sum[1] + sum[2] * sum[2]);
}

void checkCoverage(const Mesh &mesh, const Walker &walker) {
  int64_t missing = 0, foreign = 0;
  for (const Leaf &leaf : walker.leaves) {
    std::vector<bool> listed(static_cast<size_t>(mesh.triangleCount()));
    for (const int32_t triangle : leaf.triangles) {
      EXPECT_FALSE(listed[static_cast<size_t>(triangle)]) << "twice in a leaf";
      listed[static_cast<size_t>(triangle)] = true;
    }
    for (int32_t triangle = 0; triangle < mesh.triangleCount(); ++triangle) {
      if (listed[static_cast<size_t>(triangle)]) {
        // Polygons are cut in float: they may stick out by their rounding.
        bool touches = true;
        for (int axis = 0; axis < 3; ++axis) {
          double low = 1e300, high = -1e300;
          for (size_t k = 0; k < 3; ++k) {
            const double x =
                mesh.vertices[3 * static_cast<size_t>(mesh.indices[4 * static_cast<size_t>(triangle) + k]) +
                              static_cast<size_t>(axis)];
            low = std::min(low, x);
            high = std::max(high, x);
          }
          touches = touches && low <= leaf.cell.high[axis] && high >= leaf.cell.low[axis];
        }
        foreign += !touches;
      } else {
        missing += areaInside(mesh, triangle, leaf.cell, 1e-5) > 1e-9;
      }
    }
  }
  EXPECT_EQ(missing, 0) << "triangles left out of a leaf whose cell they meet";
  EXPECT_EQ(foreign, 0) << "triangles in a leaf whose cell they don't meet";
}

uint64_t hashOf(const std::vector<uint32_t> &words) {
  uint64_t hash = 0xCBF29CE484222325u;
  for (const uint32_t word : words) {
    for (int shift = 0; shift < 32; shift += 8) hash = (hash ^ (word >> shift & 0xFF)) * 0x100000001B3u;
  }
  return hash;
}

struct Example {
  const char *name;
  Mesh mesh;
  int32_t maxDepth;
  float splitBias;
  bool isClipped;
  uint64_t hash;
};

const float kInnerBox[6] = {0.15f, 0.1f, 0.05f, 0.85f, 0.7f, 0.9f};

const std::vector<Example> &examples() {
  static const std::vector<Example> all = {
      {"one triangle", triangleSoup(1, 0.5f, 1), 20, 0.5f, false, 0x4F5A0DBD1E81D3B4u},
      {"five triangles in a box", triangleSoup(5, 0.5f, 2), 20, 1.0f, true, 0x87504280CDF44196u},
      {"small soup", triangleSoup(700, 0.3f, 3), 20, 0.0f, false, 0xC1F6A025C5EEA642u},
      {"clipped soup", triangleSoup(4000, 0.2f, 4), 24, 0.5f, true, 0xC4C400A64383EECAu},
      {"soup", triangleSoup(25000, 0.03f, 5), 27, 0.5f, false, 0x5600EF8165AA9F70u},
      {"terrain", terrain(40, 0.01f, 6), 22, 0.5f, false, 0x9516808A429B2EF2u},
      {"large terrain", terrain(110, 0.004f, 7), 27, 0.5f, false, 0x92C937E7DE391D34u},
      {"ball", ball(40, 0.02f, 8), 24, 1.0f, false, 0x30BA74E91B2EA581u},
      {"large ball", ball(105, 0.005f, 9), 27, 0.5f, false, 0xC0A2FBD0076A5396u},
      {"town", town(12, 10), 24, 0.5f, false, 0x97130D57A5974DCFu},
      {"large town", town(42, 11), 27, 0.5f, false, 0x4F87433E329A3D60u},
      {"lattice", latticeSoup(3000, 12, 12), 20, 0.5f, false, 0x77A847448D312F8Cu},
      {"needles", needles(400, 13), 18, 0.5f, false, 0xE1EB0DBC6D663708u},
  };
  return all;
}

TreeOptions optionsOf(const Example &example) {
  return {.maxDepth = example.maxDepth,
          .splitBias = example.splitBias,
          .pBounds = example.isClipped ? kInnerBox : nullptr};
}

uint64_t buildHash(const Example &example) { return hashOf(Tree(example.mesh, optionsOf(example)).block()); }

}  // namespace

TEST(PsahTree, BlocksAreTheSameOnEveryMachine) {
  for (const Example &example : examples()) EXPECT_EQ(buildHash(example), example.hash) << example.name;
}

TEST(PsahTree, BlocksDoNotDependOnTheThreadsGranted) {
  // The limit is read when the runtime starts, so each one takes a process of its own: this program, on the test above.
  char self[4096];
  const ssize_t length = readlink("/proc/self/exe", self, sizeof self - 1);
  ASSERT_GT(length, 0);
  self[length] = 0;
  const char *const emulator = std::getenv("VEKR_EMULATOR");  // of another architecture's programs
  for (const char *limit : {"1", "2", "3"}) {
    const std::string command = std::string("OMP_THREAD_LIMIT=") + limit + " " +
                                (emulator != nullptr ? emulator : "") + " '" + self +
                                "' --gtest_brief=1 --gtest_filter=PsahTree.BlocksAreTheSameOnEveryMachine";
    EXPECT_EQ(std::system(command.c_str()), 0) << limit << " threads";
  }
}

TEST(PsahTree, BlocksAreTheSameInsideAParallelRegionOfTheCaller) {
  for (const int levels : {1, 2}) {
    const int before = omp_get_max_active_levels();
    omp_set_max_active_levels(levels);
    std::vector<uint64_t> hashes(examples().size());
#pragma omp parallel for num_threads(2) schedule(dynamic)
    for (int i = 0; i < static_cast<int>(hashes.size()); ++i) {
      hashes[static_cast<size_t>(i)] = buildHash(examples()[static_cast<size_t>(i)]);
    }
    omp_set_max_active_levels(before);
    for (size_t i = 0; i < hashes.size(); ++i) EXPECT_EQ(hashes[i], examples()[i].hash) << examples()[i].name;
  }
}

TEST(PsahTree, FollowsTheFormat) {
  for (const Example &example : examples()) {
    const Tree tree(example.mesh, optionsOf(example));
    ASSERT_EQ(tree.status, vekOk);
    Cell box = boundsOf(example.mesh);
    for (int axis = 0; axis < 3 && example.isClipped; ++axis) {
      box.low[axis] = kInnerBox[axis];
      box.high[axis] = kInnerBox[axis + 3];
    }
    const Walker walker(tree, box, example.mesh.triangleCount());
    EXPECT_LE(walker.deepest, example.maxDepth);
    if (example.mesh.triangleCount() > 100) {
      EXPECT_GT(walker.leaves.size(), 20u) << "a real tree";
    }
  }
}

TEST(PsahTree, EachTriangleStandsInEveryLeafThatItMeets) {
  const Mesh meshes[] = {
      triangleSoup(400, 0.3f, 1), terrain(14, 0.05f, 2), ball(12, 0.1f, 3), town(6, 4), needles(80, 5),
      latticeSoup(200, 4, 6)};
  for (const Mesh &mesh : meshes) {
    for (const bool isClipped : {false, true}) {
      const Tree tree(mesh, {.maxDepth = 16, .splitBias = 1.0f, .pBounds = isClipped ? kInnerBox : nullptr});
      ASSERT_EQ(tree.status, vekOk);
      Cell box = boundsOf(mesh);
      for (int axis = 0; axis < 3 && isClipped; ++axis) {
        box.low[axis] = kInnerBox[axis];
        box.high[axis] = kInnerBox[axis + 3];
      }
      checkCoverage(mesh, Walker(tree, box, mesh.triangleCount()));
    }
  }
}

namespace {

struct Hits {
  std::vector<float> distances, first, second;
  std::vector<int32_t> triangles;
};

// An odd width takes the one-ray form, whose results don't depend on the order of the walk but for ties.
constexpr VekrBlockSize kBlock = {67, 31};
constexpr int32_t kRays = kBlock.width * kBlock.height;

Hits trace(const VekrIntersectScene &scene, const std::vector<float> *origins,
           const std::vector<float> *directions) {
  Hits hits = {std::vector<float>(kRays, 1e30f), std::vector<float>(kRays), std::vector<float>(kRays),
               std::vector<int32_t>(kRays)};
  const float *directionPlanes[] = {directions[0].data(), directions[1].data(), directions[2].data()};
  float *weights[] = {hits.first.data(), hits.second.data()};
  if (origins == nullptr) {
    const float eye[3] = {0.37f, -1.1f, 0.61f};
    vekrIntersectEyeSO_32f(eye, directionPlanes, hits.distances.data(), weights, hits.triangles.data(),
                           &scene, kBlock);
  } else {
    const float *originPlanes[] = {origins[0].data(), origins[1].data(), origins[2].data()};
    vekrIntersectMO_32f(originPlanes, directionPlanes, hits.distances.data(), weights, hits.triangles.data(),
                        &scene, kBlock);
  }
  return hits;
}

}  // namespace

TEST(PsahTree, FindsTheHitsOfTheOneLeafTree) {
  const Mesh meshes[] = {triangleSoup(1500, 0.15f, 1), terrain(25, 0.05f, 2), ball(20, 0.1f, 3), town(8, 4),
                         needles(300, 5)};
  for (const Mesh &mesh : meshes) {
    const Tree tree(mesh, {.maxDepth = 22});
    const VekrSimpleBuildContext simple = {vekrSimpleBuildIdentifier, 0};
    Tree leaf;
    leaf.build(mesh, &simple);
    ASSERT_EQ(tree.status, vekOk);
    ASSERT_EQ(leaf.status, vekOk);
    std::vector<VekrTriangleAccel> records(static_cast<size_t>(mesh.triangleCount()));
    vekrTriangleAccelInit(records.data(), mesh.vertices.data(), mesh.indices.data(), mesh.triangleCount());
    const Cell bounds = boundsOf(mesh);
    float box[6];
    for (int axis = 0; axis < 3; ++axis) {
      box[axis] = static_cast<float>(bounds.low[axis]);
      box[axis + 3] = static_cast<float>(bounds.high[axis]);
    }
    const VekrIntersectScene fast = {box, records.data(), tree.root}, slow = {box, records.data(), leaf.root};
    Random random(6);
    std::vector<float> origins[3], directions[3];
    for (int axis = 0; axis < 3; ++axis) {
      for (int32_t i = 0; i < kRays; ++i) {
        const float low = box[axis], high = box[axis + 3];
        origins[axis].push_back(random.within(2 * low - high, 2 * high - low));
        directions[axis].push_back(random.within(low, high) - origins[axis].back());
      }
    }
    int32_t hitCount = 0;
    const Hits viaTree = trace(fast, origins, directions), viaLeaf = trace(slow, origins, directions);
    for (size_t i = 0; i < kRays; ++i) {
      hitCount += viaLeaf.triangles[i] >= 0;
      // Hits less than 1e-5 nearer than the best so far don't count, so the order may matter by as much.
      if (viaTree.triangles[i] == viaLeaf.triangles[i]) {
        EXPECT_TRUE(same(viaTree.distances[i], viaLeaf.distances[i]));
      } else {
        EXPECT_NEAR(viaTree.distances[i], viaLeaf.distances[i], 1.0001e-5f);
      }
    }
    EXPECT_GT(hitCount, kRays / 20);
    for (int axis = 0; axis < 3; ++axis) {
      const float eye[3] = {0.37f, -1.1f, 0.61f};
      for (int32_t i = 0; i < kRays; ++i) {
        directions[axis][static_cast<size_t>(i)] = random.within(box[axis], box[axis + 3]) - eye[axis];
      }
    }
    const Hits eyeViaTree = trace(fast, nullptr, directions), eyeViaLeaf = trace(slow, nullptr, directions);
    for (size_t i = 0; i < kRays; ++i) {
      EXPECT_TRUE(same(eyeViaTree.distances[i], eyeViaLeaf.distances[i])) << "ray " << i;
      EXPECT_EQ(eyeViaTree.triangles[i] < 0, eyeViaLeaf.triangles[i] < 0);
    }
  }
}
