// The cubic functions as tables of distance, made at compile time [C68].
//
// Entry i, up to 199, is f(i / 100), computed in double and rounded once; the rest is 0: the functions end at distance 2,
// and entry 201 is read beside entry 200. None of the entries depends on the order in which the formulas are evaluated.
#pragma once

#include "volume/interpolation.h"

namespace vekr {

constexpr int kCubicEntriesPerUnit = 100;
constexpr int kCubicSupport = 2;
constexpr int kCubicTableSize = 208;

struct CubicTable {
  alignas(64) float at[kCubicTableSize];
};

template <int32_t code>
constexpr CubicTable cubicTable() {
  constexpr InterpolationKind kind = kindOf<code>();
  static_assert(kind.sampling == Sampling::cubic && kind.taps == 2 * kCubicSupport);
  CubicTable table = {};
  for (int i = 0; i < kCubicSupport * kCubicEntriesPerUnit; ++i) {
    table.at[i] = static_cast<float>(kind.function(static_cast<double>(i) / kCubicEntriesPerUnit));
  }
  return table;
}

static constexpr CubicTable tblC0 = cubicTable<vekrInterCubicLagrange>();
static constexpr CubicTable tblC1 = cubicTable<vekrInterCubicBSpline>();
static constexpr CubicTable tblC2 = cubicTable<vekrInterCubicCatmullRom>();
static constexpr CubicTable tblC3 = cubicTable<vekrInterCubicMitchell>();

static constexpr InterpolationTable<const float> kCubicTables =
    cubicKindTable<const float>(tblC0.at, tblC1.at, tblC2.at, tblC3.at);

}  // namespace vekr
