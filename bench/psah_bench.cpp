// Time and memory of the surface-area build.
//
//   bench_psah [--quick] [mesh.obj ...]
//
// For procedural meshes of 10 thousand, 100 thousand and a million triangles (--quick: without the million) and for
// the given Wavefront files: build time on one thread and with the search's threads, microseconds a triangle, the
// exponent of growth from one size to the next, the peak of resident memory that the build adds, and where
// the time goes. Depth is 8 + 1.3 log2 of the triangle count, bias 0.5.
#include <omp.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>
#ifdef __x86_64__
#include <x86intrin.h>
#endif

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "pr_avlopsahopt/psah_bins.h"
#include "pr_avlopsahopt/psah_compact.h"
#include "pr_avlopsahopt/psah_cut.h"
#include "pr_avlopsahopt/psah_patches.h"
#include "pr_avlopsahopt/psah_search.h"
#include "tests/reference/psah_twin.h"
#include "tests/support/trees.h"

// The linker sends calls of these functions through here (--wrap), so that the split of the time needs no clock in the
// library itself.
namespace {

enum Part { kPatches, kSearch, kBins, kSort, kTrial, kCut, kPack, kPartCount };
const char *const kPartNames[] = {"patches", "node", "bins", "sort", "trial", "cut", "pack"};

bool isSplitting = false;
uint64_t ticks[kPartCount];
uint64_t nested = 0;  // ticks of the parts inside the current one

// Of the processor's counter, which runs at one rate whatever the clock of the core.
uint64_t tickNow() {
#ifdef __x86_64__
  return __rdtsc();
#else
  uint64_t tick;
  __asm__ volatile("mrs %0, cntvct_el0" : "=r"(tick));
  return tick;
#endif
}

template <class Function, class... Arguments>
auto timed(Part part, const Function &function, Arguments &&...arguments) {
  const uint64_t outer = nested;
  nested = 0;
  const uint64_t start = tickNow();
  struct Stop {
    Part part;
    uint64_t outer, start;
    ~Stop() {
      const uint64_t all = tickNow() - start;
      ticks[part] += all - nested;
      nested = outer + all;
    }
  } stop = {part, outer, start};
  return function(arguments...);
}

}  // namespace

#define VEKR_TIMED(part, result, name, mangled, parameters, ...)                         \
  result real##name parameters __asm__("__real_" mangled);                               \
  result wrap##name parameters __asm__("__wrap_" mangled);                               \
  result wrap##name parameters {                                                         \
    return isSplitting ? timed(part, real##name, __VA_ARGS__) : real##name(__VA_ARGS__); \
  }

using namespace vekr;

VEKR_TIMED(kPatches, VekStatus, Patches,
           "_ZN4vekr29localInitPatchesFromTrianglesEPPNS_9VekrPatchEPiPKiiPfRKNS_9PsahBuildE",
           (VekrPatch * *p, int32_t *n, const int32_t *i, int32_t t, float *b, const PsahBuild &s), p, n, i,
           t, b, s)
VEKR_TIMED(kSearch, void, Search,
           "_ZN4vekr31localFindBestSplitSortSearch_MTEPNS_15VekrSplitRecordERKNS_10SearchNodeEPA4_KPvf",
           (VekrSplitRecord * r, const SearchNode &n, void *const (*s)[4], float c), r, n, s, c)
// A member function takes its object as the first argument.
VEKR_TIMED(kBins, void, CountExtents, "_ZN4vekr8AxisBins12countExtentsERA3_KPS0_",
           (AxisBins *const (&axes)[3]), axes)
VEKR_TIMED(kBins, double, LeastUpperBound, "_ZNK4vekr8AxisBins15leastUpperBoundEv", (const AxisBins *bins),
           bins)
VEKR_TIMED(kBins, PlaneChoice, ChoosePlane, "_ZN4vekr8AxisBins11choosePlaneEd",
           (AxisBins * bins, double limit), bins, limit)
VEKR_TIMED(kSort, VekStatus, Sort, "_ZN4vekr20veksSortAscend_32f_IEPfi", (float *p, int32_t n), p, n)
VEKR_TIMED(kSort, void, RadixSort, "_ZN4vekr25ownRadixSortAccend_32f_w7EPfS0_i",
           (float *p, float *w, int32_t n), p, w, n)
#ifdef __aarch64__
VEKR_TIMED(kTrial, PlaneChoice, Trial, "_ZN4vekr4neon12ownTryPlanesERKNS_10PlaneTrialE",
           (const PlaneTrial &t), t)
#else
VEKR_TIMED(kTrial, PlaneChoice, NarrowTrial, "_ZN4vekr5sse4112ownTryPlanesERKNS_10PlaneTrialE",
           (const PlaneTrial &t), t)
VEKR_TIMED(kTrial, PlaneChoice, WideTrial, "_ZN4vekr4avx212ownTryPlanesERKNS_10PlaneTrialE",
           (const PlaneTrial &t), t)
#if defined(VEKR_AVX512) && VEKR_AVX512_psah_planes_kernels
VEKR_TIMED(kTrial, PlaneChoice, WidestTrial, "_ZN4vekr6avx51212ownTryPlanesERKNS_10PlaneTrialE",
           (const PlaneTrial &t), t)
#endif
#endif
VEKR_TIMED(kCut, VekStatus, Cut,
           "_ZN4vekr13localPatchCutERKNS_9VekrPatchENS_10PatchPlaceES3_iRNS_14VekrBuildStateEf",
           (const VekrPatch &p, PatchPlace l, PatchPlace r, int32_t a, VekrBuildState &s, float f), p, l, r,
           a, s, f)
VEKR_TIMED(kPack, VekStatus, Pack,
           "_ZN4vekr28ownCompactTreeRepresentationEPKNS_13VekrBuildNodeEPP14VekrKDTreeNodePi",
           (const VekrBuildNode *n, VekrKDTreeNode **t, int32_t *s), n, t, s)

namespace vekr_test {
namespace {

// One thread if `levels` is 0, the search's own threads if it is 1.
void setParallelLevels(int levels) { omp_set_max_active_levels(levels); }

double now(clockid_t clock) {
  timespec t;
  clock_gettime(clock, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

TreeOptions optionsFor(const Mesh &mesh) {
  const double depth = 8 + 1.3 * std::log2(std::max(1.0, static_cast<double>(mesh.triangleCount())));
  return {.maxDepth = std::min(50, static_cast<int32_t>(depth)), .splitBias = 0.5f, .memoryLimitMB = -1};
}

// The least of several runs, in seconds.
double timeOf(const Mesh &mesh, clockid_t clock) {
  double best = 1e30;
  const double begin = now(CLOCK_MONOTONIC);
  for (int run = 0; run < 7 && (run < 2 || now(CLOCK_MONOTONIC) - begin < 4.0); ++run) {
    const double start = now(clock);
    const Tree tree(mesh, optionsFor(mesh));
    best = std::min(best, now(clock) - start);
  }
  return best;
}

// What a build adds to the resident memory, in MiB, at its peak; in a process of its own.
double peakOf(const Mesh &mesh) {
  int ends[2];
  if (pipe(ends) != 0) return -1;
  const pid_t child = fork();
  if (child == 0) {
    rusage before, after;
    getrusage(RUSAGE_SELF, &before);
    setParallelLevels(0);
    const Tree tree(mesh, optionsFor(mesh));
    getrusage(RUSAGE_SELF, &after);
    const long added = after.ru_maxrss - before.ru_maxrss;
    _exit(write(ends[1], &added, sizeof added) == sizeof added ? 0 : 1);
  }
  long added = -1;
  if (read(ends[0], &added, sizeof added) != sizeof added) added = -1;
  waitpid(child, nullptr, 0);
  close(ends[0]);
  close(ends[1]);
  return static_cast<double>(added) / 1024;
}

bool isRight(const Mesh &mesh) {
  setParallelLevels(0);
  const std::vector<uint32_t> serial = Tree(mesh, optionsFor(mesh)).block();
  setParallelLevels(1);
  if (serial.empty() || Tree(mesh, optionsFor(mesh)).block() != serial) return false;
  if (mesh.triangleCount() > 20000) return true;
  vekr_twin::PsahTwin twin(mesh.vertices.data(), mesh.indices.data(), mesh.vertexCount(),
                           mesh.triangleCount(), contextOf(optionsFor(mesh)));
  return twin.build() == vekOk && twin.block() == serial;
}

struct Previous {
  double seconds = 0, triangles = 0;
};

void report(const std::string &name, const Mesh &mesh, Previous &previous) {
  if (!isRight(mesh)) {
    std::printf("%-10s wrong tree\n", name.c_str());
    std::exit(1);
  }
  const double count = mesh.triangleCount();
  setParallelLevels(0);
  const double serial = timeOf(mesh, CLOCK_PROCESS_CPUTIME_ID), serialWall = timeOf(mesh, CLOCK_MONOTONIC);
  setParallelLevels(1);
  const double threadedWall = timeOf(mesh, CLOCK_MONOTONIC);
  setParallelLevels(0);

  uint64_t all = UINT64_MAX, split[kPartCount];
  for (int run = 0; run < 5; ++run) {  // the run that was disturbed least
    isSplitting = true;
    std::fill(ticks, ticks + kPartCount, 0);
    const uint64_t start = tickNow();
    const Tree once(mesh, optionsFor(mesh));
    const uint64_t taken = tickNow() - start;
    isSplitting = false;
    if (taken < all) {
      all = taken;
      std::copy(ticks, ticks + kPartCount, split);
    }
  }
  const Tree tree(mesh, optionsFor(mesh));

  std::printf("%-10s %8.0f %9.2f %7.3f ", name.c_str(), count, serial * 1e3, serial * 1e6 / count);
  if (previous.seconds > 0) {
    std::printf("%6.3f ", std::log(serial / previous.seconds) / std::log(count / previous.triangles));
  } else {
    std::printf("%6s ", "");
  }
  std::printf("%9.2f %9.2f %8.1f %9d  ", serialWall * 1e3, threadedWall * 1e3, peakOf(mesh), tree.size);
  uint64_t rest = all;
  for (int part = 0; part < kPartCount; ++part) {
    std::printf(" %s %2.0f%%", kPartNames[part],
                100.0 * static_cast<double>(split[part]) / static_cast<double>(all));
    rest -= split[part];
  }
  std::printf(" rest %2.0f%%\n", 100.0 * static_cast<double>(rest) / static_cast<double>(all));
  std::fflush(stdout);
  previous = {serial, count};
}

// Vertices and faces of a Wavefront file; polygons become fans.
Mesh loadObj(const char *path) {
  Mesh mesh;
  std::FILE *file = std::fopen(path, "r");
  if (file == nullptr) {
    std::fprintf(stderr, "cannot read %s\n", path);
    std::exit(2);
  }
  char line[4096];
  while (std::fgets(line, sizeof line, file) != nullptr) {
    if (std::strncmp(line, "v ", 2) == 0) {
      float x, y, z;
      if (std::sscanf(line + 2, "%f %f %f", &x, &y, &z) == 3) mesh.addVertex(x, y, z);
    } else if (std::strncmp(line, "f ", 2) == 0) {
      std::vector<int32_t> corners;
      for (char *word = std::strtok(line + 2, " \t\r\n"); word != nullptr;
           word = std::strtok(nullptr, " \t\r\n")) {
        const int32_t number = std::atoi(word);
        corners.push_back(number < 0 ? mesh.vertexCount() + number : number - 1);
      }
      for (size_t i = 2; i < corners.size(); ++i) mesh.addTriangle(corners[0], corners[i - 1], corners[i]);
    }
  }
  std::fclose(file);
  return mesh;
}

int run(int argc, char **argv) {
  std::vector<int32_t> sizes = {10000, 100000, 1000000};
  int first = 1;
  if (argc > 1 && std::strcmp(argv[1], "--quick") == 0) {
    sizes.pop_back();
    first = 2;
  }
  std::printf("%-10s %8s %9s %7s %6s %9s %9s %8s %9s   %s\n", "mesh", "count", "ms (cpu)", "us/tri", "growth",
              "ms (wall)", "threads", "MiB", "bytes", "where the time goes, one thread");
  const char *const kinds[] = {"terrain", "ball", "soup", "town"};
  for (int kind = 0; kind < 4 && first >= argc; ++kind) {
    Previous previous;
    for (const int32_t size : sizes) {
      const auto cells = static_cast<int32_t>(std::sqrt(size / 2.0));
      const float step = 1.0f / static_cast<float>(cells);
      const Mesh mesh = kind == 0   ? terrain(cells, 0.9f * step, 1)
                        : kind == 1 ? ball(cells, 0.4f * step, 1)
                        : kind == 2 ? triangleSoup(size, 1.0f / std::cbrt(static_cast<float>(size)), 1)
                                    : town(static_cast<int32_t>(std::sqrt(size / 12.0)), 1);
      report(kinds[kind], mesh, previous);
    }
  }
  for (int i = first; i < argc; ++i) {
    Previous none;
    report(argv[i], loadObj(argv[i]), none);
  }
  return 0;
}

}  // namespace
}  // namespace vekr_test

int main(int argc, char **argv) { return vekr_test::run(argc, argv); }
