// A mesh with what rays need.
#pragma once

#include <cmath>

#include "compare.h"
#include "tests/support/meshes.h"

namespace vekr_bench {

struct Scene {
  std::string name;
  vekr_test::Mesh mesh;
  float box[6];
  std::vector<VekrTriangleAccel> records;
  VekrPSAHBuildContext context;

  Scene(const Library &library, const std::string &called, vekr_test::Mesh made)
      : name(called), mesh(std::move(made)) {
    VEKR_OF(library, vekrSetBoundBox_32f)(mesh.vertices.data(), mesh.vertexCount(), box);
    records.resize(static_cast<size_t>(mesh.triangleCount()));
    VEKR_OF(library, vekrTriangleAccelInit)
    (records.data(), mesh.vertices.data(), mesh.indices.data(), mesh.triangleCount());
    const int depth = std::min(50, static_cast<int>(8 + 1.3 * std::log2(mesh.triangleCount())));
    context = {vekrPSAHBuildIdentifier, depth, 0.5f, -1, box};
  }
  VekrKDTreeNode *build(const Library &library, int32_t *pSize) const {
    VekrKDTreeNode *root = nullptr;
    VEKR_OF(library, vekrKDTreeBuildAlloc)
    (&root, mesh.vertices.data(), mesh.indices.data(), mesh.vertexCount(), mesh.triangleCount(), pSize,
     &context);
    return root;
  }
};

}  // namespace vekr_bench
