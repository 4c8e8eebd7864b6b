// Headers of NIfTI files as they stand in the file, before libnifti puts in order what it finds wrong and says nothing.
#pragma once

#include <nifti1_io.h>

#include <string>

namespace vekr_example {

// What of a header can't be used and is replaced, each with a warning on stderr.
struct HeaderMends {
  bool voxelOffset = false;  // 0 in a file that is header and voxels in one: voxels follow the header
  bool qform = false;        // no rotation, or not finite: left out
  bool sform = false;        // not finite, or singular: left out
};

// Reads the header and judges it. Throws std::runtime_error with one line if it can't be used: not of NIfTI-1, a side
// below 1, a type that disagrees with its bits, voxels at no place of the file.
HeaderMends judgeHeader(const std::string &path);

// Does to a header that libnifti has read what judgeHeader() has announced.
void mend(nifti_image &header, const HeaderMends &mends);

}  // namespace vekr_example
