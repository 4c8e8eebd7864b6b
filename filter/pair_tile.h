// The products of a tile of voxels, two taps a multiplication. For kernel files.
#pragma once

#include <cstdint>

#include "filter/pair_lanes.h"
#include "filter/taps.h"
#include "filter/window.h"

namespace vekr::VEKR_ISA {

constexpr int32_t kBlock = 16;  // voxels of the smallest tile

// Which taps take part as the second pair of a kernel row: its own, t2 and t3; or t4 and t5, at the last four of each
// 16 voxels or at all.
enum class SecondPair { own, nextAtLastQuarter, next };

constexpr int32_t kAllTaps = 0;

// Adds up the products of blocks * 2 N voxels from `first` on, N lanes to a Sum, with the first `usedTaps` taps of each kernel
// row, and hands them over as done(block, even, odd): the sums of its voxels 0, 2, ... 2 N - 2, and 1, 3, ... 2 N - 1.
//
// A load of 2 N words gives N voxel pairs for the even outputs, one from the next word on those of the odd outputs;
// nothing is shuffled before the sums are stored. An odd row's last tap comes as (0, tap), on the pair that begins one
// voxel earlier, which keeps the loads inside of what the kernel covers.
template <class Sum, int blocks, int32_t usedTaps, SecondPair second, class Done>
inline void forTile(const SourceWindow &window, const TapRows &taps, int32_t first, const Done &done) {
  constexpr int N = Sum::kLanes;
  Sum even[blocks], odd[blocks];
  const int32_t width = usedTaps == kAllTaps ? taps.width : usedTaps;
  const int16_t *group = taps.groups;
  for (int32_t k = 0; k < taps.depth; ++k) {
    const int16_t *row = window.row(k, 0) + first;
    for (int32_t j = 0; j < taps.height; ++j, row += window.step, group += taps.rowWords()) {
      const auto add = [&](int32_t column, Int<N> tap) {
        for (int b = 0; b < blocks; ++b) {
          const int16_t *const words = row + column + b * 2 * N;
          even[b].add(pairProducts(Short<2 * N>::load(words), asWords(tap)));
          odd[b].add(pairProducts(Short<2 * N>::load(words + 1), asWords(tap)));
        }
      };
      for (int32_t i = 0; i + 1 < width; i += 2) {
        const int16_t *const own = group + i / 2 * kGroupWords;
        if (i == 2 && second == SecondPair::next) {
          add(i, pairOf<N>(own + kGroupWords));
        } else if (i == 2 && second == SecondPair::nextAtLastQuarter) {
          add(i, lastQuartersFrom(pairOf<N>(own), pairOf<N>(own + kGroupWords)));
        } else {
          add(i, pairOf<N>(own));
        }
      }
      if (width % 2 != 0) add(width - 2, singleOf<N>(group + width / 2 * kGroupWords));
    }
  }
  for (int b = 0; b < blocks; ++b) done(b, even[b], odd[b]);
}

// How `voxels` voxels are summed at once: blocks of so many, from so many lanes each.
template <int32_t voxels>
struct Tile {
  static constexpr int kLanes = voxels / 2 < kMostSumLanes ? voxels / 2 : kMostSumLanes;
  static constexpr int kBlockVoxels = 2 * kLanes;
  static constexpr int kBlocks = voxels / kBlockVoxels;
};

}  // namespace vekr::VEKR_ISA
