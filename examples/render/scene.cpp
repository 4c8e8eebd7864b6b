#include "scene.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace {

const char *explain(VekStatus status) {
  switch (status) {
    case vekErrMemAlloc:
    case vekErrTreeBuild:
      return "the memory for the tree does not suffice (see --memory)";
    case vekErrRange:
      return "depth or split bias out of range";
    default:
      return "the tree could not be built";
  }
}

int defaultDepth(int32_t triangles) {
  return std::clamp(static_cast<int>(8 + 1.3 * std::log2(std::max(triangles, 1))), 0, 50);
}

}  // namespace

std::string Scene::build(const Mesh &mesh, const BuildOptions &options) {
  mesh_ = &mesh;
  const float *vertices = mesh.vertices.data();
  const int32_t *indices = mesh.indices.data();
  const int32_t triangles = mesh.triangleCount();
  maxDepth_ = options.maxDepth < 0 ? defaultDepth(triangles) : options.maxDepth;

  const auto start = std::chrono::steady_clock::now();
  vekrSetBoundBox_32f(vertices, mesh.vertexCount(), box_);
  const VekrSimpleBuildContext simple = {vekrSimpleBuildIdentifier, maxDepth_};
  const VekrPSAHBuildContext psah = {vekrPSAHBuildIdentifier, maxDepth_, options.splitBias,
                                     options.memoryLimitMB, box_};
  VekrKDTreeNode *tree = nullptr;
  const VekStatus status =
      vekrKDTreeBuildAlloc(&tree, vertices, indices, mesh.vertexCount(), triangles, &treeBytes_,
                           options.simple ? static_cast<const void *>(&simple) : &psah);
  if (status != vekOk) return explain(status);
  tree_.reset(tree);
  buildSeconds_ = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

  records_.resize(static_cast<size_t>(triangles));
  vekrTriangleAccelInit(records_.data(), vertices, indices, triangles);
  triangleNormals_.resize(3 * static_cast<size_t>(triangles));
  vekrTriangleNormal_32f(vertices, indices, triangleNormals_.data(), triangles);
  view_ = {box_, records_.data(), tree_.get()};
  return "";
}
