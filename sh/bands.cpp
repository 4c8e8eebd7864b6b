// Evaluation of one band: the door.
#include "frame/checks.h"
#include "sh/direct_terms.h"
#include "sh/sh_kernels.h"

using namespace vekr;

VekStatus vekrSHBand_32f(const float *pX, const float *pY, const float *pZ, int32_t N, float *pDst,
                         uint32_t L) {
  if (anyNull(pX, pY, pZ, pDst)) return vekErrNullPtr;
  if (L > static_cast<uint32_t>(kHighestBand)) return vekErrBadArg;  // before the count [C57]
  if (N == 0) return vekErrSize;
  if (N < 1) return vekOk;
  VEKR_DISPATCH(ownSHBand_32f)(L, {pX, pY, pZ, N}, pDst);
  return vekOk;
}
