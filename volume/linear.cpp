// Trilinear interpolation over cells of 2x2x2 voxels, a group of destination voxels at a time.
#include "volume/sampling.h"

namespace vekr::VEKR_ISA {

namespace {

// The four rows of a cell, in the order (y, z), (y + 1, z), (y, z + 1), (y + 1, z + 1).
constexpr int kCellRows = 4;

struct Cells {
  Float<kGroup> left[kCellRows], right[kCellRows];
};

// a (1 - t) + b t, as two products and a sum: at t = 1 a value that isn't finite in `a` still shows [C62].
template <int N>
Float<N> lerp(Float<N> a, Float<N> b, Float<N> t) {
  return a * (Float<N>(1.0f) - t) + b * t;
}

// The cells' voxels, read one by one. The cell before voxel 0 of an axis, which a region of one voxel there asks for with
// a weight of 0, counts as 0 and isn't read: there may be nothing in front of a volume.
template <class Voxel>
Cells readCells(const SampledVolume &source, const int32_t *x, const int32_t *y, const int32_t *z) {
  const auto planes = static_cast<const Voxel *const *>(source.planes);
  float left[kCellRows][kGroup], right[kCellRows][kGroup];
  for (int v = 0; v < kGroup; ++v) {
    for (int r = 0; r < kCellRows; ++r) {
      const int64_t column = x[v];
      const int64_t line = static_cast<int64_t>(y[v]) + (r & 1);
      const int64_t plane = static_cast<int64_t>(z[v]) + (r >> 1);
      const bool there = line >= 0 && plane >= 0;
      const Voxel *const row = there ? planes[plane] + line * source.step : nullptr;
      left[r][v] = there && column >= 0 ? static_cast<float>(loadAs<Voxel>(row + column)) : 0.0f;
      right[r][v] = there ? static_cast<float>(loadAs<Voxel>(row + (column + 1))) : 0.0f;
    }
  }
  Cells cells;
  for (int r = 0; r < kCellRows; ++r) {
    cells.left[r] = Float<kGroup>::load(left[r]);
    cells.right[r] = Float<kGroup>::load(right[r]);
  }
  return cells;
}

// Whether the gathers below stay inside the volume for every cell of the region. 8u cells are cut out of words of four
// voxels, whose last one is at most the region's last.
constexpr int32_t kWord = 4;
template <class Voxel>
bool canGather(const RegionBox &region) {
  // Up to here the region's bounds are exact as floats, and no cell lies beyond them.
  constexpr int32_t kExactBounds = 1 << 24;
  return region.x1 >= (sizeof(Voxel) == 1 ? kWord - 1 : 1) && region.x1 <= kExactBounds && region.y1 >= 1 &&
         region.z1 >= 1;
}

// Two neighbours of each row.
template <class Voxel, int N>
void gatherRow(Long<N> row, Int<N> shift, Float<N> &left, Float<N> &right) {
  if constexpr (sizeof(Voxel) == 4) {
    const Neighbours<N> pair = gatherNeighbours(row);
    left = pair.here;
    right = pair.next;
  } else {
    const Int<N> word = gatherWords(row);
    if constexpr (sizeof(Voxel) == 2) {
      left = toFloat(word & Int<N>(0xFFFF));
      right = toFloat(shiftedRightUnsigned<16>(word));
    } else {
      const Int<N> pair = shiftedRightUnsigned(word, shift);
      left = toFloat(pair & Int<N>(0xFF));
      right = toFloat(shiftedRightUnsigned<8>(pair) & Int<N>(0xFF));
    }
  }
}

template <class Voxel, int N>
Cells gatherCells(const SampledVolume &source, Int<N> x, Int<N> y, Int<N> z) {
  constexpr int kShift = sizeof(Voxel) == 4 ? 2 : sizeof(Voxel) == 2 ? 1 : 0;
  Int<N> column = x, shift(0);
  if constexpr (sizeof(Voxel) == 1) {
    column = minOf(x, Int<N>(source.region.x1 - (kWord - 1)));
    shift = shiftedLeft<3>(x - column);
  }
  const Long<N> step(source.step);
  const Long<N> offset = productOfLow(widenedToLong(y), step) + widenedToLong(column);
  const Long<N> bytes = shiftedLeft<kShift>(offset), below = shiftedLeft<kShift>(step);
  const Long<N> near = gatherPointers(source.planes, z) + bytes;
  const Long<N> far = gatherPointers(source.planes, z + Int<N>(1)) + bytes;
  Cells cells;
  gatherRow<Voxel>(near, shift, cells.left[0], cells.right[0]);
  gatherRow<Voxel>(near + below, shift, cells.left[1], cells.right[1]);
  gatherRow<Voxel>(far, shift, cells.left[2], cells.right[2]);
  gatherRow<Voxel>(far + below, shift, cells.left[3], cells.right[3]);
  return cells;
}

// The lanes of the group from voxel v on that are to be sampled.
unsigned lanesInside(const Chunk &chunk, int v) {
  return static_cast<unsigned>(chunk.inside >> v) & static_cast<unsigned>(allLanes<kGroup>());
}

void storeSum(Float<kGroup> sum, float *voxels) { sum.store(voxels); }
template <class Voxel>
void storeSum(Float<kGroup> sum, Voxel *voxels) {
  storeLow(rounded(sum), voxels);
}

}  // namespace

template <class Voxel>
void sampleLinear(const SampledVolume &source, const Chunk &chunk, unsigned char *row) {
  const RegionBox &region = source.region;
  const int32_t last[3] = {region.x1, region.y1, region.z1};
  const bool gather = kHasGathers && canGather<Voxel>(region);
  Voxel voxels[kChunk];
  for (int v = 0; v < chunk.count; v += kGroup) {
    const unsigned lanes = lanesInside(chunk, v);
    if (lanes == 0) continue;
    const bool full = lanes == static_cast<unsigned>(allLanes<kGroup>());
    // A coordinate on the region's last voxel is the end of the cell before it. Lanes that are outside read the cell of one
    // that isn't, so that no plane is touched that nobody asked for.
    Int<kGroup> index[3];
    Float<kGroup> t[3];
    for (int axis = 0; axis < 3; ++axis) {
      Int<kGroup> i = Int<kGroup>::load(chunk.index[axis] + v);
      if (!full)
        i = select(maskOfBits<kGroup>(lanes), i, Int<kGroup>(chunk.index[axis][v + __builtin_ctz(lanes)]));
      index[axis] = select(i == Int<kGroup>(last[axis]), i - Int<kGroup>(1), i);
      t[axis] = Float<kGroup>::load(chunk.at[axis] + v) - toFloat(index[axis]);
    }
    const Cells cells = [&] {
      if constexpr (kHasGathers) {
        if (gather) return gatherCells<Voxel>(source, index[0], index[1], index[2]);
      }
      int32_t corner[3][kGroup];
      for (int axis = 0; axis < 3; ++axis) index[axis].store(corner[axis]);
      return readCells<Voxel>(source, corner[0], corner[1], corner[2]);
    }();
    Float<kGroup> rows[kCellRows];
    for (int r = 0; r < kCellRows; ++r) rows[r] = lerp(cells.left[r], cells.right[r], t[0]);
    const Float<kGroup> near = lerp(rows[0], rows[1], t[1]), far = lerp(rows[2], rows[3], t[1]);
    storeSum(lerp(near, far, t[2]), voxels + v);
  }
  storeInside(chunk, voxels, row);
}

template Sampler sampleLinear<uint8_t>;
template Sampler sampleLinear<uint16_t>;
template Sampler sampleLinear<float>;

}  // namespace vekr::VEKR_ISA
