#include "filter/wide_kernels.h"

#include "filter/pair_tile.h"
#include "filter/wide_sums.h"
#include "frame/lanes.h"

namespace vekr::VEKR_ISA {

namespace {

constexpr int32_t kTile = WideSums::kVoxels;

// ---------------------------------------------------------------- a tap a multiplication

template <int N>
struct SplitSum {
  static constexpr int kLanes = N;
  Int<N> low = 0, high = 0;

  void add(Int<N> product) {
    low = low + product;
    high = high + shiftedRight<16>(product);
  }
  Int<N> rest() const { return low - shiftedLeft<16>(high); }
  void moveTo(WideSums &sums, int32_t first) {
    int32_t highs[N], rests[N];
    high.store(highs);
    rest().store(rests);
    sums.add(first, highs, rests, N);
    *this = SplitSum();
  }
};

// The sums of N * groups voxels from window column `first` on, to sums from `place` on.
template <int N, int groups>
void sumGroups(const SourceWindow &window, const FilterKernel &kernel, int32_t first, WideSums &sums,
               int32_t place) {
  sums.clear(place, N * groups);
  SplitSum<N> split[groups];
  const auto moveOver = [&] {
    for (int g = 0; g < groups; ++g) split[g].moveTo(sums, place + g * N);
  };
  int64_t room = kAddendsAtOnce;
  const VekrVolumeSize kernelSize = kernel.size;
  const int32_t *tapsEnd = kernel.taps + kernel.tapCount();
  for (int32_t k = 0; k < kernelSize.depth; ++k) {
    for (int32_t j = 0; j < kernelSize.height; ++j, tapsEnd -= kernelSize.width) {
      const int16_t *const row = window.row(k, j) + first;
      for (int32_t i = 0; i < kernelSize.width; ++i, --room) {
        if (room == 0) {
          moveOver();
          room = kAddendsAtOnce;
        }
        const Int<N> tap = tapsEnd[-1 - i];
        for (int g = 0; g < groups; ++g) split[g].add(Int<N>::load(row + i + g * N) * tap);
      }
    }
  }
  moveOver();
}

// ---------------------------------------------------------------- two taps a multiplication

template <int32_t voxelsAtOnce>
void filterTile(const SourceWindow &window, const TapRows &taps, int32_t first, const Divisor &by,
                int16_t *voxels) {
  using Tile = Tile<voxelsAtOnce>;
  constexpr int kBlockVoxels = Tile::kBlockVoxels;
  WideSums sums;
  sums.clear(0, voxelsAtOnce);
  forTile<SplitSum<Tile::kLanes>, Tile::kBlocks, kAllTaps, SecondPair::own>(
      window, taps, first, [&](int b, auto &even, auto &odd) {
        int32_t highs[kBlockVoxels], rests[kBlockVoxels];
        storeAlternating(even.high, odd.high, highs);
        storeAlternating(even.rest(), odd.rest(), rests);
        sums.add(b * kBlockVoxels, highs, rests, kBlockVoxels);
      });
  convertSums(sums, voxels + first, voxelsAtOnce, by);
}

}  // namespace

void ownpr_FilterWide_16s(const SourceWindow &window, const FilterKernel &kernel, int32_t width,
                          const Divisor &by, int16_t *voxels) {
  constexpr int kGroupsAtOnce = kTile / kWidestGroup;
  WideSums sums;
  int32_t first = 0;
  for (; first + kTile <= width; first += kTile) {
    sumGroups<kWidestGroup, kGroupsAtOnce>(window, kernel, first, sums, 0);
    convertSums(sums, voxels + first, kTile, by);
  }
  const int32_t left = width - first;
  int32_t done = 0;
  // Groups of N as far as they go; the last one overlaps the one before it.
  const auto sumBy = [&]<int N>() {
    while (left >= N && done < left) {
      const int32_t place = done + N <= left ? done : left - N;
      sumGroups<N, 1>(window, kernel, first + place, sums, place);
      done = place + N;
    }
  };
  sumBy.template operator()<kWidestGroup>();
  if constexpr (kWidestGroup > 8) sumBy.template operator()<8>();
  sumBy.template operator()<4>();
  sumBy.template operator()<1>();
  convertSums(sums, voxels + first, left, by);
}

void ownpr_FilterWidePairs_16s(const SourceWindow &window, const TapRows &taps, int32_t width,
                               const Divisor &by, int16_t *voxels) {
  int32_t first = 0;
  for (; first + kTile <= width; first += kTile) filterTile<kTile>(window, taps, first, by, voxels);
  if (width - first > kBlock) filterTile<kBlock>(window, taps, first, by, voxels);
  if (width > first) filterTile<kBlock>(window, taps, width - kBlock, by, voxels);
}

}  // namespace vekr::VEKR_ISA
