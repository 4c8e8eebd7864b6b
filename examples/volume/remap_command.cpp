// vekr-volume remap: deforms a volume by coordinate maps, for demonstration.
#include <algorithm>
#include <array>
#include <cmath>
#include <memory>

#include "arguments.h"
#include "commands.h"
#include "options.h"

namespace vekr_example {

namespace {

struct Point {
  double x, y, z;
};

// Deformations of a cube from -1 to 1 in each axis: where the result at a point comes from.
Point twisted(Point p, double strength) {
  const double angle = strength * p.z, c = std::cos(angle), s = std::sin(angle);
  return {c * p.x - s * p.y, s * p.x + c * p.y, p.z};
}

Point waved(Point p, double strength) {
  constexpr double kWaves = 3 * 3.14159265358979;
  const double shift = 0.1 * strength;
  return {p.x + shift * std::sin(kWaves * p.y), p.y + shift * std::sin(kWaves * p.z),
          p.z + shift * std::sin(kWaves * p.x)};
}

Point bulged(Point p, double strength) {
  const double r = std::sqrt(p.x * p.x + p.y * p.y + p.z * p.z);
  const double factor = 1 - 0.5 * strength * std::exp(-4 * r * r);
  return {factor * p.x, factor * p.y, factor * p.z};
}

using Deformation = Point (*)(Point, double);

// The maps of a run of planes; rows are dense.
class Maps {
 public:
  Maps(VekrVolumeSize size, int32_t planes)
      : size_(size), voxels_(static_cast<size_t>(size.width) * static_cast<size_t>(size.height)) {
    for (size_t axis = 0; axis < 3; ++axis) {
      coordinates_[axis].resize(voxels_ * static_cast<size_t>(planes));
      for (int32_t k = 0; k < planes; ++k) {
        lists_[axis].push_back(coordinates_[axis].data() + static_cast<size_t>(k) * voxels_);
      }
    }
  }

  // Those of the planes from z on.
  void fill(int32_t z, int32_t planes, Deformation deformation, double strength) {
    const double half[3] = {(size_.width - 1) / 2.0, (size_.height - 1) / 2.0, (size_.depth - 1) / 2.0};
    const auto unit = [&](int axis, int32_t i) { return half[axis] > 0 ? (i - half[axis]) / half[axis] : 0; };
    size_t at = 0;
    for (int32_t k = z; k < z + planes; ++k) {
      for (int32_t j = 0; j < size_.height; ++j) {
        for (int32_t i = 0; i < size_.width; ++i, ++at) {
          const Point from = deformation({unit(0, i), unit(1, j), unit(2, k)}, strength);
          coordinates_[0][at] = static_cast<float>(half[0] + half[0] * from.x);
          coordinates_[1][at] = static_cast<float>(half[1] + half[1] * from.y);
          coordinates_[2][at] = static_cast<float>(half[2] + half[2] * from.z);
        }
      }
    }
  }

  const float *const *list(size_t axis) const { return lists_[axis].data(); }
  int32_t step() const { return size_.width * static_cast<int32_t>(sizeof(float)); }

 private:
  VekrVolumeSize size_;
  size_t voxels_;
  std::array<std::vector<float>, 3> coordinates_;
  std::array<std::vector<const float *>, 3> lists_;
};

struct RemapCommand {
  FileOptions files;
  InterpolationOption interpolation;
  RegionOption region;
  std::string deformation = "twist";
  double strength = 1;

  template <class T, class Remap>
  void remap(const Remap &function, Volume &src, Volume &dst, Stopwatch &stopwatch) const {
    const Deformation chosen = deformation == "twist" ? twisted : deformation == "waves" ? waved : bulged;
    const auto from = src.planes<const T>();
    const auto to = dst.planes<T>();
    Maps maps(dst.size, std::min(kPlanesAtOnce, dst.size.depth));
    forPlaneRuns("remap", dst.size.depth, [&](int32_t z, int32_t planes) {
      maps.fill(z, planes, chosen, strength);
      check(stopwatch.time([&] {
        return function(from.data(), src.size, src.step(), region.boxOf(src), maps.list(0), maps.list(1),
                        maps.list(2), maps.step(), to.data() + z, dst.step(),
                        {dst.size.width, dst.size.height, planes}, interpolation.code);
      }));
    });
  }

  void run() {
    Volume src = files.read();
    Volume dst(src.type, src.size, src.header.get());
    Stopwatch stopwatch;
    switch (src.type) {
      case VoxelType::u8:
        remap<uint8_t>(vekrRemap_8u_C1PV, src, dst, stopwatch);
        break;
      case VoxelType::u16:
        remap<uint16_t>(vekrRemap_16u_C1PV, src, dst, stopwatch);
        break;
      case VoxelType::f32:
        remap<float>(vekrRemap_32f_C1PV, src, dst, stopwatch);
        break;
      case VoxelType::s16:  // as which nothing has been read
        break;
    }
    stopwatch.report(dst, "remap, " + deformation + ", " + interpolation.name());
    files.write(src, dst);
  }
};

}  // namespace

void addRemapCommand(CLI::App &app) {
  auto options = std::make_shared<RemapCommand>();
  CLI::App &command = *app.add_subcommand("remap", "Deforms a volume by coordinate maps");
  options->files.addTo(command);
  options->interpolation.addTo(command);
  options->region.addTo(command);
  command.add_option("--deformation", options->deformation, "twist (default), waves or bulge")
      ->check(CLI::IsMember({"twist", "waves", "bulge"}));
  command
      .add_option("--strength", options->strength, "How much of it; 1 by default, negative for the other way")
      ->check(numberFrom(-1000, 1000));
  command.callback([options] { options->run(); });
}

}  // namespace vekr_example
