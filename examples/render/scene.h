// A mesh made ready for tracing: box, tree, triangle records and normals.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "mesh.h"
#include "output_file.h"
#include "tree_file.h"
#include "vekr.h"

class Scene {
 public:
  // Builds tree and records. Returns an empty string, or what went wrong. The mesh must stay where it is.
  std::string build(const Mesh &mesh, const BuildOptions &options);
  // Takes them from a file that save() has made, and which must be of this very mesh.
  std::string load(const Mesh &mesh, const std::string &path);
  // For load(). Throws std::runtime_error; the caller commits.
  void save(vekr_example::OutputFile &output) const;

  const Mesh &mesh() const { return *mesh_; }
  const VekrIntersectScene *view() const { return &view_; }
  const std::vector<float> &triangleNormals() const { return triangleNormals_; }
  double seconds() const { return seconds_; }  // that building or loading took
  bool isLoaded() const { return file_ != nullptr; }
  const BuildOptions &options() const { return options_; }  // of the build; maxDepth as it was used
  int32_t treeBytes() const { return treeBytes_; }

 private:
  struct FreeTree {
    void operator()(VekrKDTreeNode *tree) const { vekrKDTreeFree(tree); }
  };

  void bind(const VekrTriangleAccel *records, const VekrKDTreeNode *root);

  const Mesh *mesh_ = nullptr;
  BuildOptions options_;
  float box_[6] = {};
  std::unique_ptr<VekrKDTreeNode, FreeTree> tree_;
  int32_t treeBytes_ = 0;
  std::vector<VekrTriangleAccel> records_;
  std::unique_ptr<TreeFile> file_;  // instead of tree_ and records_
  std::vector<float> triangleNormals_;
  VekrIntersectScene view_ = {};
  double seconds_ = 0;
};
