// The values themselves: against the definition in extended precision, and by what makes them a basis.
#include <algorithm>

#include "tests/sh/support.h"

using namespace sh_test;

namespace {

long double sizeOfBand(int l) { return std::sqrt((2 * l + 1) / (4.0L * reference::kPi)); }

// Greatest error of each band, relative to its size.
std::vector<long double> worstErrors(int type, Kind kind) {
  constexpr size_t kCount = 1500;
  const Directions d = directionsOf(kind, kCount, 11);
  State state(kBands, type);
  std::vector<float> blocks(kCount * 256);
  EXPECT_EQ(vekrSH_32f(d.x.data(), d.y.data(), d.z.data(), kCount, blocks.data(), 15, state.get()), vekOk);
  std::vector<long double> worst(kBands + 1);
  for (size_t i = 0; i < kCount; ++i) {
    // Beyond the unit sphere functions of band l grow like (r + sqrt(r^2 - 1))^l, and errors with them.
    const long double length =
        std::sqrt(static_cast<long double>(d.x[i]) * d.x[i] + static_cast<long double>(d.y[i]) * d.y[i] +
                  static_cast<long double>(d.z[i]) * d.z[i]);
    const long double growth = length > 1.0L ? length + std::sqrt(length * length - 1.0L) : 1.0L;
    long double scale = 1.0L;
    for (int l = 0; l <= static_cast<int>(kBands); ++l) {
      for (int m = -l; m <= l; ++m) {
        const long double exact = reference::exactSH(l, m, d.x[i], d.y[i], d.z[i]);
        const long double error = std::abs(blocks[i * 256 + indexOf(l, m)] - exact) / (sizeOfBand(l) * scale);
        worst[static_cast<size_t>(l)] = std::max(worst[static_cast<size_t>(l)], error);
      }
      scale *= growth;
    }
  }
  return worst;
}

TEST(Accuracy, DirectEvaluatorLosesOnlyWhatRoundedPowersCost) {
  const std::vector<long double> worst = worstErrors(vekrSHDirect, Kind::unit);
  for (size_t l = 0; l <= 6; ++l) EXPECT_LT(worst[l], 2e-6L) << l;
  for (size_t l = 7; l <= 13; ++l) EXPECT_LT(worst[l], 1e-3L) << l;
  EXPECT_LT(worst[14], 2e-3L);
  EXPECT_LT(worst[15], 5e-3L);
}

TEST(Accuracy, DirectEvaluatorFollowsThePolynomialsOffTheSphere) {
  const std::vector<long double> worst = worstErrors(vekrSHDirect, Kind::anyLength);
  for (size_t l = 0; l <= 6; ++l) EXPECT_LT(worst[l], 4e-6L) << l;
  for (size_t l = 7; l <= 15; ++l) EXPECT_LT(worst[l], 5e-3L) << l;
}

TEST(Accuracy, RecurrentEvaluatorIsGoodAtAllBands) {
  for (Kind kind : {Kind::unit, Kind::anyLength}) {
    for (long double error : worstErrors(vekrSHRecurrent, kind)) EXPECT_LT(error, 3e-5L);
  }
}

// All powers of this direction are exact in single: nothing is lost but the last rounding.
TEST(Accuracy, DirectEvaluatorIsExactWherePowersAre) {
  const std::vector<float> block = evaluated(vekrSHDirect, 0.75f, 0.5f, 0.25f, 15);
  for (int l = 0; l <= 15; ++l) {
    for (int m = -l; m <= l; ++m) {
      const long double exact = reference::exactSH(l, m, 0.75f, 0.5f, 0.25f);
      EXPECT_LE(std::abs(block[indexOf(l, m)] - exact), 6e-8L * std::abs(exact)) << l << ' ' << m;
    }
  }
}

TEST(Accuracy, PoleHasOrderZeroOnly) {
  for (int type : kTypes) {
    const std::vector<float> block = evaluated(type, 0.0f, 0.0f, 1.0f, 15);
    for (int l = 0; l <= 15; ++l) {
      for (int m = -l; m <= l; ++m) {
        if (m == 0) {
          EXPECT_NEAR(block[indexOf(l, m)], static_cast<double>(sizeOfBand(l)), 3e-6) << l;
        } else {
          EXPECT_EQ(block[indexOf(l, m)], 0.0f) << l << ' ' << m;
        }
      }
    }
  }
}

// The convention, told by a few values that no other order, sign or normalisation gives.
TEST(Accuracy, ConventionIsTheDocumentedOne) {
  for (int type : kTypes) {
    const std::vector<float> block = evaluated(type, 0.6f, 0.48f, 0.64f, 4);
    const double x = 0.6, y = 0.48, z = 0.64;
    EXPECT_NEAR(block[1], -0.4886025119029199 * y, 1e-6);
    EXPECT_NEAR(block[2], 0.4886025119029199 * z, 1e-6);
    EXPECT_NEAR(block[3], -0.4886025119029199 * x, 1e-6);
    EXPECT_NEAR(block[4], 1.092548430592079 * x * y, 1e-6);
    EXPECT_NEAR(block[8], 0.5462742152960395 * (x * x - y * y), 1e-6);
    EXPECT_NEAR(block[9], 0.5900435899266435 * (y * y * y - 3 * x * x * y), 1e-6);
    EXPECT_NEAR(block[20], 0.1057855469152043 * (35 * z * z * z * z - 30 * z * z + 3), 1e-6);
  }
}

// Nodes and weights of the Gauss-Legendre rule, exact to degree 2 * count - 1.
void gaussLegendre(int count, std::vector<double> &nodes, std::vector<double> &weights) {
  for (int i = 0; i < count; ++i) {
    long double z = std::cos(reference::kPi * (i + 0.75L) / (count + 0.5L));
    for (int step = 0; step < 20; ++step) {
      z -= reference::legendreDerivative(count, 0, z) / reference::legendreDerivative(count, 1, z);
    }
    const long double slope = reference::legendreDerivative(count, 1, z);
    nodes.push_back(static_cast<double>(z));
    weights.push_back(static_cast<double>(2.0L / ((1.0L - z * z) * slope * slope)));
  }
}

// Products of two functions have degree 30 at most: 16 nodes along z and 32 around are exact.
TEST(Accuracy, FunctionsAreOrthonormalOnTheSphere) {
  std::vector<double> nodes, weights;
  gaussLegendre(16, nodes, weights);
  constexpr size_t kAround = 32;
  Directions d(nodes.size() * kAround);
  std::vector<double> areas;
  for (size_t i = 0; i < d.x.size(); ++i) {
    const double z = nodes[i / kAround], radius = std::sqrt(1.0 - z * z);
    const double phi = 2.0 * static_cast<double>(reference::kPi) * static_cast<double>(i % kAround) / kAround;
    d.set(i, static_cast<float>(radius * std::cos(phi)), static_cast<float>(radius * std::sin(phi)),
          static_cast<float>(z));
    areas.push_back(weights[i / kAround] * 2.0 * static_cast<double>(reference::kPi) / kAround);
  }
  for (int type : kTypes) {
    State state(kBands, type);
    std::vector<float> blocks(d.x.size() * 256);
    ASSERT_EQ(vekrSH_32f(d.x.data(), d.y.data(), d.z.data(), d.count(), blocks.data(), 15, state.get()),
              vekOk);
    for (size_t a = 0; a < 256; ++a) {
      for (size_t b = 0; b <= a; ++b) {
        double sum = 0.0;
        for (size_t i = 0; i < areas.size(); ++i) {
          sum +=
              areas[i] * static_cast<double>(blocks[i * 256 + a]) * static_cast<double>(blocks[i * 256 + b]);
        }
        const double tolerance = type == vekrSHRecurrent ? 2e-5 : a < 49 ? 5e-6 : 5e-3;
        ASSERT_NEAR(sum, a == b ? 1.0 : 0.0, tolerance)
            << "type " << type << ", functions " << a << " and " << b;
      }
    }
  }
}

}  // namespace
