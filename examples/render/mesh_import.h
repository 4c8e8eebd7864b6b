// Reads mesh files by assimp.
#pragma once

#include <string>

#include "mesh.h"

struct ImportOptions {
  Axis up = Axis::y;     // axis of the file that is turned to y
  bool textures = true;  // read them
  // Normals are made anew, smooth where triangles meet at less than so many degrees. Negative: those of the file, if it has
  // any; but those of an STL file, which are of single triangles, are always made anew, with kStlCrease.
  float crease = -1;
};
constexpr float kStlCrease = 40;

// Reads a mesh with all its parts in place. Returns an empty string, or what is wrong. On damaged files it may crash, hang or
// take all memory: loadMesh() calls it where that does no harm.
std::string importMesh(const std::string &path, const ImportOptions &options, Mesh &mesh);
