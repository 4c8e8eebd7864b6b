// One-dimensional copies, clears, sums and products for the library's own use. Every routine looks for null pointers
// first (vekErrNullPtr), then for a length below 1 (vekErrSize); callers may rely on a call with nothing to do being
// harmless, and ignore the status [C96]. Nothing is promised for overlapping arrays.
//
// The spherical harmonics call most of them. Three have no caller and stand all the same:
//   veksDotProd_32f   tells the order of sums of the inverse transform. The transform has the functions of a group of
//                     directions side by side and keeps this order in every lane (sh/transform_kernels.cpp); a call for
//                     each direction would have to turn them round first
//   veksMulC_32f_I    one channel of the forward transform, which multiplies and adds in registers for the same reason
//   veksCopy_32s      lists of triangles: the tree builder's may be longer than its byte count can tell
#pragma once

#include <cstdint>

#include "vekr.h"

namespace vekr {

VekStatus veksCopy_32f(const float *pSrc1, float *pDst, int32_t len);
VekStatus veksCopy_32s(const int32_t *pSrc1, int32_t *pDst, int32_t len);
VekStatus veksZero_16s(int16_t *pDst, int32_t len);
VekStatus veksZero_32f(float *pDst, int32_t len);

// pSrcDst[i] += pSrc1[i]
VekStatus veksAdd_32f_I(const float *pSrc1, float *pSrcDst, int32_t len);

// Sum of pSrc1[i] * pSrc2[i], in float. The order of the sum, and so its last bits, depend on the length and on
// whether both arrays reach a 16-byte boundary at the same element: see the definition.
VekStatus veksDotProd_32f(const float *pSrc1, const float *pSrc2, int32_t len, float *pDp);

// pDst[i] = pSrc1[i] * val. A `val` of 1 copies; a `val` of 0 or -0 clears, also where the source holds a NaN or an
// infinity.
VekStatus veksMulC_32f(const float *pSrc1, float val, float *pDst, int32_t len);
VekStatus veksMulC_32f_I(float val, float *pSrcDst, int32_t len);

}  // namespace vekr
