#include "prwarpa/inverse.h"

#include <gtest/gtest.h>

#include <bit>

#include "tests/prwarpa/warp_calls.h"
#include "tests/reference/volume_reference.h"
#include "tests/support/values.h"

namespace {

using namespace vekr;
using namespace vekr_test;

TEST(Inverse, EqualsItsTwinBitForBitAndInverts) {
  Random random(7);
  for (int run = 0; run < 2000; ++run) {
    Matrix c;
    for (double &entry : c) entry = random.within(-2, 2) + 1e-9 * random.unit();
    Matrix actual, expected;
    if (ownrGetInverseMatrix(c.data(), actual.data()) != vekOk) continue;
    reference::invert(c.data(), expected.data());
    double largest = 1;
    for (size_t i = 0; i < 12; ++i) {
      EXPECT_EQ(std::bit_cast<uint64_t>(actual[i]), std::bit_cast<uint64_t>(expected[i])) << "entry " << i;
      largest = std::max(largest, std::fabs(actual[i]));
    }
    // Forward and back again.
    for (size_t row = 0; row < 3; ++row) {
      for (size_t column = 0; column < 4; ++column) {
        double sum = column == 3 ? actual[4 * row + 3] : 0;
        for (size_t k = 0; k < 3; ++k) sum += actual[4 * row + k] * c[4 * k + column];
        EXPECT_NEAR(sum, row == column ? 1 : 0, 1e-12 * largest * largest);
      }
    }
  }
}

// Two zeros on the diagonal are a quarter turn or an exchange of axes; three are refused, though axes that change places
// in a ring could be inverted.
TEST(Inverse, AxesThatChangePlaces) {
  for (size_t kept = 0; kept < 3; ++kept) {
    const size_t p = (kept + 1) % 3, q = (kept + 2) % 3;
    for (const double sign : {1.0, -1.0}) {
      Matrix c = {};
      c[4 * kept + kept] = 1.5;
      c[4 * p + q] = sign;
      c[4 * q + p] = 1;
      EXPECT_FALSE(isUnusable(c.data())) << "axis " << kept << " stays";
      Matrix actual = {}, expected = {};
      ASSERT_EQ(ownrGetInverseMatrix(c.data(), actual.data()), vekOk);
      reference::invert(c.data(), expected.data());
      for (size_t i = 0; i < 12; ++i) {
        EXPECT_EQ(std::bit_cast<uint64_t>(actual[i]), std::bit_cast<uint64_t>(expected[i])) << "entry " << i;
      }
    }
  }
  Matrix ring = {};
  ring[1] = ring[6] = ring[8] = 1;
  EXPECT_TRUE(isUnusable(ring.data()));
}

TEST(Inverse, RefusesADeterminantNearZeroAndWritesNothing) {
  Matrix inverse = {};
  inverse[0] = 77;
  EXPECT_EQ(ownrGetInverseMatrix(scaledAndMoved(1.0 / 5000, 1.0 / 5000, 1.0 / 5000, 0, 0, 0).data(),
                                 inverse.data()),
            vekErrCoeff);
  EXPECT_EQ(inverse[0], 77);
  EXPECT_EQ(ownrGetInverseMatrix(scaledAndMoved(1.0 / 2000, 1.0 / 2000, 1.0 / 2000, 0, 0, 0).data(),
                                 inverse.data()),
            vekOk);
}

}  // namespace
