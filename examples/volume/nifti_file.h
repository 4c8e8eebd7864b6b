// NIfTI files, through libnifti.
#pragma once

#include <memory>
#include <string>

#include "volume_file.h"

namespace vekr_example {

std::unique_ptr<VolumeReader> openNifti(const std::string &path);
std::unique_ptr<VolumeWriter> createNifti(const VolumeFile &file, OutputFile &output);

}  // namespace vekr_example
