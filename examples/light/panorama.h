// Panoramas: pictures of everything around, 360 degrees wide and 180 high, as linear light.
#pragma once

#include <utility>
#include <vector>

#include "png_image.h"

struct Colour {
  float r, g, b;
};

// Three interleaved channels a pixel; rows from the zenith down, columns once around.
class Panorama {
 public:
  Panorama(int width, int height)
      : width_(width),
        height_(height),
        light_(3 * static_cast<size_t>(width) * static_cast<size_t>(height)) {}

  // From width * height * 3 values.
  Panorama(int width, int height, std::vector<float> light)
      : width_(width), height_(height), light_(std::move(light)) {}

  int width() const { return width_; }
  int height() const { return height_; }
  float *row(int y) { return light_.data() + 3 * static_cast<size_t>(y) * static_cast<size_t>(width_); }
  const float *row(int y) const {
    return light_.data() + 3 * static_cast<size_t>(y) * static_cast<size_t>(width_);
  }

 private:
  int width_;
  int height_;
  std::vector<float> light_;
};

// Directions of the pixels of a panorama, one row at a time: z points up.
class RowDirections {
 public:
  RowDirections(int width, int height);
  void moveTo(int row);
  size_t count() const { return z_.size(); }
  const float *x() const { return x_.data(); }
  const float *y() const { return y_.data(); }
  const float *z() const { return z_.data(); }

 private:
  int height_;
  std::vector<double> cosine_, sine_;  // of the columns' longitudes
  std::vector<float> x_, y_, z_;
};

// Solid angle of each pixel of a row; those of all pixels add up to 4 pi.
double solidAngle(int width, int height, int row);

// A clear sky with a low sun, much brighter than any picture can hold, over dark ground.
Panorama builtInSky(int width, int height);

// The light that a picture stands for.
Panorama fromPicture(const vekr_example::Image &image);

// As 8-bit picture; light below 0 becomes black, above 1 / exposure white.
vekr_example::Image toPicture(const Panorama &panorama, float exposure);
