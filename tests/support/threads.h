// Sets the library's thread count for the length of a scope.
#pragma once

#include "vekcore/vekcore.h"

namespace vekr_test {

class ThreadCount {
 public:
  explicit ThreadCount(int32_t count) { vekSetNumThreads(count); }
  ~ThreadCount() { vekSetNumThreads(0); }
  ThreadCount(const ThreadCount &) = delete;
  ThreadCount &operator=(const ThreadCount &) = delete;
};

}  // namespace vekr_test
