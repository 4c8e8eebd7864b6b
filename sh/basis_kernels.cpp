// Blocks of values, point after point.
#include "sh/rows.h"

namespace vekr::VEKR_ISA {

namespace {

constexpr int kLongBlock = 4 * kDirectionGroup;

// Turns rows 0 to count - 1 into the blocks of `lanes` directions, `count` values each. The first and the last tile of
// a block may be written over by their neighbours: both writes are equal. That lets the tiles in between lie on
// boundaries of their own size, so that no store is split by a cache line, where all blocks start alike and are long
// enough to pay for one tile more.
template <int Filled>
void writeBlocksOf(const FunctionRows &rows, int count, int lanes, float *pDst) {
  const int directions = Filled == kDirectionGroup ? kDirectionGroup : lanes;
  if (count >= kDirectionGroup) {
    const int last = count - kDirectionGroup;
    const int toBoundary =
        -static_cast<int>(reinterpret_cast<uintptr_t>(pDst) / sizeof(float)) & (kDirectionGroup - 1);
    const bool shifted = toBoundary != 0 && count % kDirectionGroup == 0 && count >= kLongBlock;
    int k = 0, next = shifted ? toBoundary : kDirectionGroup;
    while (true) {
      Float<kDirectionGroup> columns[kDirectionGroup];
      loadTransposed(rows.row + k, columns);
      for (int i = 0; i < directions; ++i) columns[i].store(pDst + i * count + k);
      if (k == last) break;
      k = next < last ? next : last;
      next += kDirectionGroup;
    }
  } else if (count >= 4) {
    for (int next = 0; next < count; next += 4) {
      const int k = next + 4 <= count ? next : count - 4;
      Float<4> columns[kDirectionGroup];
      for (int lane = 0; lane < kDirectionGroup; lane += 4) turnFour(rows.row + k, lane, columns + lane);
      for (int i = 0; i < directions; ++i) columns[i].store(pDst + i * count + k);
    }
  } else {
    for (int i = 0; i < directions; ++i) {
      for (int k = 0; k < count; ++k) pDst[i * count + k] = rows.row[k][i];
    }
  }
}

void writeBlocks(const FunctionRows &rows, int count, int lanes, float *pDst) {
  if (lanes == kDirectionGroup) {
    writeBlocksOf<kDirectionGroup>(rows, count, lanes, pDst);
  } else {
    writeBlocksOf<1>(rows, count, lanes, pDst);
  }
}

}  // namespace

void ownSHBasis_32f(const Basis &basis, const Directions &directions, float *pDst) {
  const int count = valuesUpTo(basis.highest);
  FunctionRows rows;
  forDirectionGroups(directions, [&](const GroupDirections &group, int64_t i, int lanes) {
    evaluateRows(basis, group, lanes, rows);
    writeBlocks(rows, count, lanes, pDst + i * count);
  });
}

void ownSHBand_32f(uint32_t band, const Directions &directions, float *pDst) {
  const int count = 2 * static_cast<int>(band) + 1;
  const BandRows bandRows = bandRowsOf(band);
  FunctionRows rows;
  forDirectionGroups(directions, [&](const GroupDirections &group, int64_t i, int lanes) {
    bandRows(group, lanes, rows);
    writeBlocks(rows, count, lanes, pDst + i * count);
  });
}

}  // namespace vekr::VEKR_ISA
