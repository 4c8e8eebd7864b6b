#include "prwarpa/warp_kernels.h"

#include "prwarpa/doubles.h"
#include "volume/sampling.h"

namespace vekr::VEKR_ISA {

namespace {

constexpr int kGroup = kWidestGroup;

enum class Index { truncated, nearest };

// A source position, or an increment of one.
struct Position {
  double x, y, z;
};

void advance(Position &position, const Position &by) {
  position.x += by.x;
  position.y += by.y;
  position.z += by.z;
}

// Source coordinates of the voxels of one chunk, as running sums: callers rely on their error to grow along a row.
struct Coordinates {
  alignas(32) double at[3][kChunk];
};

// Fills whole groups; leaves `position` behind the last one. The sums run in registers, not in `position`: each voxel
// waits for the one before it.
void walk(Position &position, const Position &increment, int count, Coordinates &coordinates) {
  Position at = position;
  const Position by = increment;
  for (int v = 0; v < count || v % kGroup != 0; ++v) {
    coordinates.at[0][v] = at.x;
    coordinates.at[1][v] = at.y;
    coordinates.at[2][v] = at.z;
    advance(at, by);
  }
  position = at;
}

// Finds the voxels of one chunk in the source. The doubles decide about inclusion and index; only what is left for the
// fractions is narrowed to float. Voxels outside the region, and coordinates that are not numbers, are left out.
template <Index kind>
void locate(const RegionBox &region, const Coordinates &coordinates, Chunk &chunk) {
  const int32_t first[3] = {region.x0, region.y0, region.z0};
  const int32_t last[3] = {region.x1, region.y1, region.z1};
  VoxelSet inside = 0;
  for (int v = 0; v < chunk.count; v += kGroup) {
    const auto isIn = [&](int axis) {
      const Doubles at = Doubles::load(coordinates.at[axis] + v);
      return (Doubles(first[axis]) <= at) & (at <= Doubles(last[axis]));
    };
    const Mask<kGroup> in = narrowed(isIn(0) & isIn(1) & isIn(2));
    for (int axis = 0; axis < 3; ++axis) {
      const Doubles at = Doubles::load(coordinates.at[axis] + v);
      const Int<kGroup> index = kind == Index::nearest ? rounded(at) : truncated(at);
      select(in, index, Int<kGroup>(first[axis])).store(chunk.index[axis] + v);
      if constexpr (kind == Index::truncated) narrowed(at).store(chunk.at[axis] + v);
    }
    inside |= static_cast<VoxelSet>(bits(in)) << v;
  }
  chunk.inside = inside & firstVoxels(chunk.count);
}

// One row. Each voxel is tested by itself.
template <class Voxel, int32_t code>
void warpRow(const SampledVolume &source, unsigned char *dst, int32_t width, Position position,
             const Position &increment) {
  sampleRow<Voxel, code>(source, dst, width, [&](int32_t, Chunk &chunk) {
    Coordinates coordinates;
    walk(position, increment, chunk.count, coordinates);
    locate<code == vekrInterNearest ? Index::nearest : Index::truncated>(source.region, coordinates, chunk);
  });
}

template <class Voxel, int32_t code>
void warp(const void *pSrc, const void *pDst, int32_t srcStep, int32_t dstStep, const double *pInverse,
          RegionBox region, VekrVolumeBox dstBox) {
  const SampledVolume source = {pSrc, srcStep, region, tableOf<code>(), FloatBorder::kept};
  const auto destination = static_cast<Voxel *const *>(pDst);
  const double *const i0 = pInverse, *const i1 = pInverse + 4, *const i2 = pInverse + 8;
  const Position perVoxel = {i0[0], i1[0], i2[0]}, perRow = {i0[1], i1[1], i2[1]},
                 perPlane = {i0[2], i1[2], i2[2]};
  const double X0 = dstBox.x, Y0 = dstBox.y, Z0 = dstBox.z;
  // Where the first plane begins is a matter of products; from there on all is sums.
  Position planeStart = {Y0 * i0[1] + i0[3] + i0[2] * Z0, Y0 * i1[1] + i1[3] + Z0 * i1[2],
                         Y0 * i2[1] + i2[3] + Z0 * i2[2]};
  for (int64_t z = 0; z < dstBox.depth; ++z) {
    Position rowStart = planeStart;
    unsigned char *const plane = reinterpret_cast<unsigned char *>(destination[dstBox.z + z]);
    for (int64_t y = 0; y < dstBox.height; ++y) {
      unsigned char *const row = plane + (dstBox.y + y) * dstStep +
                                 static_cast<int64_t>(dstBox.x) * static_cast<int64_t>(sizeof(Voxel));
      const Position start = {rowStart.x + X0 * perVoxel.x, rowStart.y + X0 * perVoxel.y,
                              rowStart.z + X0 * perVoxel.z};
      warpRow<Voxel, code>(source, row, dstBox.width, start, perVoxel);
      advance(rowStart, perRow);
    }
    advance(planeStart, perPlane);
  }
}

constexpr WarpDriver *ownrWarpAffine8N = warp<uint8_t, vekrInterNearest>;
constexpr WarpDriver *ownrWarpAffine8L = warp<uint8_t, vekrInterLinear>;
constexpr WarpDriver *ownrWarpAffine8C0 = warp<uint8_t, vekrInterCubicLagrange>;
constexpr WarpDriver *ownrWarpAffine8C1 = warp<uint8_t, vekrInterCubicBSpline>;
constexpr WarpDriver *ownrWarpAffine8C2 = warp<uint8_t, vekrInterCubicCatmullRom>;
constexpr WarpDriver *ownrWarpAffine8C3 = warp<uint8_t, vekrInterCubicMitchell>;

constexpr WarpDriver *ownrWarpAffine16N = warp<uint16_t, vekrInterNearest>;
constexpr WarpDriver *ownrWarpAffine16L = warp<uint16_t, vekrInterLinear>;
constexpr WarpDriver *ownrWarpAffine16C0 = warp<uint16_t, vekrInterCubicLagrange>;
constexpr WarpDriver *ownrWarpAffine16C1 = warp<uint16_t, vekrInterCubicBSpline>;
constexpr WarpDriver *ownrWarpAffine16C2 = warp<uint16_t, vekrInterCubicCatmullRom>;
constexpr WarpDriver *ownrWarpAffine16C3 = warp<uint16_t, vekrInterCubicMitchell>;

constexpr WarpDriver *ownrWarpAffine32N = warp<float, vekrInterNearest>;
constexpr WarpDriver *ownrWarpAffine32L = warp<float, vekrInterLinear>;
constexpr WarpDriver *ownrWarpAffine32C0 = warp<float, vekrInterCubicLagrange>;
constexpr WarpDriver *ownrWarpAffine32C1 = warp<float, vekrInterCubicBSpline>;
constexpr WarpDriver *ownrWarpAffine32C2 = warp<float, vekrInterCubicCatmullRom>;
constexpr WarpDriver *ownrWarpAffine32C3 = warp<float, vekrInterCubicMitchell>;

}  // namespace

// clang-format off
WarpDriver *const ownrWarpAffineInter[kVoxelRows][kInterpolationSlots] = {
    {nullptr, ownrWarpAffine8N, ownrWarpAffine8L, nullptr,
     ownrWarpAffine8C0, ownrWarpAffine8C1, ownrWarpAffine8C2, ownrWarpAffine8C3},
    {nullptr, ownrWarpAffine16N, ownrWarpAffine16L, nullptr,
     ownrWarpAffine16C0, ownrWarpAffine16C1, ownrWarpAffine16C2, ownrWarpAffine16C3},
    {nullptr, ownrWarpAffine32N, ownrWarpAffine32L, nullptr,
     ownrWarpAffine32C0, ownrWarpAffine32C1, ownrWarpAffine32C2, ownrWarpAffine32C3}};
// clang-format on

}  // namespace vekr::VEKR_ISA
