// The frame of a plane under the cubic codes: the rows of its top and bottom strip, and the columns beside the interior.
// Weights of a tap that is repeated are added first in all of them but the bottom strip, and callers depend on the last
// bits of that [C92]. For kernel files.
#pragma once

#include <cstdint>

#include "prresize/cubic_rows.h"
#include "prresize/kernels.h"
#include "prresize/ring.h"

namespace vekr::VEKR_ISA {

// One source row as the strips need it, over the destination's whole width.
template <class Voxel>
void cubicStripRow(const Voxel *row, const Axis<CubicWeights> &x, float *out) {
  const auto edge = [&](int32_t begin, int32_t end) {
    for (int32_t i = begin; i < end; ++i) {
      const CubicTaps taps = cubicTaps(x.runs, x.size, i, x.index[i]);
      const float *const c = x.weight[i].k;
      out[i] = (c[0] * valueOf(row, taps.at[0]) + c[1] * valueOf(row, taps.at[1])) +
               (c[2] * valueOf(row, taps.at[2]) + c[3] * valueOf(row, taps.at[3]));
    }
  };
  edge(0, x.runs.lead());
  cubicInterior<EndOrder::neighbours>(row, row, x, out);
  edge(x.runs.tailBegin(), x.runs.count());
}

// The columns to the left and to the right of the interior, in one of its source rows.
template <class Voxel>
void cubicEdgeColumns(const Voxel *row, const Axis<CubicWeights> &x, float *out) {
  const int32_t last = x.size - 1;
  const auto near = [&](int32_t column) { return valueOf(row, clampedTo(x.size, column)); };
  const float p0 = near(0), p1 = near(1), p2 = near(2);
  const float m0 = near(last), m1 = near(last - 1), m2 = near(last - 2);
  int32_t i = 0;
  for (; i < x.runs.below; ++i) {
    const float *const c = x.weight[i].k;
    out[i] = (c[0] + c[1] + c[2]) * p0 + c[3] * p1;
  }
  for (; i < x.runs.lead(); ++i) {
    const float *const c = x.weight[i].k;
    out[i] = (c[3] * p2 + (c[0] + c[1]) * p0) + c[2] * p1;
  }
  for (i = x.runs.tailBegin(); i < x.runs.tailBegin() + x.runs.high; ++i) {
    const float *const c = x.weight[i].k;
    out[i] = ((c[2] + c[3]) * m0 + c[0] * m2) + c[1] * m1;
  }
  for (; i < x.runs.count(); ++i) {
    const float *const c = x.weight[i].k;
    out[i] = c[0] * m1 + (c[1] + c[2] + c[3]) * m0;
  }
}

// Source rows of the bottom strip. Where rows run backwards in memory, a row of class above keeps the rows of the one before
// it, and row 0 if it is the strip's first [C93].
template <class Voxel>
CubicTaps bottomTaps(const Rows<const Voxel> &source, const Axis<CubicWeights> &y, int32_t j) {
  const bool above = j >= y.runs.tailBegin() + y.runs.high;
  if (source.step >= 0 || !above) return cubicTaps(y.runs, y.size, j, y.index[j]);
  return y.runs.high > 0 ? cubicTaps(y.runs, y.size, y.runs.tailBegin(), 0) : CubicTaps{{0, 0, 0, 0}};
}

// Rows of the band that lie in the top and in the bottom strip.
template <class Voxel>
void cubicStrips(Rows<const Voxel> source, Rows<float> slice, const PlaneAxes<CubicWeights> &axes,
                 RowBand band, float *const *rows) {
  const Axis<CubicWeights> &y = axes.y;
  const int32_t width = axes.x.runs.count();
  Ring<4, float> ring = {{rows[0], rows[1], rows[2], rows[3]}, {-1, -1, -1, -1}};
  const auto row = [&](int32_t position) {
    return ring.at(position, [&](int32_t r, float *out) { cubicStripRow(source.row(r), axes.x, out); });
  };

  for (int32_t j = band.begin; j < band.end && j < y.runs.lead(); ++j) {
    const CubicTaps taps = cubicTaps(y.runs, y.size, j, y.index[j]);
    const float *const k = y.weight[j].k;
    float *const out = slice.row(j - band.begin);
    const float *const r0 = row(taps.at[1]), *const rNear = row(taps.at[2]), *const rFar = row(taps.at[3]);
    if (j < y.runs.below) {
      const float k012 = k[0] + k[1] + k[2], k3 = k[3];
      for (int32_t i = 0; i < width; ++i) out[i] = k012 * r0[i] + rFar[i] * k3;
    } else {
      const float k01 = k[0] + k[1], k2 = k[2], k3 = k[3];
      for (int32_t i = 0; i < width; ++i) out[i] = (k01 * r0[i] + rFar[i] * k3) + rNear[i] * k2;
    }
  }

  const int32_t bottom = y.runs.tailBegin();
  for (int32_t j = bottom > band.begin ? bottom : band.begin; j < band.end; ++j) {
    const CubicTaps taps = bottomTaps(source, y, j);
    const FourRows four = {{row(taps.at[0]), row(taps.at[1]), row(taps.at[2]), row(taps.at[3])}, y.weight[j]};
    cubicMix(four, slice.row(j - band.begin), width);
  }
}

}  // namespace vekr::VEKR_ISA
