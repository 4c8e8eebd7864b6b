#include "prresize/border_cubic.h"
#include "prresize/cubic_rows.h"
#include "prresize/kernels.h"
#include "prresize/place.h"
#include "prresize/ring.h"

namespace vekr::VEKR_ISA {

template <class Voxel>
void ownrResizeC(Rows<const Voxel> source, Rows<float> slice, const PlaneAxes<CubicWeights> &axes,
                 RowBand band, float *const *rows) {
  cubicStrips(source, slice, axes, band, rows);

  const Axis<CubicWeights> &x = axes.x, &y = axes.y;
  const int32_t begin = band.begin > y.runs.lead() ? band.begin : y.runs.lead();
  const int32_t end = band.end < y.runs.tailBegin() ? band.end : y.runs.tailBegin();
  Ring<4, float> ring = {{rows[0], rows[1], rows[2], rows[3]}, {-1, -1, -1, -1}};
  const auto row = [&](int32_t position, int32_t further) {
    return ring.at(position, [&](int32_t r, float *out) {
      cubicEdgeColumns(source.row(r), x, out);
      cubicInterior<EndOrder::crossed>(source.row(r), source.row(r + further), x, out);
    });
  };
  for (int32_t j = begin; j < end; ++j) {
    const int32_t r = y.index[j], further = rowsAhead(y.index, j, y.runs.tailBegin());
    const FourRows four = {{row(r - 1, further), row(r, further), row(r + 1, further), row(r + 2, further)},
                           y.weight[j]};
    cubicMix(four, slice.row(j - band.begin), x.runs.count());
  }
}

namespace {

// An integer voxel of the interior is truncated, one of the frame is rounded: the same sum may give neighbours that differ
// by one, and callers depend on both [C90].
template <Place where, int N>
void storeVoxels(Float<N> sums, float *out) {
  sums.store(out);
}
template <Place where>
void storeVoxels(Float<1> sum, float *out) {
  storeAs(out, sum.v);
}
template <Place where, int N, class Voxel>
void storeVoxels(Float<N> sums, Voxel *out) {
  storeSaturated(where == Place::frame ? borderRounded(sums) : truncated(sums), out);
}

}  // namespace

template <class Voxel>
void ownpr_DepC(Rows<Voxel> destination, const float *const *slices, int64_t sliceStep, CubicWeights weights,
                const PlaneAxes<CubicWeights> &axes, RowBand band) {
  for (int32_t j = band.begin; j < band.end; ++j) {
    const int64_t at = (j - band.begin) * sliceStep;
    const FourRows four = {{slices[0] + at, slices[1] + at, slices[2] + at, slices[3] + at}, weights};
    Voxel *const out = destination.row(j);
    forPlaces(axes, j, [&]<Place where>(PlaceIs<where>, int32_t begin, int32_t end) {
      forGroups(begin, end,
                [=]<int N>(Lanes<N>, int64_t i) { storeVoxels<where>(four.mixed<N>(i), out + i); });
    });
  }
}

#define VEKR_INSTANTIATE(Voxel)                                                                       \
  template void ownrResizeC(Rows<const Voxel>, Rows<float>, const PlaneAxes<CubicWeights> &, RowBand, \
                            float *const *);                                                          \
  template void ownpr_DepC(Rows<Voxel>, const float *const *, int64_t, CubicWeights,                  \
                           const PlaneAxes<CubicWeights> &, RowBand);
VEKR_INSTANTIATE(uint8_t)
VEKR_INSTANTIATE(uint16_t)
VEKR_INSTANTIATE(float)
#undef VEKR_INSTANTIATE

}  // namespace vekr::VEKR_ISA
