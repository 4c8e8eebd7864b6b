// Affine warp of 256^3 voxels: turned about all axes and enlarged, so that all coordinates lie inside the source.
#include "bench/volume_inputs.h"
#include "tests/prwarpa/warp_calls.h"
#include "tests/reference/volume_reference.h"

namespace {

using namespace vekr_bench;
using vekr_test::warpOf;

// About the middle: 10, 5 and 3 degrees, and a scale of 1.35.
vekr_test::Matrix turn() {
  const double degree = std::acos(-1.0) / 180, middle = (kSide - 1) / 2.0;
  vekr_test::Matrix m = vekr_test::turned(10 * degree, 5 * degree, 3 * degree, 1.35, 0, 0, 0);
  for (size_t row = 0; row < 12; row += 4) m[row + 3] = middle - (m[row] + m[row + 1] + m[row + 2]) * middle;
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
