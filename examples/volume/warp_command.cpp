// vekr-volume warp: an affine transform of millimetres, and the grid of another volume.
#include <stdexcept>

#include "commands.h"

namespace vekr_example {

namespace {

Affine invertible(const Affine &a) {
  const std::optional<Affine> inverse = inverseOf(a);
  if (!inverse) throw std::runtime_error("the matrix is singular, or nearly so");
  return *inverse;
}

// About the middle of a volume, along the axes of the world.
Affine aboutMiddle(const WarpCommand &c, const Grid &grid) {
  const Point middle =
      grid.toWorld({(grid.size.width - 1) / 2.0, (grid.size.height - 1) / 2.0, (grid.size.depth - 1) / 2.0});
  const Point factors = c.scale.size() == 1 ? Point{c.scale[0], c.scale[0], c.scale[0]}
                                            : Point{c.scale[0], c.scale[1], c.scale[2]};
  return translation(middle) * translation(c.translate) * rotation(2, c.rotate[2]) *
         rotation(1, c.rotate[1]) * rotation(0, c.rotate[0]) * scaling(factors) *
         translation({-middle[0], -middle[1], -middle[2]});
}

// From millimetres of the source to millimetres of the result.
Affine transformFor(const WarpCommand &c, const Grid &source, const Grid &result) {
  Affine transform;
  if (c.files.map.empty()) {
    transform = aboutMiddle(c, source);
  } else if (c.mapIsMatrix) {
    transform = result.toWorld * readMatrix(c.files.map) * invertible(source.toWorld);
  } else {
    transform = readTransform(c.files.map, c.kind, source, result);
  }
  return c.inverse ? invertible(transform) : transform;
}

}  // namespace

void WarpCommand::run() const {
  Job job(files);
  const int32_t code = job.codeFor(interpolation);
  const Grid &source = job.source().grid;
  Grid &result = job.result.grid;
  const bool like = !files.like.empty();
  if (like) {
    const auto other = openVolume(files.like);
    result = other->file().grid;
    job.result.space = other->file().space;
  }
  const Affine transform = transformFor(*this, source, result);
  // What lies at a place in millimetres stays there, and the grid is turned round it. Another volume's grid stays where it is,
  // and so does the source's own if its header is kept: the data move.
  const bool follows = !like && !keepHeader;
  const Affine back = invertible(transform);
  const Affine toSource = invertible(source.toWorld) * back * result.toWorld;
  if (follows) result.toWorld = back * result.toWorld;
  job.run(std::string("warp, ") + nameOfInterpolation(code), Hold16s::biased, [&](Volume &src, Volume &dst) {
    if (sampleAffine(src, dst, toSource, job.sampling(code, region)) > 0) return;
    throw std::runtime_error(like ? "the volumes don't overlap: nothing of " + files.in + " lies where " +
                                        files.like + " does"
                                  : "the transform moves all of the volume out of the result");
  });
}

}  // namespace vekr_example
