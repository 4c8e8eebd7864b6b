#include "prresize/params.h"

#include "frame/checks.h"
#include "frame/integer.h"
#include "prresize/mapping.h"
#include "volume/region.h"

namespace vekr {

namespace {

// A voxel belongs to the region if its centre, d + 0.5, lies in the closed interval from low to high. The two constants
// take in a centre that a rounded product misses by a hair [C82].
constexpr double kRoundBegin = 0.4999999999;  // 0x3FDFFFFFFFE48320
constexpr double kRoundEnd = 0.5000000001;    // 0x3FE00000000DBE70

struct Span {
  int32_t begin, end;
};

// Comparisons are written so that a NaN leaves the destination's box in charge: nothing beyond it is ever written [C83].
Span destinationSpan(int32_t srcSize, int32_t srcFirst, int32_t srcLength, int32_t dstFirst,
                     int32_t dstLength, double factor, double shift) {
  const int32_t last = clippedLast(srcFirst, srcLength, srcSize) + 1;
  const double imageLow = srcFirst * factor + shift, imageHigh = last * factor + shift;
  const double boxLow = dstFirst, boxHigh = static_cast<double>(dstFirst) + dstLength;
  const double low = imageLow > boxLow ? imageLow : boxLow;
  const double high = imageHigh < boxHigh ? imageHigh : boxHigh;
  return {truncatedInt(kRoundBegin + low), truncatedInt(kRoundEnd + high)};
}

bool isEmpty(Span span) { return span.end <= span.begin; }

}  // namespace

VekStatus ownrPreludeToResize(const ResizeArguments &arguments, VekrResizeParams *pParams) {
  const VekrVolumeSize srcSize = arguments.srcSize;
  const VekrVolumeBox srcBox = arguments.srcBox, dstBox = arguments.dstBox;
  const ResizeFactors factors = arguments.factors, shifts = arguments.shifts;
  if (anyNull(arguments.pSrc, arguments.pDst, arguments.pBuffer)) {
    return vekErrNullPtr;
  }
  if (isEmpty(srcSize) || isUnfit(srcBox) || isUnfit(dstBox)) return vekErrSize;
  if (factors.x <= 0 || factors.y <= 0 || factors.z <= 0) return vekErrResizeFactor;
  if (interpolationOf(arguments.interpolation) == nullptr) return vekErrInterpolation;
  if (!overlaps(srcBox, srcSize)) return vekWarnNoOverlap;

  const Span x =
      destinationSpan(srcSize.width, srcBox.x, srcBox.width, dstBox.x, dstBox.width, factors.x, shifts.x);
  const Span y =
      destinationSpan(srcSize.height, srcBox.y, srcBox.height, dstBox.y, dstBox.height, factors.y, shifts.y);
  const Span z =
      destinationSpan(srcSize.depth, srcBox.z, srcBox.depth, dstBox.z, dstBox.depth, factors.z, shifts.z);
  if (isEmpty(x) || isEmpty(y) || isEmpty(z)) return vekWarnNoVoxels;

  *pParams = {1 / factors.x,
              1 / factors.y,
              1 / factors.z,
              (0 - shifts.x) / factors.x,
              (0 - shifts.y) / factors.y,
              (0 - shifts.z) / factors.z,
              x.begin,
              y.begin,
              z.begin,
              x.end,
              y.end,
              z.end,
              x.end - x.begin,
              y.end - y.begin,
              z.end - z.begin};
  return vekOk;
}

namespace {

// Sizes in elements of four bytes, whatever the voxel type. In 32 bits they wrap as the caller's int does.
template <class UInt>
constexpr UInt roundedUp(UInt n, UInt multiple) {
  return (n + multiple - 1) & ~(multiple - 1);
}
template <class UInt>
constexpr UInt linearRoom(UInt n) {
  return (n + 127) & ~UInt{63};
}
template <class UInt>
constexpr UInt cubicRoom(UInt n) {
  return (n + 255) & ~UInt{63};
}
constexpr uint32_t kElement = 4;
constexpr uint32_t kSlack = 64;  // bytes, for a buffer at any address

template <class UInt>
UInt bufferBytes(int32_t width, int32_t height, int32_t depth, Sampling sampling) {
  const UInt w = static_cast<uint32_t>(width), h = static_cast<uint32_t>(height),
             d = static_cast<uint32_t>(depth);
  UInt elements = roundedUp<UInt>(w, 16) + roundedUp<UInt>(h, 16) + roundedUp<UInt>(d, 16);
  if (sampling != Sampling::nearest) {
    elements += roundedUp<UInt>(w, 64) + roundedUp<UInt>(h, 64) + roundedUp<UInt>(d, 64);
  }
  if (sampling == Sampling::linear) {
    elements += linearRoom(2 * w) + 2 * h * roundedUp<UInt>(w, 64) + linearRoom(8 * (w + h));
  } else if (sampling == Sampling::cubic) {
    elements += cubicRoom(4 * w) + 4 * h * roundedUp<UInt>(w, 64) + cubicRoom(4 * w) + cubicRoom(4 * h) +
                cubicRoom(4 * d) + cubicRoom(48 * (w + h));
  }
  return kElement * elements + kSlack;
}

}  // namespace

int32_t ownResizeBufferBytes(VekrVolumeBox dstBox, const InterpolationKind &kind) {
  return static_cast<int32_t>(
      bufferBytes<uint32_t>(dstBox.width, dstBox.height, dstBox.depth, kind.sampling));
}

bool fitsBuffer(const VekrResizeParams &region, const InterpolationKind &kind, int32_t bytes) {
  const uint64_t needed = bufferBytes<uint64_t>(region.width, region.height, region.depth, kind.sampling);
  return bytes > 0 && needed <= static_cast<uint64_t>(bytes);
}

}  // namespace vekr
