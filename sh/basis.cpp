// Evaluation of all bands: the door and its two evaluators.
#include "sh/basis.h"

#include "frame/checks.h"
#include "sh/direct_terms.h"
#include "sh/sh_kernels.h"
#include "sh/state.h"

using namespace vekr;

namespace {

VekStatus evaluate(const Basis &basis, const Directions &directions, float *pDst) {
  if (basis.highest > static_cast<uint32_t>(kHighestBand)) return vekErrBadArg;
  if (directions.count < 1) return vekOk;
  VEKR_DISPATCH(ownSHBasis_32f)(basis, directions, pDst);
  return vekOk;
}

}  // namespace

VekStatus vekr::ownrSH15direct_32f(const float *pX, const float *pY, const float *pZ, int32_t N, float *pDst,
                                   uint32_t L) {
  return evaluate({L, nullptr, nullptr}, {pX, pY, pZ, N}, pDst);
}

VekStatus vekr::ownrSHrecurr_32f(const float *pRecurA, const float *pRecurB, const float *pX, const float *pY,
                                 const float *pZ, int32_t N, float *pDst, uint32_t L) {
  return evaluate({L, pRecurA, pRecurB}, {pX, pY, pZ, N}, pDst);
}

VekStatus vekrSH_32f(const float *pX, const float *pY, const float *pZ, int32_t N, float *pDst, uint32_t L,
                     const VekrSHState *pState) {
  if (anyNull(pX, pY, pZ, pDst, pState)) return vekErrNullPtr;
  if (N == 0) return vekErrSize;
  if (L > maxBandOf(pState)) return vekErrBadArg;
  switch (typeOf(pState)) {
    case vekrSHDirect:
      return ownrSH15direct_32f(pX, pY, pZ, N, pDst, L);
    case vekrSHRecurrent:
      return ownrSHrecurr_32f(recurrenceAOf(pState), recurrenceBOf(pState), pX, pY, pZ, N, pDst, L);
    default:
      return vekErrBadArg;
  }
}
