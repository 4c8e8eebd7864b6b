// vekr-volume resize: more voxels, or fewer, for the same millimetres.
#include <algorithm>
#include <array>
#include <cmath>
#include <memory>

#include "arguments.h"
#include "commands.h"
#include "nifti_file.h"
#include "options.h"
#include "standard_streams.h"
#include "vekcore.h"

namespace vekr_example {

namespace {

using Three = std::array<double, 3>;

constexpr int32_t kLargestSide = 32767;  // of a NIfTI file

// A result, and how many of its voxels each voxel of the source becomes.
struct Plan {
  VekrVolumeSize size;
  Three factor;
};

void checkSide(double side) {
  if (!(side <= kLargestSide))
    throw std::runtime_error("the result would have sides of more than 32767 voxels");
}

// What lay at a place in millimetres stays there. Result voxel i has its centre at (i + 1/2) / factor - 1/2 in the source.
void follow(Volume &v, const Three &factor) {
  mat44 toWorld = v.toWorld();
  for (int row = 0; row < 3; ++row) {
    for (int k = 0; k < 3; ++k) {
      const double step = toWorld.m[row][k] / factor[static_cast<size_t>(k)];
      toWorld.m[row][3] += static_cast<float>(0.5 * (step - toWorld.m[row][k]));
      toWorld.m[row][k] = static_cast<float>(step);
    }
  }
  setToWorld(v, toWorld);
}

struct ResizeCommand {
  FileOptions files;
  InterpolationOption interpolation;
  std::vector<double> factor;
  std::string size;
  std::vector<double> spacing;

  // One number for all axes, or one for each.
  static Three three(const std::vector<double> &numbers, const char *option) {
    if (numbers.size() == 2) throw UsageError(std::string(option) + " takes one number or three");
    return numbers.size() == 1 ? Three{numbers[0], numbers[0], numbers[0]}
                               : Three{numbers[0], numbers[1], numbers[2]};
  }

  Three factorsFor(const Volume &v) const {
    if (!factor.empty()) return three(factor, "--factor");
    const Three mm = three(spacing, "--spacing");
    return {std::fabs(v.header->dx) / mm[0], std::fabs(v.header->dy) / mm[1],
            std::fabs(v.header->dz) / mm[2]};
  }

  // A size is met by factors that fill it. Factors are taken as they are, and the size is rounded to whole voxels; what would
  // have none gets one.
  Plan planFor(const Volume &v) const {
    const std::array<int32_t, 3> sides = {v.size.width, v.size.height, v.size.depth};
    std::array<int32_t, 3> result;
    Three factors;
    if (!size.empty()) {
      result = parseSides<3>("--size", size, kLargestSide);
      for (size_t axis = 0; axis < 3; ++axis) factors[axis] = double(result[axis]) / sides[axis];
    } else {
      factors = factorsFor(v);
      for (size_t axis = 0; axis < 3; ++axis) {
        const double side = std::floor(sides[axis] * factors[axis] + 0.5);
        checkSide(side);
        result[axis] = std::max(1, static_cast<int32_t>(side));
        if (side < 1) factors[axis] = 1.0 / sides[axis];
      }
    }
    return {{result[0], result[1], result[2]}, factors};
  }

  // resizeBox(box, buffer) for runs of planes.
  template <class ResizeBox>
  void resize(const Volume &src, const Volume &dst, Stopwatch &stopwatch, const ResizeBox &resizeBox) const {
    std::vector<uint8_t> buffer;
    forPlaneRuns("resize", dst.size.depth, [&](int32_t z, int32_t planes) {
      const VekrVolumeBox box = {0, 0, z, dst.size.width, dst.size.height, planes};
      int32_t bytes = 0;
      check(vekrResizeGetBufSize(boxOf(src), box, 1, interpolation.code, &bytes));
      buffer.resize(static_cast<size_t>(bytes));
      check(stopwatch.time([&] { return resizeBox(box, buffer.data()); }));
    });
  }

  static VekrVolumeBox boxOf(const Volume &v) { return {0, 0, 0, v.size.width, v.size.height, v.size.depth}; }

  // Whether the library's 32-bit counts hold a plane and the work on it.
  static bool isWieldy(VekrVolumeSize size, int32_t threads) {
    constexpr double kSlices = 8, kBytes = 4;
    return kSlices * kBytes * size.width * size.height * threads < INT32_MAX;
  }

  template <class T, class Function>
  void resizeLists(const Function &function, Volume &src, Volume &dst, const Plan &plan,
                   Stopwatch &stopwatch) const {
    const auto from = src.planes<const T>();
    const auto to = dst.planes<T>();
    const Three &f = plan.factor;
    resize(src, dst, stopwatch, [&](VekrVolumeBox box, uint8_t *buffer) {
      return function(from.data(), src.size, src.step(), boxOf(src), to.data(), dst.step(), box, f[0], f[1],
                      f[2], 0, 0, 0, interpolation.code, buffer);
    });
  }

  // The function for blocks of floats is the one that uses threads.
  void resizeFloats(Volume &src, Volume &dst, const Plan &plan, Stopwatch &stopwatch) const {
    const Three &f = plan.factor;
    resize(src, dst, stopwatch, [&](VekrVolumeBox box, uint8_t *buffer) {
      return vekrResize_32f_C1V(src.data<const float>(), src.size, src.step(), src.step() * src.size.height,
                                boxOf(src), dst.data<float>(), dst.step(), dst.step() * dst.size.height, box,
                                f[0], f[1], f[2], 0, 0, 0, interpolation.code, buffer);
    });
  }

  void run() {
    Volume src = files.read();
    const Plan plan = planFor(src);
    const int32_t threads = ownGetNumThreads();
    if (!isWieldy(src.size, 1) || !isWieldy(plan.size, threads))
      throw std::runtime_error("planes are too large");
    Volume dst(src.type, plan.size, src.header.get());
    Stopwatch stopwatch;
    switch (src.type) {
      case VoxelType::u8:
        resizeLists<uint8_t>(vekrResize_8u_C1PV, src, dst, plan, stopwatch);
        break;
      case VoxelType::u16:
        resizeLists<uint16_t>(vekrResize_16u_C1PV, src, dst, plan, stopwatch);
        break;
      case VoxelType::f32:
        resizeFloats(src, dst, plan, stopwatch);
        break;
      case VoxelType::s16:  // as which nothing has been read
        break;
    }
    follow(dst, plan.factor);
    stopwatch.report(dst, std::string("resize, ") + interpolation.name());
    files.write(src, dst);
  }
};

}  // namespace

void addResizeCommand(CLI::App &app) {
  auto options = std::make_shared<ResizeCommand>();
  CLI::App &command = *app.add_subcommand("resize", "Gives a volume more voxels, or fewer");
  options->files.addTo(command);
  options->interpolation.addTo(command);
  CLI::App &by = *command.add_option_group("by", "One of these");
  by.add_option("--factor", options->factor, "FACTOR or X,Y,Z: above 1 enlarges")
      ->delimiter(',')
      ->expected(1, 3)
      ->check(numberFrom(1e-4, 1e4));
  by.add_option("--size", options->size, "WIDTHxHEIGHTxDEPTH in voxels");
  by.add_option("--spacing", options->spacing, "MM or X,Y,Z: millimetres from voxel to voxel")
      ->delimiter(',')
      ->expected(1, 3)
      ->check(numberFrom(1e-4, 1e4));
  by.require_option(1);
  command.callback([options] { options->run(); });
}

}  // namespace vekr_example
