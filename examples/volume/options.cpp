#include "options.h"

#include <cstdint>
#include <cstdio>
#include <map>

#include "arguments.h"
#include "nifti_file.h"
#include "preview.h"
#include "standard_streams.h"
#include "vekcore.h"

namespace vekr_example {

namespace {

const std::map<std::string, int32_t> kCodes = {{"nearest", vekrInterNearest},
                                               {"linear", vekrInterLinear},
                                               {"lagrange", vekrInterCubicLagrange},
                                               {"bspline", vekrInterCubicBSpline},
                                               {"catmull-rom", vekrInterCubicCatmullRom},
                                               {"mitchell", vekrInterCubicMitchell}};

}  // namespace

void FileOptions::addTo(CLI::App &command) {
  command.add_option("IN", in, "NIfTI volume, .nii or .nii.gz")->required();
  command.add_option("OUT", out, "NIfTI volume to write, .nii or .nii.gz; may be IN")
      ->required()
      ->check([](const std::string &name) {
        return endingOf(name).empty() ? name + " must end in .nii or .nii.gz" : "";
      });
  command.add_option("--preview", preview, "PNG to write: three middle slices, before above after")
      ->check(notEmpty);
  addThreadsOption(command, threads);
}

Volume FileOptions::read(Keep16s keep) {
  refuseSameFiles({{"IN", in}, {"OUT", out}}, {{"--preview", preview}});
  volume_.emplace(out, endingOf(out));
  picture_.emplace(preview);
  vekSetNumThreads(threads);
  return readVolume(in, keep);
}

void FileOptions::write(const Volume &before, const Volume &after) {
  writeVolume(after, *volume_);
  if (picture_->wanted()) writePreview(before, after, *picture_);
  finishStandardOutput();
  if (picture_->wanted()) picture_->commit();
  volume_->commit();
}

void InterpolationOption::addTo(CLI::App &command) {
  command
      .add_option_function<std::string>(
          "--interpolation", [this](const std::string &name) { code = kCodes.at(name); },
          "nearest, linear (default), lagrange, bspline, catmull-rom or mitchell")
      ->check(CLI::IsMember({"nearest", "linear", "lagrange", "bspline", "catmull-rom", "mitchell"}));
}

const char *InterpolationOption::name() const {
  for (const auto &[name, value] : kCodes) {
    if (value == code) return name.c_str();
  }
  return "";
}

void RegionOption::addTo(CLI::App &command) {
  command
      .add_option("--region", numbers,
                  "X,Y,Z,WIDTH,HEIGHT,DEPTH: the voxels of the source that may be used; all by default")
      ->delimiter(',')
      ->expected(6)
      ->check(CLI::Range(0, INT32_MAX));
}

VekrVolumeBox RegionOption::boxOf(const Volume &volume) const {
  if (numbers.empty()) return {0, 0, 0, volume.size.width, volume.size.height, volume.size.depth};
  if (*std::min_element(numbers.begin() + 3, numbers.end()) < 1)
    throw UsageError("--region takes sides of 1 or more");
  return {numbers[0], numbers[1], numbers[2], numbers[3], numbers[4], numbers[5]};
}

void check(VekStatus status) {
  switch (status) {
    case vekOk:
      return;
    case vekWarnNoOverlap:
      throw std::runtime_error("the region doesn't overlap the volume");
    case vekWarnNoVoxels:
      throw std::runtime_error("nothing of the volume is left");
    case vekErrCoeff:
      throw std::runtime_error("the matrix is singular, or nearly so");
    case vekErrSize:
      throw std::runtime_error("a size is below 1 or an origin below 0");
    case vekErrResizeFactor:
      throw std::runtime_error("a factor is not positive");
    default:
      throw std::runtime_error("the library refuses the arguments (status " + std::to_string(status) + ")");
  }
}

void Stopwatch::report(const Volume &made, const std::string &how) const {
  std::printf("%s: %d x %d x %d voxels (%s) in %.3f s, %.0f million a second\n", how.c_str(), made.size.width,
              made.size.height, made.size.depth, nameOf(made.type), seconds_,
              static_cast<double>(made.count()) / seconds_ * 1e-6);
}

}  // namespace vekr_example
