// Destination voxels per second of resize, by type, code and factor, beside a copy of the same bytes.
//   bench_resize [Google Benchmark's options]
// The sources are 256^3, and 512x512x256 in the bracketed ones. One thread, but for the last group, where the function that
// forks has all of them.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench/volume_inputs.h"
#include "tests/reference/resize_reference.h"
#include "tests/support/volume_calls.h"
#include "vekcore/vekcore.h"
#include "vekr.h"

namespace {

struct Setting {
  VekrVolumeSize size;
  double factor;
  int32_t code;
};

VekrVolumeSize scaled(const Setting &s) {
  const auto side = [&](int32_t n) { return static_cast<int32_t>(n * s.factor); };
  return {side(s.size.width), side(s.size.height), side(s.size.depth)};
}

int64_t voxelsOf(VekrVolumeSize size) { return int64_t{size.width} * size.height * size.depth; }

template <class Voxel>
std::vector<Voxel> sourceOf(VekrVolumeSize size) {
  std::vector<Voxel> source(static_cast<size_t>(voxelsOf(size)));
  uint32_t state = 1;
  for (Voxel &v : source) {
    state = state * 1664525u + 1013904223u;
    v = static_cast<Voxel>(state >> 24);
  }
  return source;
}

reference::ResizeRequest requestOf(const Setting &s) {
  const VekrVolumeSize to = scaled(s);
  return {s.size,
          {0, 0, 0, s.size.width, s.size.height, s.size.depth},
          {0, 0, 0, to.width, to.height, to.depth},
          {s.factor, s.factor, s.factor},
          {0, 0, 0},
          s.code};
}

template <class Voxel>
void resize(const Voxel *source, Voxel *destination, const reference::ResizeRequest &r, uint8_t *buffer) {
  const auto call = [&](auto function) {
    const int32_t bytes = sizeof(Voxel);
    const int32_t from = bytes * r.srcSize.width, to = bytes * r.dstBox.width;
    return function(source, r.srcSize, from, from * r.srcSize.height, r.srcBox, destination, to,
                    to * r.dstBox.height, r.dstBox, r.factor[0], r.factor[1], r.factor[2], r.shift[0],
                    r.shift[1], r.shift[2], r.code, buffer);
  };
  const auto function = vekr_test::forVoxel<Voxel>(vekrResize_8u_C1V, vekrResize_16u_C1V, vekrResize_32f_C1V);
  if (call(function) != vekOk) std::abort();
}

std::vector<uint8_t> bufferOf(const reference::ResizeRequest &r) {
  int32_t bytes = 0;
  vekrResizeGetBufSize(r.srcBox, r.dstBox, 1, r.code, &bytes);
  return std::vector<uint8_t>(static_cast<size_t>(bytes));
}

// A smaller volume by the same factor and code, against the plain twin.
template <class Voxel>
void check(Setting s) {
  s.size = {61, 45, 19};
  const std::vector<Voxel> source = sourceOf<Voxel>(s.size);
  const reference::ResizeRequest r = requestOf(s);
  const VekrVolumeSize to = scaled(s);
  std::vector<Voxel> destination(static_cast<size_t>(voxelsOf(to)));
  std::vector<uint8_t> buffer = bufferOf(r);
  resize(source.data(), destination.data(), r, buffer.data());
  const auto read = [&](int32_t x, int32_t y, int32_t z) {
    return source[static_cast<size_t>((int64_t{z} * s.size.height + y) * s.size.width + x)];
  };
  reference::ResizeTwin<Voxel, decltype(read)> twin(r, s.size.width, read);
  const auto range = [&](int axis) { return twin.interval(axis); };
  for (int32_t z = range(2).begin; z < range(2).end; ++z) {
    for (int32_t y = range(1).begin; y < range(1).end; ++y) {
      for (int32_t x = range(0).begin; x < range(0).end; ++x) {
        const auto expected = twin.at(x - range(0).begin, y - range(1).begin, z - range(2).begin);
        const size_t at = static_cast<size_t>((int64_t{z} * to.height + y) * to.width + x);
        if (std::memcmp(&*expected, &destination[at], sizeof(Voxel)) != 0) {
          std::fprintf(stderr, "code %d, factor %g: voxel (%d, %d, %d) is wrong, nothing is timed\n", s.code,
                       s.factor, x, y, z);
          std::exit(1);
        }
      }
    }
  }
}

template <class Voxel>
void run(benchmark::State &state, Setting s, int32_t threads) {
  vekSetNumThreads(threads);
  check<Voxel>(s);
  const std::vector<Voxel> source = sourceOf<Voxel>(s.size);
  const reference::ResizeRequest r = requestOf(s);
  std::vector<Voxel> destination(static_cast<size_t>(voxelsOf(scaled(s))));
  std::vector<uint8_t> buffer = bufferOf(r);
  for (auto _ : state) {
    resize(source.data(), destination.data(), r, buffer.data());
    benchmark::ClobberMemory();
  }
  vekSetNumThreads(0);
  state.counters["voxels"] = benchmark::Counter(static_cast<double>(voxelsOf(scaled(s))),
                                                benchmark::Counter::kIsIterationInvariantRate);
}

// As many bytes read and written as the destination has.
template <class Voxel>
void copy(benchmark::State &state, Setting s) {
  const std::vector<Voxel> source = sourceOf<Voxel>(scaled(s));
  std::vector<Voxel> destination(source.size());
  for (auto _ : state) {
    std::memcpy(destination.data(), source.data(), source.size() * sizeof(Voxel));
    benchmark::ClobberMemory();
  }
  state.counters["voxels"] =
      benchmark::Counter(static_cast<double>(source.size()), benchmark::Counter::kIsIterationInvariantRate);
}

// All cubic codes share one way through the library: two of them stand for the four.
std::vector<vekr_bench::Code> measuredCodes() {
  std::vector<vekr_bench::Code> codes;
  for (const vekr_bench::Code &code : vekr_bench::kCodes) {
    if (code.code != vekrInterCubicBSpline && code.code != vekrInterCubicCatmullRom) codes.push_back(code);
  }
  return codes;
}

template <class Voxel>
void registerAll(const std::string &type) {
  for (const VekrVolumeSize size : {VekrVolumeSize{256, 256, 256}, {512, 512, 256}}) {
    for (const double factor : {2.0, 0.5, 1.3}) {
      if (size.width == 512 && factor == 2.0) continue;  // gigabytes
      char tail[40];
      std::snprintf(tail, sizeof tail, "/%g%s", factor, size.width == 512 ? "[512x512x256]" : "");
      for (const vekr_bench::Code &code : measuredCodes()) {
        const Setting s = {size, factor, code.code};
        benchmark::RegisterBenchmark((type + "/" + code.name + tail).c_str(), run<Voxel>, s, 1)
            ->Unit(benchmark::kMillisecond);
      }
      benchmark::RegisterBenchmark((type + "/copy" + tail).c_str(), copy<Voxel>, Setting{size, factor, 0})
          ->Unit(benchmark::kMillisecond);
    }
  }
}

const bool registered = [] {
  registerAll<uint8_t>("8u");
  registerAll<uint16_t>("16u");
  registerAll<float>("32f");
  for (const vekr_bench::Code &code : measuredCodes()) {
    benchmark::RegisterBenchmark((std::string("32f/all threads/") + code.name + "/1.3").c_str(), run<float>,
                                 Setting{{256, 256, 256}, 1.3, code.code}, 0)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
  }
  return true;
}();

}  // namespace
