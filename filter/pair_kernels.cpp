#include "filter/pair_kernels.h"

#include "filter/pair_tile.h"
#include "frame/integer.h"

namespace vekr::VEKR_ISA {

namespace {

// The sums wrap around, so that the order of adding is free. A voxel may be summed twice: rows end with a tile that
// overlaps the one before it.
template <int N>
struct WrappingSum {
  static constexpr int kLanes = N;
  Int<N> value = 0;
  void add(Int<N> products) { value = value + products; }
};

template <int32_t voxels, int32_t usedTaps, SecondPair second = SecondPair::own>
void sumTile(const SourceWindow &window, const TapRows &taps, int32_t first, int32_t *sums) {
  using Tile = Tile<voxels>;
  forTile<WrappingSum<Tile::kLanes>, Tile::kBlocks, usedTaps, second>(
      window, taps, first, [&](int b, auto &even, auto &odd) {
        storeAlternating(even.value, odd.value, sums + first + b * Tile::kBlockVoxels);
      });
}

// Tiles of the widest registers, two blocks each, as far as they go; where 32 voxels are that already, there is nothing to do.
template <int32_t usedTaps, SecondPair second = SecondPair::own>
void sumWideTiles(const SourceWindow &window, const TapRows &taps, int32_t width, int32_t &first,
                  int32_t *sums) {
  constexpr int32_t kWide = 4 * kMostSumLanes;
  if constexpr (kWide > 2 * kBlock) {
    for (; first + kWide <= width; first += kWide)
      sumTile<kWide, usedTaps, second>(window, taps, first, sums);
  }
}

// ---------------------------------------------------------------- true sums

template <int32_t usedTaps>
void sumRow(const SourceWindow &window, const TapRows &taps, int32_t width, int32_t *sums) {
  int32_t first = 0;
  sumWideTiles<usedTaps>(window, taps, width, first, sums);
  for (; first + 2 * kBlock <= width; first += 2 * kBlock)
    sumTile<2 * kBlock, usedTaps>(window, taps, first, sums);
  const int32_t left = width - first;
  if (left > kBlock) sumTile<kBlock, usedTaps>(window, taps, first, sums);
  if (left > 0) sumTile<kBlock, usedTaps>(window, taps, width - kBlock, sums);
}

// ---------------------------------------------------------------- sums of other kernel widths

// Callers rely on what a kernel row of 4 or of 6 and more taps gives, which isn't its plain sum [C77]. With w the row's width,
// W = w - w % 16 and m = w - W:
//   - Voxels 0 to W - 1 get the first `usedTaps` taps: all of 4, 6, 7 and 9, but only four of other numbers.
//   - Voxels W to w - 1 get all taps if w < 32, four otherwise.
//   - If w >= 32, t4 and t5 stand in for t2 and t3 at voxels v with v % 16 >= 12, in what has been told so far.
//   - If w >= 32, voxels 16 to 16 + m - 1 get all taps in place of that from the first kernel row, and all taps on top of
//     that from every later one.

// Behind the last row of a 4-wide kernel stand no t4 and t5: the sums of voxels 0 to 3 take their place, low half and
// high half, one sum for each of the four voxels. Those four don't depend on it and are finished before it counts; the
// empty group behind the taps has left it out so far [C78].
void addSumsAsTaps(const SourceWindow &window, const TapRows &taps, int32_t width, int32_t *sums) {
  const int16_t *const row = window.row(taps.depth - 1, taps.height - 1);
  for (int32_t v = 12; v < width; v += v % kBlock == kBlock - 1 ? 13 : 1) {
    const int32_t tap = sums[v % 4];
    const int32_t low = static_cast<int16_t>(tap & 0xFFFF);
    const int32_t high = tap >> 16;
    sums[v] = wrappingAdd(sums[v], wrappingAdd(wrappingMul(low, loadAs<int16_t>(row + v + 2)),
                                               wrappingMul(high, loadAs<int16_t>(row + v + 3))));
  }
}

// The last voxels of a row of 32 and more. Also writes voxels in front of them, whose sums are still to come.
void sumRemainder(const SourceWindow &window, const TapRows &taps, int32_t width, int32_t *sums) {
  const int32_t first = width - kBlock;
  sumTile<kBlock, 4>(window, taps, first, sums);
  const int32_t remainder = width % kBlock;
  if (remainder <= 12) return;
  int32_t kept[12];
  for (int32_t i = 0; i < 12; ++i) kept[i] = sums[first + kBlock - remainder + i];
  sumTile<kBlock, 4, SecondPair::next>(window, taps, first, sums);
  for (int32_t i = 0; i < 12; ++i) sums[first + kBlock - remainder + i] = kept[i];
}

template <int32_t usedTaps>
void addRepeated(const SourceWindow &window, const TapRows &taps, int32_t remainder, int32_t *sums) {
  int32_t whole[2 * kBlock], replaced[2 * kBlock];
  sumTile<kBlock, kAllTaps>(window, taps, kBlock, whole);
  const TapRows firstRow = {taps.groups, taps.width, 1, 1};
  sumTile<kBlock, usedTaps, SecondPair::nextAtLastQuarter>(window, firstRow, kBlock, replaced);
  for (int32_t v = kBlock; v < kBlock + remainder; ++v) {
    sums[v] = wrappingAdd(sums[v], wrappingSub(whole[v], replaced[v]));
  }
}

template <int32_t usedTaps>
void sumRowInParts(const SourceWindow &window, const TapRows &taps, int32_t width, int32_t *sums) {
  const int32_t remainder = width % kBlock;
  if (width < 2 * kBlock) {
    if (remainder != 0) sumTile<kBlock, kAllTaps>(window, taps, remainder, sums);
    sumTile<kBlock, usedTaps>(window, taps, 0, sums);
    return;
  }
  if (remainder != 0) sumRemainder(window, taps, width, sums);
  int32_t first = 0;
  sumWideTiles<usedTaps, SecondPair::nextAtLastQuarter>(window, taps, width, first, sums);
  for (; first + 2 * kBlock <= width; first += 2 * kBlock) {
    sumTile<2 * kBlock, usedTaps, SecondPair::nextAtLastQuarter>(window, taps, first, sums);
  }
  if (first + kBlock <= width)
    sumTile<kBlock, usedTaps, SecondPair::nextAtLastQuarter>(window, taps, first, sums);
  if (remainder != 0) addRepeated<usedTaps>(window, taps, remainder, sums);
  if (taps.width == 4) addSumsAsTaps(window, taps, width, sums);
}

// ---------------------------------------------------------------- sums to voxels

// quotient(sums) gives what is still to be saturated.
template <class Quotient>
void convertRow(const int32_t *sums, int16_t *voxels, int32_t width, const Quotient &quotient) {
  const auto convertBlock = [&](int32_t x) {
    for (int part = 0; part < kBlock; part += kMostSumLanes) {
      storeSaturated(quotient(Int<kMostSumLanes>::load(sums + x + part)), voxels + x + part);
    }
  };
  int32_t x = 0;
  for (; x + kBlock <= width; x += kBlock) convertBlock(x);
  if (x < width) convertBlock(width - kBlock);
}

}  // namespace

void ownpr_Filter3x3x3_16s(const SourceWindow &window, const TapRows &taps, int32_t width, int32_t *sums) {
  sumRow<3>(window, {taps.groups, 3, 3, 3}, width, sums);
}

void ownpr_Filter5x5x5_16s(const SourceWindow &window, const TapRows &taps, int32_t width, int32_t *sums) {
  sumRow<5>(window, {taps.groups, 5, 5, 5}, width, sums);
}

void ownpr_Filter_16s(const SourceWindow &window, const TapRows &taps, int32_t width, int32_t *sums) {
  switch (taps.width) {
    case 3:
      return sumRow<3>(window, taps, width, sums);
    case 5:
      return sumRow<5>(window, taps, width, sums);
    case 6:
      return sumRowInParts<6>(window, taps, width, sums);
    case 7:
      return sumRowInParts<7>(window, taps, width, sums);
    case 9:
      return sumRowInParts<9>(window, taps, width, sums);
    default:
      return sumRowInParts<4>(window, taps, width, sums);
  }
}

void ownpr_Convert_32s16s(const int32_t *sums, int16_t *voxels, int32_t width, const Divisor &by) {
  constexpr int N = kMostSumLanes;
  switch (by.how) {
    case Divide::notAtAll:
      return convertRow(sums, voxels, width, [](Int<N> a) { return a; });
    case Divide::byShift: {
      // Half a unit less one, and that one back where the quotient is odd: ties go to even.
      const Int<N> belowHalf((1 << (by.shift - 1)) - 1);
      const Int<N> one(1);
      return convertRow(sums, voxels, width, [=, shift = by.shift](Int<N> a) {
        return shiftedRight(a + belowHalf + (shiftedRight(a, shift) & one), shift);
      });
    }
    case Divide::byNumber: {
      const float factor = 1.0f / by.number;  // [C79]
      // The bound keeps a product of 2^31, which no integer holds, at the upper end.
      return convertRow(sums, voxels, width, [=](Int<N> a) {
        return rounded(minOf(toFloat(a) * Float<N>(factor), Float<N>(32767.0f)));
      });
    }
  }
}

}  // namespace vekr::VEKR_ISA
