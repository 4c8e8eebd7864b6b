// Every benchmark checks its output before it times anything.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace vekr_bench {

// Ends the program if the two arrays differ in a bit (any NaN equals any NaN).
template <class T>
void requireSame(const char *what, const T *actual, const T *expected, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    if (std::memcmp(actual + i, expected + i, sizeof(T)) == 0) continue;
    if constexpr (std::is_floating_point_v<T>) {
      if (std::isnan(actual[i]) && std::isnan(expected[i])) continue;
    }
    std::fprintf(stderr, "%s: element %zu is wrong, nothing is timed\n", what, i);
    std::exit(1);
  }
}

// FNV-1a over an array, to be written beside a figure.
inline uint64_t checksum(const void *data, size_t bytes) {
  uint64_t hash = 0xcbf29ce484222325u;
  for (size_t i = 0; i < bytes; ++i) {
    hash = (hash ^ static_cast<const unsigned char *>(data)[i]) * 0x100000001b3u;
  }
  return hash;
}

}  // namespace vekr_bench
