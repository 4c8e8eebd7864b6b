#include "mesh_file.h"

#include <algorithm>
#include <cmath>

#include "output_file.h"

namespace {

using vekr_example::PipeReceiver;
using vekr_example::PipeSender;

constexpr uint64_t kMostTextures = 4096, kMostCameras = 4096, kMostNotes = 100, kLongestName = 4096;

void sendMesh(const Mesh &mesh, PipeSender &to) {
  to.list(mesh.vertices);
  to.list(mesh.normals);
  to.list(mesh.indices);
  to.list(mesh.material);
  to.list(mesh.colours);
  to.list(mesh.vertexColours);
  to.list(mesh.textureCoordinates);
  to.list(mesh.materialTextures);
  to.value(uint64_t{mesh.textures.size()});
  for (const Texture &texture : mesh.textures) {
    const int32_t head[4] = {texture.width, texture.height, texture.across, texture.down};
    to.value(head);
    to.list(texture.pixels);
  }
  to.value(uint64_t{mesh.cameras.size()});
  for (const FileCamera &camera : mesh.cameras) {
    to.text(camera.name.substr(0, kLongestName));
    to.value(camera.position);
    to.value(camera.towards);
    to.value(camera.up);
    to.value(camera.horizontal);
    to.value(camera.aspect);
  }
  to.value(uint64_t{std::min<uint64_t>(mesh.notes.size(), kMostNotes)});
  for (size_t i = 0; i < std::min<size_t>(mesh.notes.size(), kMostNotes); ++i) {
    to.text(mesh.notes[i].substr(0, kLongestName));
  }
}

bool receiveTexture(PipeReceiver &from, Texture &texture) {
  int32_t head[4];
  if (!from.value(head) || head[0] < 1 || head[1] < 1) return false;
  const uint64_t pixels = static_cast<uint64_t>(head[0]) * static_cast<uint64_t>(head[1]);
  for (const int32_t wrap : {head[2], head[3]}) {
    if (wrap < Texture::repeat || wrap > Texture::mirror) return false;
  }
  texture.width = head[0];
  texture.height = head[1];
  texture.across = static_cast<Texture::Wrap>(head[2]);
  texture.down = static_cast<Texture::Wrap>(head[3]);
  return pixels <= Mesh::kMost && from.list(texture.pixels, 3 * pixels) &&
         texture.pixels.size() == 3 * pixels;
}

bool receiveCamera(PipeReceiver &from, FileCamera &camera) {
  return from.text(camera.name, kLongestName) && from.value(camera.position) && from.value(camera.towards) &&
         from.value(camera.up) && from.value(camera.horizontal) && from.value(camera.aspect);
}

template <class Item, class Receive>
bool receiveItems(PipeReceiver &from, std::vector<Item> &items, uint64_t most, const Receive &receive) {
  uint64_t count = 0;
  if (!from.value(count) || count > most) return false;
  items.resize(count);
  return std::all_of(items.begin(), items.end(), [&](Item &item) { return receive(from, item); });
}

bool receiveMesh(PipeReceiver &from, Mesh &mesh) {
  constexpr uint64_t kMost = Mesh::kMost;
  return from.list(mesh.vertices, 3 * kMost) && from.list(mesh.normals, 3 * kMost) &&
         from.list(mesh.indices, 4 * kMost) && from.list(mesh.material, kMost) &&
         from.list(mesh.colours, 3 * kMost) && from.list(mesh.vertexColours, 3 * kMost) &&
         from.list(mesh.textureCoordinates, 2 * kMost) && from.list(mesh.materialTextures, kMost) &&
         receiveItems(from, mesh.textures, kMostTextures, receiveTexture) &&
         receiveItems(from, mesh.cameras, kMostCameras, receiveCamera) &&
         receiveItems(from, mesh.notes, kMostNotes,
                      [](PipeReceiver &pipe, std::string &note) { return pipe.text(note, kLongestName); });
}

// Whether the lists belong together.
bool haveSense(const Mesh &mesh) {
  const size_t vertices = mesh.vertices.size() / 3, materials = mesh.colours.size() / 3;
  const auto absentOr = [](size_t size, size_t wanted) { return size == 0 || size == wanted; };
  return mesh.vertices.size() == 3 * vertices && mesh.normals.size() == 3 * vertices &&
         mesh.indices.size() == 4 * mesh.material.size() && mesh.colours.size() == 3 * materials &&
         absentOr(mesh.vertexColours.size(), 3 * vertices) &&
         absentOr(mesh.textureCoordinates.size(), 2 * vertices) &&
         absentOr(mesh.materialTextures.size(), materials) &&
         std::all_of(mesh.materialTextures.begin(), mesh.materialTextures.end(), [&](int32_t texture) {
           return texture >= -1 && texture < static_cast<int32_t>(mesh.textures.size()) &&
                  (texture < 0 || !mesh.textureCoordinates.empty());
         });
}

// Whatever the other process has made of the file: nothing here may lead outside the lists.
std::string judge(Mesh &mesh) {
  if (!haveSense(mesh)) return "has lists that don't belong together";
  if (mesh.triangleCount() == 0) return "has no triangle";
  const auto materials = static_cast<int32_t>(mesh.colours.size() / 3);
  for (size_t t = 0; t < mesh.material.size(); ++t) {
    bool inside = mesh.material[t] >= 0 && mesh.material[t] < materials;
    for (size_t k = 0; k < 3; ++k) {
      const int32_t vertex = mesh.indices[4 * t + k];
      inside = inside && vertex >= 0 && vertex < mesh.vertexCount();
    }
    if (!inside) return "has a triangle of vertices or materials that aren't there";
  }
  if (!std::all_of(mesh.vertices.begin(), mesh.vertices.end(), [](float x) { return std::isfinite(x); })) {
    return "has a vertex that is not a finite number";
  }
  for (float &part : mesh.vertexColours)
    part = part > 0.0f ? std::min(part, 1.0f) : 0.0f;  // that, too, for a NaN
  for (float &place : mesh.textureCoordinates) {
    if (!std::isfinite(place)) place = 0.0f;
  }
  return "";
}

}  // namespace

std::string loadMesh(const std::string &path, const ImportOptions &options,
                     const vekr_example::ReaderLimits &limits, Mesh &mesh) {
  if (std::string reason = vekr_example::whyUnreadable(path); !reason.empty()) return reason;
  Mesh read;
  std::string error = vekr_example::readApart(
      limits, {"mesh", "--import-memory", "--import-time"}, [&] { return importMesh(path, options, read); },
      [&](PipeSender &to) { sendMesh(read, to); },
      [&](PipeReceiver &from) { return receiveMesh(from, mesh); });
  return error.empty() ? judge(mesh) : error;
}
