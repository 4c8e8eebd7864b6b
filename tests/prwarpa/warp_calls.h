// The three functions under one name, by voxel type, and matrices to call them with.
#pragma once

#include <array>
#include <cmath>

#include "tests/support/volume_calls.h"
#include "vekr.h"

namespace vekr_test {

template <class Voxel>
constexpr auto warpOf() {
  return forVoxel<Voxel>(vekrWarpAffine_8u_C1PV, vekrWarpAffine_16u_C1PV, vekrWarpAffine_32f_C1PV);
}

using Matrix = std::array<double, 12>;

constexpr Matrix kIdentity = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};

constexpr Matrix scaledAndMoved(double sx, double sy, double sz, double tx, double ty, double tz) {
  return {sx, 0, 0, tx, 0, sy, 0, ty, 0, 0, sz, tz};
}

// About all three axes, and then moved.
inline Matrix turned(double a, double b, double c, double scale, double tx, double ty, double tz) {
  const double ca = std::cos(a), sa = std::sin(a), cb = std::cos(b), sb = std::sin(b), cc = std::cos(c),
               sc = std::sin(c);
  return {scale * cb * cc,
          scale * (sa * sb * cc - ca * sc),
          scale * (ca * sb * cc + sa * sc),
          tx,
          scale * cb * sc,
          scale * (sa * sb * sc + ca * cc),
          scale * (ca * sb * sc - sa * cc),
          ty,
          -scale * sb,
          scale * sa * cb,
          scale * ca * cb,
          tz};
}

}  // namespace vekr_test
