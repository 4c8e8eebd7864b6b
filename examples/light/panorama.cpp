#include "panorama.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr double kPi = 3.14159265358979323846;

// The transfer function of ordinary pictures (IEC 61966-2-1).
float toLinear(float encoded) {
  return encoded <= 0.04045f ? encoded / 12.92f : std::pow((encoded + 0.055f) / 1.055f, 2.4f);
}

uint8_t toEncoded(float linear) {
  const float v = std::clamp(linear, 0.0f, 1.0f);
  const float encoded = v <= 0.0031308f ? 12.92f * v : 1.055f * std::pow(v, 1.0f / 2.4f) - 0.055f;
  return static_cast<uint8_t>(encoded * 255.0f + 0.5f);
}

Colour mix(Colour a, Colour b, float t) {
  return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t};
}

Colour skyAt(float x, float y, float z) {
  constexpr Colour kZenith = {0.10f, 0.22f, 0.55f}, kHorizon = {0.75f, 0.70f, 0.62f};
  constexpr Colour kGround = {0.10f, 0.08f, 0.05f}, kFarGround = {0.30f, 0.26f, 0.20f};
  constexpr Colour kSun = {40.0f, 32.0f, 20.0f}, kGlow = {0.9f, 0.55f, 0.25f};
  constexpr float kSunX = 0.60f, kSunY = -0.65f, kSunZ = 0.466f;
  if (z < 0.0f) return mix(kFarGround, kGround, std::min(1.0f, -3.0f * z));
  Colour colour = mix(kHorizon, kZenith, std::sqrt(z));
  const float cosine = std::clamp(x * kSunX + y * kSunY + z * kSunZ, 0.0f, 1.0f);
  const float glow = std::pow(cosine, 24.0f), sun = std::pow(cosine, 1500.0f);
  colour.r += kGlow.r * glow + kSun.r * sun;
  colour.g += kGlow.g * glow + kSun.g * sun;
  colour.b += kGlow.b * glow + kSun.b * sun;
  return colour;
}

}  // namespace

RowDirections::RowDirections(int width, int height)
    : height_(height),
      x_(static_cast<size_t>(width)),
      y_(static_cast<size_t>(width)),
      z_(static_cast<size_t>(width)) {
  for (int column = 0; column < width; ++column) {
    const double phi = 2.0 * kPi * (column + 0.5) / width;
    cosine_.push_back(std::cos(phi));
    sine_.push_back(std::sin(phi));
  }
}

void RowDirections::moveTo(int row) {
  const double theta = kPi * (row + 0.5) / height_, up = std::cos(theta), across = std::sin(theta);
  for (size_t i = 0; i < count(); ++i) {
    x_[i] = static_cast<float>(across * cosine_[i]);
    y_[i] = static_cast<float>(across * sine_[i]);
    z_[i] = static_cast<float>(up);
  }
}

double solidAngle(int width, int height, int row) {
  return 2.0 * kPi / width * (std::cos(kPi * row / height) - std::cos(kPi * (row + 1) / height));
}

Panorama builtInSky(int width, int height) {
  Panorama sky(width, height);
  RowDirections d(width, height);
  for (int row = 0; row < height; ++row) {
    d.moveTo(row);
    float *pixel = sky.row(row);
    for (size_t i = 0; i < d.count(); ++i, pixel += 3) {
      const Colour colour = skyAt(d.x()[i], d.y()[i], d.z()[i]);
      pixel[0] = colour.r;
      pixel[1] = colour.g;
      pixel[2] = colour.b;
    }
  }
  return sky;
}

Panorama fromPicture(const vekr_example::Image &image) {
  std::array<float, 256> linear{};
  for (size_t i = 0; i < linear.size(); ++i) linear[i] = toLinear(static_cast<float>(i) / 255.0f);
  Panorama panorama(image.width(), image.height());
  for (int y = 0; y < image.height(); ++y) {
    const uint8_t *bytes = image.at(0, y);
    float *light = panorama.row(y);
    for (int i = 0; i < 3 * image.width(); ++i) light[i] = linear[bytes[i]];
  }
  return panorama;
}

vekr_example::Image toPicture(const Panorama &panorama, float exposure) {
  vekr_example::Image image(panorama.width(), panorama.height(), 3);
  for (int y = 0; y < panorama.height(); ++y) {
    uint8_t *bytes = image.at(0, y);
    const float *light = panorama.row(y);
    for (int i = 0; i < 3 * panorama.width(); ++i) bytes[i] = toEncoded(light[i] * exposure);
  }
  return image;
}
