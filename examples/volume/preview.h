// A picture of a volume before and after.
#pragma once

#include "output_file.h"
#include "volume.h"

namespace vekr_example {

// Three orthogonal slices through the middle, before in the upper row and after in the lower one, in true proportions and
// with the same grey for the same value. If wanted, a third row with what has changed at each place in millimetres: nothing
// is middle grey, brighter is more.
void writePreview(const Volume &before, const Volume &after, bool withDifference, OutputFile &output);

}  // namespace vekr_example
