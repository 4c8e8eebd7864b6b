// Meshes from files that nobody has looked at before.
#pragma once

#include <string>

#include "mesh_import.h"
#include "reader_process.h"

// Reads a mesh file. Returns an empty string, or what is wrong. The file is read by a process of its own that hands over the
// mesh, its textures and its cameras. To be called before the program has started threads.
std::string loadMesh(const std::string &path, const ImportOptions &options,
                     const vekr_example::ReaderLimits &limits, Mesh &mesh);
