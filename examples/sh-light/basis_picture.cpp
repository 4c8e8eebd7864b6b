#include "basis_picture.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <vector>

#include "progress.h"
#include "team.h"
#include "vekr.h"

namespace {

constexpr int kSamples = 2;          // along each side of a pixel
constexpr int kSteps = 160;          // along a ray
constexpr float kReach = 1.0001f;    // no surface lies further out: 1 and what rounding may add
constexpr float kHalfWidth = 1.04f;  // of a tile; surfaces reach to 1 at most

struct Vector {
  float x, y, z;
};

Vector operator+(Vector a, Vector b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
Vector operator*(Vector a, float t) { return {a.x * t, a.y * t, a.z * t}; }
float dot(Vector a, Vector b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
Vector unit(Vector a) { return a * (1.0f / std::sqrt(std::max(dot(a, a), 1e-30f))); }

// Seen from a point above, a little to the side.
constexpr float kYaw = 0.6f, kPitch = 0.35f;

struct Camera {
  Vector right, up, towards;
  Camera() {
    const float cy = std::cos(kYaw), sy = std::sin(kYaw), cp = std::cos(kPitch), sp = std::sin(kPitch);
    right = {cy, sy, 0.0f};
    towards = {sy * cp, -cy * cp, sp};
    up = {-sy * sp, cy * sp, cp};
  }
};

// Values of a band's functions in the directions of some points, scaled so that the largest lobe of a band reaches to 1.
class Band {
 public:
  explicit Band(uint32_t l)
      : l_(l), scale_(1.0f / std::sqrt(static_cast<float>(2 * l + 1) / (4.0f * 3.14159265f))) {}

  size_t count() const { return 2 * l_ + 1; }

  const std::vector<float> &at(const std::vector<Vector> &points) {
    x_.clear();
    y_.clear();
    z_.clear();
    for (const Vector &p : points) {
      const Vector d = unit(p);
      x_.push_back(d.x);
      y_.push_back(d.y);
      z_.push_back(d.z);
    }
    values_.resize(points.size() * count());
    vekrSHBand_32f(x_.data(), y_.data(), z_.data(), static_cast<int32_t>(points.size()), values_.data(), l_);
    for (float &v : values_) v *= scale_;
    return values_;
  }

  // The value of function m alone; what at() has returned stays.
  float at(Vector p, size_t m) {
    const Vector d = unit(p);
    one_.resize(count());
    vekrSHBand_32f(&d.x, &d.y, &d.z, 1, one_.data(), l_);
    return one_[m] * scale_;
  }

 private:
  uint32_t l_;
  float scale_;
  std::vector<float> x_, y_, z_, values_, one_;
};

float length(Vector p) { return std::sqrt(dot(p, p)); }

struct Rgb {
  float r, g, b;
};

constexpr Rgb kBackground = {1.0f, 1.0f, 1.0f};

Rgb shade(bool positive, Vector normal, const Camera &camera) {
  const Rgb colour = positive ? Rgb{0.93f, 0.45f, 0.20f} : Rgb{0.20f, 0.45f, 0.85f};
  const Vector light = unit(camera.towards + camera.up * 0.8f + camera.right * -0.5f);
  const float diffuse = std::max(0.0f, dot(normal, light));
  const Vector half = unit(light + camera.towards);
  const float shine = 0.25f * std::pow(std::max(0.0f, dot(normal, half)), 40.0f);
  const float level = 0.30f + 0.70f * diffuse;
  return {colour.r * level + shine, colour.g * level + shine, colour.b * level + shine};
}

// The rays of one row of samples, all functions of the band along with them.
class RayRow {
 public:
  RayRow(Band &band, const Camera &camera, int samples, int row) : band_(band), camera_(camera) {
    const float v =
        kHalfWidth * (1.0f - 2.0f * (static_cast<float>(row) + 0.5f) / static_cast<float>(samples));
    for (int i = 0; i < samples; ++i) {
      const float u =
          kHalfWidth * (2.0f * (static_cast<float>(i) + 0.5f) / static_cast<float>(samples) - 1.0f);
      start_.push_back(camera.right * u + camera.up * v);
    }
  }

  // colours[m * samples + i] for function m and ray i.
  std::vector<Rgb> trace() {
    const size_t rays = start_.size(), count = band_.count();
    std::vector<Rgb> colours(rays * count, kBackground);
    std::vector<bool> done(rays * count, false);
    std::vector<Vector> points;
    std::vector<size_t> ray;
    for (int step = 0; step <= kSteps; ++step) {
      const float t = 1.0f - 2.0f * static_cast<float>(step) / kSteps;
      points.clear();
      ray.clear();
      for (size_t i = 0; i < rays; ++i) {
        const Vector p = start_[i] + camera_.towards * t;
        if (dot(p, p) > kReach * kReach) continue;
        points.push_back(p);
        ray.push_back(i);
      }
      const std::vector<float> &values = band_.at(points);
      for (size_t k = 0; k < points.size(); ++k) {
        const size_t i = ray[k];
        const float distance = length(points[k]);
        for (size_t m = 0; m < count; ++m) {
          if (distance > std::abs(values[k * count + m]) || done[m * rays + i]) continue;
          done[m * rays + i] = true;
          colours[m * rays + i] = hit(i, m, t, values[k * count + m] > 0.0f);
        }
      }
    }
    return colours;
  }

 private:
  // The surface lies within the step before t.
  Rgb hit(size_t i, size_t m, float t, bool positive) {
    float inside = t, outside = t + 2.0f / kSteps;
    for (int k = 0; k < 10; ++k) {
      const float middle = 0.5f * (inside + outside);
      (beyond(start_[i] + camera_.towards * middle, m) > 0.0f ? outside : inside) = middle;
    }
    const Vector p = start_[i] + camera_.towards * outside;
    constexpr float e = 2e-3f;
    const Vector gradient = {beyond(p + Vector{e, 0, 0}, m) - beyond(p + Vector{-e, 0, 0}, m),
                             beyond(p + Vector{0, e, 0}, m) - beyond(p + Vector{0, -e, 0}, m),
                             beyond(p + Vector{0, 0, e}, m) - beyond(p + Vector{0, 0, -e}, m)};
    return shade(positive, unit(gradient), camera_);
  }

  // How far a point lies outside the surface.
  float beyond(Vector p, size_t m) { return length(p) - std::abs(band_.at(p, m)); }

  Band &band_;
  const Camera &camera_;
  std::vector<Vector> start_;
};

// One row of pixels of a band, all of its functions.
void drawRow(Band &band, const Camera &camera, int bands, int l, int row, int tileSize,
             vekr_example::Image &image) {
  const int samples = tileSize * kSamples;
  std::vector<std::vector<Rgb>> lines;
  for (int s = 0; s < kSamples; ++s) {
    lines.push_back(RayRow(band, camera, samples, row * kSamples + s).trace());
  }
  for (int m = 0; m < 2 * l + 1; ++m) {
    for (int column = 0; column < tileSize; ++column) {
      Rgb sum = {0.0f, 0.0f, 0.0f};
      for (const std::vector<Rgb> &line : lines) {
        for (int s = 0; s < kSamples; ++s) {
          const Rgb &c = line[static_cast<size_t>(m * samples + column * kSamples + s)];
          sum = {sum.r + c.r, sum.g + c.g, sum.b + c.b};
        }
      }
      uint8_t *pixel = image.at((bands - 1 - l + m) * tileSize + column, l * tileSize + row);
      const float channels[3] = {sum.r, sum.g, sum.b};
      for (int c = 0; c < 3; ++c) {
        const float mean = std::clamp(channels[c] / (kSamples * kSamples), 0.0f, 1.0f);
        pixel[c] = static_cast<uint8_t>(mean * 255.0f + 0.5f);
      }
    }
  }
}

}  // namespace

vekr_example::Image drawBasis(int bands, int tileSize, int threads, bool showProgress) {
  vekr_example::Image image((2 * bands - 1) * tileSize, bands * tileSize, 3);
  std::fill_n(image.data(), 3 * static_cast<size_t>(image.width()) * static_cast<size_t>(image.height()),
              uint8_t{255});
  const Camera camera;
  const int rows = bands * tileSize;
  vekr_example::Progress progress("drawing", rows, showProgress);
  std::atomic<int> next = 0;
  vekr_example::onThreads(vekr_example::threadsOrProcessors(threads), [&] {
    for (int number; (number = next++) < rows; progress.step()) {
      const int l = bands - 1 - number / tileSize;  // the most work first
      Band band(static_cast<uint32_t>(l));
      drawRow(band, camera, bands, l, number % tileSize, tileSize, image);
    }
  });
  return image;
}
