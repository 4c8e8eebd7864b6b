#include "filter_kernel.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <fstream>
#include <numeric>
#include <stdexcept>

#include "output_file.h"
#include "standard_streams.h"

namespace vekr_example {

namespace {

using Line = std::vector<int32_t>;

FilterKernel product(const Line &x, const Line &y, const Line &z, int32_t divisor) {
  FilterKernel kernel = {
      {static_cast<int32_t>(x.size()), static_cast<int32_t>(y.size()), static_cast<int32_t>(z.size())},
      {},
      divisor};
  for (int32_t c : z) {
    for (int32_t b : y) {
      for (int32_t a : x) kernel.taps.push_back(a * b * c);
    }
  }
  return kernel;
}

// Binomial numbers, which are near to a Gaussian of standard deviation sqrt(size - 1) / 2 and sum up to a power of two.
FilterKernel gaussian(int32_t size) {
  Line line = {1};
  for (int32_t i = 1; i < size; ++i) {
    line.push_back(1);
    for (size_t k = line.size() - 2; k > 0; --k) line[k] += line[k - 1];
  }
  return product(line, line, line, 1 << 3 * (size - 1));
}

FilterKernel box(int32_t size) {
  const Line line(static_cast<size_t>(size), 1);
  return product(line, line, line, size * size * size);
}

// Twice the volume less the smoothed volume.
FilterKernel sharpen() {
  FilterKernel kernel = gaussian(3);
  for (int32_t &tap : kernel.taps) tap = -tap;
  kernel.taps[13] += 2 * kernel.divisor;
  return kernel;
}

// Rise along x for each voxel. Taps are mirrored against the volume.
FilterKernel sobelX() { return product({1, 0, -1}, {1, 2, 1}, {1, 2, 1}, 32); }

int32_t sizeBehind(const std::string &name, size_t colon, int32_t largest) {
  int32_t size = 0;
  const char *const end = name.data() + name.size();
  const auto [stop, error] = std::from_chars(name.data() + colon + 1, end, size);
  if (error != std::errc() || stop != end || size < 3 || size > largest || size % 2 == 0) {
    throw UsageError("--kernel " + name + ": the size must be an odd number from 3 to " +
                     std::to_string(largest));
  }
  return size;
}

FilterKernel read(const std::string &path) {
  if (const std::string reason = whyUnreadable(path); !reason.empty())
    throw std::runtime_error("--kernel " + path + ": neither a kernel's name nor a file: " + reason);
  std::ifstream file(path);
  if (!file) throw std::runtime_error(path + ": cannot be read");
  constexpr int32_t kLongest = 1024;
  std::array<int32_t, 3> size;
  for (int32_t &side : size) {
    if (!(file >> side) || side < 1 || side > kLongest) {
      throw std::runtime_error(path + ": must begin with width, height and depth, each from 1 to " +
                               std::to_string(kLongest));
    }
  }
  const int64_t count = int64_t{size[0]} * size[1] * size[2];
  FilterKernel kernel = {{size[0], size[1], size[2]}, {}, 1};
  for (int32_t tap; int64_t(kernel.taps.size()) < count && file >> tap;) kernel.taps.push_back(tap);
  std::string rest;
  file.clear();
  if (int64_t(kernel.taps.size()) < count || file >> rest) {
    throw std::runtime_error(path + ": must hold " + std::to_string(count) +
                             " taps of 32 bits after the size");
  }
  const int64_t sum = std::accumulate(kernel.taps.begin(), kernel.taps.end(), int64_t{0});
  if (sum > 0 && sum <= INT32_MAX) kernel.divisor = static_cast<int32_t>(sum);
  return kernel;
}

}  // namespace

FilterKernel kernelNamed(const std::string &name) {
  // Of a larger Gaussian the sum, of a larger box the taps wouldn't fit.
  if (name.rfind("gaussian:", 0) == 0) return gaussian(sizeBehind(name, 8, 11));
  if (name.rfind("box:", 0) == 0) return box(sizeBehind(name, 3, 101));
  if (name == "sharpen") return sharpen();
  if (name == "sobel-x") return sobelX();
  return read(name);
}

int32_t stripWidth(const FilterKernel &kernel) {
  const auto [width, height, depth] = kernel.size;
  const int64_t sum = std::accumulate(kernel.taps.begin(), kernel.taps.end(), int64_t{0});
  const auto [least, largest] = std::minmax_element(kernel.taps.begin(), kernel.taps.end());
  const bool fastForm =
      sum <= 98301 && *least >= -32767 && *largest <= 32766 && width >= 3 && height >= 3 && depth >= 3;
  if (!fastForm || width == 3 || width == 5) return 0;
  return width == 4 || width == 6 || width == 7 || width == 9 ? 16 : 15;
}

}  // namespace vekr_example
