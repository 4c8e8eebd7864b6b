// Blocks of values, point after point.
#include "sh/rows.h"

namespace vekr::VEKR_ISA {

namespace {

constexpr int kLongBlock = 4 * kGroup;

// Turns rows 0 to count - 1 into the blocks of `lanes` directions, `count` values each. The first and the last tile of
// a block may be written over by their neighbours: both writes are equal. That lets the tiles in between lie on
// boundaries of their own size, so that no store is split by a cache line, where all blocks start alike and are long
// enough to pay for one tile more.
template <int Lanes>
void writeBlocksOf(const Rows &rows, int count, int lanes, float *pDst) {
  const int directions = Lanes == kGroup ? kGroup : lanes;
  if (count >= kGroup) {
    const int last = count - kGroup;
    const int toBoundary =
        -static_cast<int>(reinterpret_cast<uintptr_t>(pDst) / sizeof(float)) & (kGroup - 1);
    const bool shifted = toBoundary != 0 && count % kGroup == 0 && count >= kLongBlock;
    int k = 0, next = shifted ? toBoundary : kGroup;
    while (true) {
      Float<kGroup> columns[kGroup];
      turn(rows.row + k, columns);
      for (int i = 0; i < directions; ++i) columns[i].store(pDst + i * count + k);
      if (k == last) break;
      k = next < last ? next : last;
      next += kGroup;
    }
  } else if (count >= 4) {
    for (int next = 0; next < count; next += 4) {
      const int k = next + 4 <= count ? next : count - 4;
      Float<4> columns[kGroup];
      for (int lane = 0; lane < kGroup; lane += 4) turnFour(rows.row + k, lane, columns + lane);
      for (int i = 0; i < directions; ++i) columns[i].store(pDst + i * count + k);
    }
  } else {
    for (int i = 0; i < directions; ++i) {
      for (int k = 0; k < count; ++k) pDst[i * count + k] = rows.row[k][i];
    }
  }
}

void writeBlocks(const Rows &rows, int count, int lanes, float *pDst) {
  if (lanes == kGroup) {
    writeBlocksOf<kGroup>(rows, count, lanes, pDst);
  } else {
    writeBlocksOf<1>(rows, count, lanes, pDst);
  }
}

}  // namespace

void ownSHBasis_32f(const Basis &basis, const Directions &directions, float *pDst) {
  const int count = valuesUpTo(basis.highest);
  Rows rows;
  forDirectionGroups(directions, [&](const GroupDirections &group, int64_t i, int lanes) {
    evaluateRows(basis, group, lanes, rows);
    writeBlocks(rows, count, lanes, pDst + i * count);
  });
}

void ownSHBand_32f(uint32_t band, const Directions &directions, float *pDst) {
  const int count = 2 * static_cast<int>(band) + 1;
  const BandRows bandRows = bandRowsOf(band);
  Rows rows;
  forDirectionGroups(directions, [&](const GroupDirections &group, int64_t i, int lanes) {
    bandRows(group, lanes, rows);
    writeBlocks(rows, count, lanes, pDst + i * count);
  });
}

}  // namespace vekr::VEKR_ISA
