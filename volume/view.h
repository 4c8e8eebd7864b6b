// Views of volumes: what doors make of their arguments, and what drivers and kernels take. They own nothing.
#pragma once

#include <cstdint>

#include "vekr.h"
#include "volume/region.h"
#include "volume/voxel.h"

namespace vekr {

// ---------------------------------------------------------------- volumes of a known voxel type

// A plane, or a part of one that begins at a row: `step` is in elements. Rows may begin at any address.
template <class Element>
struct Rows {
  Element *first;
  int64_t step;
  Element *row(int32_t y) const { return first + y * step; }
};

// Planes by position. A position is a plane's number in the list form and its distance in elements in the block form, so
// that `planeStep` leads from one plane to the next in both.
template <class Voxel>
struct PlaneList {
  Voxel *const *planes;
  static constexpr int32_t planeStep = 1;
  Voxel *plane(int64_t position) const { return planes[position]; }
};

template <class Voxel>
struct PlaneBlock {
  Voxel *first;
  int32_t planeStep;  // in elements
  Voxel *plane(int64_t position) const { return first + position; }
};

// A volume by plane number; `step` leads from row to row, in elements.
template <class Planes, class Voxel>
struct Volume {
  Planes planes;
  int32_t step;
  Rows<Voxel> plane(int32_t z) const { return {planes.plane(int64_t{z} * planes.planeStep), step}; }
};

template <class Voxel>
using ListVolume = Volume<PlaneList<Voxel>, Voxel>;
template <class Voxel>
using BlockVolume = Volume<PlaneBlock<Voxel>, Voxel>;

// From a caller's arguments, with steps in bytes.
template <class Voxel>
constexpr ListVolume<Voxel> listVolume(Voxel *const *planes, int32_t step) {
  return {{planes}, elementStep<Voxel>(step)};
}
template <class Voxel>
constexpr BlockVolume<Voxel> blockVolume(Voxel *first, int32_t step, int32_t planeStep) {
  return {{first, elementStep<Voxel>(planeStep)}, elementStep<Voxel>(step)};
}

// ---------------------------------------------------------------- volumes of a driver's voxel type
// Drivers that stand in one table have one signature: they know their voxel type, and the call doesn't tell it.

// What may be sampled.
struct SourceView {
  const void *planes;  // list of plane pointers
  int32_t step;        // in elements
  RegionBox region;
};

struct DestinationView {
  const void *planes;  // list of plane pointers
  int32_t step;        // in bytes
};

// The same as callers give them, with steps in bytes.
template <class Voxel>
struct SourceArguments {
  const Voxel *const *planes;
  VekrVolumeSize size;
  int32_t step;
  VekrVolumeBox box;

  // Once the box is known to overlap the volume.
  SourceView view() const { return {planes, elementStep<Voxel>(step), clipped(box, size)}; }
};

template <class Voxel>
struct DestinationArguments {
  Voxel *const *planes;
  int32_t step;

  DestinationView view() const { return {planes, step}; }
};

// ---------------------------------------------------------------- shares

// A run of destination planes, counted from the first one.
struct PlaneShare {
  int32_t first;
  int32_t count;
};

// An equal share for each thread, and the remainder for the last one. More threads than planes leave all to the last
// [C61].
constexpr PlaneShare shareOf(int32_t planes, int32_t team, int32_t self) {
  const int32_t quotient = planes / team;
  return {self * quotient, self == team - 1 ? quotient + planes % team : quotient};
}

}  // namespace vekr
