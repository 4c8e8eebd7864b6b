// A picture of a volume before and after.
#pragma once

#include "output_file.h"
#include "volume.h"

namespace vekr_example {

// Three orthogonal slices through the middle, before in the upper row and after in the lower one, in true proportions and
// with the same grey for the same value.
void writePreview(const Volume &before, const Volume &after, OutputFile &output);

}  // namespace vekr_example
