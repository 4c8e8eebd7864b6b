// Light from everywhere as coefficients of spherical harmonics.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "panorama.h"
#include "vekr.h"

// A filled state of the library and the memory that it lives in.
class Harmonics {
 public:
  Harmonics(uint32_t highestBand, int32_t type);
  uint32_t highestBand() const { return highestBand_; }
  size_t count() const { return (highestBand_ + 1) * (highestBand_ + 1); }
  const VekrSHState *state() const { return reinterpret_cast<const VekrSHState *>(block_.data()); }

 private:
  uint32_t highestBand_;
  std::vector<unsigned char> block_;
};

using Coefficients = std::array<std::vector<float>, 3>;  // red, green, blue

// Integral of light times each function over the sphere.
Coefficients project(const Harmonics &harmonics, const Panorama &light);

// The sum of the functions, seen from the middle.
Panorama reconstruct(const Harmonics &harmonics, const Coefficients &coefficients, int width, int height);

// Light that a white matt surface sends back, by its normal, from the light that falls on it: every band is weakened by
// what a clamped cosine leaves of it. R. Ramamoorthi, P. Hanrahan, "An Efficient Representation for Irradiance
// Environment Maps", 2001, divided by pi.
Coefficients diffuse(const Harmonics &harmonics, const Coefficients &light);

// Root of the mean squared difference over the sphere, all channels together.
double difference(const Panorama &a, const Panorama &b);
