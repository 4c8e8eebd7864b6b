// Spherical harmonics: million directions a second for both evaluators, each band by itself, and the transforms.
//
// Beside the rate, every evaluator shows the part of the arithmetic limit that it reaches: the time that its
// multiplications and additions alone would take at two vector operations a cycle (each of the widest registers: 256 bits
// on x86, 128 on ARM), conversions, loads, stores and the turning of rows not counted, divided by the time it took.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "tests/reference/spherical_harmonics.h"
#include "tests/support/values.h"
#include "vekr.h"

namespace {

constexpr int kDirections = 512;  // their blocks stay in the second-level cache at band 15
constexpr int kValues = 256;
#ifdef __aarch64__
constexpr int kSingles = 4;  // in the widest register
#else
constexpr int kSingles = 8;
#endif

struct Inputs {
  std::vector<float> x, y, z, planes[3], interleaved;
  std::vector<float> coefficients[3];
  std::vector<float> values;  // kDirections blocks
  std::vector<float> blocks;
  alignas(16) unsigned char direct[16];
  alignas(16) unsigned char recurrent[2048];

  const VekrSHState *state(int type) const {
    return reinterpret_cast<const VekrSHState *>(type == vekrSHDirect ? direct : recurrent);
  }

  Inputs() : interleaved(3 * kDirections), values(3 * kDirections), blocks(kDirections * kValues) {
    vekr_test::Random random(5);
    for (int i = 0; i < kDirections; ++i) {
      float v[3], square = 0.0f;
      do {
        for (float &c : v) c = random.within(-1.0f, 1.0f);
        square = v[0] * v[0] + v[1] * v[1] + v[2] * v[2];
      } while (square > 1.0f || square < 0.01f);
      x.push_back(v[0] / std::sqrt(square));
      y.push_back(v[1] / std::sqrt(square));
      z.push_back(v[2] / std::sqrt(square));
    }
    for (auto &plane : planes) {
      for (int i = 0; i < kDirections; ++i) plane.push_back(random.unit());
    }
    for (float &v : interleaved) v = random.unit();
    for (auto &c : coefficients) {
      for (int k = 0; k < kValues; ++k) c.push_back(random.within(-1.0f, 1.0f));
    }
    vekrSHInit_32f(reinterpret_cast<VekrSHState *>(direct), 15, vekrSHDirect);
    vekrSHInit_32f(reinterpret_cast<VekrSHState *>(recurrent), 15, vekrSHRecurrent);
    check();
  }

  void check() {
    const reference::Tables tables = reference::recurrenceTables(15);
    for (int type : {vekrSHDirect, vekrSHRecurrent}) {
      std::vector<float> sums(kValues), expectedSums(kValues);
      vekrSH_32f(x.data(), y.data(), z.data(), kDirections, blocks.data(), 15, state(type));
      vekrSHTFwd_32f_C1I(x.data(), y.data(), z.data(), planes[0].data(), kDirections, sums.data(), 15,
                         state(type));
      vekrSHTInv_32f_C1(coefficients[0].data(), 15, x.data(), y.data(), z.data(), values.data(), kDirections,
                        state(type));
      bool good = true;
      for (int i = 0; i < kDirections; ++i) {
        const size_t n = static_cast<size_t>(i);
        const std::vector<float> block = type == vekrSHDirect
                                             ? reference::directBlock(x[n], y[n], z[n], 15)
                                             : reference::recurrentBlock(tables, x[n], y[n], z[n], 15);
        good = good && std::memcmp(block.data(), &blocks[n * kValues], sizeof(float) * kValues) == 0;
        reference::project(block, planes[0][n], expectedSums.data());
        good = good && values[n] == reference::dotProduct(block.data(), coefficients[0].data(), kValues);
      }
      if (!good || sums != expectedSums) {
        std::fprintf(stderr, "sh_bench: wrong values, nothing is timed\n");
        std::exit(1);
      }
    }
  }
};

Inputs &inputs() {
  static Inputs in;
  return in;
}

// Additions that wait for each other, one a cycle; the best of many, as the clock rises with work.
double cyclesPerSecond() {
  static const double rate = [] {
    double best = 0.0;
    for (int repetition = 0; repetition < 200; ++repetition) {
      constexpr int kSteps = 1 << 20;
      uint64_t chain = 1;
      const auto start = std::chrono::steady_clock::now();
      for (int i = 0; i < kSteps; ++i) {
        chain += chain;
        asm volatile("" : "+r"(chain));  // so that each one is made
      }
      const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
      best = std::max(best, kSteps / seconds.count());
    }
    return best;
  }();
  return rate;
}

// Multiplications and additions of one direction.
int operations(int type, int highest) {
  int count = 0;
  if (type == vekrSHRecurrent) {
    if (highest > 0) count = 3;
    for (int l = 2; l <= highest; ++l) count += 4 + 4 + 3 + 4 + 7 * (l - 2);
    return count;
  }
  for (int l = 1; l <= highest; ++l) {
    if (l > 1) count += 3;                               // powers
    if (l == 2) count += 2;                              // x^2 - y^2, x y
    if (l == 3 || l >= 5) count += 2 * (l - 1) + l - 1;  // expansions of c(l), s(l)
    if (l == 4) count += 2 + 2 + 1;
    for (int m = 0; m <= l; ++m) {
      const int degree = l - m, terms = degree / 2;
      count += 2 * terms + (degree > 1 && degree % 2 != 0 ? 1 : 0) + (degree > 0 ? 1 : 0) + (m > 0 ? 2 : 0);
    }
  }
  return count;
}

void report(benchmark::State &state, double limitOperations, int lanes) {
  const double directions = static_cast<double>(state.iterations()) * kDirections;
  state.counters["Mdir/s"] = benchmark::Counter(directions * 1e-6, benchmark::Counter::kIsRate);
  if (limitOperations > 0.0) {
    const double limitSeconds = limitOperations / (2.0 * lanes) / cyclesPerSecond();
    state.counters["ofLimit"] = benchmark::Counter(directions * limitSeconds, benchmark::Counter::kIsRate);
  }
}

int lanesOf(int type) { return type == vekrSHDirect ? kSingles / 2 : kSingles; }

void evaluate(benchmark::State &state, int type) {
  Inputs &in = inputs();
  const auto highest = static_cast<uint32_t>(state.range(0));
  for (auto _ : state) {
    vekrSH_32f(in.x.data(), in.y.data(), in.z.data(), kDirections, in.blocks.data(), highest, in.state(type));
    benchmark::ClobberMemory();
  }
  report(state, operations(type, static_cast<int>(highest)), lanesOf(type));
}

void band(benchmark::State &state) {
  Inputs &in = inputs();
  for (auto _ : state) {
    vekrSHBand_32f(in.x.data(), in.y.data(), in.z.data(), kDirections, in.blocks.data(),
                   static_cast<uint32_t>(state.range(0)));
    benchmark::ClobberMemory();
  }
  report(state, 0.0, 1);
}

enum class Transform { fwdC1, fwdC3P3, fwdP3, invC1, invP3, invP3C3 };

void transform(benchmark::State &state, int type, Transform which) {
  Inputs &in = inputs();
  const auto highest = static_cast<uint32_t>(state.range(0));
  const float *x = in.x.data(), *y = in.y.data(), *z = in.z.data();
  float *coefficients[3] = {in.coefficients[0].data(), in.coefficients[1].data(), in.coefficients[2].data()};
  const float *samples[3] = {in.planes[0].data(), in.planes[1].data(), in.planes[2].data()};
  float *v = in.values.data();
  float *values[3] = {v, v + kDirections, v + 2 * kDirections};
  const VekrSHState *sh = in.state(type);
  for (auto _ : state) {
    switch (which) {
      case Transform::fwdC1:
        vekrSHTFwd_32f_C1I(x, y, z, samples[0], kDirections, coefficients[0], highest, sh);
        break;
      case Transform::fwdC3P3:
        vekrSHTFwd_32f_C3P3I(x, y, z, in.interleaved.data(), kDirections, coefficients, highest, sh);
        break;
      case Transform::fwdP3:
        vekrSHTFwd_32f_P3I(x, y, z, samples, kDirections, coefficients, highest, sh);
        break;
      case Transform::invC1:
        vekrSHTInv_32f_C1(coefficients[0], highest, x, y, z, v, kDirections, sh);
        break;
      case Transform::invP3:
        vekrSHTInv_32f_P3(coefficients, highest, x, y, z, values, kDirections, sh);
        break;
      case Transform::invP3C3:
        vekrSHTInv_32f_P3C3(coefficients, highest, x, y, z, v, kDirections, sh);
        break;
    }
    benchmark::ClobberMemory();
  }
  for (auto &c : in.coefficients) {
    for (float &value : c) value = std::clamp(value, -1.0f, 1.0f);  // forward transforms add up over the runs
  }
  // Each channel multiplies and adds every function once, in singles whichever the evaluator.
  const int channels = which == Transform::fwdC1 || which == Transform::invC1 ? 1 : 3;
  const int count = static_cast<int>((highest + 1) * (highest + 1));
  const double basis =
      static_cast<double>(operations(type, static_cast<int>(highest))) * kSingles / lanesOf(type);
  report(state, basis + 2.0 * channels * count, kSingles);
}

void bands3715(benchmark::internal::Benchmark *b) { b->Arg(3)->Arg(7)->Arg(15); }

BENCHMARK_CAPTURE(evaluate, recurrent, vekrSHRecurrent)->Apply(bands3715);
BENCHMARK_CAPTURE(evaluate, direct, vekrSHDirect)->Apply(bands3715);
BENCHMARK(band)->DenseRange(0, 15);
#define TRANSFORM(name)                                                                               \
  BENCHMARK_CAPTURE(transform, name##_recurrent, vekrSHRecurrent, Transform::name)->Apply(bands3715); \
  BENCHMARK_CAPTURE(transform, name##_direct, vekrSHDirect, Transform::name)->Apply(bands3715)
TRANSFORM(fwdC1);
TRANSFORM(fwdC3P3);
TRANSFORM(fwdP3);
TRANSFORM(invC1);
TRANSFORM(invP3);
TRANSFORM(invP3C3);

}  // namespace
