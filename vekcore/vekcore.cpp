#include "vekcore.h"

#include <sched.h>
#include <stdlib.h>

namespace {

constexpr size_t kAlignment = 64;  // a cache line, and the widest vector register

// Set by the host, 0 for the default. Relaxed order suffices: the number guards no other data.
int32_t threadCount = 0;

// The affinity mask of the calling thread. Masks of machines beyond `cpu_set_t` are asked for in growing
// sizes.
int32_t countProcessors() {
  for (int capacity = CPU_SETSIZE; capacity <= (1 << 20); capacity *= 4) {
    cpu_set_t *set = CPU_ALLOC(static_cast<size_t>(capacity));
    if (set == nullptr) break;
    const size_t bytes = CPU_ALLOC_SIZE(static_cast<size_t>(capacity));
    const bool known = sched_getaffinity(0, bytes, set) == 0;
    const int count = known ? CPU_COUNT_S(bytes, set) : 0;
    CPU_FREE(set);
    if (count > 0) return count;
  }
  return 1;
}

}  // namespace

extern "C" {

__attribute__((visibility("default"))) void *vekMalloc(size_t size) {
  void *block = nullptr;
  return posix_memalign(&block, kAlignment, size) == 0 ? block : nullptr;
}

__attribute__((visibility("default"))) void vekFree(void *p) { free(p); }

__attribute__((visibility("default"))) int32_t ownGetNumThreads(void) {
  const int32_t count = __atomic_load_n(&threadCount, __ATOMIC_RELAXED);
  return count > 0 ? count : countProcessors();
}

__attribute__((visibility("default"))) void vekSetNumThreads(int32_t count) {
  __atomic_store_n(&threadCount, count, __ATOMIC_RELAXED);
}

}  // extern "C"
