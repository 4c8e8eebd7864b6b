#include "filter/taps.h"

namespace vekr {

namespace {

constexpr int64_t kLargestTapSum = 3 * 32767;
// Callers rely on these limits as they are: one inside those of the type on either side.
constexpr int32_t kLeastTap = -32767;
constexpr int32_t kLargestTap = 32766;
constexpr int32_t kLeastWidth = 16;
constexpr int32_t kLeastKernel = 3;

constexpr uint32_t raised(uint32_t bytes) { return (bytes + 15) & ~15u; }

int64_t tapCount(VekrVolumeSize kernelSize) {
  return static_cast<int64_t>(kernelSize.width) * kernelSize.height * kernelSize.depth;
}

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

bool takesPairs(int32_t dstWidth, const int32_t *pKernel, VekrVolumeSize kernelSize) {
  if (dstWidth < kLeastWidth || kernelSize.width < kLeastKernel || kernelSize.height < kLeastKernel ||
      kernelSize.depth < kLeastKernel) {
    return false;
  }
  int64_t sum = 0;
  for (int64_t i = 0; i < tapCount(kernelSize); ++i) {
    if (pKernel[i] < kLeastTap || pKernel[i] > kLargestTap) return false;
    sum += pKernel[i];
  }
  return sum <= kLargestTapSum;
}

TapRows ownPrepareTaps_32s16s(const int32_t *pKernel, VekrVolumeSize kernelSize, int16_t *groups) {
  int16_t *next = groups;
  const auto put = [&next](int32_t first, int32_t second) {
    for (int32_t i = 0; i < kGroupWords; i += 2) {
      *next++ = static_cast<int16_t>(first);
      *next++ = static_cast<int16_t>(second);
    }
  };
  for (int64_t rowStart = tapCount(kernelSize) - kernelSize.width; rowStart >= 0;
       rowStart -= kernelSize.width) {
    int32_t left = kernelSize.width;
    for (; left >= 2; left -= 2) put(pKernel[rowStart + left - 1], pKernel[rowStart + left - 2]);
    if (left == 1) put(pKernel[rowStart], 0);
  }
  put(0, 0);
  return {groups, kernelSize.width, kernelSize.height, kernelSize.depth};
}

}  // namespace vekr
