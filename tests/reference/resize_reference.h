// Resize, voxel by voxel, as plainly as it can be told: every voxel from the source alone, with no row, ring, slice or
// buffer. Shares nothing with the library but the public types.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <type_traits>
#include <vector>

#include "vekr.h"

namespace reference {

struct ResizeRequest {
  VekrVolumeSize srcSize;
  VekrVolumeBox srcBox, dstBox;
  double factor[3], shift[3];
  int32_t code;
};

// ---------------------------------------------------------------- the region

struct Interval {
  int32_t begin, end;
};

inline Interval destinationInterval(const ResizeRequest &r, int axis) {
  const int32_t sizes[3] = {r.srcSize.width, r.srcSize.height, r.srcSize.depth};
  const int32_t srcFirst[3] = {r.srcBox.x, r.srcBox.y, r.srcBox.z};
  const int32_t srcLength[3] = {r.srcBox.width, r.srcBox.height, r.srcBox.depth};
  const int32_t dstFirst[3] = {r.dstBox.x, r.dstBox.y, r.dstBox.z};
  const int32_t dstLength[3] = {r.dstBox.width, r.dstBox.height, r.dstBox.depth};
  const double last =
      std::fmin(static_cast<double>(sizes[axis]) - srcFirst[axis], srcLength[axis]) + srcFirst[axis];
  const double low = std::fmax(srcFirst[axis] * r.factor[axis] + r.shift[axis], dstFirst[axis]);
  const double high =
      std::fmin(last * r.factor[axis] + r.shift[axis], static_cast<double>(dstFirst[axis]) + dstLength[axis]);
  const auto toInt = [](double x) {
    return static_cast<int32_t>(std::fmin(std::fmax(x, -2147483648.0), 2147483647.0));
  };
  return {toInt(0.4999999999 + low), toInt(0.5000000001 + high)};
}

// ---------------------------------------------------------------- coordinates

enum class Class { below, first, interior, high, above };

struct Coordinate {
  Class place;
  int32_t index;   // the integer part
  float fraction;  // as a float
  int32_t fixed;   // on the scale 16384
  float weight[4];
};

inline double cubicKernel(int32_t code, double a) {
  if (a >= 2) return 0;
  switch (code) {
    case 4:
      return a < 1 ? (a * 0.5 * a - a - 0.5) * a + 1.0
                   : (a * -0.16666666666666666 * a + a - 1.8333333333333333) * a + 1.0;
    case 5:
      return a < 1 ? (a * 0.5 * a - a) * a + 0.6666666666666666
                   : (a * -0.16666666666666666 * a + a) * a + (1.3333333333333333 - a - a);
    case 6:
      return a < 1 ? (a * 1.5 - 2.5) * a * a + 1.0 : ((a * -0.5 + 2.5) * a - 4.0) * a + 2.0;
    default:
      return a < 1 ? (a * 0.95 - 1.7) * a * a + 0.8333333333333334
                   : ((a * -0.38333333333333336 + 2.0) * a - 3.4) * a + 1.8666666666666667;
  }
}

inline void cubicWeights(int32_t code, float t, float *weight) {
  const float d0 = -1.0f - t, d1 = d0 + 1.0f, d2 = d1 + 1.0f, d3 = d2 + 1.0f;
  const float d[4] = {d0, d1, d2, d3};
  for (int k = 0; k < 4; ++k)
    weight[k] = static_cast<float>(cubicKernel(code, std::fabs(static_cast<double>(d[k]))));
}

inline int32_t nearestIndex(int32_t d, double factor, double shift) {
  const double inv = 1 / factor, ish = (0 - shift) / factor;
  return static_cast<int32_t>((d + 0.5) * inv - 1e-10 + ish);
}

inline Coordinate coordinateOf(int32_t d, double factor, double shift, int32_t size, int32_t code) {
  const double inv = 1 / factor, ish = (0 - shift) / factor;
  const double s = ((d + 0.5) * inv - 0.5) + ish;
  Coordinate c = {};
  const double n = size;
  if (s < 0) {
    c.place = Class::below;
  } else if (code >= 4 && s < 1) {
    c.place = Class::first;
  } else if (s >= n - 1) {
    c.place = Class::above;
  } else if (code >= 4 && s >= n - 2) {
    c.place = Class::high;
  } else {
    c.place = Class::interior;
  }
  c.index = static_cast<int32_t>(std::floor(s));
  const double f = s - std::floor(s);
  c.fraction = static_cast<float>(f);
  c.fixed = static_cast<int32_t>(f * 16384.0 + 1e-07);
  if (code >= 4) cubicWeights(code, c.fraction, c.weight);
  return c;
}

// ---------------------------------------------------------------- one voxel

// Read(x, y, z) gives a voxel; positions outside the source aren't asked of it.
template <class Voxel, class Read>
class ResizeTwin {
 public:
  // `rowStep` in elements: its sign alone matters.
  ResizeTwin(const ResizeRequest &request, int64_t rowStep, const Read &read)
      : r_(request), rowStep_(rowStep), read_(read) {
    const int32_t sizes[3] = {r_.srcSize.width, r_.srcSize.height, r_.srcSize.depth};
    for (int axis = 0; axis < 3; ++axis) {
      size_[axis] = sizes[axis];
      interval_[axis] = destinationInterval(r_, axis);
      if (r_.code == 1) continue;
      for (int32_t d = interval_[axis].begin; d < interval_[axis].end; ++d) {
        axis_[axis].push_back(coordinateOf(d, r_.factor[axis], r_.shift[axis], sizes[axis], r_.code));
      }
    }
    for (size_t i = 0; i < axis_[0].size(); ++i) {
      if (axis_[0][i].place != Class::interior) continue;
      if (interiorColumns_++ == 0) firstInterior_ = static_cast<int32_t>(i);
    }
  }

  Interval interval(int axis) const { return interval_[axis]; }
  bool empty() const {
    return interval_[0].end <= interval_[0].begin || interval_[1].end <= interval_[1].begin ||
           interval_[2].end <= interval_[2].begin;
  }

  // Voxel (x, y, z) of the region, counted from its first one. Nothing where a tap would lie outside the source.
  std::optional<Voxel> at(int32_t x, int32_t y, int32_t z) {
    outside_ = false;
    const Voxel voxel = r_.code == 1 ? nearest(x, y, z) : r_.code == 2 ? linear(x, y, z) : cubic(x, y, z);
    if (outside_) return std::nullopt;
    return voxel;
  }

  // Voxel (x, y) of the region in the slice of source plane z; with the linear code, a float or the integer that stands for it.
  float cubicSlice(int32_t x, int32_t y, int32_t z) { return cubicPlane(x, y, z); }
  auto linearSlice(int32_t x, int32_t y, int32_t z) {
    const Coordinate &cx = axis_[0][x], &cy = axis_[1][y];
    if constexpr (std::is_same_v<Voxel, float>) {
      return linearPlaneFloat(cx, cy, z);
    } else {
      if (inFrame(cx, cy)) return linearFrame<int64_t>(cx, cy, z);
      return blend(linearRowInteger(cx, cy.index, z), linearRowInteger(cx, cy.index + 1, z), cy.fixed, 8192,
                   14);
    }
  }
  bool inFrame(int32_t x, int32_t y) const { return inFrame(axis_[0][x], axis_[1][y]); }

 private:
  Voxel voxelAt(int32_t x, int32_t y, int32_t z) {
    if (x < 0 || y < 0 || z < 0 || x >= size_[0] || y >= size_[1] || z >= size_[2]) {
      outside_ = true;
      return Voxel();
    }
    return read_(x, y, z);
  }
  float value(int32_t x, int32_t y, int32_t z) { return static_cast<float>(voxelAt(x, y, z)); }

  Voxel nearest(int32_t x, int32_t y, int32_t z) {
    return voxelAt(nearestIndex(interval_[0].begin + x, r_.factor[0], r_.shift[0]),
                   nearestIndex(interval_[1].begin + y, r_.factor[1], r_.shift[1]),
                   nearestIndex(interval_[2].begin + z, r_.factor[2], r_.shift[2]));
  }

  // ------------------------------------------------ linear

  static bool inFrame(const Coordinate &x, const Coordinate &y) {
    return x.place != Class::interior || y.place != Class::interior;
  }
  static int64_t blend(int64_t a, int64_t b, int32_t fixed, int64_t round, int shift) {
    return (a * (16384 - fixed) + b * fixed + round) >> shift;
  }

  // A voxel of the frame of plane z: a float, or a plain integer voxel.
  template <class Value>
  Value linearFrame(const Coordinate &x, const Coordinate &y, int32_t z) {
    const auto lerp = [&](Voxel a, Voxel b, const Coordinate &c) -> Value {
      if constexpr (std::is_same_v<Voxel, float>) {
        return (1.0f - c.fraction) * a + c.fraction * b;
      } else {
        return blend(a, b, c.fixed, 8192, 14);
      }
    };
    if (y.place != Class::interior) {
      const int32_t row = y.place == Class::below ? 0 : size_[1] - 1;
      if (x.place == Class::below) return lerp(voxelAt(0, row, z), voxelAt(0, row, z), x);
      if (x.place == Class::above)
        return lerp(voxelAt(size_[0] - 1, row, z), voxelAt(size_[0] - 1, row, z), x);
      return lerp(voxelAt(x.index, row, z), voxelAt(x.index + 1, row, z), x);
    }
    const int32_t column = x.place == Class::below ? 0 : size_[0] - 1;
    return lerp(voxelAt(column, y.index, z), voxelAt(column, y.index + 1, z), y);
  }

  float linearRowFloat(const Coordinate &x, int32_t row, int32_t z) {
    const float a = value(x.index, row, z), b = value(x.index + 1, row, z);
    return a + (b - a) * x.fraction;
  }
  float linearPlaneFloat(const Coordinate &x, const Coordinate &y, int32_t z) {
    if (inFrame(x, y)) return linearFrame<float>(x, y, z);
    return (1.0f - y.fraction) * linearRowFloat(x, y.index, z) +
           y.fraction * linearRowFloat(x, y.index + 1, z);
  }

  int64_t linearRowInteger(const Coordinate &x, int32_t row, int32_t z) {
    const int64_t a = voxelAt(x.index, row, z), b = voxelAt(x.index + 1, row, z);
    return sizeof(Voxel) == 1 ? blend(a, b, x.fixed, 128, 8) : blend(a, b, x.fixed, 8192, 14);
  }
  static int64_t toByte(int64_t v) { return v < 0 ? 0 : v > 255 ? 255 : v; }

  Voxel linear(int32_t i, int32_t j, int32_t k) {
    const Coordinate &x = axis_[0][i], &y = axis_[1][j], &z = axis_[2][k];
    const bool single = z.place != Class::interior;  // one source plane is enough
    const int32_t plane = z.place == Class::below ? 0 : z.place == Class::above ? size_[2] - 1 : z.index;
    if constexpr (std::is_same_v<Voxel, float>) {
      const float near = linearPlaneFloat(x, y, plane);
      if (single) return near;
      return (1.0f - z.fraction) * near + z.fraction * linearPlaneFloat(x, y, plane + 1);
    } else {
      if (inFrame(x, y)) {
        const int64_t near = linearFrame<int64_t>(x, y, plane);
        if (single) return static_cast<Voxel>(near);
        return static_cast<Voxel>(blend(near, linearFrame<int64_t>(x, y, plane + 1), z.fixed, 8192, 14));
      }
      const auto rows = [&](int32_t p, int64_t round, int shift) {
        return blend(linearRowInteger(x, y.index, p), linearRowInteger(x, y.index + 1, p), y.fixed, round,
                     shift);
      };
      if (sizeof(Voxel) == 2) {
        const int64_t near = rows(plane, 8192, 14);
        if (single) return static_cast<Voxel>(near);
        return static_cast<Voxel>(blend(near, rows(plane + 1, 8192, 14), z.fixed, 8192, 14));
      }
      if (single) return static_cast<Voxel>(toByte(rows(plane, 0x80000, 20)));
      return static_cast<Voxel>(
          toByte(blend(rows(plane, 8192, 14), rows(plane + 1, 8192, 14), z.fixed, 0x80000, 20)));
    }
  }

  // ------------------------------------------------ cubic

  struct Taps {
    int32_t at[4];
  };

  // R(r, i): the x sum of a row for column i, in the frame's order.
  float frameSum(const Coordinate &x, int32_t row, int32_t plane) {
    const int32_t m = x.index, w = size_[0];
    Taps t;
    if (m < 0) {
      t = {{0, 0, 0, 1}};
    } else if (m == 0) {
      t = {{0, 0, 1, 2}};
    } else if (m > w - 2) {
      t = {{w - 2, w - 1, w - 1, w - 1}};
    } else if (m == w - 2) {
      t = {{w - 3, w - 2, w - 1, w - 1}};
    } else {
      t = {{m - 1, m, m + 1, m + 2}};
    }
    const float *c = x.weight;
    return (c[0] * value(t.at[0], row, plane) + c[1] * value(t.at[1], row, plane)) +
           (c[2] * value(t.at[2], row, plane) + c[3] * value(t.at[3], row, plane));
  }

  // Four rows of the bottom strip, found as the strip is walked down to row j.
  Taps bottomRows(int32_t j) {
    const int32_t h = size_[1];
    Taps rows = {{0, 0, 0, 0}};
    for (int32_t i = 0; i <= j; ++i) {
      const Coordinate &y = axis_[1][i];
      if (y.place != Class::high && y.place != Class::above) continue;
      const int64_t index = y.index * rowStep_, edge = (h - 2) * rowStep_;
      if (index > edge) {
        rows = {{h - 2, h - 1, h - 1, h - 1}};
      } else if (index == edge) {
        rows = {{h - 3, h - 2, h - 1, h - 1}};
      }
    }
    return rows;
  }

  // The x sum of one row of the interior's height, by the column's class.
  float rowSum(int32_t i, int32_t row, int32_t plane) {
    const Coordinate &x = axis_[0][i];
    const float *c = x.weight;
    const int32_t w = size_[0];
    const auto p = [&](int32_t column) { return value(column, row, plane); };
    switch (x.place) {
      case Class::below:
        return (c[0] + c[1] + c[2]) * p(0) + c[3] * p(1);
      case Class::first:
        return (c[3] * p(2) + (c[0] + c[1]) * p(0)) + c[2] * p(1);
      case Class::high:
        return ((c[2] + c[3]) * p(w - 1) + c[0] * p(w - 3)) + c[1] * p(w - 2);
      case Class::above:
        return c[0] * p(w - 2) + (c[1] + c[2] + c[3]) * p(w - 1);
      default:
        break;
    }
    float q[4];
    for (int k = 0; k < 4; ++k) q[k] = p(x.index - 1 + k) * c[k];
    const bool end = i - firstInterior_ >= interiorColumns_ / 4 * 4;
    return end ? (q[0] + q[2]) + (q[1] + q[3]) : (q[0] + q[1]) + (q[2] + q[3]);
  }

  float cubicPlane(int32_t i, int32_t j, int32_t plane) {
    const Coordinate &x = axis_[0][i], &y = axis_[1][j];
    const float *k = y.weight;
    switch (y.place) {
      case Class::below:
        return (k[0] + k[1] + k[2]) * frameSum(x, 0, plane) + frameSum(x, 1, plane) * k[3];
      case Class::first:
        return ((k[0] + k[1]) * frameSum(x, 0, plane) + frameSum(x, 2, plane) * k[3]) +
               frameSum(x, 1, plane) * k[2];
      case Class::high:
      case Class::above: {
        const Taps r = bottomRows(j);
        return (k[0] * frameSum(x, r.at[0], plane) + k[1] * frameSum(x, r.at[1], plane)) +
               (k[2] * frameSum(x, r.at[2], plane) + k[3] * frameSum(x, r.at[3], plane));
      }
      default:
        return (k[0] * rowSum(i, y.index - 1, plane) + k[1] * rowSum(i, y.index, plane)) +
               (k[2] * rowSum(i, y.index + 1, plane) + k[3] * rowSum(i, y.index + 2, plane));
    }
  }

  Voxel cubic(int32_t i, int32_t j, int32_t k) {
    const Coordinate &z = axis_[2][k];
    const int32_t d = size_[2];
    Taps t = {{z.index - 1, z.index, z.index + 1, z.index + 2}};
    if (z.place == Class::below) t = {{0, 0, 0, 1}};
    if (z.place == Class::first) t = {{0, 0, 1, 2}};
    if (z.place == Class::high) t = {{d - 3, d - 2, d - 1, d - 1}};
    if (z.place == Class::above) t = {{d - 2, d - 1, d - 1, d - 1}};
    const float r = (z.weight[0] * cubicPlane(i, j, t.at[0]) + z.weight[1] * cubicPlane(i, j, t.at[1])) +
                    (z.weight[2] * cubicPlane(i, j, t.at[2]) + z.weight[3] * cubicPlane(i, j, t.at[3]));
    if constexpr (std::is_same_v<Voxel, float>) {
      return r;
    } else {
      const double most = std::numeric_limits<Voxel>::max();
      const double sum = inFrame(axis_[0][i], axis_[1][j]) ? static_cast<double>(r) + 0.5000001 : r;
      const double whole = std::trunc(sum);
      return static_cast<Voxel>(whole < 0 ? 0 : whole > most ? most : whole);
    }
  }

  ResizeRequest r_;
  int64_t rowStep_;
  const Read &read_;
  int32_t size_[3];
  Interval interval_[3];
  std::vector<Coordinate> axis_[3];
  int32_t interiorColumns_ = 0, firstInterior_ = 0;
  bool outside_ = false;
};

}  // namespace reference
