#include "job.h"

#include <cstdio>
#include <map>
#include <stdexcept>

#include "preview.h"
#include "standard_streams.h"
#include "vekcore.h"

namespace vekr_example {

namespace {

const std::map<std::string, int32_t> kCodes = {{"nearest", vekrInterNearest},
                                               {"linear", vekrInterLinear},
                                               {"lagrange", vekrInterCubicLagrange},
                                               {"bspline", vekrInterCubicBSpline},
                                               {"catmull-rom", vekrInterCubicCatmullRom},
                                               {"mitchell", vekrInterCubicMitchell}};

// Whose names are seen to differ before anything is opened.
const FileOptions &distinct(const FileOptions &o) {
  refuseSameFiles({{"--mask", o.mask}, {"--like", o.like}, {"the file of the transform", o.map}},
                  {{"OUT", o.out}});
  refuseSameFiles({{"IN", o.in},
                   {"OUT", o.out},
                   {"--mask", o.mask},
                   {"--like", o.like},
                   {"the file of the transform", o.map}},
                  {{"--preview", o.preview}});
  if (o.quiet) silenceNotes();
  return o;
}

Volume heldAs(VoxelType type, const Grid &grid, Hold16s hold, int32_t margin) {
  const bool bias = type == VoxelType::s16 && hold == Hold16s::biased;
  const bool floats = type == VoxelType::s16 && hold == Hold16s::asFloats;
  Volume volume(bias ? VoxelType::u16 : floats ? VoxelType::f32 : type, grid, margin);
  volume.biased = bias;
  return volume;
}

}  // namespace

const char *nameOfInterpolation(int32_t code) {
  for (const auto &[name, value] : kCodes) {
    if (value == code) return name.c_str();
  }
  return "";
}

int32_t interpolationNamed(const std::string &name) { return kCodes.at(name); }

Job::Job(const FileOptions &options)
    : options_(distinct(options)), volume_(options.out, endingOf(options.out)), picture_(options.preview) {
  vekSetNumThreads(options_.threads);
  reader_ = openVolume(options_.in);
  if (!options_.mask.empty()) maskReader_ = openVolume(options_.mask);
  result = source();
}

int32_t Job::codeFor(const Interpolation &interpolation) const {
  if (!options_.labels && !source().labels) return interpolation.code;
  if (!interpolation.chosen) return vekrInterNearest;
  if (interpolation.code != vekrInterNearest) refuseLabels(nameOfInterpolation(interpolation.code));
  return interpolation.code;
}

void Job::refuseLabels(const std::string &what) const {
  if (options_.force) return;
  if (options_.labels)
    throw UsageError("--labels: " + what + " would mix labels; --force does it all the same");
  if (source().labels)
    throw std::runtime_error(options_.in + ": holds labels, which " + what +
                             " would mix; --force does it all the same");
}

double Job::fill() const {
  return options_.fill ? (*options_.fill - source().intercept) / source().slope : 0;
}

Sampling Job::sampling(int32_t code, const std::vector<int32_t> &region) {
  return {code, fill(), region, &stopwatch_, [this](int32_t planes) { done(planes); }};
}

void Job::done(int32_t planes) {
  if (progress_) progress_->step(planes);
}

void Job::readMask() {
  const VolumeFile &file = maskReader_->file();
  Volume given(VoxelType::f32, file.grid);
  maskReader_->read(given);
  Volume flags(VoxelType::u8, file.grid, Volume::kMargin);
  for (int32_t z = 0; z < file.grid.size.depth; ++z) {
    for (int32_t y = 0; y < file.grid.size.height; ++y) {
      for (int32_t x = 0; x < file.grid.size.width; ++x)
        flags.row<uint8_t>(y, z)[x] = given.row<float>(y, z)[x] * file.slope + file.intercept != 0;
    }
    flags.fillMargin(z);
  }
  const std::optional<Affine> back = inverseOf(file.grid.toWorld);
  if (!back) throw std::runtime_error(options_.mask + ": its matrix to millimetres is singular");
  mask_.emplace(VoxelType::u8, result.grid);
  if (sampleAffine(flags, *mask_, *back * result.grid.toWorld, Sampling()) == 0)
    throw std::runtime_error(options_.mask + ": doesn't overlap the result");
}

void Job::applyMask(Volume &frame) const {
  const double outside = fill();
  for (int32_t z = 0; z < frame.size().depth; ++z) {
    for (int32_t y = 0; y < frame.size().height; ++y) {
      const uint8_t *const inside = mask_->row<uint8_t>(y, z);
      for (int32_t x = 0; x < frame.size().width; ++x) {
        if (inside[x] == 0) frame.fillRow(y, z, x, x + 1, outside);
      }
    }
  }
}

void Job::report(const std::string &what) const {
  if (options_.quiet) return;
  const auto [width, height, depth] = result.grid.size;
  const double voxels = double(width) * height * depth * result.frames();
  const std::string frames =
      result.frames() > 1 ? " x " + std::to_string(result.frames()) + " frames" : std::string();
  std::printf("%s: %d x %d x %d voxels%s (%s) in %.3f s, %.0f million a second\n", what.c_str(), width,
              height, depth, frames.c_str(), nameOf(result.type), stopwatch_.seconds(),
              voxels / stopwatch_.seconds() * 1e-6);
}

void Job::run(const std::string &what, Hold16s hold, const Work &work) {
  if (maskReader_ != nullptr) readMask();
  const int64_t planes = int64_t(result.grid.size.depth) * result.frames();
  if (!options_.quiet) progress_.emplace(what.substr(0, what.find(',')), planes);
  Volume before = heldAs(source().type, source().grid, hold, Volume::kMargin);
  Volume after = heldAs(result.type, result.grid, hold, 0);
  std::unique_ptr<VolumeWriter> writer;
  for (int32_t frame = 0; frame < result.frames(); ++frame) {
    reader_->read(before);
    after.fill(fill());
    work(before, after);
    if (mask_) applyMask(after);
    if (writer == nullptr) writer = createVolume(result, volume_);
    writer->write(after);
    if (frame == 0 && picture_.wanted()) writePreview(before, after, options_.difference, picture_);
  }
  writer->finish();
  progress_.reset();
  report(what);
  finishStandardOutput();
  if (picture_.wanted()) picture_.commit();
  volume_.commit();
}

}  // namespace vekr_example
