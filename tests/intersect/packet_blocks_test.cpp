// Packets of mixed tiles, in which single rays walk apart, against their twins.
#include "intersect/packet_blocks.h"

#include <gtest/gtest.h>

#include "support/test_scenes.h"

namespace {

using namespace vekr_test;

TEST(PacketBlocks, HostileTilesAgreeWithTheTwin) {
  Met met;
  for (uint32_t seed = 1; seed <= 400; ++seed) {
    Random random(seed);
    const auto scene = hostileScene(random);
    const VekrBlockSize size = {4 + 4 * random.below(6), 4 + 4 * random.below(6)};
    ASSERT_TRUE(blockAgrees(linkedFunctions(), packetTwins(), *scene, size, random, met)) << "seed " << seed;
  }
  EXPECT_GT(met.hits, 20000u);
  EXPECT_GT(met.blocked, 10000u);
  EXPECT_GT(met.deepHits, 2000u);
}

// More mixed tiles than are put off at a time.
TEST(PacketBlocks, ALargeBlockAgreesWithTheTwin) {
  TracedScene scene(ball(10, 14), {14, 3, Leaves::mixed, 6}, 0.01f);
  Random random(7);
  Met met;
  ASSERT_TRUE(blockAgrees(linkedFunctions(), packetTwins(), scene, {100, 92}, random, met));
  EXPECT_GT(met.hits, 3000u);
}

// A block of tiles whose rows each hold one wanted ray in an octant, and others.
class LoneRays : public ::testing::Test {
 protected:
  LoneRays() : block_({16, 16}) {
    mesh_.addTriangle({-1, -1, 1}, {1, -1, 1}, {-1, 1, 1});
    mesh_.addTriangle({1, 1, 1}, {1, -1, 1}, {-1, 1, 1});
    setOrigin(block_, {0, 0, 0});
    // Lanes 0 and 3 share an octant, 1 and 2 have one each.
    for (size_t i = 0; i < block_.rays; ++i) {
      const float x[] = {0.5f, -0.5f, 0.5f, 0.25f}, y[] = {0.5f, 0.5f, -0.5f, 0.25f};
      set(i, {x[i % 4], y[i % 4], 1.0f}, 50.0f);
    }
  }
  void set(size_t i, const Point &direction, float limit) {
    for (size_t a = 0; a < 3; ++a) block_.directions[a][i] = direction[a];
    block_.distances[i] = limit;
  }
  ::testing::AssertionResult bothAgree(const std::vector<int32_t> &tree = oneLeaf({0, 1})) {
    TracedScene scene(mesh_, tree, 0.25f);
    const VekrIntersectScene traced = scene.get();
    for (const OneRayForm form : {OneRayForm::eye, OneRayForm::manyOrigins}) {
      RayBlock ours(block_.size), theirs(block_.size);
      ours.copyFrom(block_);
      theirs.copyFrom(block_);
      run(linkedFunctions(), form, ours, traced, 1);
      run(packetTwins(), form, theirs, traced, 1);
      if (auto r = sameBlocks(ours, theirs); !r) return r;
      hits_ = std::count_if(theirs.triangles.data(), theirs.triangles.data() + theirs.rays,
                            [](int32_t triangle) { return triangle >= 0; });
      result_[form == OneRayForm::eye ? 0 : 1] = {bitsOf(ours.hits[0][0]), bitsOf(ours.hits[0][3])};
    }
    return ::testing::AssertionSuccess();
  }

  Mesh mesh_;
  RayBlock block_;
  std::array<std::array<uint32_t, 2>, 2> result_{};  // first weights of rays 0 and 3, of both forms
  std::ptrdiff_t hits_ = 0;
};

const uint32_t kUntouched = bitsOf(-7.5f);

TEST_F(LoneRays, UnwantedRaysOfTheirOctantGetWeightsOfZeroIfTheyMeetTheBox) {
  for (const float unwanted : {0.0f, -0.0f, -3.0f, -INFINITY}) {
    for (size_t i = 3; i < block_.rays; i += 4) block_.distances[i] = unwanted;
    ASSERT_TRUE(bothAgree()) << unwanted;
    for (const auto &form : result_) {
      EXPECT_NE(form[0], kUntouched);
      EXPECT_EQ(form[1], 0u);
    }
  }
}

TEST_F(LoneRays, UnwantedRaysOfTheirOctantKeepTheirWeightsIfTheyDoNot) {
  setOrigin(block_, {0, 0, -10});
  for (size_t i = 0; i < block_.rays; ++i) {
    if (i % 4 == 3) block_.distances[i] = 0.0f;
    if (i % 4 == 0) set(i, {5.0f, 5.0f, 1.0f}, 50.0f);
  }
  ASSERT_TRUE(bothAgree());
  for (const auto &form : result_) {
    EXPECT_EQ(form[0], kUntouched);
    EXPECT_EQ(form[1], kUntouched);
  }
}

// One that is wanted but misses the box is no company to be left: a leaf may wake it.
TEST_F(LoneRays, AWantedRayThatMissesTheBoxIsCompany) {
  for (size_t i = 3; i < block_.rays; i += 4) set(i, {9.0f, 9.0f, 1e-3f}, 50.0f);
  ASSERT_TRUE(bothAgree());
}

TEST_F(LoneRays, ALimitThatIsNoNumberIsCompany) {
  for (size_t i = 3; i < block_.rays; i += 4) block_.distances[i] = std::numeric_limits<float>::quiet_NaN();
  ASSERT_TRUE(bothAgree());
}

// The reciprocal of a component just below 0 is positive, and the octant goes by the component.
TEST_F(LoneRays, ComponentsJustBelowZeroKeepTheirOctant) {
  for (const float x : {-1e-8f, -1e-42f, -1.1920929e-7f, -3e38f}) {
    for (size_t i = 1; i < block_.rays; i += 4) set(i, {x, 0.5f, 1.0f}, 50.0f);
    ASSERT_TRUE(bothAgree()) << x;
  }
}

// So the child behind it is entered, and the nearer one is not.
TEST_F(LoneRays, APlaneThatIsNoNumberLiesBehindTheInterval) {
  for (size_t i = 3; i < block_.rays; i += 4) block_.distances[i] = 0.0f;
  for (int32_t axis = 0; axis < 3; ++axis) {
    const float plane = std::numeric_limits<float>::quiet_NaN();
    ASSERT_TRUE(bothAgree(oneSplit(axis, plane, vekr::leafOfOne(0), vekr::leafOfOne(1)))) << axis;
    EXPECT_GT(hits_, 0);
  }
}

TEST_F(LoneRays, APlaneJustBehindTheBoxIsWithinItsMargin) {
  for (size_t i = 3; i < block_.rays; i += 4) block_.distances[i] = 0.0f;
  const float end = 1.25f;  // of the box, and of rays whose directions end at a height of 1
  ASSERT_TRUE(bothAgree(oneSplit(2, end + 5e-5f, kEmptyLeaf, vekr::leafOfTwo(0, 1))));
  EXPECT_GT(hits_, 0);
  ASSERT_TRUE(bothAgree(oneSplit(2, end + 2e-4f, kEmptyLeaf, vekr::leafOfTwo(0, 1))));
  EXPECT_EQ(hits_, 0);
}

// Weights that are not numbers pass the test of insides, so that a record of zeros would be a hit if it were tested.
TEST_F(LoneRays, DegenerateRecordsAreNotHit) {
  for (size_t i = 3; i < block_.rays; i += 4) block_.distances[i] = 0.0f;
  addDegenerate(mesh_, 6, 1);
  ASSERT_TRUE(bothAgree(oneLeaf({2, 3, 4, 5, 6, 0, 7, 1})));
  EXPECT_GT(hits_, 0);
}

// Segments of the same directions, which end a quarter behind the triangles' height: those of lanes 1 and 2 are alone.
class LoneSegments : public LoneRays {
 protected:
  LoneSegments() {
    for (auto &plane : block_.directions) {
      for (size_t i = 0; i < block_.rays; ++i) plane[i] *= kLength;
    }
  }
  ::testing::AssertionResult segmentsAgree(const std::vector<int32_t> &tree) {
    TracedScene scene(mesh_, tree, 0.25f);
    RayBlock theirs(block_.size);
    theirs.copyFrom(block_);
    run(linkedFunctions(), OneRayForm::any, block_, scene.get(), 1);
    run(packetTwins(), OneRayForm::any, theirs, scene.get(), 1);
    blocked_ = 0;
    for (size_t i = 0; i < theirs.rays; ++i) {
      blocked_ += (i % 4 == 1 || i % 4 == 2) && theirs.mask[i] == -1 && theirs.occluders[i] >= 0;
    }
    return sameBlocks(block_, theirs);
  }

  static constexpr float kLength = 1.25f;
  int blocked_ = 0;
};

TEST_F(LoneSegments, APlaneThatIsNoNumberLiesBehindTheInterval) {
  for (int32_t axis = 0; axis < 3; ++axis) {
    block_.mask.fill(0);
    const float plane = std::numeric_limits<float>::quiet_NaN();
    ASSERT_TRUE(segmentsAgree(oneSplit(axis, plane, vekr::leafOfOne(0), vekr::leafOfOne(1)))) << axis;
    EXPECT_GT(blocked_, 0);
  }
}

// The walk goes on behind a segment's end, up to its margin: nothing asks how far it has come.
TEST_F(LoneSegments, ACellJustBehindTheEndIsVisited) {
  ASSERT_TRUE(segmentsAgree(oneSplit(2, kLength * 1.00005f, kEmptyLeaf, vekr::leafOfTwo(0, 1))));
  EXPECT_GT(blocked_, 0);
  block_.mask.fill(0);
  ASSERT_TRUE(segmentsAgree(oneSplit(2, kLength * 1.0002f, kEmptyLeaf, vekr::leafOfTwo(0, 1))));
  EXPECT_EQ(blocked_, 0);
}

TEST_F(LoneSegments, NodesHaveNoMargin) {
  // Nobody seeds the cache, with the margins of a walk alone.
  std::fill_n(&block_.mask[3 * 16], 4, -1);
  ASSERT_TRUE(segmentsAgree(oneSplit(2, -5e-6f, vekr::leafOfTwo(0, 1), kEmptyLeaf)));
  EXPECT_EQ(blocked_, 0);
  ASSERT_TRUE(segmentsAgree(oneSplit(2, kLength * 1.000105f, kEmptyLeaf, vekr::leafOfTwo(0, 1))));
  EXPECT_EQ(blocked_, 0);
}

TEST_F(LoneSegments, BothEndsAreOpen) {
  // The triangles are met at t = 1 / length.
  for (const float length : {1.0f, std::nextafter(1.0f, 2.0f), 1.00001f, 1e30f, -1.0f}) {
    for (size_t i = 0; i < block_.rays; ++i) {
      const float x[] = {0.5f, -0.5f, 0.5f, 0.25f}, y[] = {0.5f, 0.5f, -0.5f, 0.25f};
      set(i, {x[i % 4] * length, y[i % 4] * length, length}, 0.0f);
    }
    block_.mask.fill(0);
    ASSERT_TRUE(segmentsAgree(oneLeaf({0, 1}))) << length;
  }
  setOrigin(block_, {0, 0, 1});
  block_.mask.fill(0);
  ASSERT_TRUE(segmentsAgree(oneLeaf({0, 1})));
}

TEST_F(LoneSegments, DeadOnesWalkToo) {
  // The live ones, which turn away, keep their tiles from being left out.
  for (size_t i = 0; i < block_.rays; ++i) block_.mask[i] = i % 4 == 0 ? 0 : -9;
  for (size_t i = 0; i < block_.rays; i += 4) block_.directions[2][i] = -1.0f;
  ASSERT_TRUE(segmentsAgree(oneLeaf({0, 1})));
  EXPECT_EQ(blocked_, 128);
}

}  // namespace
