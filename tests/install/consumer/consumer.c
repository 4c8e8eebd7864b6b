/* A stranger's program: looks at one triangle through the installed library. Exit 0: all is well. */
#include <stdio.h>
#include <string.h>
#include <vekcore.h>
#include <vekr.h>

static int check(int good, const char *what) {
  if (!good) fprintf(stderr, "consumer: %s\n", what);
  return good;
}

int main(void) {
  const float vertices[9] = {-1, -1, 5, 1, -1, 5, 0, 1, 5};
  const int32_t indices[4] = {0, 1, 2, 0};
  const float eye[3] = {0, 0, 0}, corner[3] = {-0.5f, -0.5f, 5}, stepX[3] = {0.5f, 0, 0},
              stepY[3] = {0, 0.5f, 0};
  float x[9], y[9], z[9], distances[9], u[9], v[9], box[6];
  int32_t triangles[9], treeSize = 0, i;
  float *directions[3], *hits[2];
  VekrTriangleAccel *record = vekMalloc(sizeof *record); /* the companion comes with the library */
  VekrKDTreeNode *tree = NULL;
  VekrSimpleBuildContext context = {vekrSimpleBuildIdentifier, 0};
  VekrIntersectScene scene;
  VekrBlockSize size = {3, 3};
  VekrBlockIndex block = {0, 0};
  const float *constDirections[3];
  int good = 1;

  directions[0] = x;
  directions[1] = y;
  directions[2] = z;
  if (!check(record != NULL, "memory")) return 1;
  vekSetNumThreads(3);
  good &= check(ownGetNumThreads() == 3, "thread count");
  hits[0] = u;
  hits[1] = v;
  for (i = 0; i < 3; ++i) constDirections[i] = directions[i];
  good &= check(strcmp(vekrGetLibVersion()->name, "libvekre9.so.6.1") == 0, "version");
  good &= check(vekrSetBoundBox_32f(vertices, 3, box) == vekOk, "box");
  good &= check(vekrTriangleAccelInit(record, vertices, indices, 1) == vekOk, "records");
  good &= check(vekrKDTreeBuildAlloc(&tree, vertices, indices, 3, 1, &treeSize, &context) == vekOk, "tree");
  good &= check(treeSize == 20, "tree size");
  good &= check(vekrCastEye_32f(corner, stepX, stepY, 3, 3, block, directions, size) == vekOk, "rays");
  for (i = 0; i < 9; ++i) distances[i] = 1e6f;
  scene.pBox = box;
  scene.pTriangles = record;
  scene.pRoot = tree;
  good &=
      check(vekrIntersectEyeSO_32f(eye, constDirections, distances, hits, triangles, &scene, size) == vekOk,
            "trace");
  good &= check(triangles[4] == 0 && distances[4] == 1.0f, "the middle ray hits");
  vekrKDTreeFree(tree);
  vekFree(record);
  return good ? 0 : 1;
}
