#include "mesh_import.h"

#include <assimp/config.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <algorithm>
#include <assimp/Importer.hpp>
#include <cmath>
#include <filesystem>
#include <new>
#include <set>

#include "texture_import.h"

namespace {

constexpr float kDarkest = 0.02f, kBrightest = 0.95f;

// Turns z-up coordinates into y-up ones.
aiVector3D turned(const aiVector3D &v, Axis up) { return up == Axis::z ? aiVector3D(v.x, v.z, -v.y) : v; }

void append(std::vector<float> &list, const aiVector3D &v) { list.insert(list.end(), {v.x, v.y, v.z}); }

std::string lowerEnding(const std::string &path) {
  std::string ending = std::filesystem::path(path).extension().string();
  std::transform(ending.begin(), ending.end(), ending.begin(),
                 [](unsigned char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c); });
  return ending;
}

// The transfer function of ordinary pictures (IEC 61966-2-1).
float toLinear(float encoded) {
  return encoded <= 0.04045f ? encoded / 12.92f : std::pow((encoded + 0.055f) / 1.055f, 2.4f);
}

// Materials whose colour says nothing, as something else colours their surfaces.
std::set<unsigned> plainMaterials(const aiScene &scene, bool linearColours) {
  std::set<unsigned> plain;
  for (unsigned i = 0; i < scene.mNumMeshes && !linearColours; ++i) {
    const unsigned material = scene.mMeshes[i]->mMaterialIndex;
    if (!scene.mMeshes[i]->HasVertexColors(0) || material >= scene.mNumMaterials) continue;
    aiString name;
    scene.mMaterials[material]->Get(AI_MATKEY_NAME, name);
    // The grey of files without materials.
    if (name.length == 0 || name == aiString(AI_DEFAULT_MATERIAL_NAME)) plain.insert(material);
  }
  return plain;
}

void appendMaterials(const aiScene &scene, const std::set<unsigned> &plain, Mesh &mesh) {
  for (unsigned i = 0; i < scene.mNumMaterials; ++i) {
    aiColor4D colour(0.7f, 0.7f, 0.7f, 1.0f);
    if (scene.mMaterials[i]->Get(AI_MATKEY_BASE_COLOR, colour) != AI_SUCCESS) {
      scene.mMaterials[i]->Get(AI_MATKEY_COLOR_DIFFUSE, colour);
    }
    // A black surface under a texture is how some exporters say that the texture is all.
    const bool textured = !mesh.materialTextures.empty() && mesh.materialTextures[i] >= 0;
    if (plain.count(i) != 0 || (textured && colour.IsBlack())) colour = aiColor4D(1, 1, 1, 1);
    for (const float c : {colour.r, colour.g, colour.b}) {
      mesh.colours.push_back(c > kDarkest ? std::min(c, kBrightest) : kDarkest);  // that, too, for a NaN
    }
  }
  if (scene.mNumMaterials == 0) mesh.colours = {0.7f, 0.7f, 0.7f};
}

// Texture coordinates lie in one of several sets: the material tells which.
unsigned coordinateSet(const aiScene &scene, const aiMesh &part) {
  int set = 0;
  if (part.mMaterialIndex < scene.mNumMaterials) {
    const aiMaterial &material = *scene.mMaterials[part.mMaterialIndex];
    if (material.Get(AI_MATKEY_UVWSRC(aiTextureType_DIFFUSE, 0), set) != AI_SUCCESS) {
      material.Get(AI_MATKEY_UVWSRC(aiTextureType_BASE_COLOR, 0), set);
    }
  }
  return set >= 0 && set < AI_MAX_NUMBER_OF_TEXTURECOORDS && part.HasTextureCoords(static_cast<unsigned>(set))
             ? static_cast<unsigned>(set)
             : 0;
}

void appendPart(const aiScene &scene, const aiMesh &part, Axis up, bool linearColours, Mesh &mesh) {
  const int32_t first = mesh.vertexCount();
  const unsigned set = coordinateSet(scene, part);
  for (unsigned i = 0; i < part.mNumVertices; ++i) {
    append(mesh.vertices, turned(part.mVertices[i], up));
    append(mesh.normals, turned(part.HasNormals() ? part.mNormals[i] : aiVector3D(0, 1, 0), up));
  }
  if (part.HasVertexColors(0)) {
    mesh.vertexColours.resize(3 * static_cast<size_t>(first), 1.0f);
    for (unsigned i = 0; i < part.mNumVertices; ++i) {
      const aiColor4D &c = part.mColors[0][i];
      for (const float value : {c.r, c.g, c.b})
        mesh.vertexColours.push_back(linearColours ? value : toLinear(value));
    }
  }
  if (!mesh.textures.empty() && part.HasTextureCoords(set)) {
    mesh.textureCoordinates.resize(2 * static_cast<size_t>(first), 0.0f);
    for (unsigned i = 0; i < part.mNumVertices; ++i) {
      const aiVector3D &place = part.mTextureCoords[set][i];
      mesh.textureCoordinates.insert(mesh.textureCoordinates.end(), {place.x, place.y});
    }
  }
  for (unsigned i = 0; i < part.mNumFaces; ++i) {
    const aiFace &face = part.mFaces[i];
    if (face.mNumIndices != 3) continue;  // points and lines
    mesh.addTriangle(
        first + static_cast<int32_t>(face.mIndices[0]), first + static_cast<int32_t>(face.mIndices[1]),
        first + static_cast<int32_t>(face.mIndices[2]), static_cast<int32_t>(part.mMaterialIndex));
  }
}

// Lists that only some parts have say nothing, white or the corner of a texture, of the others.
void fillUp(Mesh &mesh) {
  if (!mesh.vertexColours.empty()) mesh.vertexColours.resize(mesh.vertices.size(), 1.0f);
  if (!mesh.textureCoordinates.empty() || !mesh.textures.empty()) {
    mesh.textureCoordinates.resize(mesh.vertices.size() / 3 * 2, 0.0f);
  }
}

// Cameras stand in their nodes' coordinates.
void appendCameras(const aiScene &scene, Axis up, bool isGltf, Mesh &mesh) {
  for (unsigned i = 0; i < scene.mNumCameras; ++i) {
    const aiCamera &camera = *scene.mCameras[i];
    aiMatrix4x4 whole;
    int depth = 0;
    for (const aiNode *node = scene.mRootNode->FindNode(camera.mName); node != nullptr && depth < 10000;
         ++depth) {
      whole = node->mTransformation * whole;
      node = node->mParent;
    }
    const aiMatrix3x3 turn(whole);
    const auto point = [&](const aiVector3D &v) {
      const aiVector3D t = turned(v, up);
      return Point{t.x, t.y, t.z};
    };
    FileCamera found;
    found.name = camera.mName.C_Str();
    // assimp's glTF importer gives cameras the translation of their nodes once more.
    found.position = point(whole * (isGltf ? aiVector3D() : camera.mPosition));
    found.towards = point(turn * camera.mLookAt);
    found.up = point(turn * camera.mUp);
    found.horizontal = camera.mHorizontalFOV;
    found.aspect = camera.mAspect;
    mesh.cameras.push_back(std::move(found));
  }
}

}  // namespace

std::string importMesh(const std::string &path, const ImportOptions &options, Mesh &mesh) {
  Assimp::Importer importer;
  importer.SetPropertyInteger(AI_CONFIG_PP_SBP_REMOVE, aiPrimitiveType_POINT | aiPrimitiveType_LINE);
  const std::string ending = lowerEnding(path);
  const bool isGltf = ending == ".gltf" || ending == ".glb";
  const float crease = options.crease < 0 && ending == ".stl" ? kStlCrease : options.crease;
  unsigned steps = aiProcess_Triangulate | aiProcess_PreTransformVertices | aiProcess_JoinIdenticalVertices |
                   aiProcess_GenSmoothNormals | aiProcess_SortByPType;
  if (crease >= 0) {  // without normals vertices at one place are equal, and are joined
    steps |= aiProcess_RemoveComponent;
    importer.SetPropertyInteger(AI_CONFIG_PP_RVC_FLAGS, aiComponent_NORMALS);
    importer.SetPropertyFloat(AI_CONFIG_PP_GSN_MAX_SMOOTHING_ANGLE, crease);
  }
  if (options.textures) steps |= aiProcess_TransformUVCoords | aiProcess_GenUVCoords;
  const aiScene *scene = importer.ReadFile(path, 0);
  if (scene != nullptr) {
    appendCameras(*scene, options.up, isGltf, mesh);
    scene = importer.ApplyPostProcessing(steps);
  }
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
  if (options.textures) {
    if (const std::string error = importTextures(*scene, path, mesh); !error.empty()) return error;
  }
  appendMaterials(*scene, plainMaterials(*scene, isGltf), mesh);
  for (unsigned i = 0; i < scene->mNumMeshes; ++i) {
    appendPart(*scene, *scene->mMeshes[i], options.up, isGltf, mesh);  // whose colours are linear
  }
  fillUp(mesh);
  return "";
}
