// vekr-volume filter: smooths, sharpens or differentiates a volume by a kernel of integers.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <stdexcept>

#include "commands.h"
#include "filter_kernel.h"
#include "team.h"
#include "vekcore.h"

namespace vekr_example {

namespace {

// Which voxel of an axis stands for the one at `i`, that may lie outside.
int32_t replicated(int32_t i, int32_t length) { return std::clamp(i, 0, length - 1); }

// ... 2 1 0 1 2 ... at the low end, and so at the high end.
int32_t reflected(int32_t i, int32_t length) {
  if (length == 1) return 0;
  const int32_t period = 2 * (length - 1);
  const int32_t phase = ((i % period) + period) % period;
  return std::min(phase, period - phase);
}

using Border = int32_t (*)(int32_t, int32_t);

// Voxels as the library filters them. Returns whether some had to be rounded.
bool convertTo16s(const Volume &volume, Volume &result) {
  bool rounded = false;
  const int32_t width = volume.size().width, height = volume.size().height, depth = volume.size().depth;
  withVoxelType(volume.type, [&]<class T>() {
    for (int32_t z = 0; z < depth; ++z) {
      for (int32_t y = 0; y < height; ++y) {
        const T *const from = volume.row<T>(y, z);
        int16_t *const to = result.row<int16_t>(y, z);
        for (int32_t x = 0; x < width; ++x) {
          const float value = std::nearbyint(static_cast<float>(from[x]));
          if (!(value >= -32768 && value <= 32767)) {
            throw std::runtime_error(
                "a voxel doesn't fit into signed 16 bits, and the filter knows no others");
          }
          rounded = rounded || value != static_cast<float>(from[x]);
          to[x] = static_cast<int16_t>(value);
        }
      }
    }
  });
  return rounded;
}

// A volume with the margin that a kernel reaches for.
class Padded {
 public:
  Padded(const Volume &volume, const FilterKernel &kernel, Border border)
      : width_(volume.size().width + kernel.size.width - 1),
        before_{kernel.size.width - 1 - kernel.anchor().x, kernel.size.height - 1 - kernel.anchor().y,
                kernel.size.depth - 1 - kernel.anchor().z} {
    const auto [width, height, depth] = volume.size();
    const int32_t rows = height + kernel.size.height - 1, planes = depth + kernel.size.depth - 1;
    planeVoxels_ = static_cast<size_t>(width_) * static_cast<size_t>(rows);
    voxels_.reserve(planeVoxels_ * static_cast<size_t>(planes));
    for (int32_t z = 0; z < planes; ++z) {
      for (int32_t y = 0; y < rows; ++y) {
        const int16_t *const from =
            volume.row<int16_t>(border(y - before_.y, height), border(z - before_.z, depth));
        for (int32_t x = 0; x < width_; ++x) voxels_.push_back(from[border(x - before_.x, width)]);
      }
    }
  }

  int32_t step() const { return 2 * width_; }
  // The list from the first plane of the margin on; its pointers lead to voxel (x, 0) of the volume.
  std::vector<const int16_t *> planesAt(int32_t x) const {
    std::vector<const int16_t *> list;
    const size_t inside =
        static_cast<size_t>(before_.y) * static_cast<size_t>(width_) + static_cast<size_t>(before_.x + x);
    for (size_t first = 0; first < voxels_.size(); first += planeVoxels_)
      list.push_back(voxels_.data() + first + inside);
    return list;
  }
  // Entries of the list in front of the volume's first plane.
  int32_t planesBefore() const { return before_.z; }

 private:
  int32_t width_;
  VekrVolumePoint before_;
  size_t planeVoxels_ = 0;
  std::vector<int16_t> voxels_;
};

// Planes z to z + count - 1, on the calling thread.
VekStatus filterPlanes(const Padded &src, Volume &dst, const FilterKernel &kernel, int32_t z, int32_t count) {
  const int32_t width = dst.size().width, strip = stripWidth(kernel);
  auto to = dst.planes<int16_t>();
  for (int32_t x = 0, now = width; x < width; x += now) {
    now = width - x;
    // Strips of 16 leave a last one of up to 31: the fast form takes no narrower ones.
    if (strip != 0 && now >= 2 * strip) now = strip;
    if (strip == 15) now = std::min(now, strip);
    const VekrVolumeSize size = {now, dst.size().height, count};
    int32_t bytes = 0;
    if (const VekStatus status = vekrFilterGetBufSize(size, kernel.size, 1, &bytes); status != vekOk)
      return status;
    std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
    const auto from = src.planesAt(x);
    std::vector<int16_t *> toStrip;
    for (int32_t k = z; k < z + count; ++k) toStrip.push_back(to[static_cast<size_t>(k)] + x);
    const VekStatus status = vekrFilter_16s_C1PV(from.data() + src.planesBefore() + z, src.step(),
                                                 toStrip.data(), dst.step(), size, kernel.taps.data(),
                                                 kernel.size, kernel.anchor(), kernel.divisor, buffer.data());
    if (status != vekOk) return status;
  }
  return vekOk;
}

// The filter itself starts no threads: planes are shared out here.
VekStatus filterOnThreads(const Padded &src, Volume &dst, const FilterKernel &kernel, int32_t z,
                          int32_t count) {
  const int32_t shares = std::min(std::max(ownGetNumThreads(), 1), count);
  std::atomic<int32_t> next = 0;
  std::atomic<VekStatus> bad = vekOk;
  onThreads(shares, [&] {
    for (int32_t t; (t = next++) < shares;) {
      const int32_t first = z + count * t / shares, end = z + count * (t + 1) / shares;
      const VekStatus status = filterPlanes(src, dst, kernel, first, end - first);
      if (status != vekOk) bad = status;
    }
  });
  return bad;
}

}  // namespace

void FilterCommand::run() const {
  FilterKernel taps = kernelNamed(kernel);
  if (divisor != 0) taps.divisor = divisor;
  Job job(files);
  job.refuseLabels("a filter");
  job.result.type = VoxelType::s16;
  bool told = false;
  const std::string what = "filter, " + kernel + " / " + std::to_string(taps.divisor);
  job.run(what, Hold16s::asTheyAre, [&](Volume &given, Volume &dst) {
    Volume src(VoxelType::s16, given.grid);
    if (convertTo16s(given, src) && !told) {
      note("voxels are rounded to integers of 16 bits");
      told = true;
    }
    const Padded padded(src, taps, border == "reflect" ? reflected : replicated);
    for (int32_t z = 0; z < dst.size().depth; z += kPlanesAtOnce) {
      const int32_t planes = std::min(kPlanesAtOnce, dst.size().depth - z);
      check(job.stopwatch().time([&] { return filterOnThreads(padded, dst, taps, z, planes); }));
      job.done(planes);
    }
  });
}

}  // namespace vekr_example
