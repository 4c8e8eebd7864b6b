// NIfTI files, through libnifti.
#pragma once

#include <string>

#include "output_file.h"
#include "volume.h"

namespace vekr_example {

// Whether 16s voxels stay what they are.
enum class Keep16s { no, yes };

// Reads a volume. Voxels of other types than 8u, 16u and 32f are converted to 32f, with a note on stderr.
Volume readVolume(const std::string &path, Keep16s keep = Keep16s::no);

// Writes a volume; the caller commits the file, which has been made with the ending of its name.
void writeVolume(const Volume &volume, OutputFile &output);

// The ending of a NIfTI file that can be written, .nii or .nii.gz; empty if the path has none of them.
std::string endingOf(const std::string &path);

// Gives the header a new map from voxels to millimetres, and the voxel sizes that follow from it. Throws if a
// header can't hold it.
void setToWorld(Volume &volume, const mat44 &toWorld);

}  // namespace vekr_example
