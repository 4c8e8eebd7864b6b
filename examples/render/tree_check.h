// Whether a tree that comes from outside can be walked.
#pragma once

#include <cstdint>

#include "vekr.h"

// What is wrong with a block of `treeBytes` bytes, a multiple of 4 and at least 16, as the tree of `triangles` triangles, or
// with their records. Null if no walk through it leads outside of the block, of the records, of their numbers, or deeper than
// walks can go.
const char *findTreeFault(const VekrKDTreeNode *root, int32_t treeBytes, const VekrTriangleAccel *records,
                          int32_t triangles);
