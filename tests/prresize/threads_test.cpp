// The one function that forks: its result doesn't depend on the thread count, and nobody leaves their part of the buffer.
#include <gtest/gtest.h>

#include "resize_case.h"
#include "tests/support/threads.h"

namespace {

using namespace vekr_test;

constexpr int32_t kCounts[] = {1, 2, 3, 5, 16};

ResizeRequest requestFor(int32_t code, int32_t depth) {
  return {{20, 19, 11}, {0, 0, 0, 20, 19, 11}, {0, 0, 1, 26, 24, depth}, {1.3, 1.25, 1.7}, {0, 0.5, 0}, code};
}

TEST(ResizeThreads, EveryCountGivesTheTwinsVoxels) {
  for (int32_t code : kCodes) {
    for (const int32_t threads : kCounts) {
      const ThreadCount count(threads);
      Random random(3);
      const ResizeRequest r = requestFor(code, 17);
      TestVolume<float> source(r.srcSize, packed<float>(r.srcSize));
      source.fill([&](int32_t, int32_t, int32_t) { return randomVoxel<float>(random); });
      SCOPED_TRACE(describe(r) + ", " + std::to_string(threads) + " threads");
      expectLikeTwin<float>(r, VolumeForm::block, source, packed<float>({26, 24, 18}), 1);
    }
  }
}

TEST(ResizeThreads, MoreThreadsThanPlanesAreNotForked) {
  for (const int32_t threads : {18, 40, 1000}) {
    const ThreadCount count(threads);
    Random random(4);
    for (int32_t code : {1, 2, 4}) {
      const ResizeRequest r = requestFor(code, 17);
      TestVolume<float> source(r.srcSize, packed<float>(r.srcSize));
      source.fill([&](int32_t, int32_t, int32_t) { return randomVoxel<float>(random); });
      expectLikeTwin<float>(r, VolumeForm::block, source, packed<float>({26, 24, 18}), 2);
    }
  }
}

// Each thread's part is used from its first byte to its own end: at 15 planes one thread's part is all that is touched.
TEST(ResizeThreads, FifteenPlanesNeverFork) {
  const ThreadCount count(4);
  for (int32_t code : {1, 2, 4}) {
    for (const int32_t depth : {15, 16}) {
      Random random(5);
      const ResizeRequest r = requestFor(code, depth);
      TestVolume<float> source(r.srcSize, packed<float>(r.srcSize));
      source.fill([&](int32_t, int32_t, int32_t) { return randomVoxel<float>(random); });
      TestVolume<float> destination({26, 24, 18}, packed<float>({26, 24, 18}));
      std::vector<uint8_t> buffer(static_cast<size_t>(bufferSize(r)), 0xEE);
      EXPECT_EQ(resizeBlock<float>(source.block(), r, source.layout(), destination.block(),
                                   destination.layout(), buffer.data()),
                vekOk);
      bool touched = false;
      for (size_t i = buffer.size() / 4; i < buffer.size(); ++i) touched |= buffer[i] != 0xEE;
      EXPECT_EQ(touched, depth == 16) << code;
    }
  }
}

TEST(ResizeThreads, CallsSideBySideOnSeparateData) {
  const ThreadCount count(2);
#pragma omp parallel for num_threads(3)
  for (int i = 0; i < 6; ++i) {
    Random random(6 + static_cast<uint32_t>(i));
    const ResizeRequest r = requestFor(i % 2 == 0 ? 2 : 7, 17);
    TestVolume<float> source(r.srcSize, packed<float>(r.srcSize));
    source.fill([&](int32_t, int32_t, int32_t) { return randomVoxel<float>(random); });
    expectLikeTwin<float>(r, VolumeForm::block, source, packed<float>({26, 24, 18}), 1);
  }
}

}  // namespace
