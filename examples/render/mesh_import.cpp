#include "mesh_import.h"

#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <algorithm>
#include <assimp/Importer.hpp>
#include <new>

namespace {

constexpr float kDarkest = 0.02f, kBrightest = 0.95f;

// Turns z-up coordinates into y-up ones.
void append(std::vector<float> &list, const aiVector3D &v, Axis up) {
  const float turned[2][3] = {{v.x, v.y, v.z}, {v.x, v.z, -v.y}};
  const float *p = turned[up == Axis::z];
  list.insert(list.end(), p, p + 3);
}

void appendMaterials(const aiScene &scene, Mesh &mesh) {
  for (unsigned i = 0; i < scene.mNumMaterials; ++i) {
    aiColor4D colour(0.7f, 0.7f, 0.7f, 1.0f);
    if (scene.mMaterials[i]->Get(AI_MATKEY_BASE_COLOR, colour) != AI_SUCCESS) {
      scene.mMaterials[i]->Get(AI_MATKEY_COLOR_DIFFUSE, colour);
    }
    for (const float c : {colour.r, colour.g, colour.b}) {
      mesh.colours.push_back(c > kDarkest ? std::min(c, kBrightest) : kDarkest);  // that, too, for a NaN
    }
  }
  if (scene.mNumMaterials == 0) mesh.colours = {0.7f, 0.7f, 0.7f};
}

void appendPart(const aiMesh &part, Axis up, Mesh &mesh) {
  const int32_t first = mesh.vertexCount();
  for (unsigned i = 0; i < part.mNumVertices; ++i) {
    append(mesh.vertices, part.mVertices[i], up);
    append(mesh.normals, part.HasNormals() ? part.mNormals[i] : aiVector3D(0, 1, 0), up);
  }
  for (unsigned i = 0; i < part.mNumFaces; ++i) {
    const aiFace &face = part.mFaces[i];
    if (face.mNumIndices != 3) continue;  // points and lines
    mesh.addTriangle(
        first + static_cast<int32_t>(face.mIndices[0]), first + static_cast<int32_t>(face.mIndices[1]),
        first + static_cast<int32_t>(face.mIndices[2]), static_cast<int32_t>(part.mMaterialIndex));
  }
}

}  // namespace

std::string importMesh(const std::string &path, Axis up, Mesh &mesh) {
  Assimp::Importer importer;
  importer.SetPropertyInteger(AI_CONFIG_PP_SBP_REMOVE, aiPrimitiveType_POINT | aiPrimitiveType_LINE);
  const aiScene *scene = importer.ReadFile(path, aiProcess_Triangulate | aiProcess_PreTransformVertices |
                                                     aiProcess_JoinIdenticalVertices |
                                                     aiProcess_GenSmoothNormals | aiProcess_SortByPType);
  if (scene == nullptr) {
    const std::string reason = importer.GetErrorString();
    if (reason == std::bad_alloc().what()) throw std::bad_alloc();  // which it has caught
    return "is no mesh that can be read: " + reason;
  }
  size_t vertices = 0, faces = 0;
  for (unsigned i = 0; i < scene->mNumMeshes; ++i) {
    vertices += scene->mMeshes[i]->mNumVertices;
    faces += scene->mMeshes[i]->mNumFaces;
  }
  if (vertices > Mesh::kMost || faces > Mesh::kMost) return "has too many triangles";
  appendMaterials(*scene, mesh);
  for (unsigned i = 0; i < scene->mNumMeshes; ++i) appendPart(*scene->mMeshes[i], up, mesh);
  return "";
}
