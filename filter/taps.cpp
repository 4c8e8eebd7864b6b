#include "filter/taps.h"

#include "frame/lanes.h"

namespace vekr {

namespace {

constexpr int64_t kLargestTapSum = 3 * 32767;  // and no least one [C76]
// Callers rely on these limits as they are: one inside those of the type on either side [C75].
constexpr int32_t kLeastTap = -32767;
constexpr int32_t kLargestTap = 32766;
constexpr int32_t kLeastWidth = 16;
constexpr int32_t kLeastKernel = 3;
// As many pairs as a wide sum takes at once, were every one of them half empty.
constexpr int64_t kMostPairedTaps = 1 << 16;

constexpr uint32_t raised(uint32_t bytes) { return (bytes + 15) & ~15u; }

int64_t rowWords(VekrVolumeSize kernelSize) {
  return (static_cast<int64_t>(kernelSize.width) + 1) / 2 * kGroupWords;
}

}  // namespace

WorkBuffer workBufferAt(uint8_t *pBuffer, VekrVolumeSize kernelSize) {
  const auto address = reinterpret_cast<uintptr_t>(pBuffer);
  auto *const groups = reinterpret_cast<int16_t *>(pBuffer + ((16 - address % 16) % 16));
  const int64_t words = rowWords(kernelSize) * kernelSize.height * kernelSize.depth;
  return {groups, reinterpret_cast<int32_t *>(groups + words + kGroupWords)};
}

int32_t bufferBytes(int32_t dstWidth, VekrVolumeSize kernelSize) {
  const uint32_t evenWidth = (static_cast<uint32_t>(kernelSize.width) + 1) & ~1u;
  const uint32_t taps = raised(evenWidth * 8) * static_cast<uint32_t>(kernelSize.height) *
                        static_cast<uint32_t>(kernelSize.depth);
  const uint32_t row = raised(static_cast<uint32_t>(dstWidth));
  return static_cast<int32_t>(2 * taps + 4 * row);
}

Form formOf(int32_t dstWidth, const FilterKernel &kernel) {
  // A tile of pairs is 16 voxels wide, and a pair doesn't fit into a row of one tap.
  if (dstWidth < kLeastWidth || kernel.size.width < 2) return Form::wide;
  int64_t sum = 0;
  int32_t least = 0, largest = 0;
  for (int64_t i = 0; i < kernel.tapCount(); ++i) {
    sum += kernel.taps[i];
    if (kernel.taps[i] < least) least = kernel.taps[i];
    if (kernel.taps[i] > largest) largest = kernel.taps[i];
  }
  if (sum <= kLargestTapSum && least >= kLeastTap && largest <= kLargestTap &&
      kernel.size.width >= kLeastKernel && kernel.size.height >= kLeastKernel &&
      kernel.size.depth >= kLeastKernel) {
    return Form::wrapping;
  }
  // Two products of -32768 and -32768 don't fit into 32 bits.
  const bool pairsFit = least >= -32767 && largest <= 32767 && kernel.tapCount() <= kMostPairedTaps;
  return pairsFit ? Form::widePairs : Form::wide;
}

TapRows ownPrepareTaps_32s16s(const FilterKernel &kernel, int16_t *groups) {
  int16_t *next = groups;
  // One store a group; and with a vector of its own in it, the loop stays as it is: g++ 12, left to make vectors of it,
  // reads eight bytes in front of the first tap.
  const auto put = [&next](int32_t first, int32_t second) {
    const uint32_t pair = (static_cast<uint32_t>(first) & 0xFFFF) | static_cast<uint32_t>(second) << 16;
    VEKR_ISA::asWords(VEKR_ISA::Int<4>(static_cast<int32_t>(pair))).store(next);
    next += kGroupWords;
  };
  for (int64_t rowStart = kernel.tapCount() - kernel.size.width; rowStart >= 0;
       rowStart -= kernel.size.width) {
    int32_t left = kernel.size.width;
    for (; left >= 2; left -= 2) put(kernel.taps[rowStart + left - 1], kernel.taps[rowStart + left - 2]);
    if (left == 1) put(kernel.taps[rowStart], 0);
  }
  put(0, 0);
  return {groups, kernel.size.width, kernel.size.height, kernel.size.depth};
}

}  // namespace vekr
