// The library's only source of heap memory, on top of the companion's vekMalloc and vekFree.
#pragma once

#include <cstddef>
#include <cstdint>

#include "vekcore/vekcore.h"

namespace vekr {

// `len` 4-byte units, or null; null without asking for memory if `len` is below 1.
inline void *veksMalloc_32s(int32_t len) {
  return len < 1 ? nullptr : vekMalloc(4 * static_cast<size_t>(len));
}

// The same in 8-byte units.
inline void *veksMalloc_64s(int32_t len) {
  return len < 1 ? nullptr : vekMalloc(8 * static_cast<size_t>(len));
}

// `bytes` bytes in whole 4-byte units, for sizes that 32 bits can't tell.
inline void *veksMallocBytes(uint64_t bytes) { return vekMalloc((bytes + 3) / 4 * 4); }

inline void veksFree(void *p) { vekFree(p); }

}  // namespace vekr
