#include "environment.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "light_file.h"

namespace {

// A clear sky: white at the horizon, blue above, ground colour below.
void skyColour(float x, float y, float z, float *rgb) {
  const float up = y / std::max(std::sqrt(x * x + y * y + z * z), 1e-20f);
  const float t = std::sqrt(std::clamp(up, 0.0f, 1.0f));
  constexpr float kHorizon[3] = {0.80f, 0.84f, 0.88f}, kZenith[3] = {0.22f, 0.40f, 0.72f};
  for (int c = 0; c < 3; ++c) rgb[c] = kHorizon[c] + t * (kZenith[c] - kHorizon[c]);
}

// Between the four pixels around a direction; around the circle, and not beyond the poles.
void lookUp(const Panorama &panorama, const float *direction, float *rgb) {
  constexpr float kPi = std::numbers::pi_v<float>;
  const float length =
      std::sqrt(direction[0] * direction[0] + direction[1] * direction[1] + direction[2] * direction[2]);
  const float cosine = std::clamp(direction[2] / std::max(length, 1e-20f), -1.0f, 1.0f);
  const float turn = std::atan2(direction[1], direction[0]) / (2 * kPi);
  const float x = (turn < 0 ? turn + 1 : turn) * static_cast<float>(panorama.width()) - 0.5f;
  const float y = std::acos(cosine) / kPi * static_cast<float>(panorama.height()) - 0.5f;
  const float left = std::floor(x), top = std::floor(y);
  std::fill_n(rgb, 3, 0.0f);
  for (int k = 0; k < 4; ++k) {
    const int column = (static_cast<int>(left) + (k & 1) + panorama.width()) % panorama.width();
    const int row = std::clamp(static_cast<int>(top) + (k >> 1), 0, panorama.height() - 1);
    const float weight = ((k & 1) != 0 ? x - left : 1 - x + left) * ((k >> 1) != 0 ? y - top : 1 - y + top);
    for (int c = 0; c < 3; ++c) rgb[c] += weight * panorama.row(row)[3 * column + c];
  }
}

}  // namespace

Environment::Environment(const EnvironmentOptions &options) : options_(options) {
  if (options.panorama.empty()) return;
  panorama_ = std::make_unique<Panorama>(readPanorama(options.panorama));
  // At a turn of 0 the middle of the panorama lies behind the scene, for a viewer who stands where yaw is 0.
  const double angle = (options.turn - 90) * std::numbers::pi / 180;
  cosine_ = static_cast<float>(std::cos(angle));
  sine_ = static_cast<float>(std::sin(angle));
  harmonics_ = std::make_unique<Harmonics>(static_cast<uint32_t>(options.bands), vekrSHRecurrent);
  light_ = project(*harmonics_, *panorama_);
  sent_ = diffuse(*harmonics_, light_);
}

void Environment::toPanorama(float x, float y, float z, float *direction) const {
  direction[0] = cosine_ * x - sine_ * z;
  direction[1] = sine_ * x + cosine_ * z;
  direction[2] = y;
}

void Environment::seen(float x, float y, float z, float *rgb) const {
  if (options_.background) {
    std::copy_n(options_.background->data(), 3, rgb);
  } else if (panorama_ == nullptr) {
    skyColour(x, y, z, rgb);
  } else {
    float direction[3];
    toPanorama(x, y, z, direction);
    lookUp(*panorama_, direction, rgb);
  }
}

Rgb Environment::plainLight() const {
  constexpr Rgb kAmbient = {0.20f, 0.22f, 0.26f};
  return {options_.ambient * kAmbient[0], options_.ambient * kAmbient[1], options_.ambient * kAmbient[2]};
}

void Environment::sentBack(const float *const *normals, float *const *light, float *const *work,
                           int32_t count) const {
  for (int32_t i = 0; i < count; ++i) {
    float direction[3];
    toPanorama(normals[0][i], normals[1][i], normals[2][i], direction);
    for (size_t c = 0; c < 3; ++c) work[c][i] = direction[c];
  }
  const float *const coefficients[3] = {sent_[0].data(), sent_[1].data(), sent_[2].data()};
  vekrSHTInv_32f_P3(coefficients, harmonics_->highestBand(), work[0], work[1], work[2], light, count,
                    harmonics_->state());
  for (size_t c = 0; c < 3; ++c) {
    // Bands that end somewhere swing below 0 beside bright light.
    for (int32_t i = 0; i < count; ++i) light[c][i] = std::max(0.0f, options_.ambient * light[c][i]);
  }
}

float Environment::weight(float x, float y, float z) const {
  if (panorama_ == nullptr) return 1;
  float direction[3], value[3];
  toPanorama(x, y, z, direction);
  const float *const coefficients[3] = {light_[0].data(), light_[1].data(), light_[2].data()};
  float *const values[3] = {&value[0], &value[1], &value[2]};
  vekrSHTInv_32f_P3(coefficients, harmonics_->highestBand(), &direction[0], &direction[1], &direction[2],
                    values, 1, harmonics_->state());
  // At least a little, so that no surface is left without any direction.
  constexpr float kLeast = 1e-3f;
  return std::max(kLeast, 0.2126f * value[0] + 0.7152f * value[1] + 0.0722f * value[2]);
}
