// A finished tree in a file, with the box and the triangle records that belong to it: mapped back, it needs no building.
#pragma once

#include <cstddef>
#include <string>

#include "mesh.h"
#include "output_file.h"
#include "vekr.h"

struct BuildOptions {
  bool simple = false;  // one leaf with all triangles
  int maxDepth = -1;    // -1: 8 + 1.3 log2 of the triangle count
  float splitBias = 0.5f;
  int memoryLimitMB = -1;  // -1: no limit
};

// What is saved. The mesh itself isn't: only a hash of it.
struct SavedTree {
  const Mesh &mesh;
  const BuildOptions &options;
  const float *box;
  const VekrKDTreeNode *root;
  int32_t treeBytes;
  const VekrTriangleAccel *records;
};

// Throws std::runtime_error; the caller commits.
void writeTree(const SavedTree &tree, vekr_example::OutputFile &output);

// A file mapped into memory. It is looked through when it is opened, node by node: a walk through what is bound never leads
// outside of it.
class TreeFile {
 public:
  TreeFile() = default;
  ~TreeFile();
  TreeFile(const TreeFile &) = delete;
  TreeFile &operator=(const TreeFile &) = delete;

  // Returns an empty string, or why the file is not the tree of this mesh.
  std::string open(const std::string &path, const Mesh &mesh);

  const BuildOptions &options() const { return options_; }
  const float *box() const;
  const VekrKDTreeNode *root() const;
  int32_t treeBytes() const;
  const VekrTriangleAccel *records() const;

 private:
  BuildOptions options_;
  const unsigned char *bytes_ = nullptr;
  size_t size_ = 0;
};
