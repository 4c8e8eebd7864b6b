#include "sampling.h"

#include <array>
#include <atomic>
#include <cmath>
#include <stdexcept>

#include "standard_streams.h"
#include "team.h"
#include "vekcore.h"

namespace vekr_example {

namespace {

template <class T>
struct Library;
template <>
struct Library<uint8_t> {
  static constexpr auto warp = vekrWarpAffine_8u_C1PV;
  static constexpr auto remap = vekrRemap_8u_C1PV;
};
template <>
struct Library<uint16_t> {
  static constexpr auto warp = vekrWarpAffine_16u_C1PV;
  static constexpr auto remap = vekrRemap_16u_C1PV;
};
template <>
struct Library<float> {
  static constexpr auto warp = vekrWarpAffine_32f_C1PV;
  static constexpr auto remap = vekrRemap_32f_C1PV;
};

// body.operator()<T>() for the types that are sampled; 16s volumes are held biased.
template <class Body>
void withSampledType(VoxelType type, const Body &body) {
  if (type == VoxelType::u8) return body.template operator()<uint8_t>();
  if (type == VoxelType::u16) return body.template operator()<uint16_t>();
  body.template operator()<float>();
}

// Beyond the outer edge of a voxel, which counts as inside: what headers of floats leave of an equal place.
constexpr double kSlack = 1e-4;

struct Bounds {
  std::array<double, 3> least, most;

  explicit Bounds(const Volume &src) {
    for (size_t k = 0; k < 3; ++k) {
      least[k] = -0.5 - kSlack;
      most[k] = src.grid.sides()[k] - 0.5 + kSlack;
    }
  }
  bool hold(double x, double y, double z) const {
    return x >= least[0] && x <= most[0] && y >= least[1] && y <= most[1] && z >= least[2] && z <= most[2];
  }
};

// The part of a row of the result that lies inside, the end exclusive.
std::array<int32_t, 2> insidePart(const Bounds &bounds, const Affine &toSource, int32_t width, int32_t y,
                                  int32_t z) {
  double low = 0, high = width - 1;
  for (size_t k = 0; k < 3; ++k) {
    const double step = toSource.at(k, 0);
    const double first = toSource.at(k, 1) * y + toSource.at(k, 2) * z + toSource.at(k, 3);
    constexpr double kLevel = 1e-12;  // of a row along which the coordinate stays
    if (std::fabs(step) * width < kLevel) {
      if (first < bounds.least[k] || first > bounds.most[k]) return {0, 0};
      continue;
    }
    const double a = (bounds.least[k] - first) / step, b = (bounds.most[k] - first) / step;
    low = std::max(low, std::min(a, b));
    high = std::min(high, std::max(a, b));
  }
  if (!(low <= high)) return {0, 0};
  return {static_cast<int32_t>(std::ceil(low)), static_cast<int32_t>(std::floor(high)) + 1};
}

// What may be sampled, in a volume with its margin.
VekrVolumeBox sampledBox(const Volume &src, const std::vector<int32_t> &region) {
  const VekrVolumeSize all = src.sizeWithMargin();
  if (region.empty()) return {0, 0, 0, all.width, all.height, all.depth};
  std::array<int32_t, 6> box;
  for (size_t k = 0; k < 3; ++k) {
    const int32_t side = src.grid.sides()[k];
    if (region[k] >= side) throw std::runtime_error("the region doesn't overlap the volume");
    box[k] = region[k] + src.margin;
    box[k + 3] = std::min(region[k + 3], side - region[k]);
  }
  return {box[0], box[1], box[2], box[3], box[4], box[5]};
}

// body(z, planes) for runs of planes.
template <class Body>
void forPlaneRuns(const Volume &dst, const Sampling &sampling, const Body &body) {
  for (int32_t z = 0; z < dst.size().depth; z += kPlanesAtOnce) {
    const int32_t planes = std::min(kPlanesAtOnce, dst.size().depth - z);
    body(z, planes);
    if (sampling.done) sampling.done(planes);
  }
}

template <class Call>
VekStatus timed(const Sampling &sampling, const Call &call) {
  return sampling.stopwatch != nullptr ? sampling.stopwatch->time(call) : call();
}

// The maps of a run of planes; rows are dense.
class Maps {
 public:
  Maps(const Volume &src, const Volume &dst)
      : bounds_(src),
        margin_(src.margin),
        size_(dst.size()),
        voxels_(static_cast<size_t>(size_.width) * static_cast<size_t>(size_.height)) {
    const int32_t planes = std::min(kPlanesAtOnce, size_.depth);
    for (size_t axis = 0; axis < 3; ++axis) {
      coordinates_[axis].resize(voxels_ * static_cast<size_t>(planes));
      for (int32_t k = 0; k < planes; ++k)
        lists_[axis].push_back(coordinates_[axis].data() + static_cast<size_t>(k) * voxels_);
    }
  }

  // Those of the planes from z on. Returns how many coordinates lie inside.
  int64_t fill(int32_t z, int32_t planes, const RowMap &map) {
    std::atomic<int32_t> next = 0;
    std::atomic<int64_t> inside = 0;
    onThreads(std::min(planes, std::max(ownGetNumThreads(), 1)), [&] {
      const auto width = static_cast<size_t>(size_.width);
      std::vector<double> row(3 * width);
      int64_t count = 0;
      for (int32_t k; (k = next++) < planes;) {
        for (int32_t y = 0; y < size_.height; ++y) {
          map(y, z + k, row.data(), row.data() + width, row.data() + 2 * width);
          count += store(row, static_cast<size_t>(k) * voxels_ + static_cast<size_t>(y) * width);
        }
      }
      inside += count;
    });
    return inside;
  }

  const float *const *list(size_t axis) const { return lists_[axis].data(); }
  int32_t step() const { return size_.width * static_cast<int32_t>(sizeof(float)); }

 private:
  int64_t store(const std::vector<double> &row, size_t at) {
    const auto width = static_cast<size_t>(size_.width);
    constexpr float kOutside = -1;  // of the margin, too
    int64_t count = 0;
    for (size_t x = 0; x < width; ++x) {
      const bool inside = bounds_.hold(row[x], row[width + x], row[2 * width + x]);
      count += inside;
      for (size_t axis = 0; axis < 3; ++axis)
        coordinates_[axis][at + x] = inside ? static_cast<float>(row[axis * width + x] + margin_) : kOutside;
    }
    return count;
  }

  Bounds bounds_;
  int32_t margin_;
  VekrVolumeSize size_;
  size_t voxels_;
  std::array<std::vector<float>, 3> coordinates_;
  std::array<std::vector<const float *>, 3> lists_;
};

}  // namespace

void check(VekStatus status) {
  switch (status) {
    case vekOk:
      return;
    case vekWarnNoOverlap:
      throw std::runtime_error("the region doesn't overlap the volume");
    case vekWarnNoVoxels:
      throw std::runtime_error("nothing of the volume is left");
    case vekErrCoeff:
      throw std::runtime_error("the matrix is singular, or nearly so");
    case vekErrSize:
      throw std::runtime_error("a size is below 1 or an origin below 0");
    case vekErrResizeFactor:
      throw std::runtime_error("a factor is not positive");
    default:
      throw std::runtime_error("the library refuses the arguments (status " + std::to_string(status) + ")");
  }
}

int64_t sampleMaps(const Volume &src, Volume &dst, const RowMap &map, const Sampling &sampling) {
  const VekrVolumeBox box = sampledBox(src, sampling.region);
  dst.fill(sampling.fill);
  Maps maps(src, dst);
  int64_t inside = 0;
  withSampledType(src.type, [&]<class T>() {
    const auto from = src.planesWithMargin<T>();
    const auto to = dst.planes<T>();
    forPlaneRuns(dst, sampling, [&](int32_t z, int32_t planes) {
      inside += maps.fill(z, planes, map);
      check(timed(sampling, [&] {
        return Library<T>::remap(from.data(), src.sizeWithMargin(), src.step(), box, maps.list(0),
                                 maps.list(1), maps.list(2), maps.step(), to.data() + z, dst.step(),
                                 {dst.size().width, dst.size().height, planes}, sampling.code);
      }));
    });
  });
  return inside;
}

int64_t sampleAffine(const Volume &src, Volume &dst, const Affine &toSource, const Sampling &sampling) {
  const std::optional<Affine> fromSource = inverseOf(toSource);
  if (!fromSource) check(vekErrCoeff);
  const double margin = src.margin;
  const Affine forward = *fromSource * translation({-margin, -margin, -margin});
  const VekrVolumeBox box = sampledBox(src, sampling.region);
  const Bounds bounds(src);
  const int32_t width = dst.size().width, height = dst.size().height;
  dst.fill(sampling.fill);
  int64_t inside = 0;
  bool refused = false;
  withSampledType(src.type, [&]<class T>() {
    const auto from = src.planesWithMargin<T>();
    const auto to = dst.planes<T>();
    forPlaneRuns(dst, sampling, [&](int32_t z, int32_t planes) {
      if (refused) return;
      const VekStatus status = timed(sampling, [&] {
        return Library<T>::warp(from.data(), src.sizeWithMargin(), src.step(), box, to.data(), dst.step(),
                                {0, 0, z, width, height, planes}, forward.m.data(), sampling.code);
      });
      refused = status == vekErrCoeff;
      if (refused) return;
      check(status);
      for (int32_t k = z; k < z + planes; ++k) {
        for (int32_t y = 0; y < height; ++y) {
          const auto [first, end] = insidePart(bounds, toSource, width, y, k);
          dst.fillRow(y, k, 0, first, sampling.fill);
          dst.fillRow(y, k, end, width, sampling.fill);
          inside += end - first;
        }
      }
    });
  });
  if (!refused) return inside;
  // Matrices with an empty diagonal, as permutations of axes have, and those that scale by very little have an inverse all the
  // same: the coordinates are handed over one by one.
  Sampling again = sampling;
  again.done = {};
  const RowMap map = [&](int32_t y, int32_t z, double *sx, double *sy, double *sz) {
    for (int32_t x = 0; x < width; ++x) {
      const Point at = toSource({double(x), double(y), double(z)});
      sx[x] = at[0];
      sy[x] = at[1];
      sz[x] = at[2];
    }
  };
  return sampleMaps(src, dst, map, again);
}

}  // namespace vekr_example
