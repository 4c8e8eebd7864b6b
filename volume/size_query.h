// The tests of the work-buffer queries, in the one order that all of them have.
#pragma once

#include "frame/checks.h"
#include "vekr.h"
#include "volume/interpolation.h"
#include "volume/region.h"

namespace vekr {

// What every query tests; anything but vekOk ends it, and leaves *pSize alone. `anyUnfit` tells of its sizes or boxes.
constexpr VekStatus sizeQueryStatus(const int32_t *pSize, bool anyUnfit, int32_t nChannel) {
  if (anyNull(pSize)) return vekErrNullPtr;
  if (anyUnfit) return vekErrSize;
  return nChannel == 1 ? vekOk : vekErrChannel;
}

// A query of a family that interpolates from box to box. bytes(kind) is the answer.
template <class Bytes>
VekStatus answerBoxQuery(VekrVolumeBox srcBox, VekrVolumeBox dstBox, int32_t nChannel, int32_t interpolation,
                         int32_t *pSize, const Bytes &bytes) {
  const VekStatus status = sizeQueryStatus(pSize, isUnfit(srcBox) || isUnfit(dstBox), nChannel);
  if (status != vekOk) return status;
  const InterpolationKind *const kind = interpolationOf(interpolation);
  if (kind == nullptr) return vekErrInterpolation;
  *pSize = bytes(*kind);
  return vekOk;
}

}  // namespace vekr
