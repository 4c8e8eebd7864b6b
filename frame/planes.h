// Vector quantities in lanes, and the planes that they lie in.
#pragma once

#include "frame/lanes.h"

namespace vekr::VEKR_ISA {

// Three lanes of a vector quantity.
template <int N>
struct Vec3 {
  Float<N> x, y, z;
};

// The three planes of a vector quantity, by value: a store through a lane type may alias anything, so pointers that were
// read through the caller's list would be fetched again after every store.
struct Planes {
  float *x, *y, *z;
  Planes(float *const *list) : x(list[0]), y(list[1]), z(list[2]) {}
};

struct ConstPlanes {
  const float *x, *y, *z;
  ConstPlanes(const float *const *list) : x(list[0]), y(list[1]), z(list[2]) {}
  ConstPlanes(Planes p) : x(p.x), y(p.y), z(p.z) {}
};

template <int N>
Vec3<N> loadPlanes(ConstPlanes planes, int64_t i) {
  return {Float<N>::load(planes.x + i), Float<N>::load(planes.y + i), Float<N>::load(planes.z + i)};
}

template <int N>
void storePlanes(Planes planes, int64_t i, Vec3<N> a) {
  a.x.store(planes.x + i);
  a.y.store(planes.y + i);
  a.z.store(planes.z + i);
}

template <int N>
Vec3<N> broadcast3(const float *p) {
  return {p[0], p[1], p[2]};
}

template <int N>
Vec3<N> operator-(Vec3<N> a, Vec3<N> b) {
  return {a.x - b.x, a.y - b.y, a.z - b.z};
}

// The order of the sum is contract: (x + y) + z [C47].
template <int N>
Float<N> dot(Vec3<N> a, Vec3<N> b) {
  return (a.x * b.x + a.y * b.y) + a.z * b.z;
}

template <int N>
Vec3<N> kept(Mask<N> m, Vec3<N> a) {
  return {kept(m, a.x), kept(m, a.y), kept(m, a.z)};
}

}  // namespace vekr::VEKR_ISA
