// Meshes and scenes of the hash rows.
#pragma once

#include <memory>

#include "hashes/rows.h"
#include "vekcore/vekcore.h"

namespace hashes {

struct Mesh {
  std::vector<float> vertices;
  std::vector<int32_t> indices;
  int32_t vertexCount() const { return static_cast<int32_t>(vertices.size() / 3); }
  int32_t triangleCount() const { return static_cast<int32_t>(indices.size() / 4); }
};

// A rough ground of side * side squares between -4 and 4: shared vertices, all triangles of like size.
inline Mesh ground(int32_t side) {
  Mesh mesh;
  Random random(17);
  for (int32_t y = 0; y <= side; ++y) {
    for (int32_t x = 0; x <= side; ++x) {
      const float step = 8.0f / static_cast<float>(side);
      mesh.vertices.insert(mesh.vertices.end(), {static_cast<float>(static_cast<double>(step) * x - 4.0),
                                                 static_cast<float>(static_cast<double>(step) * y - 4.0),
                                                 random.within(-0.5f, 0.5f)});
    }
  }
  for (int32_t y = 0; y < side; ++y) {
    for (int32_t x = 0; x < side; ++x) {
      const int32_t a = y * (side + 1) + x, b = a + side + 1;
      mesh.indices.insert(mesh.indices.end(), {a, a + 1, b, -7, a + 1, b + 1, b, -7});
    }
  }
  return mesh;
}

// Triangles of all sizes that cross each other; some without area, some twice, some in one coordinate plane.
inline Mesh soup(int32_t count) {
  Mesh mesh;
  Random random(23);
  for (int32_t i = 0; i < count; ++i) {
    const float reach = i % 7 == 0 ? 4.0f : 0.6f;
    float centre[3];
    for (float &c : centre) c = random.within(-3.0f, 3.0f);
    for (int32_t k = 0; k < 3; ++k) {
      for (int32_t axis = 0; axis < 3; ++axis) {
        const double off = i % 11 == axis ? 0.0 : random.within(-reach, reach);
        mesh.vertices.push_back(static_cast<float>(centre[axis] + off));
      }
    }
    const int32_t a = 3 * i;
    const bool flat = i % 13 == 0, again = i % 17 == 16;
    if (again) {
      mesh.indices.insert(mesh.indices.end(), {a - 3, a - 2, a - 1, 5});
    } else {
      mesh.indices.insert(mesh.indices.end(), {a, a + 1, flat ? a + 1 : a + 2, 5});
    }
  }
  return mesh;
}

// What the calls of intersection take of a mesh, with a tree of either builder.
class Scene {
 public:
  Scene(const Mesh &mesh, bool surfaceArea) : records_(static_cast<size_t>(mesh.triangleCount())) {
    vekrSetBoundBox_32f(mesh.vertices.data(), mesh.vertexCount(), box_);
    vekrTriangleAccelInit(records_.data(), mesh.vertices.data(), mesh.indices.data(), mesh.triangleCount());
    const VekrSimpleBuildContext simple = {vekrSimpleBuildIdentifier, 0};
    const VekrPSAHBuildContext psah = {vekrPSAHBuildIdentifier, 16, 0.5f, -1, box_};
    int32_t size = 0;
    vekrKDTreeBuildAlloc(&tree_, mesh.vertices.data(), mesh.indices.data(), mesh.vertexCount(),
                         mesh.triangleCount(), &size,
                         surfaceArea ? static_cast<const void *>(&psah) : static_cast<const void *>(&simple));
    scene = {box_, records_.data(), tree_};
  }
  ~Scene() { vekrKDTreeFree(tree_); }
  Scene(const Scene &) = delete;
  Scene &operator=(const Scene &) = delete;

  VekrIntersectScene scene;

 private:
  float box_[6];
  std::vector<VekrTriangleAccel> records_;
  VekrKDTreeNode *tree_ = nullptr;
};

}  // namespace hashes
