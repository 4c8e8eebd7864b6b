// A mesh made ready for tracing: box, tree, triangle records and normals.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "mesh.h"
#include "vekr.h"

struct BuildOptions {
  bool simple = false;  // one leaf with all triangles
  int maxDepth = -1;    // -1: 8 + 1.3 log2 of the triangle count
  float splitBias = 0.5f;
  int memoryLimitMB = -1;  // -1: no limit
};

class Scene {
 public:
  // Returns an empty string, or what went wrong. The mesh must stay where it is.
  std::string build(const Mesh &mesh, const BuildOptions &options);

  const Mesh &mesh() const { return *mesh_; }
  const VekrIntersectScene *view() const { return &view_; }
  const std::vector<float> &triangleNormals() const { return triangleNormals_; }
  double buildSeconds() const { return buildSeconds_; }
  int maxDepth() const { return maxDepth_; }
  int32_t treeBytes() const { return treeBytes_; }

 private:
  struct FreeTree {
    void operator()(VekrKDTreeNode *tree) const { vekrKDTreeFree(tree); }
  };

  const Mesh *mesh_ = nullptr;
  float box_[6] = {};
  std::unique_ptr<VekrKDTreeNode, FreeTree> tree_;
  int32_t treeBytes_ = 0;
  std::vector<VekrTriangleAccel> records_;
  std::vector<float> triangleNormals_;
  VekrIntersectScene view_ = {};
  double buildSeconds_ = 0;
  int maxDepth_ = 0;
};
