// Every function with every argument spoilt, alone and together with every other: the status is that of the check which is
// documented first, and nothing is written. And every function in arrays flush against unreadable pages, on either side,
// at every misalignment.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <set>

#include "tests/sweeps/call.h"

namespace {

using namespace vekr_test;

void addAll(Calls &calls, Arena &arena) {
  addMeshCalls(calls, arena);
  addRayCalls(calls, arena);
  addHarmonicsCalls(calls, arena);
  addVolumeCalls(calls, arena);
}

// Functions that can't fail: nothing to spoil.
const std::set<std::string> kWithoutStatus = {"vekrGetLibVersion", "vekrKDTreeFree"};

TEST(Arguments, TheTableHasEveryExportedFunction) {
  Arena arena({8, Flush::end, 0});
  Calls calls;
  addAll(calls, arena);
  std::set<std::string> names = kWithoutStatus, exported;
  for (const auto &call : calls.all()) names.insert(call->name());
  std::ifstream map(VEKR_MAP);
  for (std::string line; std::getline(map, line);) {
    const size_t first = line.find("vekr"), end = line.find(';');
    if (first != std::string::npos && end != std::string::npos)
      exported.insert(line.substr(first, end - first));
  }
  EXPECT_EQ(names, exported);
  EXPECT_EQ(names.size(), 51u);
}

class Spoilt : public testing::Test {
 protected:
  Spoilt() {
    addAll(calls_, arena_);
    arena_.remember();
  }
  void expect(const AnyCall &call, const std::vector<size_t> &spoilers, VekStatus status, bool untouched) {
    ++made_;
    ASSERT_EQ(call.run(spoilers), status) << call.name() << ", spoilers " << testing::PrintToString(spoilers);
    // Comparing costs more than most calls: after each error alone, and now and then.
    if (untouched && (spoilers.size() == 1 || made_ % 64 == 0)) {
      ASSERT_TRUE(arena_.unchanged()) << call.name() << ", spoilers " << testing::PrintToString(spoilers);
    }
    if (!untouched) arena_.restore();
  }
  Arena arena_{{16, Flush::end, 0}};
  Calls calls_;
  int64_t made_ = 0;
};

TEST_F(Spoilt, OneArgument) {
  for (const auto &call : calls_.all()) {
    ASSERT_NO_FATAL_FAILURE(expect(*call, {}, vekOk, false));
    for (size_t i = 0; i < call->spoilers(); ++i) {
      const auto [status, idle] = call->meaning(i);
      ASSERT_NO_FATAL_FAILURE(expect(*call, {i}, status, idle || status != vekOk));
    }
  }
  std::printf("%d calls\n", static_cast<int>(made_));
  EXPECT_GT(made_, 4000);
}

// The later spoiler is applied first, so that of two for one argument the earlier's value stays.
TEST_F(Spoilt, TwoArguments) {
  for (const auto &call : calls_.all()) {
    for (size_t i = 0; i < call->spoilers(); ++i) {
      const VekStatus first = call->meaning(i).status;
      if (first == vekOk) continue;
      for (size_t j = i + 1; j < call->spoilers(); ++j) {
        ASSERT_NO_FATAL_FAILURE(expect(*call, {j, i}, first, true));
      }
    }
  }
  std::printf("%d calls\n", static_cast<int>(made_));
  EXPECT_GT(made_, 200000);
}

// Lengths around a group of lanes; every misalignment; all arrays alike, and each alone.
class Pages : public testing::TestWithParam<Flush> {};

void runAll(const Layout &layout, void (*add)(Calls &, Arena &) = addAll) {
  Arena arena(layout);
  Calls calls;
  add(calls, arena);
  for (const auto &call : calls.all()) EXPECT_EQ(call->run({}), vekOk) << call->name() << ", " << layout.n;
}

// The functions whose form depends on the alignment of single arrays.
void addFormed(Calls &calls, Arena &arena) {
  addMeshCalls(calls, arena);
  addRayCalls(calls, arena);
  addHarmonicsCalls(calls, arena);
}

TEST_P(Pages, AllArraysAtEveryMisalignment) {
  for (const int32_t n : {1, 4, 7, 16, 17}) {
    for (size_t shift = 0; shift < 16; ++shift) runAll({n, GetParam(), shift});
  }
}

TEST_P(Pages, EveryLength) {
  for (int32_t n = 1; n <= 40; ++n) runAll({n, GetParam(), 0});
}

TEST_P(Pages, OneArrayMisaligned) {
  Arena count({16, GetParam(), 0});
  Calls calls;
  addFormed(calls, count);
  for (int only = 0; only < static_cast<int>(count.arrays()); ++only) {
    runAll({16, GetParam(), 4, only}, addFormed);
  }
}

INSTANTIATE_TEST_SUITE_P(Sides, Pages, testing::Values(Flush::end, Flush::begin));

}  // namespace
