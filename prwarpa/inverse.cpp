#include "prwarpa/inverse.h"

#include <cmath>

namespace vekr {

namespace {

constexpr double kEmpty = 1e-100;         // a diagonal entry up to this is none
constexpr double kEmptyProduct = 1e-200;  // the product of two such
constexpr double kDependent = 1e-10;  // relative difference of two products up to which they count as equal
constexpr double kSingular =
    1e-10;  // determinant below this, in absolute terms: matrices of a small scale are refused

constexpr int kColumns = 4;

struct MatrixRows {
  const double *c;
  const double *operator[](int row) const { return c + row * kColumns; }
};

bool areEqual(double p, double q) {
  const double difference = std::fabs(p) <= kEmptyProduct ? std::fabs(q) : std::fabs((p - q) / p);
  return difference <= kDependent;
}

}  // namespace

bool isUnusable(const double *pCoeffs) {
  const MatrixRows c{pCoeffs};
  if (std::fabs(c[0][0]) <= kEmpty && std::fabs(c[1][1]) <= kEmpty && std::fabs(c[2][2]) <= kEmpty)
    return true;
  // The three minors of rows 1 and 2.
  return areEqual(c[1][1] * c[2][2], c[1][2] * c[2][1]) && areEqual(c[1][0] * c[2][2], c[2][0] * c[1][2]) &&
         areEqual(c[2][1] * c[1][0], c[1][1] * c[2][0]);
}

// By cofactors. The grouping of the terms decides the last bits of every source coordinate: callers rely on it [C71].
VekStatus ownrGetInverseMatrix(const double *pCoeffs, double *pInverse) {
  const MatrixRows c{pCoeffs};
  const double m0 = c[1][1] * c[2][2] - c[2][1] * c[1][2];
  const double m1 = c[2][2] * c[1][0] - c[1][2] * c[2][0];
  const double m2 = c[2][1] * c[1][0] - c[1][1] * c[2][0];
  const double det = m0 * c[0][0] - m1 * c[0][1] + m2 * c[0][2];
  if (det > -kSingular && det < kSingular) return vekErrCoeff;
  const double r = 1 / det;
  const double p = c[1][2] * c[2][3] - c[2][2] * c[1][3];
  const double q = c[0][2] * c[1][3] - c[1][2] * c[0][3];
  const double s = c[0][2] * c[2][3] - c[2][2] * c[0][3];
  double *const row0 = pInverse, *const row1 = pInverse + kColumns, *const row2 = pInverse + 2 * kColumns;
  row0[0] = r * m0;
  row0[1] = -r * (c[2][2] * c[0][1] - c[2][1] * c[0][2]);
  row0[2] = r * (c[1][2] * c[0][1] - c[1][1] * c[0][2]);
  row0[3] = -r * (c[0][1] * p - c[1][1] * s + c[2][1] * q);
  row1[0] = -r * m1;
  row1[1] = r * (c[2][2] * c[0][0] - c[2][0] * c[0][2]);
  row1[2] = -r * (c[1][2] * c[0][0] - c[1][0] * c[0][2]);
  row1[3] = r * (c[0][0] * p - c[1][0] * s + c[2][0] * q);
  row2[0] = r * m2;
  row2[1] = -r * (c[2][1] * c[0][0] - c[2][0] * c[0][1]);
  row2[2] = r * (c[1][1] * c[0][0] - c[1][0] * c[0][1]);
  row2[3] = -r * (c[0][0] * (c[1][1] * c[2][3] - c[2][1] * c[1][3]) -
                  c[1][0] * (c[0][1] * c[2][3] - c[2][1] * c[0][3]) +
                  c[2][0] * (c[0][1] * c[1][3] - c[1][1] * c[0][3]));
  return vekOk;
}

}  // namespace vekr
