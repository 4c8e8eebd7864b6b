// Triangle meshes, and one that is built in.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

using Point = std::array<double, 3>;

// A picture that lies on a surface: three bytes a pixel, rows from the top down, as a screen shows it.
struct Texture {
  enum Wrap : int32_t { repeat, clamp, mirror };
  int32_t width = 0, height = 0;
  Wrap across = repeat, down = repeat;
  std::vector<uint8_t> pixels;
};

// A camera of the file, in its coordinates with y up.
struct FileCamera {
  std::string name;
  Point position, towards, up;
  double horizontal = 0;  // field of view in radians
  double aspect = 0;      // of its picture, width by height; 0: not told
};

struct Mesh {
  static constexpr size_t kMost = size_t{1}
                                  << 29;  // vertices, and triangles: so that 32-bit counts hold their floats

  std::vector<float> vertices;    // three floats a vertex
  std::vector<float> normals;     // three floats a vertex, unit length
  std::vector<int32_t> indices;   // four ints a triangle; the fourth is not read
  std::vector<int32_t> material;  // one a triangle
  std::vector<float> colours;     // three floats a material, 0 to 1, linear

  // Empty where the file has none of them:
  std::vector<float> vertexColours;       // three floats a vertex, 0 to 1, linear
  std::vector<float> textureCoordinates;  // two floats a vertex: 0, 0 is the lower left corner
  std::vector<int32_t> materialTextures;  // one a material: a number of `textures`, or -1
  std::vector<Texture> textures;
  std::vector<FileCamera> cameras;
  std::vector<std::string> notes;  // what has been left out, each a line

  int32_t vertexCount() const { return static_cast<int32_t>(vertices.size() / 3); }
  int32_t triangleCount() const { return static_cast<int32_t>(indices.size() / 4); }
  void addTriangle(int32_t a, int32_t b, int32_t c, int32_t materialNumber);
};

enum class Axis { y, z };

// A torus knot on which light has something to do.
Mesh makeKnot();

// Where a point of the file lies after placeOnFloor(): (p - move) * scale.
struct Placement {
  Point move = {0, 0, 0};
  double scale = 1;

  Point operator()(const Point &p) const {
    return {(p[0] - move[0]) * scale, (p[1] - move[1]) * scale, (p[2] - move[2]) * scale};
  }
};

struct Floor {
  bool wanted = true;
  std::array<float, 3> colour = {0.55f, 0.55f, 0.52f};  // linear
};

// Moves and scales a mesh so that its bounding sphere has the given radius and its lowest point stands on y = 0; adds
// a floor if asked for.
Placement placeOnFloor(Mesh &mesh, float radius, const Floor &floor);
