// Filter of 256^3 voxels, in voxels a second, for kernel sizes, forms and divisors.
#include <benchmark/benchmark.h>

#include <vector>

#include "tests/reference/filter.h"
#include "tests/support/values.h"
#include "vekr.h"

namespace {

using vekr_reference::FilterCall;

constexpr int32_t kEdge = 256;

struct Volume {
  explicit Volume(int32_t edge) : edge(edge), voxels(static_cast<size_t>(edge) * edge * edge) {}
  int16_t *at(int32_t x, int32_t y, int32_t z) {
    return &voxels[(static_cast<size_t>(z) * edge + y) * edge + x];
  }

  int32_t edge;
  std::vector<int16_t> voxels;
};

// A centred kernel over a volume with a margin.
struct Job {
  Job(VekrVolumeSize kernel, int32_t divisor, bool wide)
      : call{{kEdge, kEdge, kEdge},
             kernel,
             {kernel.width / 2, kernel.height / 2, kernel.depth / 2},
             divisor,
             {}},
        margin(std::max({kernel.width, kernel.height, kernel.depth}) / 2),
        source(kEdge + 2 * margin),
        result(kEdge) {
    vekr_test::Random random(1);
    for (int16_t &voxel : source.voxels) voxel = static_cast<int16_t>(random.below(4096));
    call.taps.resize(static_cast<size_t>(kernel.width) * kernel.height * kernel.depth);
    for (int32_t &tap : call.taps) tap = random.below(41) - 20;
    if (wide) call.taps[0] = 32767;
    for (int32_t z = 0; z < source.edge; ++z) srcList.push_back(source.at(margin, margin, z));
    for (int32_t z = 0; z < kEdge; ++z) dstList.push_back(result.at(0, 0, z));
    int32_t size = 0;
    vekrFilterGetBufSize(call.dst, kernel, 1, &size);
    buffer.resize(static_cast<size_t>(size));
  }

  VekStatus run() {
    return vekrFilter_16s_C1PV(srcList.data() + margin, source.edge * 2, dstList.data(), kEdge * 2, call.dst,
                               call.taps.data(), call.kernel, call.anchor, call.divisor, buffer.data());
  }

  // Two planes of the last result against the plain twin.
  bool isRight() {
    bool right = true;
    for (int32_t z : {0, kEdge - 1}) {
      FilterCall plane = call;
      plane.dst.depth = 1;
      vekr_reference::filter(
          plane,
          [&](int32_t x, int32_t y, int32_t dz) {
            return *source.at(x + margin, y + margin, z + dz + margin);
          },
          [&](int32_t x, int32_t y, int32_t, int16_t voxel) {
            right = right && *result.at(x, y, z) == voxel;
          });
    }
    return right;
  }

  FilterCall call;
  int32_t margin;
  Volume source, result;
  std::vector<const int16_t *> srcList;
  std::vector<int16_t *> dstList;
  std::vector<uint8_t> buffer;
};

void filterVolume(benchmark::State &state, VekrVolumeSize kernel, int32_t divisor, bool wide) {
  Job job(kernel, divisor, wide);
  if (job.run() != vekOk || !job.isRight()) {
    state.SkipWithError("wrong output");
    return;
  }
  for (auto _ : state) {
    job.run();
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kEdge * kEdge * kEdge);
}

#define FILTER_BENCH(name, ...) \
  BENCHMARK_CAPTURE(filterVolume, name, __VA_ARGS__)->Unit(benchmark::kMillisecond)

FILTER_BENCH(3x3x3_shift, {3, 3, 3}, 64, false);
FILTER_BENCH(3x3x3_undivided, {3, 3, 3}, 1, false);
FILTER_BENCH(3x3x3_factor, {3, 3, 3}, 27, false);
FILTER_BENCH(5x5x5_shift, {5, 5, 5}, 64, false);
FILTER_BENCH(7x7x7_shift, {7, 7, 7}, 64, false);
FILTER_BENCH(9x9x9_shift, {9, 9, 9}, 64, false);
FILTER_BENCH(4x4x4_shift, {4, 4, 4}, 64, false);
FILTER_BENCH(wide_1x1x1_undivided, {1, 1, 1}, 1, true);
FILTER_BENCH(wide_9x1x1_shift, {9, 1, 1}, 64, true);
FILTER_BENCH(wide_3x3x3_shift, {3, 3, 3}, 64, true);
FILTER_BENCH(wide_3x3x3_divided, {3, 3, 3}, 27, true);
FILTER_BENCH(wide_5x5x5_shift, {5, 5, 5}, 64, true);
FILTER_BENCH(wide_7x7x7_shift, {7, 7, 7}, 64, true);

}  // namespace
