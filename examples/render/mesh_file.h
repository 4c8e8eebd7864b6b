// Meshes from files that nobody has looked at before.
#pragma once

#include <string>

#include "mesh.h"

struct ImportLimits {
  int memoryMB = 4096;  // beyond what the program itself takes
  int seconds = 120;
};

// Reads a mesh file, turned so that `up` becomes y. Returns an empty string, or what is wrong. The file is read by a process
// of its own that hands over the mesh: importers crash on some damaged files, and take all memory and time on others.
// To be called before the program has started threads.
std::string loadMesh(const std::string &path, Axis up, const ImportLimits &limits, Mesh &mesh);
