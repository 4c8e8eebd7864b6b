#include "prwarpa/warp_kernels.h"

#include "frame/integer.h"
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
void warp(const WarpCall &call, PlaneShare share) {
  const SampledVolume source = {call.source, tableOf<code>(), FloatBorder::kept};
  const auto destination = static_cast<Voxel *const *>(call.destination.planes);
  const int32_t dstStep = call.destination.step;
  const VekrVolumeBox dstBox = call.box;
  const int32_t firstPlane = wrappingAdd(dstBox.z, share.first);
  const double *const i0 = call.inverse, *const i1 = i0 + 4, *const i2 = i0 + 8;
  const Position perVoxel = {i0[0], i1[0], i2[0]}, perRow = {i0[1], i1[1], i2[1]},
                 perPlane = {i0[2], i1[2], i2[2]};
  const double X0 = dstBox.x, Y0 = dstBox.y, Z0 = firstPlane;
  // Where the first plane begins is a matter of products; from there on all is sums [C73].
  Position planeStart = {Y0 * i0[1] + i0[3] + i0[2] * Z0, Y0 * i1[1] + i1[3] + Z0 * i1[2],
                         Y0 * i2[1] + i2[3] + Z0 * i2[2]};
  for (int64_t z = 0; z < share.count; ++z) {
    Position rowStart = planeStart;
    unsigned char *const plane = reinterpret_cast<unsigned char *>(destination[firstPlane + z]);
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

}  // namespace

// clang-format off
VEKR_DRIVER_ROW(warp8, WarpCall, warp, uint8_t,
                ownrWarpAffine8N, ownrWarpAffine8L,
                ownrWarpAffine8C0, ownrWarpAffine8C1, ownrWarpAffine8C2, ownrWarpAffine8C3)
VEKR_DRIVER_ROW(warp16, WarpCall, warp, uint16_t,
                ownrWarpAffine16N, ownrWarpAffine16L,
                ownrWarpAffine16C0, ownrWarpAffine16C1, ownrWarpAffine16C2, ownrWarpAffine16C3)
VEKR_DRIVER_ROW(warp32, WarpCall, warp, float,
                ownrWarpAffine32N, ownrWarpAffine32L,
                ownrWarpAffine32C0, ownrWarpAffine32C1, ownrWarpAffine32C2, ownrWarpAffine32C3)
// clang-format on

const DriverTable<WarpCall> ownrWarpAffineInter = {{warp8, warp16, warp32}};

}  // namespace vekr::VEKR_ISA
