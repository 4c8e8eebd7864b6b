#include "surface.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {

// The transfer function of ordinary pictures (IEC 61966-2-1), for all bytes.
const std::array<float, 256> &linearValues() {
  static const std::array<float, 256> values = [] {
    std::array<float, 256> table{};
    for (size_t i = 0; i < table.size(); ++i) {
      const float x = static_cast<float>(i) / 255.0f;
      table[i] = x <= 0.04045f ? x / 12.92f : std::pow((x + 0.055f) / 1.055f, 2.4f);
    }
    return table;
  }();
  return values;
}

uint8_t toByte(float linear) {
  const float x = linear <= 0.0031308f ? 12.92f * linear : 1.055f * std::pow(linear, 1 / 2.4f) - 0.055f;
  return static_cast<uint8_t>(std::clamp(x * 255.0f + 0.5f, 0.0f, 255.0f));
}

// The pixel that a place beyond the edges stands for.
int32_t wrapped(int64_t at, int32_t size, Texture::Wrap wrap) {
  if (wrap == Texture::clamp) return static_cast<int32_t>(std::clamp<int64_t>(at, 0, size - 1));
  const int64_t period = wrap == Texture::mirror ? 2 * int64_t{size} : size;
  const int64_t within = ((at % period) + period) % period;
  return static_cast<int32_t>(within < size ? within : period - 1 - within);
}

}  // namespace

Surface::Surface(const Mesh &mesh) : mesh_(mesh) {
  for (const Texture &texture : mesh.textures) {
    Pyramid pyramid = {texture.across, texture.down, {{texture.width, texture.height, texture.pixels}}};
    while (pyramid.levels.back().width > 1 || pyramid.levels.back().height > 1) {
      pyramid.levels.push_back(halved(pyramid.levels.back()));
    }
    pyramids_.push_back(std::move(pyramid));
  }
}

// Each pixel is the mean of four; a last odd row or column belongs to the pixel before it.
Surface::Level Surface::halved(const Level &level) {
  const auto &linear = linearValues();
  Level half = {std::max(level.width / 2, 1), std::max(level.height / 2, 1), {}};
  half.pixels.reserve(3 * static_cast<size_t>(half.width) * static_cast<size_t>(half.height));
  for (int32_t y = 0; y < half.height; ++y) {
    for (int32_t x = 0; x < half.width; ++x) {
      for (size_t c = 0; c < 3; ++c) {
        float sum = 0;
        for (int k = 0; k < 4; ++k) {
          const auto column = static_cast<size_t>(std::min(2 * x + (k & 1), level.width - 1));
          const auto row = static_cast<size_t>(std::min(2 * y + (k >> 1), level.height - 1));
          sum += linear[level.pixels[3 * (row * static_cast<size_t>(level.width) + column) + c]];
        }
        half.pixels.push_back(toByte(sum / 4));
      }
    }
  }
  return half;
}

// Between the four pixels around a place, whose v runs from the bottom up.
void Surface::sample(const Pyramid &pyramid, const Level &level, float u, float v, float *rgb) {
  const auto &linear = linearValues();
  constexpr double kFar = 1e9;  // beyond which a place has no fraction worth the name
  const double x = std::clamp(static_cast<double>(u), -kFar, kFar) * level.width - 0.5;
  const double y = (1.0 - std::clamp(static_cast<double>(v), -kFar, kFar)) * level.height - 0.5;
  const double left = std::floor(x), top = std::floor(y);
  const auto fx = static_cast<float>(x - left), fy = static_cast<float>(y - top);
  std::fill_n(rgb, 3, 0.0f);
  for (int k = 0; k < 4; ++k) {
    const int32_t column = wrapped(static_cast<int64_t>(left) + (k & 1), level.width, pyramid.across);
    const int32_t row = wrapped(static_cast<int64_t>(top) + (k >> 1), level.height, pyramid.down);
    const float weight = ((k & 1) != 0 ? fx : 1 - fx) * ((k >> 1) != 0 ? fy : 1 - fy);
    const uint8_t *pixel = &level.pixels[3 * (static_cast<size_t>(row) * static_cast<size_t>(level.width) +
                                              static_cast<size_t>(column))];
    for (int c = 0; c < 3; ++c) rgb[c] += weight * linear[pixel[c]];
  }
}

void Surface::addTexture(const Pyramid &pyramid, const int32_t *corners, const float *weights,
                         float footprint, float *rgb) const {
  const float *at[3], *place[3];
  float u = 0, v = 0;
  for (int k = 0; k < 3; ++k) {
    at[k] = &mesh_.vertices[3 * static_cast<size_t>(corners[k])];
    place[k] = &mesh_.textureCoordinates[2 * static_cast<size_t>(corners[k])];
    u += weights[k] * place[k][0];
    v += weights[k] * place[k][1];
  }
  // Pixels of the texture that a sample covers, by the areas of the triangle on the texture and in space.
  float e1[3], e2[3];
  for (int c = 0; c < 3; ++c) {
    e1[c] = at[1][c] - at[0][c];
    e2[c] = at[2][c] - at[0][c];
  }
  const float nx = e1[1] * e2[2] - e1[2] * e2[1], ny = e1[2] * e2[0] - e1[0] * e2[2],
              nz = e1[0] * e2[1] - e1[1] * e2[0];
  const float space = std::sqrt(nx * nx + ny * ny + nz * nz);
  const Level &whole = pyramid.levels.front();
  const float flat = std::abs((place[1][0] - place[0][0]) * (place[2][1] - place[0][1]) -
                              (place[2][0] - place[0][0]) * (place[1][1] - place[0][1])) *
                     static_cast<float>(whole.width) * static_cast<float>(whole.height);
  const float covered = space > 0.0f ? footprint * footprint * flat / space : 0.0f;
  int level = 0;
  if (covered > 1.0f) {
    level = static_cast<int>(std::lround(0.5f * std::log2(std::min(covered, 1e30f))));
    level = std::min(level, static_cast<int>(pyramid.levels.size()) - 1);
  }
  float texel[3];
  sample(pyramid, pyramid.levels[static_cast<size_t>(level)], u, v, texel);
  for (int c = 0; c < 3; ++c) rgb[c] *= texel[c];
}

void Surface::colour(int32_t triangle, float a, float b, float footprint, float *rgb) const {
  const auto number = static_cast<size_t>(triangle);
  const auto material = static_cast<size_t>(mesh_.material[number]);
  std::copy_n(&mesh_.colours[3 * material], 3, rgb);
  const int32_t *corners = &mesh_.indices[4 * number];
  const float weights[3] = {a, b, 1 - a - b};
  if (!mesh_.vertexColours.empty()) {
    for (size_t c = 0; c < 3; ++c) {
      float sum = 0;
      for (size_t k = 0; k < 3; ++k) {
        sum += weights[k] * mesh_.vertexColours[3 * static_cast<size_t>(corners[k]) + c];
      }
      rgb[c] *= std::clamp(sum, 0.0f, 1.0f);
    }
  }
  if (mesh_.materialTextures.empty() || mesh_.materialTextures[material] < 0) return;
  addTexture(pyramids_[static_cast<size_t>(mesh_.materialTextures[material])], corners, weights, footprint,
             rgb);
}
