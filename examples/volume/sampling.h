// Volumes sampled by the library: along an affine map, or along coordinates voxel by voxel.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "volume.h"

namespace vekr_example {

// Planes that are handed to the library at once: enough for all of its threads, few enough for the bar to move.
constexpr int32_t kPlanesAtOnce = 32;

// Throws what a status other than vekOk says.
void check(VekStatus status);

// Adds up the time that the library takes.
class Stopwatch {
 public:
  template <class Call>
  VekStatus time(const Call &call) {
    const auto start = std::chrono::steady_clock::now();
    const VekStatus status = call();
    seconds_ += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return status;
  }
  double seconds() const { return seconds_; }

 private:
  double seconds_ = 0;
};

struct Sampling {
  int32_t code = vekrInterNearest;
  double fill = 0;                         // what stands where the source doesn't reach
  std::vector<int32_t> region = {};        // x, y, z, width, height, depth of the source; empty: all of it
  Stopwatch *stopwatch = nullptr;          // may be null
  std::function<void(int32_t)> done = {};  // so many more planes; may be empty
};

// Sources have a margin. Both fill what lies outside the outer edges of the source's outermost voxels, and return how many
// voxels don't.
int64_t sampleAffine(const Volume &src, Volume &dst, const Affine &toSource, const Sampling &sampling);

// Source coordinates of a row of the result: three arrays as long as the row. Is called by several threads.
using RowMap = std::function<void(int32_t y, int32_t z, double *sx, double *sy, double *sz)>;
int64_t sampleMaps(const Volume &src, Volume &dst, const RowMap &map, const Sampling &sampling);

}  // namespace vekr_example
