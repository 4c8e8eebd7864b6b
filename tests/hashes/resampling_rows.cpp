// Remap and affine warp: every voxel type and interpolation, within the calling thread and shared among threads.
#include "hashes/volume.h"

namespace hashes {
namespace {

constexpr VekrVolumeSize kThin = {19, 9, 7};     // below 16: the caller's thread alone
constexpr VekrVolumeSize kThick = {37, 18, 16};  // shared out by planes
// Regions of the source that may be sampled: all, a part, one that is cut, one too small for cubic taps, none.
constexpr VekrVolumeBox kRegions[] = {{0, 0, 0, 14, 12, 11},
                                      {2, 1, 3, 9, 8, 5},
                                      {5, 4, 2, 100, 100, 100},
                                      {3, 3, 3, 3, 2, 1},
                                      {14, 0, 0, 1, 1, 1}};
constexpr VekrVolumeSize kSource = {14, 12, 11};

template <class Voxel>
void fillSource(Volume<Voxel> &source, bool wild) {
  Random random(67);
  source.fill([&](int32_t, int32_t, int32_t) { return randomVoxel<Voxel>(random, wild); });
}

// Anywhere in the source and a little outside; whole numbers, halves, and what is no place at all.
float coordinate(Random &random, int32_t extent) {
  const float end = static_cast<float>(extent);
  switch (random.below(8)) {
    case 0:
      return static_cast<float>(random.below(extent + 2) - 1);
    case 1:
      return static_cast<float>(random.below(extent)) + 0.5f;
    case 2: {
      const float odd = random.hostile();
      return odd == odd ? odd : -0.0f;
    }
    default:
      return random.within(-0.5f, end - 0.5f);
  }
}

template <class Voxel, class Function>
uint64_t remap(const Function &function, VekrVolumeSize size, int32_t code) {
  // Border voxels of cubic codes become whole numbers: what fits none is undefined.
  const bool wild = code <= vekrInterLinear;
  Volume<Voxel> source(kSource, paddedRow<Voxel>(kSource.width));
  fillSource(source, wild);
  Random random(71);
  const int32_t mapRow = size.width * 4 + 3;
  Volume<float> x(size, mapRow), y(size, mapRow), z(size, mapRow);
  x.fill([&](int32_t, int32_t, int32_t) { return coordinate(random, kSource.width); });
  y.fill([&](int32_t, int32_t, int32_t) { return coordinate(random, kSource.height); });
  z.fill([&](int32_t, int32_t, int32_t) { return coordinate(random, kSource.depth); });
  Hash hash;
  for (const VekrVolumeBox &region : kRegions) {
    Volume<Voxel> result(size, size.width * static_cast<int32_t>(sizeof(Voxel)) + 1);
    hash.word(hashOf(function(source.in(), kSource, source.rowBytes(), region, x.in(), y.in(), z.in(), mapRow,
                              result.list(), result.rowBytes(), size, code),
                     result));
  }
  return hash.value();
}

// Scales, shears, a mirror, a shift by halves, and one that is refused. The shears by tenths bring sums onto ties and onto the
// region's bounds, where the last bit decides: that is where the number of threads shows.
constexpr double kMatrices[][12] = {
    {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0},           {1.1, 0.2, 0, -1, 0, 0.7, 0.1, 2, 0.3, 0, 1.3, -0.5},
    {-1, 0, 0, 13, 0, 1, 0, 0.5, 0, 0, 1, 0.5},     {2.5, 0, 0, 0, 0, 1.5, 0, 0, 0, 0, 1.4, 0},
    {0.6, -0.8, 0, 4, 0.8, 0.6, 0, -3, 0, 0, 1, 0}, {1, 0, 0.1, 0, 0, 1, -0.1, 0, 0, 0, 1.1, 0},
    {1, 0, 0.3, 0, 0, 1, 0.7, 0, 0, 0, 0.7, 0},     {1, 2, 3, 0, 2, 4, 6, 0, 0, 0, 1, 0}};

template <class Voxel, class Function>
uint64_t warp(const Function &function, VekrVolumeSize size, int32_t code) {
  Volume<Voxel> source(kSource, paddedRow<Voxel>(kSource.width));
  fillSource(source, true);
  Hash hash;
  for (const VekrVolumeBox &region : kRegions) {
    for (const auto &matrix : kMatrices) {
      Volume<Voxel> result(size, size.width * static_cast<int32_t>(sizeof(Voxel)) + 1);
      const VekrVolumeBox box = {1, 0, 0, size.width - 1, size.height, size.depth};
      hash.word(hashOf(function(source.in(), kSource, source.rowBytes(), region, result.list(),
                                result.rowBytes(), box, matrix, code),
                       result));
    }
  }
  return hash.value();
}

template <class Voxel, class Remap, class Warp>
void addType(Rows &rows, Remap remapFunction, Warp warpFunction) {
  for (const auto &[name, code] : kInterpolations) {
    for (const bool thick : {false, true}) {
      const VekrVolumeSize size = thick ? kThick : kThin;
      const std::string end = std::string(typeName<Voxel>()) + name + (thick ? "/threads" : "");
      rows.push_back(
          {"remap" + end, false, 0, [=, c = code] { return remap<Voxel>(remapFunction, size, c); }});
      if (!thick) {
        rows.push_back(
            {"warp" + end, false, 0, [=, c = code] { return warp<Voxel>(warpFunction, size, c); }});
        continue;
      }
      for (const int32_t threads : {1, 2, 5}) {  // the sums begin afresh in each
        rows.push_back({"warp" + end + " " + std::to_string(threads), false, threads,
                        [=, c = code] { return warp<Voxel>(warpFunction, size, c); }});
      }
    }
  }
}

}  // namespace

void addResamplingRows(Rows &rows) {
  addType<uint8_t>(rows, vekrRemap_8u_C1PV, vekrWarpAffine_8u_C1PV);
  addType<uint16_t>(rows, vekrRemap_16u_C1PV, vekrWarpAffine_16u_C1PV);
  addType<float>(rows, vekrRemap_32f_C1PV, vekrWarpAffine_32f_C1PV);
  rows.push_back({"warp/size", false, 0, [] {
                    Hash hash;
                    for (const int32_t code : {0, 1, 2, 3, 7}) {
                      Array<int32_t> size(1);
                      const VekrVolumeBox box = {0, 0, 0, 9, 9, 9};
                      hash.word(hashOf(vekrWarpAffineGetBufSize(box, box, 1, code, size.data()), size));
                    }
                    return hash.value();
                  }});
}

}  // namespace hashes
