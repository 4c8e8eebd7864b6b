// The table of constants and polynomials, recomputed by other means.
#include "sh/direct_terms.h"

#include "tests/sh/support.h"

using namespace sh_test;

namespace {

const vekr::DirectTerm &termOf(int l, int m) { return vekr::kDirectTerms[l * (l + 1) / 2 + m]; }

TEST(Terms, PolynomialsArePrimitiveDerivatives) {
  for (int l = 1; l <= 15; ++l) {
    for (int m = 0; m <= l; ++m) {
      const reference::IntegerPolynomial expected = reference::primitiveDerivative(l, m);
      for (size_t k = 0; k < 8; ++k) {
        const double wanted = k < expected.primitive.size() ? expected.primitive[k] : 0.0;
        EXPECT_EQ(termOf(l, m).p[k], wanted) << l << ' ' << m << ' ' << k;
      }
    }
  }
}

// Widened powers have 24 bits: products with coefficients of up to 29 are exact in double.
TEST(Terms, CoefficientsAreSmallEnoughForExactProducts) {
  for (const vekr::DirectTerm &term : vekr::kDirectTerms) {
    for (double p : term.p) EXPECT_LT(std::abs(p), 0x1p29);
  }
}

TEST(Terms, ConstantsAreTheNearestDoublesFromBandFiveOn) {
  for (int l = 5; l <= 15; ++l) {
    for (int m = 0; m <= l; ++m) {
      const reference::IntegerPolynomial polynomial = reference::primitiveDerivative(l, m);
      long double exact = std::sqrt(reference::squaredNorm(l, m) * (m > 0 ? 2.0L : 1.0L)) * polynomial.factor;
      if (m % 2 != 0) exact = -exact;
      const double constant = termOf(l, m).cosine;
      const long double half = (std::nextafter(std::abs(constant), 1e9) - std::abs(constant)) / 2.0L;
      // The comparison itself is good to about a hundredth of that.
      EXPECT_LE(std::abs(constant - exact), 1.01L * half) << l << ' ' << m;
      const double scale = m == 2 ? 2.0 : m == 4 ? 4.0 : m == 0 ? 0.0 : 1.0;
      EXPECT_EQ(termOf(l, m).sine, scale * constant) << l << ' ' << m;
    }
  }
}

TEST(Terms, ConstantsUpToBandFourAreThePublishedDecimals) {
  const double cosine[] = {0.4886025119029199,  -0.4886025119029199, 0.31539156525252,    -1.092548430592079,
                           0.5462742152960395,  0.3731763325901154,  -0.4570457994644657, 1.445305721320277,
                           -0.5900435899266435, 0.1057855469152043,  -0.6690465435572892, 0.47308734787878,
                           -1.770130769779931,  0.6258357354491761};
  const double sine[] = {0.0,
                         -0.4886025119029199,
                         0.0,
                         -1.092548430592079,
                         1.092548430592079,
                         0.0,
                         -0.4570457994644657,
                         2.890611442640554,
                         0.5900435899266435,
                         0.0,
                         -0.6690465435572892,
                         0.94617469575756,
                         -1.770130769779931,
                         2.503342941796705};
  for (size_t i = 0; i < std::size(cosine); ++i) {
    EXPECT_EQ(vekr::kDirectTerms[i + 1].cosine, cosine[i]) << i;
    EXPECT_EQ(vekr::kDirectTerms[i + 1].sine, sine[i]) << i;
  }
}

}  // namespace
