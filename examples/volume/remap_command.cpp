// vekr-volume remap: deforms a volume by a displacement field, or in one of three ways of its own.
#include <cmath>
#include <stdexcept>

#include "commands.h"

namespace vekr_example {

namespace {

// Deformations of a cube from -1 to 1 in each axis: where the result at a point comes from.
Point twisted(const Point &p, double strength) {
  const double angle = strength * p[2], c = std::cos(angle), s = std::sin(angle);
  return {c * p[0] - s * p[1], s * p[0] + c * p[1], p[2]};
}

Point waved(const Point &p, double strength) {
  constexpr double kWaves = 3 * 3.14159265358979;
  const double shift = 0.1 * strength;
  return {p[0] + shift * std::sin(kWaves * p[1]), p[1] + shift * std::sin(kWaves * p[2]),
          p[2] + shift * std::sin(kWaves * p[0])};
}

Point bulged(const Point &p, double strength) {
  const double r = std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
  const double factor = 1 - 0.5 * strength * std::exp(-4 * r * r);
  return {factor * p[0], factor * p[1], factor * p[2]};
}

RowMap deformed(const std::string &name, double strength, VekrVolumeSize size) {
  const auto deformation = name == "twist" ? twisted : name == "waves" ? waved : bulged;
  const Point half = {(size.width - 1) / 2.0, (size.height - 1) / 2.0, (size.depth - 1) / 2.0};
  return [=](int32_t y, int32_t z, double *sx, double *sy, double *sz) {
    const auto unit = [&](size_t axis, int32_t i) {
      return half[axis] > 0 ? (i - half[axis]) / half[axis] : 0;
    };
    for (int32_t x = 0; x < size.width; ++x) {
      const Point from = deformation({unit(0, x), unit(1, y), unit(2, z)}, strength);
      sx[x] = half[0] + half[0] * from[0];
      sy[x] = half[1] + half[1] * from[1];
      sz[x] = half[2] + half[2] * from[2];
    }
  };
}

// Millimetres along x, y and z that lead from a point of the result to the one of the source, on the result's grid.
class DisplacementField {
 public:
  DisplacementField(VolumeReader &reader, double strength, bool ras)
      : file_(reader.file()), signs_{ras ? strength : -strength, ras ? strength : -strength, strength} {
    for (int axis = 0; axis < 3; ++axis) {
      Volume component(VoxelType::f32, file_.grid, Volume::kMargin);
      reader.read(component);
      components_.push_back(std::move(component));
    }
  }

  // Resamples it, without regard to its own grid; beyond that nothing is displaced.
  void bringOnto(const Grid &grid) {
    const std::optional<Affine> back = inverseOf(file_.grid.toWorld);
    if (!back) throw std::runtime_error(file_.path + ": its matrix to millimetres is singular");
    for (Volume &component : components_) {
      Volume resampled(VoxelType::f32, grid);
      Sampling sampling;
      sampling.code = vekrInterLinear;
      if (sampleAffine(component, resampled, *back * grid.toWorld, sampling) == 0)
        throw std::runtime_error(file_.path + ": doesn't overlap the result");
      component = std::move(resampled);
    }
  }

  Point at(int32_t x, int32_t y, int32_t z) const {
    Point mm;
    for (size_t axis = 0; axis < 3; ++axis) {
      const double stored = double(components_[axis].row<float>(y, z)[x]);
      mm[axis] = signs_[axis] * (stored * file_.slope + file_.intercept);
    }
    return mm;
  }

 private:
  const VolumeFile file_;
  Point signs_;
  std::vector<Volume> components_;
};

}  // namespace

void RemapCommand::run() const {
  Job job(files);
  const int32_t code = job.codeFor(interpolation);
  const Grid source = job.source().grid;
  Grid &result = job.result.grid;
  if (!files.like.empty()) {
    const auto other = openVolume(files.like);
    result = other->file().grid;
    job.result.space = other->file().space;
  }
  RowMap map = deformed(deformation, strength, source.size);
  std::optional<DisplacementField> field;
  const std::optional<Affine> toVoxels = inverseOf(source.toWorld);
  if (!toVoxels) throw std::runtime_error(files.in + ": its matrix to millimetres is singular");
  if (!files.map.empty()) {
    const auto reader = openVolume(files.map);
    const VolumeFile &file = reader->file();
    if (file.frames() != 3)
      throw std::runtime_error(files.map + ": is no displacement field: it has " +
                               std::to_string(file.frames()) + " components for each voxel, not 3");
    if (files.like.empty()) {
      result = file.grid;
      job.result.space = file.space;
    }
    field.emplace(*reader, strength, fieldIsRas);
    field->bringOnto(result);
    map = [&](int32_t y, int32_t z, double *sx, double *sy, double *sz) {
      for (int32_t x = 0; x < result.size.width; ++x) {
        const Point p = result.toWorld({double(x), double(y), double(z)}), d = field->at(x, y, z);
        const Point from = (*toVoxels)({p[0] + d[0], p[1] + d[1], p[2] + d[2]});
        sx[x] = from[0];
        sy[x] = from[1];
        sz[x] = from[2];
      }
    };
  }
  const std::string what = "remap, " + (field ? "displacement field" : deformation) + ", ";
  job.run(what + nameOfInterpolation(code), Hold16s::biased, [&](Volume &src, Volume &dst) {
    if (sampleMaps(src, dst, map, job.sampling(code, region)) > 0 || !field) return;
    throw std::runtime_error(files.map + ": leads to nothing of " + files.in);
  });
}

}  // namespace vekr_example
