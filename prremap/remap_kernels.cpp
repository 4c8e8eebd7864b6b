#include "prremap/remap_kernels.h"

#include "volume/sampling.h"

namespace vekr::VEKR_ISA {

namespace {

constexpr int kGroup = kWidestGroup;

enum class Index { truncated, nearest };

// Finds the voxels of one chunk in the source, from three rows of maps. Voxels outside the region, and coordinates that
// are not numbers, are left out.
template <Index kind>
void locate(const RegionBox &region, const unsigned char *const (&maps)[3], Chunk &chunk) {
  const int32_t first[3] = {region.x0, region.y0, region.z0};
  const int32_t last[3] = {region.x1, region.y1, region.z1};
  VoxelSet inside = 0;
  for (int v = 0; v < chunk.count; v += kGroup) {
    const int lanes = chunk.count - v < kGroup ? chunk.count - v : kGroup;
    Float<kGroup> at[3];
    for (int axis = 0; axis < 3; ++axis) {
      const unsigned char *const from = maps[axis] + static_cast<size_t>(v) * sizeof(float);
      if (lanes == kGroup) {
        at[axis] = Float<kGroup>::load(reinterpret_cast<const float *>(from));
      } else {
        float tail[kGroup];
        for (float &coordinate : tail) coordinate = -1.0f;  // outside of any region
        std::memcpy(tail, from, static_cast<size_t>(lanes) * sizeof(float));
        at[axis] = Float<kGroup>::load(tail);
      }
    }
    Mask<kGroup> in = Float<kGroup>(static_cast<float>(first[0])) <= at[0];
    for (int axis = 0; axis < 3; ++axis) {
      in = in & (Float<kGroup>(static_cast<float>(first[axis])) <= at[axis]) &
           (at[axis] <= Float<kGroup>(static_cast<float>(last[axis])));
    }
    for (int axis = 0; axis < 3; ++axis) {
      const Int<kGroup> index = kind == Index::nearest ? rounded(at[axis]) : truncated(at[axis]);
      select(in, index, Int<kGroup>(first[axis])).store(chunk.index[axis] + v);
      if constexpr (kind == Index::truncated) at[axis].store(chunk.at[axis] + v);
    }
    inside |= static_cast<VoxelSet>(bits(in)) << v;
  }
  chunk.inside = inside;
}

// One row: each voxel is tested by itself, for the maps may send neighbours anywhere.
template <class Voxel, int32_t code>
void remapRow(const SampledVolume &source, unsigned char *dst, int32_t width,
              const unsigned char *const (&maps)[3]) {
  sampleRow<Voxel, code>(source, dst, width, [&](int32_t x, Chunk &chunk) {
    const size_t bytes = static_cast<size_t>(x) * sizeof(float);
    locate<code == vekrInterNearest ? Index::nearest : Index::truncated>(
        source.region, {maps[0] + bytes, maps[1] + bytes, maps[2] + bytes}, chunk);
  });
}

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
      remapRow<Voxel, code>(source, dst + j * dstStep, width, {xMap + mapRow, yMap + mapRow, zMap + mapRow});
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
