// Kernels for the filter: integer taps and what their sum is divided by.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "vekr.h"

namespace vekr_example {

struct FilterKernel {
  VekrVolumeSize size;
  std::vector<int32_t> taps;  // x fastest, then y, then z
  int32_t divisor;            // unless the user wants another one

  // Voxels beside the middle one, on the side of smaller and of larger coordinates.
  VekrVolumePoint anchor() const { return {size.width / 2, size.height / 2, size.depth / 2}; }
};

// gaussian:SIZE, box:SIZE, sharpen, sobel-x or the name of a text file: width, height and depth, then all taps.
FilterKernel kernelNamed(const std::string &name);

// How many voxels of a row the library is given at once, so that every one of them gets its true sum. 0 is all.
int32_t stripWidth(const FilterKernel &kernel);

}  // namespace vekr_example
