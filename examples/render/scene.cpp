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
  options_ = options;
  const float *vertices = mesh.vertices.data();
  const int32_t *indices = mesh.indices.data();
  const int32_t triangles = mesh.triangleCount();
  if (options_.maxDepth < 0) options_.maxDepth = defaultDepth(triangles);

  const auto start = std::chrono::steady_clock::now();
  vekrSetBoundBox_32f(vertices, mesh.vertexCount(), box_);
  const VekrSimpleBuildContext simple = {vekrSimpleBuildIdentifier, options_.maxDepth};
  const VekrPSAHBuildContext psah = {vekrPSAHBuildIdentifier, options_.maxDepth, options_.splitBias,
                                     options_.memoryLimitMB, box_};
  VekrKDTreeNode *tree = nullptr;
  const VekStatus status =
      vekrKDTreeBuildAlloc(&tree, vertices, indices, mesh.vertexCount(), triangles, &treeBytes_,
                           options_.simple ? static_cast<const void *>(&simple) : &psah);
  if (status != vekOk) return explain(status);
  tree_.reset(tree);
  seconds_ = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

  records_.resize(static_cast<size_t>(triangles));
  vekrTriangleAccelInit(records_.data(), vertices, indices, triangles);
  bind(records_.data(), tree_.get());
  return "";
}

std::string Scene::load(const Mesh &mesh, const std::string &path) {
  mesh_ = &mesh;
  const auto start = std::chrono::steady_clock::now();
  auto file = std::make_unique<TreeFile>();
  if (std::string error = file->open(path, mesh); !error.empty()) return error;
  seconds_ = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  file_ = std::move(file);
  options_ = file_->options();
  std::copy_n(file_->box(), 6, box_);
  treeBytes_ = file_->treeBytes();
  bind(file_->records(), file_->root());
  return "";
}

void Scene::save(vekr_example::OutputFile &output) const {
  writeTree({*mesh_, options_, box_, view_.pRoot, treeBytes_, view_.pTriangles}, output);
}

void Scene::bind(const VekrTriangleAccel *records, const VekrKDTreeNode *root) {
  const int32_t triangles = mesh_->triangleCount();
  triangleNormals_.resize(3 * static_cast<size_t>(triangles));
  vekrTriangleNormal_32f(mesh_->vertices.data(), mesh_->indices.data(), triangleNormals_.data(), triangles);
  view_ = {box_, records, root};
}
