#include "prwarpa/warp_kernels.h"

#include "volume/rows.h"

namespace vekr::VEKR_ISA {

namespace {

// A source position, or an increment of one.
struct Position {
  double x, y, z;
};

void advance(Position &position, const Position &by) {
  position.x += by.x;
  position.y += by.y;
  position.z += by.z;
}

// Source coordinates of the voxels of one chunk, as running sums: callers rely on their error to grow along a row [C72].
struct SumReader {
  alignas(32) double at[3][kChunk];

  // Fills whole groups; leaves `position` behind the last one. The sums run in registers, not in `position`: each voxel
  // waits for the one before it.
  SumReader(Position &position, const Position &increment, int count) {
    Position sum = position;
    const Position by = increment;
    for (int v = 0; v < count || v % kGroup != 0; ++v) {
      at[0][v] = sum.x;
      at[1][v] = sum.y;
      at[2][v] = sum.z;
      advance(sum, by);
    }
    position = sum;
  }

  Double<kGroup> load(int axis, int v) const { return Double<kGroup>::load(at[axis] + v); }
  static Double<kGroup> bound(int32_t voxel) { return static_cast<double>(voxel); }
};

template <class Voxel, int32_t code>
void warp(const void *pSrc, const void *pDst, int32_t srcStep, int32_t dstStep, const double *pInverse,
          RegionBox region, VekrVolumeBox dstBox) {
  const SampledVolume source = {pSrc, srcStep, region, tableOf<code>(), FloatBorder::kept};
  const auto destination = static_cast<Voxel *const *>(pDst);
  const double *const i0 = pInverse, *const i1 = pInverse + 4, *const i2 = pInverse + 8;
  const Position perVoxel = {i0[0], i1[0], i2[0]}, perRow = {i0[1], i1[1], i2[1]},
                 perPlane = {i0[2], i1[2], i2[2]};
  const double X0 = dstBox.x, Y0 = dstBox.y, Z0 = dstBox.z;
  // Where the first plane begins is a matter of products; from there on all is sums [C73].
  Position planeStart = {Y0 * i0[1] + i0[3] + i0[2] * Z0, Y0 * i1[1] + i1[3] + Z0 * i1[2],
                         Y0 * i2[1] + i2[3] + Z0 * i2[2]};
  for (int64_t z = 0; z < dstBox.depth; ++z) {
    Position rowStart = planeStart;
    unsigned char *const plane = reinterpret_cast<unsigned char *>(destination[dstBox.z + z]);
    for (int64_t y = 0; y < dstBox.height; ++y) {
      unsigned char *const row = plane + (dstBox.y + y) * dstStep +
                                 static_cast<int64_t>(dstBox.x) * static_cast<int64_t>(sizeof(Voxel));
      Position position = {rowStart.x + X0 * perVoxel.x, rowStart.y + X0 * perVoxel.y,
                           rowStart.z + X0 * perVoxel.z};
      sampleRow<Voxel, code>(source, row, dstBox.width,
                             [&](int32_t, int count) { return SumReader(position, perVoxel, count); });
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
