// The shading primitives at sizes inside the first cache, the second cache and memory, beside a plain copy that moves as
// many bytes. bytes_per_second counts what a call reads and writes.
#include <benchmark/benchmark.h>

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "check.h"
#include "tests/reference/cast_reference.h"
#include "tests/reference/normals_reference.h"
#include "tests/reference/shading_reference.h"
#include "vekr.h"

namespace {

constexpr int32_t kTriangles = 1000;
constexpr float kPoint[3] = {1.0f, 2.0f, 3.0f};

// Planes of one size, 64-byte aligned and a few lines apart so that they don't share cache sets. All rays are live but
// for every seventh group of sixteen; values are ordinary, and factors that are applied in place are 1.
struct Arrays {
  static constexpr int kPlanes = 16;
  explicit Arrays(size_t length) : length_(length) {
    const size_t stride = (length + 15) / 16 * 16 + 16 * 17;
    storage_.reset(static_cast<float *>(std::aligned_alloc(64, stride * sizeof(float) * (kPlanes + 2))));
    for (size_t p = 0; p < kPlanes + 2; ++p) plane_[p] = storage_.get() + p * stride;
    for (size_t i = 0; i < length; ++i) {
      for (int p = 0; p < kPlanes; ++p) {
        plane_[p][i] = 0.5f + static_cast<float>((i * 7 + static_cast<size_t>(p)) % 13) / 13.0f;
      }
      plane_[9][i] = 1.0f;
      mask()[i] = (i / 16) % 7 == 6 ? -1 : static_cast<int32_t>((i / 6) % kTriangles);
    }
  }
  float *const *a() { return &plane_[0]; }
  float *const *b() { return &plane_[3]; }
  float *const *c() { return &plane_[6]; }
  float *one() { return plane_[9]; }
  float *scalar(int k) { return plane_[10 + k]; }
  int32_t *mask() { return reinterpret_cast<int32_t *>(plane_[kPlanes]); }
  int32_t *workMask() { return reinterpret_cast<int32_t *>(plane_[kPlanes + 1]); }
  int32_t length() const { return static_cast<int32_t>(length_); }

 private:
  struct Free {
    void operator()(float *p) const { std::free(p); }
  };
  size_t length_;
  std::unique_ptr<float, Free> storage_;
  float *plane_[kPlanes + 2];
};

struct Primitive {
  const char *name;
  int bytesPerRay;  // read and written
  std::function<void(Arrays &)> library;
  std::function<void(Arrays &)> twin;
};

using vekr_reference::Form;
constexpr Form kForm = Form::fourWide;

std::vector<float> makeNormals() {
  std::vector<float> normals(3 * kTriangles + 9);
  for (size_t i = 0; i < normals.size(); ++i) normals[i] = static_cast<float>(i * 5 % 11) - 5.0f;
  return normals;
}

const std::vector<float> &normals() {
  static const std::vector<float> list = makeNormals();
  return list;
}

const std::vector<int32_t> &normalIndices() {
  static const std::vector<int32_t> list = [] {
    std::vector<int32_t> indices(4 * kTriangles);
    for (size_t i = 0; i < indices.size(); ++i) indices[i] = static_cast<int32_t>(i * 3 % kTriangles);
    return indices;
  }();
  return list;
}

const std::vector<Primitive> &primitives() {
  namespace ref = vekr_reference;
  static const std::vector<Primitive> list = {
      {"HitPoint3DEpsS0", 32,
       [](Arrays &x) {
         vekrHitPoint3DEpsS0_32f_M(kPoint, x.a(), x.one(), x.mask(), x.b(), x.length(), 0.99f);
       },
       [](Arrays &x) { ref::hitPointS0(kForm, kPoint, x.a(), x.one(), x.mask(), x.b(), x.length(), 0.99f); }},
      {"HitPoint3DEpsM0", 44,
       [](Arrays &x) {
         vekrHitPoint3DEpsM0_32f_M(x.c(), x.a(), x.one(), x.mask(), x.b(), x.length(), 0.99f);
       },
       [](Arrays &x) { ref::hitPointM0(kForm, x.c(), x.a(), x.one(), x.mask(), x.b(), x.length(), 0.99f); }},
      {"Dot", 32, [](Arrays &x) { vekrDot_32f_P3C1M(x.a(), x.b(), x.mask(), x.scalar(0), x.length()); },
       [](Arrays &x) { ref::dot(x.a(), x.b(), x.mask(), x.scalar(0), x.length()); }},
      {"DotChangeNorm", 44,
       [](Arrays &x) { vekrDotChangeNorm_32f_IM(x.a(), x.mask(), x.b(), x.scalar(0), x.length()); },
       [](Arrays &x) { ref::dotChangeNorm(x.a(), x.mask(), x.b(), x.scalar(0), x.length()); }},
      {"Mul_C1", 16, [](Arrays &x) { vekrMul_32f_C1IM(x.one(), x.mask(), x.scalar(0), x.length()); },
       [](Arrays &x) { ref::mulC1(x.one(), x.mask(), x.scalar(0), x.length()); }},
      {"Mul_C1P3", 32, [](Arrays &x) { vekrMul_32f_C1P3IM(x.one(), x.mask(), x.b(), x.length()); },
       [](Arrays &x) { ref::mulC1P3(x.one(), x.mask(), x.b(), x.length()); }},
      {"Div", 16, [](Arrays &x) { vekrDiv_32f_C1IM(x.one(), x.mask(), x.scalar(0), x.length()); },
       [](Arrays &x) { ref::divC1(x.one(), x.mask(), x.scalar(0), x.length()); }},
      {"AddMulMul", 44,
       [](Arrays &x) { vekrAddMulMul_32f_AC1P3IM(kPoint, x.one(), x.a(), x.mask(), x.b(), x.length()); },
       [](Arrays &x) { ref::addMulMul(kForm, kPoint, x.one(), x.a(), x.mask(), x.b(), x.length()); }},
      {"DistAttenuation", 20,
       [](Arrays &x) { vekrDistAttenuationSO_32f_M(kPoint, x.a(), x.mask(), x.scalar(0), x.length()); },
       [](Arrays &x) { ref::distAttenuation(kForm, kPoint, x.a(), x.mask(), x.scalar(0), x.length()); }},
      {"CastReflection", 40,
       [](Arrays &x) { vekrCastReflectionRay_32f(x.a(), x.mask(), x.c(), x.b(), x.length()); },
       [](Arrays &x) { ref::castReflectionRay(x.a(), x.mask(), x.c(), x.b(), x.length()); }},
      // The masks are restored before each call, which is part of the figure: 8 bytes a ray more.
      {"CastShadow+mask", 60,
       [](Arrays &x) {
         std::memcpy(x.workMask(), x.mask(), static_cast<size_t>(x.length()) * 4);
         vekrCastShadowSO_32f(kPoint, x.one(), x.a(), x.c(), x.workMask(), x.scalar(0), x.b(), x.length());
       },
       [](Arrays &x) {
         std::memcpy(x.workMask(), x.mask(), static_cast<size_t>(x.length()) * 4);
         ref::castShadow(kPoint, x.one(), x.a(), x.c(), x.workMask(), x.scalar(0), x.b(), x.length());
       }},
      {"SurfFlatNormal", 16,
       [](Arrays &x) { vekrSurfFlatNormal_32f(normals().data(), x.mask(), x.b(), x.length()); },
       [](Arrays &x) { ref::surfFlatNormal(normals().data(), x.mask(), x.b(), x.length()); }},
      {"SurfSmoothNormal", 24,
       [](Arrays &x) {
         vekrSurfSmoothNormal_32f(normals().data(), normalIndices().data(), x.mask(), x.a(), x.b(),
                                  x.length(), 4);
       },
       [](Arrays &x) {
         ref::surfSmoothNormal(kForm, normals().data(), normalIndices().data(), x.mask(), x.a(), x.b(),
                               x.length(), 4);
       }},
  };
  return list;
}

void check(const Primitive &primitive) {
  constexpr size_t kLength = 4096;
  Arrays mine(kLength), theirs(kLength);
  primitive.library(mine);
  primitive.twin(theirs);
  for (int p = 0; p < Arrays::kPlanes; ++p) {
    vekr_bench::requireSame(primitive.name, mine.a()[p], theirs.a()[p], kLength);
  }
}

void setBytes(benchmark::State &state, size_t length, int bytesPerRay) {
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(length) * bytesPerRay);
}

void run(benchmark::State &state, const Primitive &primitive) {
  const auto length = static_cast<size_t>(state.range(0));
  Arrays arrays(length);
  for (auto _ : state) {
    primitive.library(arrays);
    benchmark::ClobberMemory();
  }
  setBytes(state, length, primitive.bytesPerRay);
}

// Four planes to four others: 32 bytes a ray.
void copy(benchmark::State &state) {
  const auto length = static_cast<size_t>(state.range(0));
  Arrays arrays(length);
  for (auto _ : state) {
    for (int p = 0; p < 4; ++p) std::memcpy(arrays.a()[p], arrays.a()[4 + p], length * sizeof(float));
    benchmark::ClobberMemory();
  }
  setBytes(state, length, 32);
}

}  // namespace

int main(int argc, char **argv) {
  for (const Primitive &primitive : primitives()) check(primitive);
  // First cache, second cache, and far beyond it.
  const std::vector<int64_t> lengths = {512, 16384, 4 << 20};
  auto *plain = benchmark::RegisterBenchmark("copy", copy);
  for (const int64_t length : lengths) plain->Arg(length);
  for (const Primitive &primitive : primitives()) {
    auto *bench = benchmark::RegisterBenchmark(primitive.name, run, primitive);
    for (const int64_t length : lengths) bench->Arg(length);
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
