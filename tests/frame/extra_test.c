/* The optional helpers as a C program uses them, without a cast and without a warning. */
#include "frame/extra_test.h"

#include "vekr_extra.h"

int32_t extraTraceFromC(const float *pVertices, const int32_t *pIndices, int32_t vertexCount,
                        int32_t triangleCount) {
  float *directions[3], *distances, *weights[2], box[6];
  const float eye[3] = {0.25f, 0.25f, 2};
  const VekrSimpleBuildContext context = {vekrSimpleBuildIdentifier, 0};
  const VekrBlockSize block = {4, 4};
  VekrTriangleAccel records[16];
  VekrExtraMeshReport report;
  VekrIntersectScene scene;
  VekrKDTreeNode *tree;
  int32_t *hits, size, i, count = 0;

  if (triangleCount > 16) return -1;
  if (vekrExtraCheckMesh(pVertices, pIndices, vertexCount, triangleCount, &report) != vekOk) return -2;
  if (vekrExtraAllocPlanes_32f(directions, 3, 16) != vekOk) return -3;
  if (vekrExtraAllocPlanes_32f(weights, 2, 16) != vekOk) return -3;
  if (vekrExtraAllocPlanes_32f(&distances, 1, 16) != vekOk) return -3;
  if (vekrExtraAllocPlanes_32s(&hits, 1, 16) != vekOk) return -3;
  vekrSetBoundBox_32f(pVertices, vertexCount, box);
  vekrTriangleAccelInit(records, pVertices, pIndices, triangleCount);
  if (vekrKDTreeBuildAlloc(&tree, pVertices, pIndices, vertexCount, triangleCount, &size, &context) != vekOk)
    return -4;
  scene.pBox = box;
  scene.pTriangles = records;
  scene.pRoot = tree;
  for (i = 0; i < 16; ++i) {
    directions[0][i] = 0.01f * (float)i;
    directions[1][i] = 0;
    directions[2][i] = i < 12 ? -1.0f : 1.0f;
    distances[i] = 1e6f;
  }
  vekrIntersectEyeSO_32f(eye, vekrExtraConst_32f(directions), distances, weights, hits, &scene, block);
  for (i = 0; i < 16; ++i) count += hits[i] >= 0;
  vekrKDTreeFree(tree);
  vekFree(directions[0]);
  vekFree(weights[0]);
  vekFree(distances);
  vekFree(hits);
  return count;
}

const char *extraStatusTextFromC(VekStatus status) { return vekrExtraStatusText(status); }
