// Affine transforms of millimetres from text files.
#pragma once

#include <string>

#include "volume.h"

namespace vekr_example {

// itk: .tfm or .txt as the Insight toolkit writes them, of points of the result to points of the source, x to the left and y
// to the back. fsl: a .mat of flirt, from source to result. world: three or four rows of four numbers, from source to result,
// x to the right and y to the front. automatic: by what the file says and by its ending.
enum class TransformKind { automatic, itk, fsl, world };

// From millimetres of the source to those of the result, x to the right, y to the front, z upwards. Throws
// std::runtime_error with one line that names the file.
Affine readTransform(const std::string &path, TransformKind kind, const Grid &source, const Grid &result);

// Three rows of four numbers or four rows, whatever they map.
Affine readMatrix(const std::string &path);

}  // namespace vekr_example
