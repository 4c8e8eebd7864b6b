#include "light_samples.h"

#include <cmath>
#include <numbers>

namespace {

// Point n of a sequence that covers the unit square evenly, any stretch of it too: multiples of the plastic number's powers.
// M. Roberts, "The Unreasonable Effectiveness of Quasirandom Sequences", 2018.
std::array<double, 2> evenPoint(int n) {
  constexpr double kFirst = 0.75487766624669276, kSecond = 0.56984029099805327;
  const double u = 0.5 + n * kFirst, v = 0.5 + n * kSecond;
  return {u - std::floor(u), v - std::floor(v)};
}

}  // namespace

LightSamples sampleDisc(const Light &light, const Point &target, float radius, int count) {
  Point axis;
  for (size_t c = 0; c < 3; ++c) axis[c] = target[c] - static_cast<double>(light.position[c]);
  const double length = std::max(std::hypot(axis[0], axis[1], axis[2]), 1e-9);
  for (double &part : axis) part /= length;
  // Two directions at right angles to the axis: of x and z the one that is further from it helps.
  const Point other = std::abs(axis[0]) < 0.7 ? Point{1, 0, 0} : Point{0, 0, 1};
  const auto cross = [](const Point &a, const Point &b) {
    return Point{a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
  };
  Point across = cross(axis, other);
  const double size = std::hypot(across[0], across[1], across[2]);
  for (double &part : across) part /= size;
  const Point along = cross(axis, across);
  LightSamples samples;
  for (int n = 0; n < count * kGroups; ++n) {
    const auto [u, v] = evenPoint(n);
    const double out = radius * std::sqrt(u), angle = 2 * std::numbers::pi * v;
    LightSample sample = {{}, 1};
    for (size_t c = 0; c < 3; ++c) {
      sample.position[c] =
          static_cast<float>(static_cast<double>(light.position[c]) +
                             out * (std::cos(angle) * across[c] + std::sin(angle) * along[c]));
    }
    samples.push_back(sample);
  }
  return samples;
}

LightSamples sampleDome(const Environment &environment, float radius, int count) {
  LightSamples samples;
  for (int n = 0; n < count * kGroups; ++n) {
    const auto [u, v] = evenPoint(n);
    const double up = 1 - 2 * u, level = std::sqrt(std::max(0.0, 1 - up * up)),
                 angle = 2 * std::numbers::pi * v;
    const auto x = static_cast<float>(level * std::cos(angle)), y = static_cast<float>(up),
               z = static_cast<float>(level * std::sin(angle));
    samples.push_back({{radius * x, radius * y, radius * z}, environment.weight(x, y, z)});
  }
  return samples;
}
