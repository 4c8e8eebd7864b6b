// The bits of the published format, one by one: the only place besides the twins where they stand as numbers. Everything
// else makes and reads nodes through kdtree_format.h, so what is wrong there is found here or nowhere.
#include "pr_avlopsahopt/kdtree_format.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/values.h"

using namespace vekr;
using namespace vekr_test;

namespace {

void expectWords(const VekrKDTreeNode &node, uint32_t word0, uint32_t word1) {
  EXPECT_EQ(static_cast<uint32_t>(node.word0), word0);
  EXPECT_EQ(static_cast<uint32_t>(node.word1), word1);
}

VekrKDTreeNode nodeOf(uint32_t word0, uint32_t word1) {
  return {static_cast<int32_t>(word0), static_cast<int32_t>(word1)};
}

std::vector<int32_t> trianglesOf(const VekrKDTreeNode *leaf) {
  std::vector<int32_t> triangles;
  EXPECT_TRUE(forLeafTriangles(leaf, [&](int32_t triangle) {
    triangles.push_back(triangle);
    return true;
  }));
  return triangles;
}

std::vector<int32_t> trianglesOf(uint32_t word0, uint32_t word1) {
  const VekrKDTreeNode leaf = nodeOf(word0, word1);
  EXPECT_TRUE(isLeaf(leaf));
  EXPECT_FALSE(hasList(leaf));
  EXPECT_EQ(leafTriangleCount(leaf), static_cast<int32_t>(trianglesOf(&leaf).size()));
  return trianglesOf(&leaf);
}

}  // namespace

TEST(KDTreeFormat, InnerNodesHoldAxisDistanceAndPlane) {
  expectWords(innerNode(0, 0.25f, 16), 0x00000010u, 0x3E800000u);
  expectWords(innerNode(1, -2.0f, 8), 0x00000009u, 0xC0000000u);
  expectWords(innerNode(2, -0.0f, 0x7FFFFFF8), 0x7FFFFFFAu, 0x80000000u);
  for (const uint32_t unread : {0u, 4u}) {
    VekrKDTreeNode nodes[8] = {};
    nodes[2] = nodeOf(24u | 2u | unread, 0xC0400000u);
    EXPECT_FALSE(isLeaf(nodes[2]));
    EXPECT_EQ(splitAxis(nodes[2]), 2);
    EXPECT_EQ(splitPosition(nodes[2]), -3.0f);
    EXPECT_EQ(childPair(&nodes[2]), &nodes[5]);
  }
  EXPECT_EQ(kFreeInnerBits, 4);
}

TEST(KDTreeFormat, ListsLieBehindTheirLeaf) {
  expectWords(leafWithList(3, 16), 0xFFFFFFF0u, 3);
  expectWords(leafWithList(0, 48), 0xFFFFFFD0u, 0);
  expectWords(leafWithList(INT32_MAX, INT64_C(0x80000000)), 0x80000000u, 0x7FFFFFFFu);
  for (const uint32_t unread : {0u, 1u, 2u, 3u}) {
    VekrKDTreeNode nodes[4] = {};
    nodes[1] = nodeOf(0xFFFFFFF4u | unread, 2);  // 12 bytes on: the second word of the node behind the next
    nodes[2] = nodeOf(0, 77);
    nodes[3] = nodeOf(88, 99);
    EXPECT_TRUE(isLeaf(nodes[1]));
    EXPECT_TRUE(hasList(nodes[1]));
    EXPECT_EQ(leafTriangleCount(nodes[1]), 2);
    EXPECT_EQ(trianglesOf(&nodes[1]), (std::vector<int32_t>{77, 88}));
  }
  EXPECT_EQ(kFreeListBits, 3);
}

TEST(KDTreeFormat, InlineLeavesHoldOneTwoOrThree) {
  expectWords(leafOfOne(12345), 0x80003039u, 0x80000001u);
  expectWords(leafOfOne(INT32_MAX), 0xFFFFFFFFu, 0x80000001u);
  expectWords(leafOfTwo(5, 10), 0x80000005u, 0x8000002Au);
  expectWords(leafOfTwo(INT32_MAX, 0x1FFFFFFF), 0xFFFFFFFFu, 0xFFFFFFFEu);
  expectWords(leafOfThree(1, 5, 9), 0x80040004u, 0x80000017u);
  expectWords(leafOfThree(0x1FFF8000, 0x1FFFFFFF, 0x2000FFFE), 0xFFFFFFFFu, 0xFFFFFFFFu);

  EXPECT_EQ(trianglesOf(0x80003039u, 0x80000001u), (std::vector<int32_t>{12345}));
  EXPECT_EQ(trianglesOf(0xFFFFFFFFu, 0x80000001u), (std::vector<int32_t>{INT32_MAX}));
  EXPECT_EQ(trianglesOf(0x80000005u, 0x8000002Au), (std::vector<int32_t>{5, 10}));
  EXPECT_EQ(trianglesOf(0xFFFFFFFFu, 0xFFFFFFFEu), (std::vector<int32_t>{INT32_MAX, 0x1FFFFFFF}));
  EXPECT_EQ(trianglesOf(0x80040004u, 0x80000017u), (std::vector<int32_t>{1, 5, 9}));
  EXPECT_EQ(trianglesOf(0xFFFFFFFFu, 0xFFFFFFFFu),
            (std::vector<int32_t>{0x1FFF8000, 0x1FFFFFFF, 0x2000FFFE}));
}

TEST(KDTreeFormat, TheNearChildIsTheUpperOneWhereRaysRunDown) {
  for (int octant = 0; octant < 8; ++octant) {
    const NearChildren children = nearChildrenIn(octant);
    for (int32_t axis = 0; axis < 3; ++axis) {
      const uint32_t expected = static_cast<uint32_t>(octant >> axis & 1);
      for (const int64_t distance : {8, 16, 24, 32, 248, 0x7FFFFFF8}) {
        VekrKDTreeNode node = innerNode(axis, -1.5f, distance);
        EXPECT_EQ(nearChildOf(node, children), expected) << octant << " " << axis << " " << distance;
        node.word0 |= kFreeInnerBits & INT32_MAX;
        EXPECT_EQ(nearChildOf(node, children), expected) << octant << " " << axis << " " << distance;
      }
    }
  }
}

TEST(KDTreeFormat, LimitsAreWhatTheFieldsHold) {
  EXPECT_EQ(kMiddleLimit, 0x20000000);
  EXPECT_EQ(kBelowLimit, 0x8000);
  EXPECT_EQ(kAboveLimit, 0x10000);
}

TEST(KDTreeFormat, EmptyLeavesHaveTwoForms) {
  for (const uint32_t word0 : {0x80000000u, 0xFFFFFFFFu, 0xFFFFFFF0u}) {
    for (const uint32_t word1 : {0u, 0x80000000u, 0x80000004u, 0xFFFFFFFCu}) {
      EXPECT_TRUE(trianglesOf(word0, word1).empty());
    }
  }
}

TEST(KDTreeFormat, VisitsEndWhenTheVisitorSaysSo) {
  const int32_t block[] = {-16, 3, 0, 0, 7, 8, 9};
  const VekrKDTreeNode leaves[] = {leafOfOne(7), leafOfTwo(7, 8), leafOfThree(7, 8, 9)};
  const VekrKDTreeNode *const all[] = {&leaves[0], &leaves[1], &leaves[2],
                                       reinterpret_cast<const VekrKDTreeNode *>(block)};
  for (const VekrKDTreeNode *leaf : all) {
    for (int32_t stop = 0; stop < leafTriangleCount(*leaf); ++stop) {
      int32_t visits = 0;
      EXPECT_FALSE(forLeafTriangles(leaf, [&](int32_t triangle) { return ++visits, triangle != 7 + stop; }));
      EXPECT_EQ(visits, stop + 1);
    }
  }
}

TEST(KDTreeFormat, TheBlockBeginsWithTheRootAndEightZeroBytes) {
  EXPECT_EQ(kTreeHeaderBytes, 16);
  EXPECT_EQ(kTreePairBytes, 16);
  expectWords(kTreePadding, 0, 0);
}
