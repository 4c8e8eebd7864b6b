// Sorting of floats for the library's own use.
#pragma once

#include <cstdint>

#include "vekr.h"

namespace vekr {

// Sorts ascending in place. With NaNs among the values the order is not defined; without them nothing but the
// order of equal values (zeros of different sign) depends on the method.
// Errors: vekErrNullPtr, vekErrSize (a length below 1).
VekStatus veksSortAscend_32f_I(float *pSrcDst, int32_t len);

}  // namespace vekr
