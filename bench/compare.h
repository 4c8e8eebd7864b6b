// Two builds of the library by turns, in one process: what bench_compare's files share.
#pragma once

#include <dlfcn.h>
#include <time.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/support/values.h"
#include "vekr.h"

namespace vekr_bench {

class Library {
 public:
  explicit Library(const char *path) : handle_(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) {
      std::fprintf(stderr, "bench_compare: %s\n", dlerror());
      std::exit(2);
    }
    // The companion lies beside the library and was loaded with it.
    const auto setNumThreads = reinterpret_cast<void (*)(int32_t)>(find("vekSetNumThreads"));
    setNumThreads(1);
  }
  void *find(const char *name) const {
    void *const address = dlsym(handle_, name);
    if (address == nullptr) {
      std::fprintf(stderr, "bench_compare: %s\n", dlerror());
      std::exit(2);
    }
    return address;
  }

 private:
  void *handle_;
};

// VEKR_OF(library, vekrSH_32f)(arguments...)
#define VEKR_OF(library, name) reinterpret_cast<decltype(&name)>((library).find(#name))

inline double processorTime() {
  timespec t;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

inline double median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2),
                   values.end());
  return values[values.size() / 2];
}

using Bytes = std::vector<unsigned char>;
using Call = std::function<void(const Library &, Bytes &)>;

class Comparison {
 public:
  Comparison(const char *before, const char *after, const char *word)
      : builds_{Library(before), Library(after)}, word_(word) {}

  // `call` writes its results into the first `outputBytes` bytes, which hold the same before every call.
  void compare(const std::string &family, const std::string &name, size_t outputBytes, const Call &call) {
    const std::string whole = family + "/" + name;
    if (whole.find(word_) == std::string::npos) return;
    Bytes output[2] = {Bytes(outputBytes), Bytes(outputBytes)};
    for (int build = 0; build < 2; ++build) call(builds_[build], output[build]);
    const bool same = output[0] == output[1];
    isEqual_ = isEqual_ && same;

    double once = timeOf(0, 1, call, output[0]);
    const int repeats = std::max(1, static_cast<int>(0.002 / std::max(once, 1e-7)));
    const int turns = std::clamp(static_cast<int>(0.6 / (once * repeats)), 7, 61);
    double least[2] = {1e30, 1e30};
    std::vector<double> ratios;
    for (int turn = 0; turn < turns; ++turn) {
      double time[2];
      for (int i = 0; i < 2; ++i) {
        const int build = (turn + i) % 2;
        time[build] = timeOf(build, repeats, call, output[0]);
        least[build] = std::min(least[build], time[build]);
      }
      ratios.push_back(time[0] / time[1]);
    }
    const double ratio = median(ratios);
    std::printf("%-34s %12.2f %12.2f   %5.2f%s\n", whole.c_str(), least[0] * 1e6, least[1] * 1e6, ratio,
                same ? "" : "   OUTPUTS DIFFER");
    std::fflush(stdout);
    families_[family].push_back(ratio);
  }

  // Whether the word names this family.
  bool asksFor(const char *family) const { return word_.find(family) != std::string::npos; }

  // For what all benchmarks need beforehand.
  const Library &newest() const { return builds_[1]; }

  int finish() const {
    std::printf("\n");
    for (const auto &[family, ratios] : families_) {
      std::printf("%-10s %3zu benchmarks   median %.2f   from %.2f to %.2f\n", family.c_str(), ratios.size(),
                  median(ratios), *std::min_element(ratios.begin(), ratios.end()),
                  *std::max_element(ratios.begin(), ratios.end()));
    }
    return isEqual_ ? 0 : 1;
  }

 private:
  double timeOf(int build, int repeats, const Call &call, Bytes &output) const {
    const double start = processorTime();
    for (int i = 0; i < repeats; ++i) call(builds_[build], output);
    return (processorTime() - start) / repeats;
  }

  Library builds_[2];
  std::string word_;
  std::map<std::string, std::vector<double>> families_;
  bool isEqual_ = true;
};

template <class T>
std::vector<T> randomPlane(size_t count, float low, float high, uint32_t seed) {
  vekr_test::Random random(seed);
  std::vector<T> plane(count);
  for (T &value : plane) value = static_cast<T>(random.within(low, high));
  return plane;
}

void compareTreesAndRays(Comparison &comparison);
void compareSegments(Comparison &comparison);
void compareShading(Comparison &comparison);
void compareHarmonics(Comparison &comparison);
void compareVolumes(Comparison &comparison);

}  // namespace vekr_bench
