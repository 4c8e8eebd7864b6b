// The companion library as it comes.
#include <gtest/gtest.h>
#include <sched.h>

#include <cstring>
#include <vector>

#include "vekcore/vekcore.h"

namespace {

TEST(Companion, BlocksAreAlignedToSixtyFourBytesAndUsable) {
  std::vector<void *> blocks;
  for (const size_t size : {1, 3, 4, 63, 64, 65, 100, 4095, 4097, 1000000}) {
    for (int i = 0; i < 5; ++i) {
      void *p = vekMalloc(size);
      ASSERT_NE(p, nullptr);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 64, 0u) << size;
      std::memset(p, 0x5A, size);
      blocks.push_back(p);
    }
  }
  for (void *p : blocks) vekFree(p);
}

TEST(Companion, FreeAcceptsNullAndEmptyBlocks) {
  vekFree(nullptr);
  vekFree(vekMalloc(0));
}

// The sanitizers' allocators end the program instead, unless told otherwise.
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#if defined(__has_feature)
#if !__has_feature(thread_sanitizer) && !__has_feature(address_sanitizer)
#define VEKR_PLAIN_HEAP
#endif
#else
#define VEKR_PLAIN_HEAP
#endif
#endif
#ifdef VEKR_PLAIN_HEAP
TEST(Companion, ImpossibleSizesGiveNull) {
  EXPECT_EQ(vekMalloc(SIZE_MAX), nullptr);
  EXPECT_EQ(vekMalloc(SIZE_MAX - 100), nullptr);
  EXPECT_EQ(vekMalloc(SIZE_MAX / 2), nullptr);
}
#endif

TEST(Companion, ThreadCountIsSetAndSetBack) {
  const int32_t standard = ownGetNumThreads();
  cpu_set_t set;
  ASSERT_EQ(sched_getaffinity(0, sizeof set, &set), 0);
  EXPECT_EQ(standard, CPU_COUNT(&set));
  for (const int32_t count : {1, 2, 5, 1000, INT32_MAX}) {
    vekSetNumThreads(count);
    EXPECT_EQ(ownGetNumThreads(), count);
  }
  for (const int32_t none : {0, -1, INT32_MIN}) {
    vekSetNumThreads(3);
    vekSetNumThreads(none);
    EXPECT_EQ(ownGetNumThreads(), standard) << none;
  }
}

TEST(Companion, DefaultFollowsTheProcessorsAtThisMoment) {
  cpu_set_t all, one;
  ASSERT_EQ(sched_getaffinity(0, sizeof all, &all), 0);
  CPU_ZERO(&one);
  for (size_t cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
    if (CPU_ISSET(cpu, &all)) {
      CPU_SET(cpu, &one);
      break;
    }
  }
  vekSetNumThreads(0);
  ASSERT_EQ(sched_setaffinity(0, sizeof one, &one), 0);
  EXPECT_EQ(ownGetNumThreads(), 1);
  ASSERT_EQ(sched_setaffinity(0, sizeof all, &all), 0);
  EXPECT_EQ(ownGetNumThreads(), CPU_COUNT(&all));
}

}  // namespace
