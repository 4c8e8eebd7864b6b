// Between vekr-volume and its module, which alone knows the Insight toolkit: plain data, and two functions that the program
// looks up by name.
#pragma once

#include <cstdint>

namespace vekr_example {

// Millimetres count to the left, to the back and upwards. Voxels are dense: x fastest, then y, z, frames, components.
struct ItkVolume {
  int32_t datatype;  // as NIfTI counts them
  int32_t voxelBytes;
  int32_t sides[4];  // the last one: frames
  int32_t components;
  double origin[3], spacing[3];
  double direction[9];  // three rows; a column for each axis of the voxels
  char reason[256];     // why something failed
};

// Reads a volume, or the DICOM series of a folder, and writes its voxels into an open file. Returns whether that was done;
// otherwise the reason is told.
using ItkRead = bool(const char *path, ItkVolume *volume, int descriptor);
// Writes a volume in the format that its path ends in.
using ItkWrite = bool(const char *path, ItkVolume *volume, const void *voxels);

constexpr const char *kItkRead = "vekrItkRead", *kItkWrite = "vekrItkWrite";

}  // namespace vekr_example
