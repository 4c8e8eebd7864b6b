// Builds trees for tests, and owns them.
#pragma once

#include <cstring>
#include <vector>

#include "tests/support/meshes.h"
#include "vekr.h"

namespace vekr_test {

struct TreeOptions {
  int32_t maxDepth = 25;
  float splitBias = 0.5f;
  int32_t memoryLimitMB = 1024;
  const float *pBounds = nullptr;
};

inline VekrPSAHBuildContext contextOf(const TreeOptions &options) {
  return {vekrPSAHBuildIdentifier, options.maxDepth, options.splitBias, options.memoryLimitMB,
          options.pBounds};
}

class Tree {
 public:
  Tree() = default;
  Tree(const Mesh &mesh, const TreeOptions &options) {
    const VekrPSAHBuildContext context = contextOf(options);
    build(mesh, &context);
  }
  Tree(const Tree &) = delete;
  Tree &operator=(const Tree &) = delete;
  ~Tree() { vekrKDTreeFree(root); }

  void build(const Mesh &mesh, const void *context) {
    // Arrays of no elements may have no address.
    static const float kVertex[3] = {};
    static const int32_t kTriangle[4] = {};
    status = vekrKDTreeBuildAlloc(&root, mesh.vertices.empty() ? kVertex : mesh.vertices.data(),
                                  mesh.indices.empty() ? kTriangle : mesh.indices.data(), mesh.vertexCount(),
                                  mesh.triangleCount(), &size, context);
  }

  const uint32_t *words() const { return reinterpret_cast<const uint32_t *>(root); }
  std::vector<uint32_t> block() const {
    return status == vekOk ? std::vector<uint32_t>(words(), words() + size / 4) : std::vector<uint32_t>();
  }

  VekStatus status = vekErrContext;
  VekrKDTreeNode *root = nullptr;
  int32_t size = 0;
};

}  // namespace vekr_test
