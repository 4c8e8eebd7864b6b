// The common front of the resize functions: the tests of their arguments, and the region to write.
#pragma once

#include <cstdint>

#include "vekr.h"
#include "volume/interpolation.h"

namespace vekr {

struct ResizeFactors {
  double x, y, z;
};

struct VekrResizeParams {
  double xInvFactor, yInvFactor, zInvFactor;  // 1 / factor
  double xInvShift, yInvShift, zInvShift;     // (0 - shift) / factor
  int32_t xBegin, yBegin, zBegin;             // in the destination
  int32_t xEnd, yEnd, zEnd;                   // exclusive
  int32_t width, height, depth;               // end - begin
};

// What callers of all six functions give, but for the steps.
struct ResizeArguments {
  const void *pSrc;  // a block or a list
  VekrVolumeSize srcSize;
  VekrVolumeBox srcBox;
  const void *pDst;
  VekrVolumeBox dstBox;
  ResizeFactors factors, shifts;
  int32_t interpolation;
  uint8_t *pBuffer;
};

// Anything but vekOk ends the call. pSrc and pDst are tested as plain pointers in both forms: entries of a list aren't
// looked at.
VekStatus ownrPreludeToResize(const ResizeArguments &arguments, VekrResizeParams *pParams);

// Bytes of work buffer for one thread, in 32 bits that wrap [C84].
int32_t ownResizeBufferBytes(VekrVolumeBox dstBox, const InterpolationKind &kind);

// Whether such a buffer holds what the region needs. Always, unless the size of an enormous box has wrapped.
bool fitsBuffer(const VekrResizeParams &region, const InterpolationKind &kind, int32_t bytes);

}  // namespace vekr
