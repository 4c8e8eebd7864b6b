// Affine warp of 256^3 voxels: turned about all axes and enlarged, so that all coordinates lie inside the source.
#include <array>
#include <string>

#include "bench/volume_inputs.h"
#include "tests/reference/volume_reference.h"

namespace {

using namespace vekr_bench;

template <class Voxel>
constexpr auto warpOf() {
  if constexpr (sizeof(Voxel) == 1) {
    return vekrWarpAffine_8u_C1PV;
  } else if constexpr (sizeof(Voxel) == 2) {
    return vekrWarpAffine_16u_C1PV;
  } else {
    return vekrWarpAffine_32f_C1PV;
  }
}

// About the middle: 10, 5 and 3 degrees, and a scale of 1.35.
std::array<double, 12> turn() {
  const double degree = std::acos(-1.0) / 180, scale = 1.35, middle = (kSide - 1) / 2.0;
  const double ca = std::cos(10 * degree), sa = std::sin(10 * degree), cb = std::cos(5 * degree),
               sb = std::sin(5 * degree), cc = std::cos(3 * degree), sc = std::sin(3 * degree);
  std::array<double, 12> m = {cb * cc,
                              sa * sb * cc - ca * sc,
                              ca * sb * cc + sa * sc,
                              0,
                              cb * sc,
                              sa * sb * sc + ca * cc,
                              ca * sb * sc - sa * cc,
                              0,
                              -sb,
                              sa * cb,
                              ca * cb,
                              0};
  for (size_t row = 0; row < 3; ++row) {
    double sum = 0;
    for (size_t column = 0; column < 3; ++column) sum += m[4 * row + column] *= scale;
    m[4 * row + 3] = middle - sum * middle;
  }
  return m;
}

template <class Voxel>
void warp(benchmark::State &state, int32_t code) {
  const Cube<Voxel> &src = source<Voxel>();
  Cube<Voxel> dst, twin;
  constexpr int32_t step = kSide * sizeof(Voxel);
  const VekrVolumeBox whole = {0, 0, 0, kSide, kSide, kSide};
  const auto matrix = turn();
  const auto run = [&] {
    warpOf<Voxel>()(src.list(), {kSide, kSide, kSide}, step, whole, dst.planes.data(), step, whole,
                    matrix.data(), code);
  };
  run();
  // The first two planes of the first thread's share; the rest of the twin costs too much.
  reference::warpAffine(src.list(), {kSide, kSide, kSide}, step, whole, twin.planes.data(), step,
                        {0, 0, 0, kSide, kSide, 2}, matrix.data(), code, 1);
  if (std::memcmp(dst.elements.data(), twin.elements.data(), size_t(2) * kSide * kSide * sizeof(Voxel)) !=
      0) {
    state.SkipWithError("not what the twin gives");
    return;
  }
  for (auto _ : state) run();
  count(state, kVoxels, 2 * sizeof(Voxel));
}

const bool added =
    addFamily("warp", []<class Voxel>(benchmark::State &state, int32_t code) { warp<Voxel>(state, code); });

}  // namespace
