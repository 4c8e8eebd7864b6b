// Reads mesh files by assimp.
#pragma once

#include <string>

#include "mesh.h"

// Reads a mesh with all its parts in place, turned so that `up` becomes y. Returns an empty string, or what is wrong.
// On damaged files it may crash, hang or take all memory: loadMesh() calls it where that does no harm.
std::string importMesh(const std::string &path, Axis up, Mesh &mesh);
