// The four cubic kernel functions as tables of distance, made at compile time [C68].
//
// Entry i, up to 199, is f(i / 100), computed in double and rounded once; the rest is 0: the functions end at distance 2,
// and entry 201 is read beside entry 200. None of the entries depends on the order in which the formulas are evaluated.
#pragma once

namespace vekr {

constexpr int kCubicEntriesPerUnit = 100;
constexpr int kCubicSupport = 2;
constexpr int kCubicTableSize = 208;

struct CubicTable {
  alignas(64) float at[kCubicTableSize];
};

// Four-point Lagrange interpolation, as a function of the distance d >= 0 between sample and tap.
constexpr double lagrangeCubic(double d) {
  if (d < 1) return 1 - d / 2 - d * d + d * d * d / 2;
  return -(d - 1) * (d - 2) * (d - 3) / 6;
}

// The family of Mitchell and Netravali.
constexpr double mitchellNetravali(double d, double b, double c) {
  if (d < 1) return ((12 - 9 * b - 6 * c) * d * d * d + (-18 + 12 * b + 6 * c) * d * d + (6 - 2 * b)) / 6;
  return ((-b - 6 * c) * d * d * d + (6 * b + 30 * c) * d * d + (-12 * b - 48 * c) * d + (8 * b + 24 * c)) /
         6;
}

template <class Function>
constexpr CubicTable cubicTable(Function f) {
  CubicTable table = {};
  for (int i = 0; i < kCubicSupport * kCubicEntriesPerUnit; ++i) {
    table.at[i] = static_cast<float>(f(static_cast<double>(i) / kCubicEntriesPerUnit));
  }
  return table;
}

static constexpr CubicTable tblC0 = cubicTable([](double d) { return lagrangeCubic(d); });
static constexpr CubicTable tblC1 = cubicTable([](double d) { return mitchellNetravali(d, 1, 0); });
static constexpr CubicTable tblC2 = cubicTable([](double d) { return mitchellNetravali(d, 0, 0.5); });
static constexpr CubicTable tblC3 = cubicTable([](double d) { return mitchellNetravali(d, 0.5, 0.3); });

}  // namespace vekr
