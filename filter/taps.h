// The filter's taps: which form they lead to, and how they lie in the work buffer.
//
// In the buffer taps are 16-bit and mirrored: from the last tap of the caller's kernel to the first, so that they meet
// rising source coordinates. A kernel row is a run of groups of eight words; a group is one pair of taps, four times, as
// the multiply-add of word pairs wants it. An odd row's last group is (tap, 0). Rows follow each other without gaps.
#pragma once

#include <cstdint>

#include "vekr.h"

namespace vekr {

constexpr int32_t kGroupWords = 8;

// A kernel as callers give it: taps lie row by row without gaps.
struct FilterKernel {
  const int32_t *taps;
  VekrVolumeSize size;

  int64_t tapCount() const { return int64_t{size.width} * size.height * size.depth; }
};

// The same as it lies in the work buffer.
struct TapRows {
  const int16_t *groups;  // 16-byte aligned
  int32_t width, height, depth;

  int32_t rowWords() const { return (width + 1) / 2 * kGroupWords; }
};

// The work buffer, from its first 16-byte boundary on: the taps; one empty group; the sums of a destination row. The
// room that vekrFilterGetBufSize tells is twice that of the taps, which covers the empty group and the boundary.
struct WorkBuffer {
  int16_t *groups;
  int32_t *sums;
};

WorkBuffer workBufferAt(uint8_t *pBuffer, VekrVolumeSize kernelSize);

// What vekrFilterGetBufSize tells; wraps in 32 bits [C81].
int32_t bufferBytes(int32_t dstWidth, VekrVolumeSize kernelSize);

// The forms of a call. Both wide ones sum in 64 bits and give the same voxels.
enum class Form {
  wrapping,   // pairs of 16-bit taps, summed in 32 bits
  widePairs,  // pairs of 16-bit taps
  wide        // any
};

Form formOf(int32_t dstWidth, const FilterKernel &kernel);

// Writes taps of the forms with pairs, and the empty group behind them.
TapRows ownPrepareTaps_32s16s(const FilterKernel &kernel, int16_t *groups);

}  // namespace vekr
