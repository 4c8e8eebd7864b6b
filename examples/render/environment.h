// What surrounds a scene: what rays see that hit nothing, and the light that comes from everywhere.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>

#include "lighting.h"
#include "panorama.h"

using Rgb = std::array<float, 3>;  // linear

struct EnvironmentOptions {
  std::string panorama;           // file, or empty: the built-in sky
  int bands = 4;                  // highest band of the panorama's light
  float turn = 0;                 // degrees by which the panorama is turned
  float ambient = 1;              // what the light from everywhere is multiplied with
  std::optional<Rgb> background;  // seen instead of sky or panorama
};

class Environment {
 public:
  // Reads and projects the panorama; throws std::runtime_error. To be made before the program has started threads.
  explicit Environment(const EnvironmentOptions &options);

  bool hasPanorama() const { return panorama_ != nullptr; }

  // What a ray sees that leaves in this direction, of any length.
  void seen(float x, float y, float z, float *rgb) const;

  // The light from everywhere where there is no panorama.
  Rgb plainLight() const;

  // Where there is one: light that white matt surfaces send back, by their normals, `count` unit vectors in three planes.
  // `light`: three planes, out; `work`: three planes more.
  void sentBack(const float *const *normals, float *const *light, float *const *work, int32_t count) const;

  // How bright the surroundings are in a direction, never 0: what directions weigh that are sampled.
  float weight(float x, float y, float z) const;

 private:
  // Directions of the scene, y up, as those of a panorama, z up: turning right is going right in it.
  void toPanorama(float x, float y, float z, float *direction) const;

  EnvironmentOptions options_;
  float cosine_ = 1, sine_ = 0;
  std::unique_ptr<Panorama> panorama_;
  std::unique_ptr<Harmonics> harmonics_;
  Coefficients sent_, light_;
};
