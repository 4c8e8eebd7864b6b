// Remap and affine warp, voxel by voxel, as plainly as they can be told. Shares nothing with the library but the public
// types; header only, for the voxel type is a parameter of everything.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "vekr.h"

namespace reference {

// ---------------------------------------------------------------- the source

template <class Voxel>
struct Source {
  const Voxel *const *planes;
  int64_t step;      // elements
  int32_t first[3];  // the clipped region, x, y, z
  int32_t last[3];
};

template <class Voxel>
Source<Voxel> sourceOf(const Voxel *const *planes, VekrVolumeSize size, int32_t byteStep, VekrVolumeBox box) {
  const int64_t sizes[3] = {size.width, size.height, size.depth};
  const int64_t first[3] = {box.x, box.y, box.z}, length[3] = {box.width, box.height, box.depth};
  Source<Voxel> source;
  source.planes = planes;
  source.step = static_cast<int64_t>(std::floor(static_cast<double>(byteStep) / sizeof(Voxel)));
  for (int axis = 0; axis < 3; ++axis) {
    source.first[axis] = static_cast<int32_t>(first[axis]);
    int64_t end = first[axis] + length[axis];
    if (end > sizes[axis]) end = sizes[axis];
    source.last[axis] = static_cast<int32_t>(end - 1);
  }
  return source;
}

// A voxel as a float. In front of voxel 0 there is nothing: linear reaches there with a weight of 0.
template <class Voxel>
float voxelAt(const Source<Voxel> &source, int64_t x, int64_t y, int64_t z) {
  if (x < 0 || y < 0 || z < 0) return 0.0f;
  return static_cast<float>(source.planes[z][y * source.step + x]);
}

inline int32_t codeFor(int32_t code, VekrVolumeSize size) {
  int32_t least = size.width;
  if (size.height < least) least = size.height;
  if (size.depth < least) least = size.depth;
  if (least < 2) return 1;
  if (least < 4 && code >= 4) return 2;
  return code;
}

// ---------------------------------------------------------------- roundings

inline double roundedToEven(double x) {
  const double floor = std::floor(x), fraction = x - floor;
  if (fraction < 0.5) return floor;
  if (fraction > 0.5) return floor + 1;
  return std::fmod(floor, 2.0) == 0 ? floor : floor + 1;
}

inline double clampedTo(double x, double low, double high) { return x < low ? low : x > high ? high : x; }

template <class Voxel>
Voxel linearVoxel(float sum) {
  if constexpr (std::is_same_v<Voxel, float>) {
    return sum;
  } else {
    return static_cast<Voxel>(static_cast<int32_t>(roundedToEven(sum)));
  }
}

template <class Voxel>
Voxel interiorVoxel(float sum) {
  if constexpr (std::is_same_v<Voxel, float>) {
    return sum;
  } else {
    return static_cast<Voxel>(clampedTo(roundedToEven(sum), 0, std::numeric_limits<Voxel>::max()));
  }
}

template <class Voxel>
Voxel borderVoxel(float sum, bool truncates) {
  if constexpr (std::is_same_v<Voxel, float>) {
    if (!truncates) return sum;
    // Volatile, or the compiler would truncate as a float, and keep a -0.
    volatile int32_t whole = static_cast<int32_t>(sum);
    return static_cast<float>(whole);
  } else {
    const double up = static_cast<double>(sum) + 0.5000001;
    return static_cast<Voxel>(clampedTo(std::trunc(up), 0, std::numeric_limits<Voxel>::max()));
  }
}

// ---------------------------------------------------------------- the three kinds of sampling

template <class Voxel, class Real>
Voxel nearestSample(const Source<Voxel> &source, const Real (&at)[3]) {
  int64_t i[3];
  for (int axis = 0; axis < 3; ++axis) i[axis] = static_cast<int64_t>(roundedToEven(at[axis]));
  Voxel voxel;
  std::memcpy(&voxel, source.planes[i[2]] + (i[1] * source.step + i[0]), sizeof voxel);
  return voxel;
}

inline float lerp(float a, float b, float t) {
  const float rest = 1.0f - t;
  const float left = a * rest, right = b * t;
  return left + right;
}

template <class Voxel, class Real>
Voxel linearSample(const Source<Voxel> &source, const Real (&at)[3]) {
  int64_t i[3];
  float t[3];
  for (int axis = 0; axis < 3; ++axis) {
    i[axis] = static_cast<int64_t>(at[axis]);
    if (i[axis] == source.last[axis]) i[axis] -= 1;
    t[axis] = static_cast<float>(at[axis]) - static_cast<float>(i[axis]);
  }
  float planes[2];
  for (int dz = 0; dz < 2; ++dz) {
    float rows[2];
    for (int dy = 0; dy < 2; ++dy) {
      rows[dy] = lerp(voxelAt(source, i[0], i[1] + dy, i[2] + dz),
                      voxelAt(source, i[0] + 1, i[1] + dy, i[2] + dz), t[0]);
    }
    planes[dz] = lerp(rows[0], rows[1], t[1]);
  }
  return linearVoxel<Voxel>(lerp(planes[0], planes[1], t[2]));
}

inline double cubicFunction(int32_t code, double d) {
  if (d >= 2) return 0;
  if (code == vekrInterCubicLagrange) {
    if (d < 1) return 1 - d / 2 - d * d + d * d * d / 2;
    return -(d - 1) * (d - 2) * (d - 3) / 6;
  }
  const double B = code == vekrInterCubicBSpline ? 1 : code == vekrInterCubicMitchell ? 0.5 : 0;
  const double C = code == vekrInterCubicBSpline ? 0 : code == vekrInterCubicMitchell ? 0.3 : 0.5;
  const double d2 = d * d, d3 = d * d * d;
  if (d < 1) return ((12 - 9 * B - 6 * C) * d3 + (-18 + 12 * B + 6 * C) * d2 + (6 - 2 * B)) / 6;
  return ((-B - 6 * C) * d3 + (6 * B + 30 * C) * d2 + (-12 * B - 48 * C) * d + (8 * B + 24 * C)) / 6;
}

inline float tableEntry(int32_t code, int i) {
  return i >= 200 ? 0.0f : static_cast<float>(cubicFunction(code, i / 100.0));
}

inline void weightsOf(int32_t code, float t, float (&w)[4]) {
  for (int k = 0; k < 4; ++k) {
    float d = std::fabs(static_cast<float>(k - 1) - t);
    if (d > 2.0f) d = 2.0f;
    const float u = d * 100.0f;
    const int i = static_cast<int>(u);
    const float here = tableEntry(code, i), next = tableEntry(code, i + 1);
    const float rise = next - here, part = u - static_cast<float>(i);
    const float share = rise * part;
    w[k] = here + share;
  }
}

// Returns whether the axis is on the interior path.
inline bool tapsOf(int32_t c, int32_t last, int32_t (&a)[4]) {
  const auto set = [&](int32_t a0, int32_t a1, int32_t a2, int32_t a3) {
    a[0] = a0, a[1] = a1, a[2] = a2, a[3] = a3;
  };
  if (c < 1) return set(0, 0, 1, 2), false;
  if (c == last - 1) return set(c - 1, c, c + 1, c + 1), false;
  if (c >= last) return set(c - 1, c, c, c), false;
  return set(c - 1, c, c + 1, c + 2), true;
}

inline float dot(const float (&w)[4], const float (&v)[4]) {
  const float q0 = w[0] * v[0], q1 = w[1] * v[1], q2 = w[2] * v[2], q3 = w[3] * v[3];
  const float low = q0 + q1, high = q2 + q3;
  return low + high;
}

inline float crossedDot(const float (&w)[4], const float (&v)[4]) {
  const float q0 = w[0] * v[0], q1 = w[1] * v[1], q2 = w[2] * v[2], q3 = w[3] * v[3];
  const float even = q0 + q2, odd = q1 + q3;
  return even + odd;
}

template <class Voxel, class Real>
Voxel cubicSample(const Source<Voxel> &source, const Real (&at)[3], int32_t code, bool truncates) {
  float w[3][4];
  int32_t taps[3][4];
  bool interior = true;
  for (int axis = 0; axis < 3; ++axis) {
    const int32_t c = static_cast<int32_t>(at[axis]);
    weightsOf(code, static_cast<float>(at[axis]) - static_cast<float>(c), w[axis]);
    if (!tapsOf(c, source.last[axis], taps[axis])) interior = false;
  }
  float planes[4];
  for (int k = 0; k < 4; ++k) {
    float rows[4];
    for (int j = 0; j < 4; ++j) {
      float voxels[4];
      for (int i = 0; i < 4; ++i) voxels[i] = voxelAt(source, taps[0][i], taps[1][j], taps[2][k]);
      rows[j] = dot(w[0], voxels);
    }
    planes[k] = dot(w[1], rows);
  }
  return interior ? interiorVoxel<Voxel>(crossedDot(w[2], planes))
                  : borderVoxel<Voxel>(dot(w[2], planes), truncates);
}

// One voxel at `at`, stored at `to` if the region has it.
template <class Voxel, class Real>
void sample(const Source<Voxel> &source, const Real (&at)[3], int32_t code, bool truncates,
            unsigned char *to) {
  for (int axis = 0; axis < 3; ++axis) {
    if (at[axis] < static_cast<Real>(source.first[axis]) || static_cast<Real>(source.last[axis]) < at[axis])
      return;
  }
  const Voxel voxel = code == vekrInterNearest  ? nearestSample(source, at)
                      : code == vekrInterLinear ? linearSample(source, at)
                                                : cubicSample(source, at, code, truncates);
  std::memcpy(to, &voxel, sizeof voxel);
}

// ---------------------------------------------------------------- the two families, of valid arguments

template <class Voxel>
void remap(const Voxel *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep, VekrVolumeBox srcBox,
           const float *const *pXMap, const float *const *pYMap, const float *const *pZMap, int32_t mapStep,
           Voxel *const *pDst, int32_t dstStep, VekrVolumeSize dstSize, int32_t interpolation) {
  const Source<Voxel> source = sourceOf(pSrc, srcSize, srcStep, srcBox);
  const int32_t code = codeFor(interpolation, srcSize);
  for (int64_t z = 0; z < dstSize.depth; ++z) {
    for (int64_t y = 0; y < dstSize.height; ++y) {
      for (int64_t x = 0; x < dstSize.width; ++x) {
        const float *const maps[3] = {pXMap[z], pYMap[z], pZMap[z]};
        float at[3];
        for (int axis = 0; axis < 3; ++axis) {
          std::memcpy(&at[axis], reinterpret_cast<const char *>(maps[axis]) + y * mapStep + x * 4, 4);
        }
        sample(source, at, code, true,
               reinterpret_cast<unsigned char *>(pDst[z]) + y * dstStep +
                   x * static_cast<int64_t>(sizeof(Voxel)));
      }
    }
  }
}

inline void invert(const double *c, double *inverse) {
  const double c00 = c[0], c01 = c[1], c02 = c[2], c03 = c[3];
  const double c10 = c[4], c11 = c[5], c12 = c[6], c13 = c[7];
  const double c20 = c[8], c21 = c[9], c22 = c[10], c23 = c[11];
  const double m0 = c11 * c22 - c21 * c12, m1 = c22 * c10 - c12 * c20, m2 = c21 * c10 - c11 * c20;
  const double det = m0 * c00 - m1 * c01 + m2 * c02;
  const double r = 1 / det;
  const double p = c12 * c23 - c22 * c13, q = c02 * c13 - c12 * c03, s = c02 * c23 - c22 * c03;
  const double entries[12] = {
      r * m0,
      -r * (c22 * c01 - c21 * c02),
      r * (c12 * c01 - c11 * c02),
      -r * (c01 * p - c11 * s + c21 * q),
      -r * m1,
      r * (c22 * c00 - c20 * c02),
      -r * (c12 * c00 - c10 * c02),
      r * (c00 * p - c10 * s + c20 * q),
      r * m2,
      -r * (c21 * c00 - c20 * c01),
      r * (c11 * c00 - c10 * c01),
      -r * (c00 * (c11 * c23 - c21 * c13) - c10 * (c01 * c23 - c21 * c03) + c20 * (c01 * c13 - c11 * c03))};
  std::memcpy(inverse, entries, sizeof entries);
}

// `team` threads, each with its own start of the running sums.
template <class Voxel>
void warpAffine(const Voxel *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep, VekrVolumeBox srcBox,
                Voxel *const *pDst, int32_t dstStep, VekrVolumeBox dstBox, const double *pCoeffs,
                int32_t interpolation, int32_t team) {
  const Source<Voxel> source = sourceOf(pSrc, srcSize, srcStep, srcBox);
  const int32_t code = codeFor(interpolation, srcSize);
  double m[12];
  invert(pCoeffs, m);
  const int32_t quotient = dstBox.depth / team, remainder = dstBox.depth % team;
  for (int32_t t = 0; t < team; ++t) {
    const int32_t Z0 = dstBox.z + t * quotient, Z1 = Z0 + quotient - 1 + (t == team - 1 ? remainder : 0);
    const double X0 = dstBox.x, Y0 = dstBox.y;
    double b[3] = {Y0 * m[1] + m[3] + m[2] * Z0, Y0 * m[5] + m[7] + Z0 * m[6],
                   Y0 * m[9] + m[11] + Z0 * m[10]};
    for (int32_t z = Z0; z <= Z1; ++z) {
      double r[3] = {b[0], b[1], b[2]};
      for (int32_t y = dstBox.y; y < dstBox.y + dstBox.height; ++y) {
        double at[3] = {r[0] + X0 * m[0], r[1] + X0 * m[4], r[2] + X0 * m[8]};
        for (int32_t x = dstBox.x; x < dstBox.x + dstBox.width; ++x) {
          sample(source, at, code, false,
                 reinterpret_cast<unsigned char *>(pDst[z]) + static_cast<int64_t>(y) * dstStep +
                     x * static_cast<int64_t>(sizeof(Voxel)));
          for (int axis = 0; axis < 3; ++axis) at[axis] += m[4 * axis];
        }
        for (int axis = 0; axis < 3; ++axis) r[axis] += m[4 * axis + 1];
      }
      for (int axis = 0; axis < 3; ++axis) b[axis] += m[4 * axis + 2];
    }
  }
}

}  // namespace reference
