// Two builds of the library against each other, in one process and by turns, so that what else runs on the machine disturbs
// both alike:
//   bench_compare BEFORE.so AFTER.so [WORD]      WORD: only benchmarks whose names contain it; `segments` those that take
//                                                minutes
// For each benchmark: processor time of one call in microseconds, least of all turns, of both builds, and how much faster the
// second one is: the median of the ratios of neighbouring turns, which says more than the ratio of the two least times. Then
// the median of each family. Outputs must be the same to the last bit; where they differ, that is said and the program ends
// with 1. Volumes run on one thread; OMP_THREAD_LIMIT=1 keeps the tree's search to one too.
#include "compare.h"

#include <array>

namespace vekr_bench {
namespace {

void compareShadingOf(Comparison &comparison, int32_t length) {
  const auto count = static_cast<size_t>(length);
  std::vector<float> a[3], b[3];
  for (uint32_t c = 0; c < 3; ++c) {
    a[c] = randomPlane<float>(count, -2, 2, 10 + c);
    b[c] = randomPlane<float>(count, 0.5f, 2, 20 + c);
  }
  std::vector<int32_t> mask = randomPlane<int32_t>(count, -3, 9, 30);
  const float *const pa[3] = {a[0].data(), a[1].data(), a[2].data()}, *const pb[3] = {b[0].data(),
                                                                                      b[1].data(),
                                                                                      b[2].data()};
  const float light[3] = {3, 4, 5};
  const size_t plane = count * sizeof(float);
  const std::string size = std::string("/").append(std::to_string(length));
  const auto three = [=](Bytes &output) {
    auto *const first = reinterpret_cast<float *>(output.data());
    return std::array<float *, 3>{first, first + count, first + 2 * count};
  };
  const auto add = [&](const char *name, const Call &call) {
    comparison.compare("shading", name + size, 3 * plane, call);
  };
  add("Dot", [&](const Library &l, Bytes &o) {
    VEKR_OF(l, vekrDot_32f_P3C1M)(pa, pb, mask.data(), three(o)[0], length);
  });
  add("HitPointM0", [&](const Library &l, Bytes &o) {
    VEKR_OF(l, vekrHitPoint3DEpsM0_32f_M)(pa, pb, b[0].data(), mask.data(), three(o).data(), length, 1e-3f);
  });
  add("CastReflection", [&](const Library &l, Bytes &o) {
    VEKR_OF(l, vekrCastReflectionRay_32f)(pa, mask.data(), pb, three(o).data(), length);
  });
  add("DistAttenuation", [&](const Library &l, Bytes &o) {
    VEKR_OF(l, vekrDistAttenuationSO_32f_M)(light, pa, mask.data(), three(o)[0], length);
  });
  add("Mul", [&](const Library &l, Bytes &o) {
    std::memcpy(o.data(), a[0].data(), plane);
    VEKR_OF(l, vekrMul_32f_C1IM)(b[0].data(), mask.data(), three(o)[0], length);
  });
  add("Div", [&](const Library &l, Bytes &o) {
    std::memcpy(o.data(), a[0].data(), plane);
    VEKR_OF(l, vekrDiv_32f_C1IM)(b[0].data(), mask.data(), three(o)[0], length);
  });
}

// The kernel wants its planes at multiples of 16 bytes. Triangles repeat, as those that rays hit do.
void compareNormalsOf(Comparison &comparison, int32_t length) {
  constexpr int32_t kTriangles = 1000;
  const auto count = static_cast<size_t>(length);
  const std::vector<float> normals = randomPlane<float>(3 * 502, -1, 1, 50);
  std::vector<int32_t> corners = randomPlane<int32_t>(4 * kTriangles, 0, 501, 51);
  std::vector<int32_t> triangles = randomPlane<int32_t>(count, 0, kTriangles - 1, 52);
  const std::vector<float> u = randomPlane<float>(count, 0, 0.5f, 53),
                           v = randomPlane<float>(count, 0, 0.5f, 54);
  const float *const hits[2] = {u.data(), v.data()};
  comparison.compare("normals", "SurfSmoothNormal/" + std::to_string(length), 3 * count * sizeof(float),
                     [&](const Library &l, Bytes &o) {
                       auto *const first = reinterpret_cast<float *>(o.data());
                       float *const planes[3] = {first, first + count, first + 2 * count};
                       VEKR_OF(l, vekrSurfSmoothNormal_32f)
                       (normals.data(), corners.data(), triangles.data(), hits, planes, length, 4);
                     });
}

}  // namespace

void compareShading(Comparison &comparison) {
  for (const int32_t length : {512, 16384, 1 << 20}) compareShadingOf(comparison, length);
  for (const int32_t length : {512, 16384, 1 << 20}) compareNormalsOf(comparison, length);
}

void compareHarmonics(Comparison &comparison) {
  constexpr int32_t kCount = 1024;
  std::vector<float> direction[3];
  for (uint32_t c = 0; c < 3; ++c) direction[c] = randomPlane<float>(kCount, -0.577f, 0.577f, 40 + c);
  const std::vector<float> samples = randomPlane<float>(kCount, 0, 1, 44);
  const float *const x = direction[0].data(), *const y = direction[1].data(), *const z = direction[2].data();
  for (const int32_t type : {vekrSHDirect, vekrSHRecurrent}) {
    for (const uint32_t band : {1u, 3u, 7u, 15u}) {
      uint32_t size = 0;
      VEKR_OF(comparison.newest(), vekrSHGetSize_32f)(band, type, &size);
      std::vector<double> memory(size / sizeof(double) + 4);
      auto *const state = reinterpret_cast<VekrSHState *>(memory.data());
      VEKR_OF(comparison.newest(), vekrSHInit_32f)(state, band, type);
      const size_t values = (band + 1) * (band + 1);
      const std::string name =
          std::string(type == vekrSHDirect ? "/direct/" : "/recurrent/") + std::to_string(band);
      const auto floats = [](Bytes &output) { return reinterpret_cast<float *>(output.data()); };
      comparison.compare("sh", "values" + name, values * kCount * 4, [&](const Library &l, Bytes &o) {
        VEKR_OF(l, vekrSH_32f)(x, y, z, kCount, floats(o), band, state);
      });
      comparison.compare("sh", "forward" + name, values * 4, [&](const Library &l, Bytes &o) {
        std::fill(o.begin(), o.end(), 0);
        VEKR_OF(l, vekrSHTFwd_32f_C1I)(x, y, z, samples.data(), kCount, floats(o), band, state);
      });
      comparison.compare("sh", "inverse" + name, kCount * 4, [&](const Library &l, Bytes &o) {
        VEKR_OF(l, vekrSHTInv_32f_C1)(samples.data(), band, x, y, z, floats(o), kCount, state);
      });
    }
  }
}

}  // namespace vekr_bench

int main(int argc, char **argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: bench_compare BEFORE.so AFTER.so [WORD]\n");
    return 2;
  }
  vekr_bench::Comparison comparison(argv[1], argv[2], argc > 3 ? argv[3] : "");
  std::printf("%-34s %12s %12s   %5s\n", "benchmark, us a call", "before", "after", "times");
  vekr_bench::compareShading(comparison);
  vekr_bench::compareHarmonics(comparison);
  vekr_bench::compareVolumes(comparison);
  vekr_bench::compareTreesAndRays(comparison);
  vekr_bench::compareSegments(comparison);
  return comparison.finish();
}
