// The interpolation kinds. One list says what there is; tables by kind are made from it, and what the list doesn't have is
// refused: at the doors as a number, behind them because a kind is passed on rather than a number, and where a number is a
// template argument, by the compiler.
#pragma once

#include <cstdint>
#include <iterator>

#include "vekr.h"
#include "volume/region.h"

namespace vekr {

// ---------------------------------------------------------------- the cubic functions

// Weight of a tap by its distance 0 <= d < 2 from the sample.
using CubicFunction = double(double d);

// Static, here and below, as kernels for several instruction sets use them and must not share compiled forms.

// Four-point Lagrange interpolation.
static constexpr double lagrangeCubic(double d) {
  if (d < 1) return 1 - d / 2 - d * d + d * d * d / 2;
  return -(d - 1) * (d - 2) * (d - 3) / 6;
}

// The family of Mitchell and Netravali.
static constexpr double mitchellNetravali(double d, double b, double c) {
  if (d < 1) return ((12 - 9 * b - 6 * c) * d * d * d + (-18 + 12 * b + 6 * c) * d * d + (6 - 2 * b)) / 6;
  return ((-b - 6 * c) * d * d * d + (6 * b + 30 * c) * d * d + (-12 * b - 48 * c) * d + (8 * b + 24 * c)) /
         6;
}
static constexpr double bSplineCubic(double d) { return mitchellNetravali(d, 1, 0); }
static constexpr double catmullRomCubic(double d) { return mitchellNetravali(d, 0, 0.5); }
static constexpr double mitchellCubic(double d) { return mitchellNetravali(d, 0.5, 0.3); }

// ---------------------------------------------------------------- the list

// What a kind does with the voxels around a sample. Kinds of one sampling share their kernels.
enum class Sampling { nearest, linear, cubic };

struct InterpolationKind {
  int32_t code;      // what callers give
  const char *name;  // what the names of its table members end in
  Sampling sampling;
  int32_t taps;             // voxels along each axis
  CubicFunction *function;  // of the cubic kinds
};

constexpr InterpolationKind kInterpolations[] = {
    {vekrInterNearest, "N", Sampling::nearest, 1, nullptr},
    {vekrInterLinear, "L", Sampling::linear, 2, nullptr},
    {vekrInterCubicLagrange, "C0", Sampling::cubic, 4, lagrangeCubic},
    {vekrInterCubicBSpline, "C1", Sampling::cubic, 4, bSplineCubic},
    {vekrInterCubicCatmullRom, "C2", Sampling::cubic, 4, catmullRomCubic},
    {vekrInterCubicMitchell, "C3", Sampling::cubic, 4, mitchellCubic},
};
constexpr int32_t kInterpolationCount = std::size(kInterpolations);

// The kind of a caller's code, null if there is none.
static constexpr const InterpolationKind *interpolationOf(int32_t code) {
  for (const InterpolationKind &kind : kInterpolations) {
    if (kind.code == code) return &kind;
  }
  return nullptr;
}

// The same of a code that is known when compiling.
template <int32_t code>
requires(interpolationOf(code) != nullptr) static constexpr InterpolationKind kindOf() {
  return *interpolationOf(code);
}

// ---------------------------------------------------------------- tables

// Slots of a table by kind: they are numbered by the codes themselves.
constexpr int32_t kInterpolationSlots = [] {
  int32_t last = 0;
  for (const InterpolationKind &kind : kInterpolations) last = kind.code > last ? kind.code : last;
  return last + 1;
}();

// Slots of codes that don't exist are null.
template <class Member>
struct InterpolationTable {
  Member *slots[kInterpolationSlots];
};

// From a member for each kind, in the list's order.
template <class Member, class... Members>
constexpr InterpolationTable<Member> interpolationTable(Members... members) {
  static_assert(sizeof...(Members) == kInterpolationCount, "a table has a member for each kind");
  Member *const all[] = {members...};
  InterpolationTable<Member> table = {};
  for (int32_t i = 0; i < kInterpolationCount; ++i) table.slots[kInterpolations[i].code] = all[i];
  return table;
}

// The same of what only the cubic kinds have.
template <class Member, class... Members>
constexpr InterpolationTable<Member> cubicKindTable(Members... members) {
  constexpr int32_t simpler = kInterpolationCount - int32_t{sizeof...(Members)};
  static_assert(kInterpolations[simpler - 1].sampling != Sampling::cubic &&
                    kInterpolations[simpler].sampling == Sampling::cubic,
                "a table has a member for each cubic kind, and these end the list");
  Member *const all[] = {members...};
  InterpolationTable<Member> table = {};
  for (int32_t i = simpler; i < kInterpolationCount; ++i) {
    table.slots[kInterpolations[i].code] = all[i - simpler];
  }
  return table;
}

// ---------------------------------------------------------------- small sources

// What remap and warp make of a kind when the whole source is smaller than its taps. The region plays no part [C60].
static constexpr const InterpolationKind &interpolationFor(const InterpolationKind &kind,
                                                           VekrVolumeSize source) {
  constexpr const InterpolationKind &linear = *interpolationOf(vekrInterLinear);
  constexpr const InterpolationKind &nearest = *interpolationOf(vekrInterNearest);
  if (!hasSideBelow(source, kind.taps)) return kind;
  return hasSideBelow(source, linear.taps) ? nearest : linear;
}

}  // namespace vekr
