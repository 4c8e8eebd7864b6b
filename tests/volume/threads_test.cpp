// With a thread count of its own, so that reads of it can be counted.
#include "volume/threads.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <vector>

namespace {

std::vector<int32_t> answers;
size_t reads = 0;

}  // namespace

extern "C" int32_t ownGetNumThreads() { return answers[reads++]; }

namespace {

using namespace vekr;

struct Outcome {
  int bodies = 0;
  int team = 0;
  std::vector<int> owners;  // of each plane: how many bodies had it
};

Outcome run(VekrVolumeSize size, std::vector<int32_t> counts) {
  answers = std::move(counts);
  reads = 0;
  Outcome result;
  std::vector<std::atomic<int>> owners(static_cast<size_t>(size.depth));
  std::atomic<int> bodies = 0, team = 0;
  forPlaneShares(size, [&](PlaneShare share, int32_t, int32_t threads) {
    ++bodies;
    team = threads;
    for (int32_t i = 0; i < share.count; ++i) ++owners[static_cast<size_t>(share.first + i)];
  });
  result.bodies = bodies;
  result.team = team;
  for (const auto &owner : owners) result.owners.push_back(owner);
  return result;
}

TEST(PlaneShares, TheLastThreadTakesTheRemainder) {
  for (int32_t t = 0; t < 15; ++t) {
    EXPECT_EQ(shareOf(17, 16, t).first, t);
    EXPECT_EQ(shareOf(17, 16, t).count, 1);
  }
  EXPECT_EQ(shareOf(17, 16, 15).first, 15);
  EXPECT_EQ(shareOf(17, 16, 15).count, 2);
  for (int32_t t = 0; t < 31; ++t) EXPECT_EQ(shareOf(17, 32, t).count, 0);
  EXPECT_EQ(shareOf(17, 32, 31).first, 0);
  EXPECT_EQ(shareOf(17, 32, 31).count, 17);
}

TEST(PlaneShares, SmallSidesDontAskForTheThreadCount) {
  for (const VekrVolumeSize size : {VekrVolumeSize{15, 100, 100}, {100, 15, 100}, {100, 100, 15}}) {
    const Outcome result = run(size, {4, 4});
    EXPECT_EQ(reads, 0u);
    EXPECT_EQ(result.bodies, 1);
  }
}

TEST(PlaneShares, OneThreadIsAskedForOnce) {
  for (int32_t count : {1, 0, -5}) {
    const Outcome result = run({16, 16, 16}, {count, 4});
    EXPECT_EQ(reads, 1u);
    EXPECT_EQ(result.bodies, 1);
  }
}

TEST(PlaneShares, TheTeamHasTheSecondAnswersSizeButNoMoreThreadsThanPlanes) {
  for (int32_t count : {1, 2, 3, 5, 16, 17, 18, 32, 50000, 1000000, INT32_MAX}) {
    const Outcome result = run({16, 16, 17}, {2, count});
    EXPECT_EQ(reads, 2u);
    EXPECT_EQ(result.bodies, result.team);
    EXPECT_EQ(result.team, std::min(count, 17));
    EXPECT_EQ(result.owners, std::vector<int>(17, 1));
  }
}

// The shares of a division, those that hold planes, by their first one.
using Shares = std::map<int32_t, int32_t>;

Shares everyShare(VekrVolumeSize size, std::vector<int32_t> counts) {
  answers = std::move(counts);
  reads = 0;
  Shares shares;
  std::mutex mutex;
  forEveryPlaneShare(size, [&](PlaneShare share) {
    const std::lock_guard<std::mutex> lock(mutex);
    if (share.count == 0) return;
    EXPECT_TRUE(shares.emplace(share.first, share.count).second) << share.first;
  });
  return shares;
}

Shares toldShares(int32_t planes, int32_t team) {
  Shares shares;
  for (int32_t t = 0; t < team; ++t) {
    const PlaneShare share = shareOf(planes, team, t);
    if (share.count > 0) shares.emplace(share.first, share.count);
  }
  return shares;
}

TEST(PlaneShares, EveryShareOfAnyCountIsDone) {
  for (int32_t count : {1, 2, 3, 5, 16, 17, 18, 32, 50000, 1000000}) {
    EXPECT_EQ(everyShare({16, 16, 17}, {2, count}), toldShares(17, count)) << count;
    EXPECT_EQ(reads, 2u);
  }
  EXPECT_EQ(everyShare({16, 16, 17}, {2, INT32_MAX}), (Shares{{0, 17}}));
  EXPECT_EQ(everyShare({16, 15, 17}, {2, 3}), (Shares{{0, 17}}));
  EXPECT_EQ(everyShare({16, 16, 17}, {2, -1}), (Shares{{0, 17}}));
}

// More than are ever forked: each thread does several shares, and none is joined with its neighbour.
TEST(PlaneShares, FewerThreadsDoTheSharesOfManyMore) {
  for (int32_t count : {kMostThreads + 1, 2 * kMostThreads + 5}) {
    EXPECT_EQ(everyShare({16, 16, 5000}, {2, count}), toldShares(5000, count)) << count;
  }
}

TEST(PlaneShares, SharesOfARegionThatCantForkAreOne) {
  Shares inner;
#pragma omp parallel num_threads(2)
  {
#pragma omp master
    inner = everyShare({16, 16, 20}, {4, 4});
  }
  EXPECT_EQ(inner, (Shares{{0, 20}}));
}

TEST(PlaneShares, ACountThatDropsBetweenTheReadsLeavesOneThread) {
  const Outcome result = run({16, 16, 16}, {2, -1});
  EXPECT_EQ(result.bodies, 1);
  EXPECT_EQ(result.owners, std::vector<int>(16, 1));
}

TEST(PlaneShares, ARegionThatCantForkRunsWhole) {
  Outcome inner;
#pragma omp parallel num_threads(2)
  {
#pragma omp master
    inner = run({16, 16, 20}, {4, 4});
  }
  EXPECT_EQ(inner.bodies, 1);
  EXPECT_EQ(inner.team, 1);
  EXPECT_EQ(inner.owners, std::vector<int>(20, 1));
}

}  // namespace
