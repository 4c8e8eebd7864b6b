// Affine maps of points, in doubles.
#pragma once

#include <array>
#include <cstddef>
#include <optional>

namespace vekr_example {

using Point = std::array<double, 3>;

// Three rows of four; the identity unless filled.
struct Affine {
  std::array<double, 12> m = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0};

  double &at(size_t row, size_t column) { return m[4 * row + column]; }
  double at(size_t row, size_t column) const { return m[4 * row + column]; }
  Point operator()(const Point &p) const;
  bool operator==(const Affine &other) const { return m == other.m; }
};

// First b, then a.
Affine operator*(const Affine &a, const Affine &b);

// None if an entry is not finite or what columns of these lengths span is nearly flat.
std::optional<Affine> inverseOf(const Affine &a);

double determinantOf(const Affine &a);  // of the first three columns

Affine scaling(const Point &factors);
Affine translation(const Point &by);
Affine rotation(size_t axis, double degrees);  // from the following axis towards the one behind it

}  // namespace vekr_example
