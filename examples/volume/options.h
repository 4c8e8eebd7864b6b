// Arguments that subcommands share.
#pragma once

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "nifti_file.h"
#include "output_file.h"
#include "progress.h"
#include "volume.h"

namespace vekr_example {

// IN OUT, --preview, --threads.
struct FileOptions {
  std::string in, out, preview;
  int32_t threads = 0;
  void addTo(CLI::App &command);
  // Reads IN, after a look at OUT, so that nothing is computed in vain.
  Volume read(Keep16s keep = Keep16s::no);
  // Writes OUT and the preview, or neither. Call last: what has been printed is seen to arrive before.
  void write(const Volume &before, const Volume &after);

 private:
  std::optional<OutputFile> volume_, picture_;
};

// --interpolation.
struct InterpolationOption {
  int32_t code = vekrInterLinear;
  void addTo(CLI::App &command);
  const char *name() const;
};

// --region: the part of the source that may be sampled; all of it by default.
struct RegionOption {
  std::vector<int32_t> numbers;
  void addTo(CLI::App &command);
  VekrVolumeBox boxOf(const Volume &volume) const;
};

// Planes that are handed to the library at once: enough for all of its threads, few enough for the bar to move.
constexpr int32_t kPlanesAtOnce = 32;

// Calls body(z, planes) for runs of planes, with a progress bar.
template <class Body>
void forPlaneRuns(const char *what, int32_t depth, const Body &body) {
  Progress progress(what, depth);
  for (int32_t z = 0; z < depth; z += kPlanesAtOnce) {
    const int32_t planes = std::min(kPlanesAtOnce, depth - z);
    body(z, planes);
    progress.step(planes);
  }
}

// Throws what a status other than vekOk says.
void check(VekStatus status);

// Adds up the time that the library takes.
class Stopwatch {
 public:
  template <class Call>
  VekStatus time(const Call &call) {
    const auto start = std::chrono::steady_clock::now();
    const VekStatus status = call();
    seconds_ += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return status;
  }
  // Tells on stdout what was made, and how fast.
  void report(const Volume &made, const std::string &how) const;

 private:
  double seconds_ = 0;
};

}  // namespace vekr_example
