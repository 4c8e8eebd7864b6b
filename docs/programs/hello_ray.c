/* One triangle, one ray. */
#include <stdio.h>
#include <vekr.h>

int main(void) {
  /* Three floats a vertex; four ints a triangle, the last of which is yours. */
  const float vertices[] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
  const int32_t triangle[] = {0, 1, 2, 0};

  /* What rays are traced against: a box, a tree, and a record for each triangle. */
  float box[6];
  vekrSetBoundBox_32f(vertices, 3, box);
  const VekrPSAHBuildContext context = {vekrPSAHBuildIdentifier, 10, 0.5f, -1, box};
  VekrKDTreeNode *tree;
  int32_t treeSize;
  const VekStatus status =
      vekrKDTreeBuildAlloc(&tree, vertices, triangle, 3, 1, &treeSize, &context);
  if (status != vekOk) return 1;
  VekrTriangleAccel record;
  vekrTriangleAccelInit(&record, vertices, triangle, 1);
  const VekrIntersectScene scene = {box, &record, tree};

  /* Rays come in planes: all x of the directions, all y, all z. Here of one ray. */
  const float eye[3] = {0.25f, 0.25f, 2};
  const float dx = 0, dy = 0, dz = -1;
  const float *const direction[3] = {&dx, &dy, &dz};
  float distance = 100; /* in: the farthest that is wanted; out: where the hit is */
  float weightA = 0, weightB = 0;
  float *const weights[2] = {&weightA, &weightB};
  int32_t hit;
  const VekrBlockSize oneRay = {1, 1};
  vekrIntersectEyeSO_32f(eye, direction, &distance, weights, &hit, &scene, oneRay);

  printf("triangle %d at distance %g, weights %g and %g\n", (int)hit, distance, weightA,
         weightB);
  vekrKDTreeFree(tree);
  return 0;
}
