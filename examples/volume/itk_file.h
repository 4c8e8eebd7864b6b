// Files that the module of the Insight toolkit reads and writes, where it has been built: NRRD, MetaImage, TIFF, DICOM.
#pragma once

#include <memory>
#include <string>

#include "volume_file.h"

namespace vekr_example {

// Whether the path names such a file, by its ending or as a folder; whether or not there is the module.
bool isItkFile(const std::string &path);

std::unique_ptr<VolumeReader> openItk(const std::string &path);
std::unique_ptr<VolumeWriter> createItk(const VolumeFile &file, OutputFile &output);

}  // namespace vekr_example
