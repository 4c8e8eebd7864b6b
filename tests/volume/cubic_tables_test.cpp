#include "volume/cubic_tables.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/values.h"

namespace {

using namespace vekr;
using vekr_test::same;

// The kernels in long double, each branch factored otherwise than in the library.
long double lagrange(long double d) {
  return d < 1 ? (1 - d) * (1 + d) * (2 - d) / 2 : (1 - d) * (2 - d) * (3 - d) / 6;
}

long double bSpline(long double d) {
  return d < 1 ? 2.0L / 3 - d * d * (1 - d / 2) : (2 - d) * (2 - d) * (2 - d) / 6;
}

long double catmullRom(long double d) {
  return d < 1 ? 1 - d * d * (5 - 3 * d) / 2 : -(d - 1) * (2 - d) * (2 - d) / 2;
}

long double mitchell(long double d) {
  return d < 1 ? (5.7L * d * d * d - 10.2L * d * d + 5) / 6
               : (-2.3L * d * d * d + 12 * d * d - 20.4L * d + 11.2L) / 6;
}

TEST(CubicTables, HoldTheFunctionsRoundedOnce) {
  const struct {
    const CubicTable &table;
    long double (*function)(long double);
  } kernels[] = {{tblC0, lagrange}, {tblC1, bSpline}, {tblC2, catmullRom}, {tblC3, mitchell}};
  for (const auto &kernel : kernels) {
    for (int i = 0; i < 200; ++i) {
      const float expected = static_cast<float>(kernel.function(i / 100.0L));
      EXPECT_NEAR(kernel.table.at[i], expected, 1e-16) << i;
      if (expected != 0) {
        EXPECT_TRUE(same(kernel.table.at[i], expected)) << i << ": " << kernel.table.at[i];
      }
    }
    for (int i = 200; i < 208; ++i) EXPECT_TRUE(same(kernel.table.at[i], 0.0f)) << i;
  }
}

TEST(CubicTables, KnownEntries) {
  EXPECT_EQ(tblC0.at[0], 1.0f);
  EXPECT_EQ(tblC0.at[100], 0.0f);
  EXPECT_EQ(tblC0.at[50], 0.5625f);
  EXPECT_EQ(tblC0.at[150], -0.0625f);
  EXPECT_EQ(tblC1.at[0], 2.0f / 3);
  EXPECT_EQ(tblC1.at[100], 1.0f / 6);
  EXPECT_EQ(tblC2.at[0], 1.0f);
  EXPECT_EQ(tblC2.at[100], 0.0f);
  EXPECT_EQ(tblC2.at[50], 0.5625f);
  EXPECT_EQ(tblC3.at[0], 5.0f / 6);
  EXPECT_EQ(tblC3.at[100], 1.0f / 12);
}

}  // namespace
