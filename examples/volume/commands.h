// The subcommands of vekr-volume, one file each. Their arguments are read in command_line.cpp; whatever goes wrong is thrown
// with a text of one line, as a UsageError if the arguments can't be meant.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "job.h"
#include "transform_file.h"

namespace vekr_example {

struct WarpCommand {
  FileOptions files;  // .map: the file of a transform or of a matrix
  Interpolation interpolation;
  std::vector<int32_t> region;
  Point rotate = {0, 0, 0}, translate = {0, 0, 0};
  std::vector<double> scale = {1};
  bool mapIsMatrix = false, inverse = false, keepHeader = false;
  TransformKind kind = TransformKind::automatic;
  void run() const;
};

struct RemapCommand {
  FileOptions files;  // .map: the file of a displacement field
  Interpolation interpolation;
  std::vector<int32_t> region;
  std::string deformation = "twist";
  double strength = 1;
  bool fieldIsRas = false;
  void run() const;
};

struct FilterCommand {
  FileOptions files;  // .map: unused
  std::string kernel = "gaussian:3", border = "replicate";
  int32_t divisor = 0;  // 0: the kernel's own
  void run() const;
};

struct ResizeCommand {
  FileOptions files;
  Interpolation interpolation;
  // One of the three is given.
  std::vector<double> factor, spacing;
  std::array<int32_t, 3> size = {0, 0, 0};
  void run() const;
};

constexpr int32_t kLargestSide = 32767;  // of a NIfTI file

}  // namespace vekr_example
