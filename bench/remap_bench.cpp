// Remap of 256^3 voxels through a smooth deformation whose coordinates all lie inside the source.
#include "bench/volume_inputs.h"
#include "tests/prremap/remap_calls.h"
#include "tests/reference/volume_reference.h"

namespace {

using namespace vekr_bench;
using vekr_test::remapOf;

struct Maps {
  Cube<float> x, y, z;
  Maps() {
    constexpr double half = kSide / 2.0, reach = half - 6;
    for (int32_t k = 0; k < kSide; ++k) {
      for (int32_t j = 0; j < kSide; ++j) {
        for (int32_t i = 0; i < kSide; ++i) {
          const size_t at = (static_cast<size_t>(k) * kSide + j) * kSide + i;
          const double u = (i - half) / half, v = (j - half) / half, w = (k - half) / half;
          x.elements[at] = static_cast<float>(half + reach * (0.95 * u + 0.04 * std::sin(3 * v + w)));
          y.elements[at] = static_cast<float>(half + reach * (0.95 * v + 0.04 * std::sin(3 * w + u)));
          z.elements[at] = static_cast<float>(half + reach * (0.95 * w + 0.04 * std::sin(3 * u + v)));
        }
      }
    }
  }
};

const Maps &maps() {
  static const Maps all;
  return all;
}

template <class Voxel>
void remap(benchmark::State &state, int32_t code) {
  const Cube<Voxel> &src = source<Voxel>();
  Cube<Voxel> dst, twin(kSide, 2);
  constexpr int32_t step = kSide * sizeof(Voxel);
  const VekrVolumeBox box = {0, 0, 0, kSide, kSide, kSide};
  const auto run = [&] {
    remapOf<Voxel>()(src.list(), {kSide, kSide, kSide}, step, box, maps().x.list(), maps().y.list(),
                     maps().z.list(), kSide * 4, dst.planes.data(), step, {kSide, kSide, kSide}, code);
  };
  run();
  reference::remap(src.list(), {kSide, kSide, kSide}, step, box, maps().x.list(), maps().y.list(),
                   maps().z.list(), kSide * 4, twin.planes.data(), step, {kSide, kSide, 2}, code);
  if (std::memcmp(dst.elements.data(), twin.elements.data(), twin.elements.size() * sizeof(Voxel)) != 0) {
    state.SkipWithError("not what the twin gives");
    return;
  }
  for (auto _ : state) run();
  count(state, kVoxels, 2 * sizeof(Voxel) + 3 * sizeof(float));
}

const bool added =
    addFamily("remap", []<class Voxel>(benchmark::State &state, int32_t code) { remap<Voxel>(state, code); });

}  // namespace
