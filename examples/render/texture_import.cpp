#include "texture_import.h"

#include <assimp/material.h>
#include <assimp/scene.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <stdexcept>

#include "output_file.h"
#include "picture_codec.h"

namespace {

namespace fs = std::filesystem;

constexpr uintmax_t kMostFileBytes = uintmax_t{1} << 30;

// A texture that the mesh can do without, for a reason that the user should hear.
struct LeftOut : std::runtime_error {
  using std::runtime_error::runtime_error;
};

Texture fromTexels(const aiTexture &embedded) {
  Texture texture;
  const uint64_t count = uint64_t{embedded.mWidth} * embedded.mHeight;
  if (count == 0 || count > kMostPicturePixels) throw std::runtime_error("its size makes no sense");
  texture.width = static_cast<int32_t>(embedded.mWidth);
  texture.height = static_cast<int32_t>(embedded.mHeight);
  for (uint64_t i = 0; i < count; ++i) {
    const aiTexel &texel = embedded.pcData[i];
    texture.pixels.insert(texture.pixels.end(), {texel.r, texel.g, texel.b});
  }
  return texture;
}

Texture decode(const uint8_t *bytes, size_t count) {
  if (!isPictureKnown(bytes, count)) throw LeftOut("is neither PNG nor JPEG");
  if (const std::string reason = whyNoPicture(bytes, count); !reason.empty()) throw LeftOut(reason);
  const vekr_example::Image image = decodePicture(bytes, count);
  Texture texture;
  texture.width = image.width();
  texture.height = image.height();
  texture.pixels.assign(image.data(), image.data() + 3 * static_cast<size_t>(image.width()) *
                                                         static_cast<size_t>(image.height()));
  return texture;
}

// The file as it is named, from the mesh's folder on; or, as names often come from another machine, its last part there.
Texture fromFile(const fs::path &folder, std::string name) {
  std::replace(name.begin(), name.end(), '\\', '/');
  for (const fs::path &path : {folder / name, folder / fs::path(name).filename()}) {
    if (!vekr_example::whyUnreadable(path.string()).empty()) continue;
    std::error_code code;
    if (fs::file_size(path, code) > kMostFileBytes || code) throw std::runtime_error("the file is too large");
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    return decode(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
  }
  throw LeftOut("is not there");
}

Texture load(const aiScene &scene, const fs::path &folder, const std::string &name) {
  const aiTexture *embedded = scene.GetEmbeddedTexture(name.c_str());
  if (embedded == nullptr) return fromFile(folder, name);
  if (embedded->mHeight != 0) return fromTexels(*embedded);
  return decode(reinterpret_cast<const uint8_t *>(embedded->pcData), embedded->mWidth);
}

Texture::Wrap wrapOf(aiTextureMapMode mode) {
  if (mode == aiTextureMapMode_Mirror) return Texture::mirror;
  return mode == aiTextureMapMode_Wrap ? Texture::repeat : Texture::clamp;
}

}  // namespace

std::string importTextures(const aiScene &scene, const std::string &meshPath, Mesh &mesh) {
  const fs::path folder = fs::path(meshPath).parent_path();
  std::map<std::string, int32_t> known;  // by name and wrapping; -1: left out
  std::vector<int32_t> ofMaterials(scene.mNumMaterials, -1);
  for (unsigned i = 0; i < scene.mNumMaterials; ++i) {
    aiString name;
    aiTextureMapMode modes[3] = {aiTextureMapMode_Wrap, aiTextureMapMode_Wrap, aiTextureMapMode_Wrap};
    const aiMaterial &material = *scene.mMaterials[i];
    bool found = false;
    for (const aiTextureType type : {aiTextureType_DIFFUSE, aiTextureType_BASE_COLOR}) {
      found = found ||
              material.GetTexture(type, 0, &name, nullptr, nullptr, nullptr, nullptr, modes) == AI_SUCCESS;
    }
    if (!found || name.length == 0) continue;
    const Texture::Wrap across = wrapOf(modes[0]), down = wrapOf(modes[1]);
    const std::string key = std::string(name.C_Str()) + '\n' + std::to_string(across * 3 + down);
    const auto [place, isNew] = known.try_emplace(key, -1);
    if (isNew) {
      try {
        Texture texture = load(scene, folder, name.C_Str());
        texture.across = across;
        texture.down = down;
        place->second = static_cast<int32_t>(mesh.textures.size());
        mesh.textures.push_back(std::move(texture));
      } catch (const LeftOut &reason) {
        mesh.notes.push_back("texture '" + std::string(name.C_Str()) + "' is left out: it " + reason.what());
      } catch (const std::runtime_error &reason) {
        return "has a damaged texture '" + std::string(name.C_Str()) + "': " + reason.what() +
               " (--no-textures does without)";
      }
    }
    ofMaterials[i] = place->second;
  }
  if (!mesh.textures.empty()) mesh.materialTextures = std::move(ofMaterials);
  return "";
}
