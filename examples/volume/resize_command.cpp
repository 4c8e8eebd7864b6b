// vekr-volume resize: more voxels, or fewer, for the same millimetres.
#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

#include "commands.h"
#include "standard_streams.h"
#include "vekcore.h"

namespace vekr_example {

namespace {

using Three = std::array<double, 3>;

// A result, and how many of its voxels each voxel of the source becomes.
struct Plan {
  VekrVolumeSize size;
  Three factor;
};

void checkSide(double side) {
  if (!(side <= kLargestSide))
    throw std::runtime_error("the result would have sides of more than 32767 voxels");
}

// What lay at a place in millimetres stays there. Result voxel i has its centre at (i + 1/2) / factor - 1/2 in the source.
Affine followed(const Affine &toWorld, const Three &factor) {
  const Affine steps = scaling({1 / factor[0], 1 / factor[1], 1 / factor[2]});
  return toWorld * translation({0.5 / factor[0] - 0.5, 0.5 / factor[1] - 0.5, 0.5 / factor[2] - 0.5}) * steps;
}

// One number for all axes, or one for each.
Three three(const std::vector<double> &numbers) {
  return numbers.size() == 1 ? Three{numbers[0], numbers[0], numbers[0]}
                             : Three{numbers[0], numbers[1], numbers[2]};
}

// A size is met by factors that fill it. Factors are taken as they are, and the size is rounded to whole voxels; what would
// have none gets one.
Plan planFor(const ResizeCommand &c, const Grid &grid) {
  const std::array<int32_t, 3> sides = grid.sides();
  std::array<int32_t, 3> result = c.size;
  Three factors;
  if (result[0] > 0) {
    for (size_t axis = 0; axis < 3; ++axis) factors[axis] = double(result[axis]) / sides[axis];
    return {{result[0], result[1], result[2]}, factors};
  }
  factors = three(c.factor.empty() ? c.spacing : c.factor);
  for (size_t axis = 0; axis < 3; ++axis) {
    if (c.factor.empty()) factors[axis] = grid.spacing()[axis] / factors[axis];
    const double side = std::floor(sides[axis] * factors[axis] + 0.5);
    checkSide(side);
    result[axis] = std::max(1, static_cast<int32_t>(side));
    if (side < 1) factors[axis] = 1.0 / sides[axis];
  }
  return {{result[0], result[1], result[2]}, factors};
}

// Whether the library's 32-bit counts hold a plane and the work on it.
bool isWieldy(VekrVolumeSize size, int32_t threads) {
  constexpr double kSlices = 8, kBytes = 4;
  return kSlices * kBytes * size.width * size.height * threads < INT32_MAX;
}

template <class T>
struct Lists;
template <>
struct Lists<uint8_t> {
  static constexpr auto resize = vekrResize_8u_C1PV;
};
template <>
struct Lists<uint16_t> {
  static constexpr auto resize = vekrResize_16u_C1PV;
};
template <>
struct Lists<float> {
  static constexpr auto resize = vekrResize_32f_C1PV;
};

class Resizer {
 public:
  Resizer(Job &job, const Three &factor, int32_t code) : job_(job), f_(factor), code_(code) {}

  void operator()(Volume &src, Volume &dst) {
    const auto [width, height, depth] = src.size();
    // A cubic asks for four voxels along each axis and linear for two: the margin adds four.
    constexpr int32_t kTaps = 4;
    const bool withMargin = std::min({width, height, depth}) < kTaps;
    if (src.type == VoxelType::u8) return lists<uint8_t>(src, dst, withMargin);
    if (src.type == VoxelType::u16) return lists<uint16_t>(src, dst, withMargin);
    if (withMargin) return lists<float>(src, dst, true);
    blocks(src, dst);
  }

 private:
  template <class T>
  void lists(Volume &src, Volume &dst, bool withMargin) {
    const auto inner = src.planes<const T>();
    const auto from =
        withMargin ? src.planesWithMargin<T>() : std::vector<const T *>(inner.begin(), inner.end());
    const auto to = dst.planes<T>();
    const int32_t m = withMargin ? src.margin : 0;
    const VekrVolumeSize size = withMargin ? src.sizeWithMargin() : src.size();
    const VekrVolumeBox srcBox = {m, m, m, src.size().width, src.size().height, src.size().depth};
    forRuns(srcBox, dst, [&](VekrVolumeBox box, uint8_t *buffer) {
      return Lists<T>::resize(from.data(), size, src.step(), srcBox, to.data(), dst.step(), box, f_[0], f_[1],
                              f_[2], -m * f_[0], -m * f_[1], -m * f_[2], code_, buffer);
    });
  }

  // The function for blocks of floats is the one that uses threads.
  void blocks(Volume &src, Volume &dst) {
    const int32_t rows = src.size().height + 2 * src.margin;
    const VekrVolumeBox srcBox = {0, 0, 0, src.size().width, src.size().height, src.size().depth};
    forRuns(srcBox, dst, [&](VekrVolumeBox box, uint8_t *buffer) {
      return vekrResize_32f_C1V(src.row<float>(0, 0), src.size(), src.step(), src.step() * rows, srcBox,
                                dst.row<float>(0, 0), dst.step(), dst.step() * dst.size().height, box, f_[0],
                                f_[1], f_[2], 0, 0, 0, code_, buffer);
    });
  }

  // resizeBox(box, buffer) for runs of planes.
  template <class ResizeBox>
  void forRuns(VekrVolumeBox srcBox, const Volume &dst, const ResizeBox &resizeBox) {
    for (int32_t z = 0; z < dst.size().depth; z += kPlanesAtOnce) {
      const int32_t planes = std::min(kPlanesAtOnce, dst.size().depth - z);
      const VekrVolumeBox box = {0, 0, z, dst.size().width, dst.size().height, planes};
      int32_t bytes = 0;
      check(vekrResizeGetBufSize(srcBox, box, 1, code_, &bytes));
      buffer_.resize(static_cast<size_t>(bytes));
      check(job_.stopwatch().time([&] { return resizeBox(box, buffer_.data()); }));
      job_.done(planes);
    }
  }

  Job &job_;
  Three f_;
  int32_t code_;
  std::vector<uint8_t> buffer_;
};

}  // namespace

void ResizeCommand::run() const {
  for (const auto *list : {&factor, &spacing}) {
    if (list->size() == 2)
      throw UsageError(std::string(list == &factor ? "--factor" : "--spacing") +
                       " takes one number or three");
  }
  Job job(files);
  const int32_t code = job.codeFor(interpolation);
  const Plan plan = planFor(*this, job.source().grid);
  if (!isWieldy(job.source().grid.size, 1) || !isWieldy(plan.size, ownGetNumThreads()))
    throw std::runtime_error("planes are too large");
  job.result.grid = {plan.size, followed(job.source().grid.toWorld, plan.factor)};
  Resizer resizer(job, plan.factor, code);
  // The cubics of resize cut off what is behind the point of integer voxels, and a bias would make that another thing on
  // either side of 0.
  job.run(std::string("resize, ") + nameOfInterpolation(code),
          code == vekrInterNearest ? Hold16s::biased : Hold16s::asFloats,
          [&](Volume &src, Volume &dst) { resizer(src, dst); });
}

}  // namespace vekr_example
