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
void remap(const void *pSrc, const void *pDst, int32_t srcStep, int32_t dstStep, const float *const *pXMap,
           const float *const *pYMap, const float *const *pZMap, int32_t mapStep, RegionBox region,
           int32_t width, int32_t height, int32_t planes) {
  const SampledVolume source = {pSrc, srcStep, region, tableOf<code>(), FloatBorder::truncated};
  const auto destination = static_cast<Voxel *const *>(pDst);
  for (int32_t k = 0; k < planes; ++k) {
    const auto dst = reinterpret_cast<unsigned char *>(destination[k]);
    const auto xMap = reinterpret_cast<const unsigned char *>(pXMap[k]);
    const auto yMap = reinterpret_cast<const unsigned char *>(pYMap[k]);
    const auto zMap = reinterpret_cast<const unsigned char *>(pZMap[k]);
    for (int64_t j = 0; j < height; ++j) {
      const int64_t mapRow = j * mapStep;
      sampleRow<Voxel, code>(source, dst + j * dstStep, width, [&](int32_t x, int count) {
        const int64_t at = mapRow + int64_t(x) * int64_t(sizeof(float));
        return MapReader{{xMap + at, yMap + at, zMap + at}, count};
      });
    }
  }
}

constexpr RemapDriver *ownrRemap8N = remap<uint8_t, vekrInterNearest>;
constexpr RemapDriver *ownrRemap8L = remap<uint8_t, vekrInterLinear>;
constexpr RemapDriver *ownrRemap8C0 = remap<uint8_t, vekrInterCubicLagrange>;
constexpr RemapDriver *ownrRemap8C1 = remap<uint8_t, vekrInterCubicBSpline>;
constexpr RemapDriver *ownrRemap8C2 = remap<uint8_t, vekrInterCubicCatmullRom>;
constexpr RemapDriver *ownrRemap8C3 = remap<uint8_t, vekrInterCubicMitchell>;

constexpr RemapDriver *ownrRemap16N = remap<uint16_t, vekrInterNearest>;
constexpr RemapDriver *ownrRemap16L = remap<uint16_t, vekrInterLinear>;
constexpr RemapDriver *ownrRemap16C0 = remap<uint16_t, vekrInterCubicLagrange>;
constexpr RemapDriver *ownrRemap16C1 = remap<uint16_t, vekrInterCubicBSpline>;
constexpr RemapDriver *ownrRemap16C2 = remap<uint16_t, vekrInterCubicCatmullRom>;
constexpr RemapDriver *ownrRemap16C3 = remap<uint16_t, vekrInterCubicMitchell>;

constexpr RemapDriver *ownrRemap32N = remap<float, vekrInterNearest>;
constexpr RemapDriver *ownrRemap32L = remap<float, vekrInterLinear>;
constexpr RemapDriver *ownrRemap32C0 = remap<float, vekrInterCubicLagrange>;
constexpr RemapDriver *ownrRemap32C1 = remap<float, vekrInterCubicBSpline>;
constexpr RemapDriver *ownrRemap32C2 = remap<float, vekrInterCubicCatmullRom>;
constexpr RemapDriver *ownrRemap32C3 = remap<float, vekrInterCubicMitchell>;

}  // namespace

// clang-format off
RemapDriver *const ownrRemapInter[kVoxelRows][kInterpolationSlots] = {
    {nullptr, ownrRemap8N, ownrRemap8L, nullptr, ownrRemap8C0, ownrRemap8C1, ownrRemap8C2, ownrRemap8C3},
    {nullptr, ownrRemap16N, ownrRemap16L, nullptr, ownrRemap16C0, ownrRemap16C1, ownrRemap16C2, ownrRemap16C3},
    {nullptr, ownrRemap32N, ownrRemap32L, nullptr, ownrRemap32C0, ownrRemap32C1, ownrRemap32C2, ownrRemap32C3}};
// clang-format on

}  // namespace vekr::VEKR_ISA
