#include "lighting.h"

#include <cmath>

Harmonics::Harmonics(uint32_t highestBand, int32_t type) : highestBand_(highestBand) {
  uint32_t size = 0;
  vekrSHGetSize_32f(highestBand, type, &size);
  block_.resize(size);
  vekrSHInit_32f(reinterpret_cast<VekrSHState *>(block_.data()), highestBand, type);
}

Coefficients project(const Harmonics &harmonics, const Panorama &light) {
  const size_t count = harmonics.count();
  const int width = light.width(), height = light.height();
  // Rows are projected one by one and added up in double: single sums of millions of small parts would lose them.
  std::array<std::vector<double>, 3> sums;
  for (auto &sum : sums) sum.assign(count, 0.0);
  std::vector<float> weighted(3 * static_cast<size_t>(width));
  Coefficients part;
  RowDirections d(width, height);
  for (int row = 0; row < height; ++row) {
    d.moveTo(row);
    const auto area = static_cast<float>(solidAngle(width, height, row));
    for (size_t i = 0; i < weighted.size(); ++i) weighted[i] = light.row(row)[i] * area;
    for (auto &channel : part) channel.assign(count, 0.0f);
    float *const channels[3] = {part[0].data(), part[1].data(), part[2].data()};
    vekrSHTFwd_32f_C3P3I(d.x(), d.y(), d.z(), weighted.data(), width, channels, harmonics.highestBand(),
                         harmonics.state());
    for (size_t c = 0; c < 3; ++c) {
      for (size_t k = 0; k < count; ++k) sums[c][k] += static_cast<double>(part[c][k]);
    }
  }
  Coefficients result;
  for (size_t c = 0; c < 3; ++c) {
    for (double sum : sums[c]) result[c].push_back(static_cast<float>(sum));
  }
  return result;
}

Panorama reconstruct(const Harmonics &harmonics, const Coefficients &coefficients, int width, int height) {
  Panorama result(width, height);
  const float *const channels[3] = {coefficients[0].data(), coefficients[1].data(), coefficients[2].data()};
  RowDirections d(width, height);
  for (int row = 0; row < height; ++row) {
    d.moveTo(row);
    vekrSHTInv_32f_P3C3(channels, harmonics.highestBand(), d.x(), d.y(), d.z(), result.row(row), width,
                        harmonics.state());
  }
  return result;
}

Coefficients diffuse(const Harmonics &harmonics, const Coefficients &light) {
  Coefficients result = light;
  // Bands 0 and 1, then every even one: 2 (-1)^(l/2-1) / ((l+2)(l-1)) l! / (2^l (l/2)!^2); other odd bands vanish.
  double central = 1.0;  // l! / (2^l (l/2)!^2), from one even band to the next
  for (uint32_t l = 0; l <= harmonics.highestBand(); ++l) {
    double factor = 0.0;
    if (l == 0) factor = 1.0;
    if (l == 1) factor = 2.0 / 3.0;
    if (l >= 2 && l % 2 == 0) {
      central *= (l - 1.0) / l;
      factor = (l % 4 == 2 ? 2.0 : -2.0) / ((l + 2.0) * (l - 1.0)) * central;
    }
    for (uint32_t k = l * l; k < (l + 1) * (l + 1); ++k) {
      for (auto &channel : result) channel[k] *= static_cast<float>(factor);
    }
  }
  return result;
}

double difference(const Panorama &a, const Panorama &b) {
  double squares = 0.0, area = 0.0;
  for (int row = 0; row < a.height(); ++row) {
    const double weight = solidAngle(a.width(), a.height(), row);
    for (int i = 0; i < 3 * a.width(); ++i) {
      const double d = static_cast<double>(a.row(row)[i]) - static_cast<double>(b.row(row)[i]);
      squares += weight * d * d;
      area += weight;
    }
  }
  return std::sqrt(squares / area);
}
