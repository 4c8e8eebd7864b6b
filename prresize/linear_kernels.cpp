#include "prresize/kernels.h"
#include "prresize/linear_rows.h"
#include "prresize/ring.h"

namespace vekr::VEKR_ISA {

namespace {

template <class Voxel, class Weight, class Middle>
void stripRow(const Voxel *row, const Axis<Weight> &x, Middle *out, Middle *) {
  linearRow<Place::frame>(row, row, x, out);
}

// Voxels of a strip fit into a byte as they are.
void stripRow(const uint8_t *row, const Axis<FixedPair> &x, uint8_t *out, uint16_t *words) {
  linearRow<Place::frame>(row, row, x, words);
  for (int32_t i = 0; i < x.runs.count(); ++i) out[i] = static_cast<uint8_t>(words[i]);
}

template <class Voxel, class Out>
void resizePlane(Rows<const Voxel> source, Rows<Out> out, const PlaneAxes<LinearWeight<Voxel>> &axes,
                 RowBand band, LinearMiddle<Voxel> *const *rows) {
  using Middle = LinearMiddle<Voxel>;
  const auto &x = axes.x, &y = axes.y;
  Ring<2, Middle> ring = {{rows[0], rows[1]}, {-1, -1}};
  const auto row = [&](int32_t position, int32_t further) {
    return ring.at(position, [&](int32_t r, Middle *middle) {
      linearRow<Place::interior>(source.row(r), source.row(r + further), x, middle);
    });
  };
  const auto strip = [&](int32_t begin, int32_t end, int32_t r) {
    for (int32_t j = begin; j < end; ++j) stripRow(source.row(r), x, out.row(j - band.begin), rows[0]);
  };
  const int32_t top = y.runs.lead() < band.end ? y.runs.lead() : band.end;
  const int32_t bottom = y.runs.tailBegin() > band.begin ? y.runs.tailBegin() : band.begin;
  strip(band.begin, top, 0);
  for (int32_t j = top > band.begin ? top : band.begin; j < bottom && j < band.end; ++j) {
    const int32_t further = rowsAhead(y.index, j, y.runs.tailBegin());
    const Middle *const near = row(y.index[j], further), *const far = row(y.index[j] + 1, further);
    mixRow(near, far, y.weight[j], out.row(j - band.begin), axes, j);
  }
  strip(bottom, band.end, y.size - 1);
}

}  // namespace

template <class Voxel>
void ownResizeL(Rows<const Voxel> source, Rows<Voxel> out, const PlaneAxes<LinearWeight<Voxel>> &axes,
                RowBand band, LinearMiddle<Voxel> *const *rows) {
  resizePlane(source, out, axes, band, rows);
}

template <class Voxel>
void ownrResizeL(Rows<const Voxel> source, Rows<LinearMiddle<Voxel>> out,
                 const PlaneAxes<LinearWeight<Voxel>> &axes, RowBand band, LinearMiddle<Voxel> *const *rows) {
  resizePlane(source, out, axes, band, rows);
}

template <class Voxel>
void ownpr_DepL(Rows<Voxel> destination, Rows<const LinearMiddle<Voxel>> near,
                Rows<const LinearMiddle<Voxel>> far, LinearWeight<Voxel> weight,
                const PlaneAxes<LinearWeight<Voxel>> &axes, RowBand band) {
  for (int32_t j = band.begin; j < band.end; ++j) {
    mixRow(near.row(j - band.begin), far.row(j - band.begin), weight, destination.row(j), axes, j);
  }
}

#define VEKR_INSTANTIATE(Voxel)                                                                             \
  template void ownResizeL(Rows<const Voxel>, Rows<Voxel>, const PlaneAxes<LinearWeight<Voxel>> &, RowBand, \
                           LinearMiddle<Voxel> *const *);                                                   \
  template void ownrResizeL<Voxel>(Rows<const Voxel>, Rows<LinearMiddle<Voxel>>,                            \
                                   const PlaneAxes<LinearWeight<Voxel>> &, RowBand,                         \
                                   LinearMiddle<Voxel> *const *);                                           \
  template void ownpr_DepL(Rows<Voxel>, Rows<const LinearMiddle<Voxel>>, Rows<const LinearMiddle<Voxel>>,   \
                           LinearWeight<Voxel>, const PlaneAxes<LinearWeight<Voxel>> &, RowBand);
VEKR_INSTANTIATE(uint8_t)
VEKR_INSTANTIATE(uint16_t)
VEKR_INSTANTIATE(float)
#undef VEKR_INSTANTIATE

}  // namespace vekr::VEKR_ISA
