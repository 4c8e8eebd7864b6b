// Resize, remap, warp and filter.
#include <cmath>

#include "compare.h"

namespace vekr_bench {
namespace {

constexpr int32_t kSide = 96;
constexpr size_t kVoxels = size_t{kSide} * kSide * kSide;
constexpr VekrVolumeSize kSize = {kSide, kSide, kSide};
constexpr VekrVolumeBox kBox = {0, 0, 0, kSide, kSide, kSide};

struct Kind {
  int32_t code;
  const char *name;
};
constexpr Kind kKinds[] = {
    {vekrInterNearest, "nearest"}, {vekrInterLinear, "linear"}, {vekrInterCubicCatmullRom, "cubic"}};

template <class Voxel>
std::vector<Voxel *> planesOf(Voxel *first, int32_t side = kSide) {
  std::vector<Voxel *> planes;
  for (int32_t z = 0; z < side; ++z) planes.push_back(first + size_t(side) * size_t(side) * size_t(z));
  return planes;
}

// The three functions of a voxel type, by which `resize`, `remap` and `warp` are called.
#define VEKR_VOLUME_FUNCTIONS(Voxel, suffix)                                                  \
  struct Functions_##suffix {                                                                 \
    using Type = Voxel;                                                                       \
    static constexpr const char *kName = #suffix;                                             \
    static auto resize(const Library &l) { return VEKR_OF(l, vekrResize_##suffix##_C1PV); }   \
    static auto remap(const Library &l) { return VEKR_OF(l, vekrRemap_##suffix##_C1PV); }     \
    static auto warp(const Library &l) { return VEKR_OF(l, vekrWarpAffine_##suffix##_C1PV); } \
  };
VEKR_VOLUME_FUNCTIONS(uint8_t, 8u)
VEKR_VOLUME_FUNCTIONS(uint16_t, 16u)
VEKR_VOLUME_FUNCTIONS(float, 32f)

template <class Functions>
void compareType(Comparison &comparison) {
  using Voxel = typename Functions::Type;
  constexpr int32_t kStep = kSide * sizeof(Voxel);
  std::vector<Voxel> source = randomPlane<Voxel>(kVoxels, 0, sizeof(Voxel) == 1 ? 255 : 60000, 1);
  const std::vector<Voxel *> from = planesOf(source.data());

  // A turn about z with some waves, inside the volume for the most part.
  std::vector<float> coordinates[3];
  for (auto &map : coordinates) map.resize(kVoxels);
  for (size_t i = 0; i < kVoxels; ++i) {
    const auto x = static_cast<float>(i % kSide), y = static_cast<float>(i / kSide % kSide),
               z = static_cast<float>(i / kSide / kSide);
    coordinates[0][i] = 0.9f * x - 0.2f * y + 12 + std::sin(z / 7);
    coordinates[1][i] = 0.2f * x + 0.9f * y - 5 + std::sin(x / 9);
    coordinates[2][i] = 0.95f * z + 2 + std::sin(y / 8);
  }
  const std::vector<float *> maps[3] = {planesOf(coordinates[0].data()), planesOf(coordinates[1].data()),
                                        planesOf(coordinates[2].data())};
  const double matrix[12] = {0.95, -0.2, 0.05, 9.3, 0.2, 0.95, -0.04, -4.1, -0.05, 0.03, 0.97, 2.7};

  for (const Kind &kind : kKinds) {
    const std::string name = std::string(Functions::kName) + "/" + kind.name;
    comparison.compare("remap", name, kVoxels * sizeof(Voxel), [&](const Library &l, Bytes &o) {
      const std::vector<Voxel *> to = planesOf(reinterpret_cast<Voxel *>(o.data()));
      Functions::remap(l)(from.data(), kSize, kStep, kBox, maps[0].data(), maps[1].data(), maps[2].data(),
                          kSide * 4, to.data(), kStep, kSize, kind.code);
    });
    comparison.compare("warp", name, kVoxels * sizeof(Voxel), [&](const Library &l, Bytes &o) {
      const std::vector<Voxel *> to = planesOf(reinterpret_cast<Voxel *>(o.data()));
      Functions::warp(l)(from.data(), kSize, kStep, kBox, to.data(), kStep, kBox, matrix, kind.code);
    });
    for (const double factor : {0.5, 0.7, 1.3}) {
      const auto side = static_cast<int32_t>(kSide * factor);
      const VekrVolumeBox box = {0, 0, 0, side, side, side};
      int32_t bytes = 0;
      VEKR_OF(comparison.newest(), vekrResizeGetBufSize)(kBox, box, 1, kind.code, &bytes);
      std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
      comparison.compare(
          "resize", name + "/" + std::to_string(factor).substr(0, 3),
          size_t(side) * size_t(side) * size_t(side) * sizeof(Voxel), [&](const Library &l, Bytes &o) {
            const std::vector<Voxel *> to = planesOf(reinterpret_cast<Voxel *>(o.data()), side);
            Functions::resize(l)(from.data(), kSize, kStep, kBox, to.data(), side * int32_t{sizeof(Voxel)},
                                 box, factor, factor, factor, 0, 0, 0, kind.code, buffer.data());
          });
    }
  }
}

void compareFilters(Comparison &comparison) {
  constexpr int32_t kBorder = 8, kWhole = kSide + 2 * kBorder;
  std::vector<int16_t> source = randomPlane<int16_t>(size_t{kWhole} * kWhole * kWhole, -2000, 2000, 2);
  std::vector<int16_t *> planes = planesOf(source.data(), kWhole);
  for (int16_t *&plane : planes) plane += kBorder * kWhole + kBorder;
  for (const int32_t width : {3, 4, 5, 7, 9}) {
    for (const bool isWide : {false, true}) {  // a tap of 32767 chooses the form of 32-bit taps
      std::vector<int32_t> kernel(static_cast<size_t>(width * width * width), 1);
      if (isWide) kernel[0] = 32767;
      const VekrVolumeSize size = {width, width, width};
      int32_t bytes = 0;
      VEKR_OF(comparison.newest(), vekrFilterGetBufSize)(kSize, size, 1, &bytes);
      std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
      for (const int32_t divisor : {64, 100}) {
        comparison.compare(
            "filter",
            std::to_string(width) + (isWide ? "/wide/" : "/pairs/") + (divisor == 64 ? "shift" : "divide"),
            kVoxels * 2, [&](const Library &l, Bytes &o) {
              const std::vector<int16_t *> to = planesOf(reinterpret_cast<int16_t *>(o.data()));
              VEKR_OF(l, vekrFilter_16s_C1PV)
              (planes.data() + kBorder, kWhole * 2, to.data(), kSide * 2, kSize, kernel.data(), size,
               {width / 2, width / 2, width / 2}, divisor, buffer.data());
            });
      }
    }
  }
}

}  // namespace

void compareVolumes(Comparison &comparison) {
  compareType<Functions_8u>(comparison);
  compareType<Functions_16u>(comparison);
  compareType<Functions_32f>(comparison);
  compareFilters(comparison);
}

}  // namespace vekr_bench
