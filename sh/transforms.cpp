// Projection onto the basis and back: the doors.
#include "frame/checks.h"
#include "sh/direct_terms.h"
#include "sh/sh_kernels.h"
#include "sh/state.h"

using namespace vekr;

namespace {

constexpr int kColours = 3;

template <class T>
bool anyNullOfThree(T *const *pointers) {
  return pointers == nullptr || anyNull(pointers[0], pointers[1], pointers[2]);
}

// What is left to check behind the null pointers, in its order.
VekStatus checkCounts(int32_t N, uint32_t L, const VekrSHState *pState) {
  if (N == 0) return vekErrSize;
  return L > maxBandOf(pState) ? vekErrBadArg : vekOk;
}

// Whether there is a basis to transform with. A recurrent state of more bands than can be evaluated, or a block that
// is no state, is not refused: such a call does nothing [C56].
bool findBasis(const VekrSHState *pState, uint32_t L, Basis &basis) {
  if (L > static_cast<uint32_t>(kHighestBand)) return false;
  basis = {L, nullptr, nullptr};
  if (typeOf(pState) == vekrSHDirect) return true;
  if (typeOf(pState) != vekrSHRecurrent) return false;
  basis.recurrenceA = recurrenceAOf(pState);
  basis.recurrenceB = recurrenceBOf(pState);
  return true;
}

VekStatus forward(const Directions &directions, const Channel<const float> *samples, float *const *pCoeff,
                  int channels, uint32_t L, const VekrSHState *pState) {
  const VekStatus status = checkCounts(directions.count, L, pState);
  Basis basis;
  if (status != vekOk || directions.count < 1 || !findBasis(pState, L, basis)) return status;
  VEKR_DISPATCH(ownSHForward_32f)(basis, directions, samples, pCoeff, channels);
  return vekOk;
}

VekStatus inverse(const float *const *pCoeff, uint32_t L, const Directions &directions,
                  const Channel<float> *values, int channels, const VekrSHState *pState) {
  const VekStatus status = checkCounts(directions.count, L, pState);
  Basis basis;
  if (status != vekOk || directions.count < 1 || !findBasis(pState, L, basis)) return status;
  VEKR_DISPATCH(ownSHInverse_32f)(basis, directions, pCoeff, values, channels);
  return vekOk;
}

}  // namespace

VekStatus vekrSHTFwd_32f_C1I(const float *pX, const float *pY, const float *pZ, const float *pSrc, int32_t N,
                             float *pCoeff, uint32_t L, const VekrSHState *pState) {
  if (anyNull(pX, pY, pZ, pSrc, pCoeff, pState)) return vekErrNullPtr;
  const Channel<const float> samples = {pSrc, 1};
  return forward({pX, pY, pZ, N}, &samples, &pCoeff, 1, L, pState);
}

VekStatus vekrSHTFwd_32f_C3P3I(const float *pX, const float *pY, const float *pZ, const float *pSrc,
                               int32_t N, float *const *pCoeff, uint32_t L, const VekrSHState *pState) {
  if (anyNull(pX, pY, pZ, pSrc, pState) || anyNullOfThree(pCoeff)) return vekErrNullPtr;
  const Channel<const float> samples[kColours] = {{pSrc, 3}, {pSrc + 1, 3}, {pSrc + 2, 3}};
  return forward({pX, pY, pZ, N}, samples, pCoeff, kColours, L, pState);
}

VekStatus vekrSHTFwd_32f_P3I(const float *pX, const float *pY, const float *pZ, const float *const *pSrc,
                             int32_t N, float *const *pCoeff, uint32_t L, const VekrSHState *pState) {
  if (anyNull(pX, pY, pZ, pState) || anyNullOfThree(pSrc) || anyNullOfThree(pCoeff)) return vekErrNullPtr;
  const Channel<const float> samples[kColours] = {{pSrc[0], 1}, {pSrc[1], 1}, {pSrc[2], 1}};
  return forward({pX, pY, pZ, N}, samples, pCoeff, kColours, L, pState);
}

VekStatus vekrSHTInv_32f_C1(const float *pCoeff, uint32_t L, const float *pX, const float *pY,
                            const float *pZ, float *pDst, int32_t N, const VekrSHState *pState) {
  if (anyNull(pCoeff, pX, pY, pZ, pDst, pState)) return vekErrNullPtr;
  const Channel<float> values = {pDst, 1};
  return inverse(&pCoeff, L, {pX, pY, pZ, N}, &values, 1, pState);
}

VekStatus vekrSHTInv_32f_P3(const float *const *pCoeff, uint32_t L, const float *pX, const float *pY,
                            const float *pZ, float *const *pDst, int32_t N, const VekrSHState *pState) {
  if (anyNull(pX, pY, pZ, pState) || anyNullOfThree(pCoeff) || anyNullOfThree(pDst)) return vekErrNullPtr;
  const Channel<float> values[kColours] = {{pDst[0], 1}, {pDst[1], 1}, {pDst[2], 1}};
  return inverse(pCoeff, L, {pX, pY, pZ, N}, values, kColours, pState);
}

VekStatus vekrSHTInv_32f_P3C3(const float *const *pCoeff, uint32_t L, const float *pX, const float *pY,
                              const float *pZ, float *pDst, int32_t N, const VekrSHState *pState) {
  if (anyNull(pX, pY, pZ, pDst, pState) || anyNullOfThree(pCoeff)) return vekErrNullPtr;
  const Channel<float> values[kColours] = {{pDst, 3}, {pDst + 1, 3}, {pDst + 2, 3}};
  return inverse(pCoeff, L, {pX, pY, pZ, N}, values, kColours, pState);
}
