#include "filter/wide_kernels.h"

#include "frame/simd.h"
#include "volume/convert.h"

namespace vekr::VEKR_ISA {

namespace {

// Sums of 32-bit products without 64-bit lanes: of each product p, p itself is added to `low` and p >> 16 to `high`,
// both in 32 bits. As p = 65536 (p >> 16) + (p mod 65536), the sum is 65536 high + rest, and the rest is low - 65536
// high in 32 bits, unsigned, as long as it hasn't come to 2^32: with up to 2^16 products it hasn't, nor has `high` left
// its 32 bits.
constexpr int64_t kProductsAtOnce = 1 << 16;

template <int N, int groups>
struct SplitSums {
  Int<N> low[groups], high[groups];

  void clear() {
    for (int g = 0; g < groups; ++g) low[g] = high[g] = Int<N>(0);
  }
  void add(int g, Int<N> product) {
    low[g] = low[g] + product;
    high[g] = high[g] + shiftedRight<16>(product);
  }
  void addTo(int64_t *sums) const {
    for (int g = 0; g < groups; ++g) {
      int32_t rest[N], times[N];
      (low[g] - shiftedLeft<16>(high[g])).store(rest);
      high[g].store(times);
      for (int lane = 0; lane < N; ++lane) {
        sums[g * N + lane] += static_cast<int64_t>(times[lane]) * 65536 + static_cast<uint32_t>(rest[lane]);
      }
    }
  }
};

// The sums of N * groups voxels from `first` on.
template <int N, int groups>
void sumGroups(const SourceWindow &window, const int32_t *pKernel, VekrVolumeSize kernelSize, int32_t first,
               int64_t *sums) {
  for (int i = 0; i < N * groups; ++i) sums[i] = 0;
  SplitSums<N, groups> split;
  split.clear();
  int64_t room = kProductsAtOnce;
  const int32_t *tapsEnd =
      pKernel + static_cast<int64_t>(kernelSize.width) * kernelSize.height * kernelSize.depth;
  for (int32_t k = 0; k < kernelSize.depth; ++k) {
    for (int32_t j = 0; j < kernelSize.height; ++j, tapsEnd -= kernelSize.width) {
      const int16_t *const row = window.row(k, j) + first;
      for (int32_t i = 0; i < kernelSize.width; ++i, --room) {
        if (room == 0) {
          split.addTo(sums);
          split.clear();
          room = kProductsAtOnce;
        }
        const Int<N> tap = tapsEnd[-1 - i];
        for (int g = 0; g < groups; ++g) split.add(g, loadWidened<N>(row + i + g * N) * tap);
      }
    }
  }
  split.addTo(sums);
}

// ---------------------------------------------------------------- sums to voxels

// Every division is done in double, also that by a power of two, and rounded to nearest with ties to even. A sum of more
// than 53 bits loses some on its way to double, but no divisor is large enough to bring it back into a voxel's range.
template <class Quotient>
void convertSums(const int64_t *sums, int16_t *voxels, int32_t count, const Quotient &quotient) {
  for (int32_t x = 0; x < count; ++x) {
    const __m128d upper = _mm_min_sd(_mm_set_sd(quotient(static_cast<double>(sums[x]))), _mm_set_sd(32767.0));
    const __m128d bounded = _mm_max_sd(upper, _mm_set_sd(-32768.0));
    storeAs(voxels + x, static_cast<int16_t>(_mm_cvtsd_si32(bounded)));
  }
}

void convertSums(const int64_t *sums, int16_t *voxels, int32_t count, const Divisor &by) {
  switch (by.how) {
    case Divide::notAtAll:
      return convertSums(sums, voxels, count, [](double a) { return a; });
    case Divide::byShift: {
      const double factor = 1.0 / static_cast<double>(1 << by.shift);  // exact
      return convertSums(sums, voxels, count, [=](double a) { return a * factor; });
    }
    case Divide::byNumber: {
      const double number = static_cast<double>(by.number);
      return convertSums(sums, voxels, count, [=](double a) { return a / number; });
    }
  }
}

// ---------------------------------------------------------------- a row in tiles

constexpr int32_t kGroupsAtOnce = 4;
constexpr int32_t kTile = kGroupsAtOnce * kWidestGroup;

}  // namespace

void ownpr_FilterWide_16s(const SourceWindow &window, const int32_t *pKernel, VekrVolumeSize kernelSize,
                          int32_t width, const Divisor &by, int16_t *voxels) {
  int64_t sums[kTile];
  int32_t first = 0;
  for (; first + kTile <= width; first += kTile) {
    sumGroups<kWidestGroup, kGroupsAtOnce>(window, pKernel, kernelSize, first, sums);
    convertSums(sums, voxels + first, kTile, by);
  }
  const int32_t left = width - first;
  int32_t done = 0;
  const auto sumWhile = [&]<int N>() {
    for (; done + N <= left; done += N)
      sumGroups<N, 1>(window, pKernel, kernelSize, first + done, sums + done);
  };
  sumWhile.template operator()<kWidestGroup>();
  sumWhile.template operator()<4>();
  sumWhile.template operator()<1>();
  convertSums(sums, voxels + first, left, by);
}

}  // namespace vekr::VEKR_ISA
