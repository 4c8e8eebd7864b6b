#include "prremap/remap_kernels.h"

#include "volume/rows.h"

namespace vekr::VEKR_ISA {

namespace {

// Coordinates of `count` voxels, from three rows of maps at any address.
struct MapReader {
  const unsigned char *maps[3];
  int count;

  Float<kGroup> load(int axis, int v) const {
    const unsigned char *const from = maps[axis] + static_cast<size_t>(v) * sizeof(float);
    if (v + kGroup <= count) return Float<kGroup>::load(reinterpret_cast<const float *>(from));
    float tail[kGroup] = {};  // nothing behind the row is read
    std::memcpy(tail, from, static_cast<size_t>(count - v) * sizeof(float));
    return Float<kGroup>::load(tail);
  }
  static Float<kGroup> bound(int32_t voxel) { return static_cast<float>(voxel); }  // [C63]
};

template <class Voxel, int32_t code>
void remap(const RemapCall &call, PlaneShare share) {
  const SampledVolume source = {call.source, tableOf<code>(), FloatBorder::truncated};
  const auto destination = static_cast<Voxel *const *>(call.destination.planes);
  const CoordinateMaps maps = call.maps;
  const int32_t width = call.width, height = call.height, dstStep = call.destination.step;
  for (int32_t k = share.first; k < share.first + share.count; ++k) {
    const auto dst = reinterpret_cast<unsigned char *>(destination[k]);
    const auto xMap = reinterpret_cast<const unsigned char *>(maps.planes[0][k]);
    const auto yMap = reinterpret_cast<const unsigned char *>(maps.planes[1][k]);
    const auto zMap = reinterpret_cast<const unsigned char *>(maps.planes[2][k]);
    for (int64_t j = 0; j < height; ++j) {
      const int64_t mapRow = j * maps.step;
      sampleRow<Voxel, code>(source, dst + j * dstStep, width, [&](int32_t x, int count) {
        const int64_t at = mapRow + int64_t(x) * int64_t(sizeof(float));
        return MapReader{{xMap + at, yMap + at, zMap + at}, count};
      });
    }
  }
}

}  // namespace

// clang-format off
VEKR_DRIVER_ROW(remap8, RemapCall, remap, uint8_t,
                ownrRemap8N, ownrRemap8L, ownrRemap8C0, ownrRemap8C1, ownrRemap8C2, ownrRemap8C3)
VEKR_DRIVER_ROW(remap16, RemapCall, remap, uint16_t,
                ownrRemap16N, ownrRemap16L, ownrRemap16C0, ownrRemap16C1, ownrRemap16C2, ownrRemap16C3)
VEKR_DRIVER_ROW(remap32, RemapCall, remap, float,
                ownrRemap32N, ownrRemap32L, ownrRemap32C0, ownrRemap32C1, ownrRemap32C2, ownrRemap32C3)
// clang-format on

const DriverTable<RemapCall> ownrRemapInter = {{remap8, remap16, remap32}};

}  // namespace vekr::VEKR_ISA
