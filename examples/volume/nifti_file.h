// NIfTI files, through libnifti.
#pragma once

#include <string>

#include "volume.h"

namespace vekr_example {

// Reads a volume. Voxels of other types than 8u, 16u and 32f are converted to 32f, with a note on stderr.
Volume readVolume(const std::string &path);

// Writes beside `path` and renames, so that nobody ever sees half a file.
void writeVolume(const Volume &volume, const std::string &path);

// Whether a path ends as a NIfTI file that can be written: .nii or .nii.gz.
bool isWritableName(const std::string &path);

// Gives the header a new map from voxels to millimetres, and the voxel sizes that follow from it.
void setToWorld(Volume &volume, const mat44 &toWorld);

}  // namespace vekr_example
