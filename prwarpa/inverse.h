// The matrix of an affine warp: what makes it usable, and its inverse.
#pragma once

#include "vekr.h"

namespace vekr {

// Whether a transform is refused before anything else about the call is looked at: its diagonal is empty, which refuses
// some invertible matrices too, or its lower two rows are dependent. Callers rely on both [C69].
bool isUnusable(const double *pCoeffs);

// Inverts a transform of three rows of four. Returns vekOk, or vekErrCoeff for a determinant too near to 0 [C70].
VekStatus ownrGetInverseMatrix(const double *pCoeffs, double *pInverse);

}  // namespace vekr
