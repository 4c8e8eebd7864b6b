// Colours of a mesh's surface: of its materials, vertices and textures together.
#pragma once

#include <cstdint>
#include <vector>

#include "mesh.h"

class Surface {
 public:
  // Smaller copies of the textures are made here. The mesh must stay where it is.
  explicit Surface(const Mesh &mesh);

  // Whether all colours are those of the materials alone.
  bool isPlain() const { return mesh_.vertexColours.empty() && mesh_.textures.empty(); }

  // The linear colour of a triangle at a place whose first two vertices weigh `a` and `b`. `footprint`: how much of the
  // surface a sample covers, a length; textures are averaged over as much.
  void colour(int32_t triangle, float a, float b, float footprint, float *rgb) const;

 private:
  // A texture in halving sizes, down to a single pixel.
  struct Level {
    int32_t width, height;
    std::vector<uint8_t> pixels;
  };
  struct Pyramid {
    Texture::Wrap across, down;
    std::vector<Level> levels;
  };

  static Level halved(const Level &level);
  static void sample(const Pyramid &pyramid, const Level &level, float u, float v, float *rgb);
  void addTexture(const Pyramid &pyramid, const int32_t *corners, const float *weights, float footprint,
                  float *rgb) const;

  const Mesh &mesh_;
  std::vector<Pyramid> pyramids_;
};
