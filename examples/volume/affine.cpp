#include "affine.h"

#include <cmath>

namespace vekr_example {

Point Affine::operator()(const Point &p) const {
  Point q;
  for (size_t row = 0; row < 3; ++row)
    q[row] = at(row, 0) * p[0] + at(row, 1) * p[1] + at(row, 2) * p[2] + at(row, 3);
  return q;
}

Affine operator*(const Affine &a, const Affine &b) {
  Affine product;
  for (size_t row = 0; row < 3; ++row) {
    for (size_t column = 0; column < 4; ++column) {
      double sum = column == 3 ? a.at(row, 3) : 0;
      for (size_t k = 0; k < 3; ++k) sum += a.at(row, k) * b.at(k, column);
      product.at(row, column) = sum;
    }
  }
  return product;
}

namespace {

// Of the matrix without a row and a column, with its sign.
double cofactor(const Affine &a, size_t row, size_t column) {
  const size_t r = (row + 1) % 3, s = (row + 2) % 3, c = (column + 1) % 3, d = (column + 2) % 3;
  return a.at(r, c) * a.at(s, d) - a.at(r, d) * a.at(s, c);
}

}  // namespace

double determinantOf(const Affine &a) {
  return a.at(0, 0) * cofactor(a, 0, 0) + a.at(0, 1) * cofactor(a, 0, 1) + a.at(0, 2) * cofactor(a, 0, 2);
}

std::optional<Affine> inverseOf(const Affine &a) {
  double largest = 1;
  for (size_t column = 0; column < 3; ++column)
    largest *= std::hypot(a.at(0, column), a.at(1, column), a.at(2, column));
  const double determinant = determinantOf(a);
  constexpr double kFlat = 1e-9;
  if (!(std::fabs(determinant) > kFlat * largest) || !std::isfinite(determinant) || !std::isfinite(largest))
    return std::nullopt;
  Affine inverse;
  for (size_t row = 0; row < 3; ++row) {
    for (size_t column = 0; column < 3; ++column)
      inverse.at(row, column) = cofactor(a, column, row) / determinant;
  }
  for (size_t row = 0; row < 3; ++row) {
    inverse.at(row, 3) = 0;
    for (size_t k = 0; k < 3; ++k) inverse.at(row, 3) -= inverse.at(row, k) * a.at(k, 3);
  }
  for (const double entry : inverse.m) {
    if (!std::isfinite(entry)) return std::nullopt;
  }
  return inverse;
}

Affine scaling(const Point &factors) {
  Affine a;
  for (size_t k = 0; k < 3; ++k) a.at(k, k) = factors[k];
  return a;
}

Affine translation(const Point &by) {
  Affine a;
  for (size_t k = 0; k < 3; ++k) a.at(k, 3) = by[k];
  return a;
}

Affine rotation(size_t axis, double degrees) {
  const double angle = degrees * std::acos(-1.0) / 180, c = std::cos(angle), s = std::sin(angle);
  const size_t u = (axis + 1) % 3, v = (axis + 2) % 3;
  Affine a;
  a.at(u, u) = a.at(v, v) = c;
  a.at(u, v) = -s;
  a.at(v, u) = s;
  return a;
}

}  // namespace vekr_example
