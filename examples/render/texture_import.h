// Textures of a mesh file: within it, or in files beside it.
#pragma once

#include <string>

#include "mesh.h"

struct aiScene;

// Fills mesh.textures and mesh.materialTextures; the latter stays empty if no material has one. What isn't there, or is of a
// kind that can't be read, is left out with a note. Returns an empty string, or which texture is damaged.
std::string importTextures(const aiScene &scene, const std::string &meshPath, Mesh &mesh);
