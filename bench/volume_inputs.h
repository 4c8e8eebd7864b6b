// A volume of 256^3 voxels, and places of it to look at, for the benchmarks of the volume families.
#pragma once

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "vekcore/vekcore.h"
#include "vekr.h"

namespace vekr_bench {

constexpr int32_t kSide = 256;
constexpr int64_t kVoxels = int64_t(kSide) * kSide * kSide;

template <class Element>
struct Cube {
  std::vector<Element> elements;
  std::vector<Element *> planes;
  Cube(Cube &&) = default;  // the planes stay where they are
  Cube(int32_t side, int32_t depth) : elements(static_cast<size_t>(side) * side * depth) {
    for (int32_t z = 0; z < depth; ++z)
      planes.push_back(elements.data() + static_cast<size_t>(z) * side * side);
  }
  explicit Cube(int32_t side = kSide) : Cube(side, side) {}
  const Element *const *list() const { return planes.data(); }
};

// Smooth, with some noise.
template <class Voxel>
void fill(Cube<Voxel> &cube) {
  uint32_t noise = 1;
  const double top = sizeof(Voxel) == 1 ? 200 : 50000;
  for (size_t i = 0; i < cube.elements.size(); ++i) {
    noise = noise * 1664525u + 1013904223u;
    const double x = static_cast<double>(i % kSide), y = static_cast<double>(i / kSide % kSide),
                 z = static_cast<double>(i / kSide / kSide);
    const double wave = 0.5 + 0.2 * std::sin(x / 9) + 0.2 * std::sin(y / 11 + z / 7) + 1e-10 * (noise >> 8);
    cube.elements[i] = static_cast<Voxel>(top * wave);
  }
}

// The source of all benchmarks of a voxel type.
template <class Voxel>
const Cube<Voxel> &source() {
  static const Cube<Voxel> cube = [] {
    Cube<Voxel> made;
    fill(made);
    return made;
  }();
  return cube;
}

struct Code {
  int32_t code;
  const char *name;
};
constexpr Code kCodes[] = {{vekrInterNearest, "nearest"},
                           {vekrInterLinear, "linear"},
                           {vekrInterCubicLagrange, "lagrange"},
                           {vekrInterCubicBSpline, "bspline"},
                           {vekrInterCubicCatmullRom, "catmull-rom"},
                           {vekrInterCubicMitchell, "mitchell"}};

template <class Voxel>
constexpr const char *voxelName() {
  return sizeof(Voxel) == 1 ? "8u" : sizeof(Voxel) == 2 ? "16u" : "32f";
}

// Voxels a second, and bytes a second of what must pass through memory at least: source and destination once, and
// `extra` bytes a voxel.
inline void count(benchmark::State &state, int64_t voxels, int64_t bytesPerVoxel) {
  state.SetItemsProcessed(state.iterations() * voxels);
  state.SetBytesProcessed(state.iterations() * voxels * bytesPerVoxel);
}

// The limit that memory sets: a copy of the volume.
template <class Voxel>
void copyCube(benchmark::State &state) {
  Cube<Voxel> from, to;
  for (auto _ : state) {
    std::memcpy(to.elements.data(), from.elements.data(), from.elements.size() * sizeof(Voxel));
    benchmark::ClobberMemory();
  }
  count(state, kVoxels, 2 * sizeof(Voxel));
}

// One thread is measured by the time it had a processor, more than one by the clock on the wall.
inline void configure(benchmark::internal::Benchmark *benchmark, int32_t threads) {
  benchmark->Unit(benchmark::kMillisecond);
  if (threads == 1) {
    benchmark->MeasureProcessCPUTime();
  } else {
    benchmark->UseRealTime();
  }
}

// 1, and all there are.
inline std::vector<int32_t> threadCounts() {
  vekSetNumThreads(0);
  const int32_t all = ownGetNumThreads();
  return all > 1 ? std::vector<int32_t>{1, all} : std::vector<int32_t>{1};
}

// Registers a copy, and run.operator()<Voxel>(state, code) for all interpolations and thread counts.
template <class Voxel, class Run>
void addVoxelType(const std::string &family, const Run &run) {
  const std::string voxel = voxelName<Voxel>();
  benchmark::RegisterBenchmark(("copy/" + voxel).c_str(), copyCube<Voxel>)->Unit(benchmark::kMillisecond);
  for (const Code &code : kCodes) {
    for (int32_t threads : threadCounts()) {
      const std::string name = family + "/" + voxel + "/" + code.name + "/threads:" + std::to_string(threads);
      configure(benchmark::RegisterBenchmark(name.c_str(),
                                             [=](benchmark::State &state) {
                                               vekSetNumThreads(threads);
                                               run.template operator()<Voxel>(state, code.code);
                                               vekSetNumThreads(0);
                                             }),
                threads);
    }
  }
}

template <class Run>
bool addFamily(const std::string &family, const Run &run) {
  addVoxelType<uint8_t>(family, run);
  addVoxelType<uint16_t>(family, run);
  addVoxelType<float>(family, run);
  return true;
}

}  // namespace vekr_bench
