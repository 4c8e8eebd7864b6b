// What all subcommands do: IN becomes OUT, frame by frame, by something that each does in its own way.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "output_file.h"
#include "progress.h"
#include "sampling.h"
#include "volume_file.h"

namespace vekr_example {

struct FileOptions {
  std::string in, out, preview, mask;
  std::string like, map;  // further files that a subcommand reads; empty if it has none
  std::optional<double>
      fill;  // of voxels that nothing reaches, as meant and not as stored; by default 0 is stored
  bool difference = false, quiet = false, labels = false, force = false;
  int32_t threads = 0;
};

struct Interpolation {
  int32_t code = vekrInterLinear;
  bool chosen = false;
};
const char *nameOfInterpolation(int32_t code);
// Throws std::out_of_range for what is no name.
int32_t interpolationNamed(const std::string &name);

// How 16s volumes are held while they are worked on.
enum class Hold16s { biased, asFloats, asTheyAre };

class Job {
 public:
  // Opens IN and the mask, after a look at OUT, so that nothing is computed in vain.
  explicit Job(const FileOptions &options);

  const VolumeFile &source() const { return reader_->file(); }
  VolumeFile result;  // IN's own until a subcommand says otherwise

  // The code to sample with: labels are left whole unless forced.
  int32_t codeFor(const Interpolation &interpolation) const;
  void refuseLabels(const std::string &what) const;

  // How to sample during work().
  Sampling sampling(int32_t code, const std::vector<int32_t> &region = {});
  Stopwatch &stopwatch() { return stopwatch_; }
  double fill() const;
  void done(int32_t planes);

  // Calls work(source, result) for each frame, of which the result is filled already, and writes OUT and the preview, or
  // neither. What has been printed is seen to arrive before. Call last.
  using Work = std::function<void(Volume &, Volume &)>;
  void run(const std::string &what, Hold16s hold, const Work &work);

 private:
  void readMask();
  void applyMask(Volume &frame) const;
  void report(const std::string &what) const;

  FileOptions options_;
  std::unique_ptr<VolumeReader> reader_, maskReader_;
  OutputFile volume_, picture_;
  std::optional<Volume> mask_;  // on the result's grid: 0 is outside
  std::optional<Progress> progress_;
  Stopwatch stopwatch_;
};

}  // namespace vekr_example
