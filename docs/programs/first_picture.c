/* A ring of triangles, traced from one eye: the smallest program that makes a picture.
 *   first_picture FILE.ppm */
#include <math.h>
#include <stdio.h>
#include <vekr.h>

enum {
  kAround = 96, /* vertices around the ring, and around its tube */
  kTube = 48,
  kVertices = kAround * kTube,
  kTriangles = 2 * kVertices,
  kWidth = 480, /* multiples of four: rays are traced in packets */
  kHeight = 320,
  kRays = kWidth * kHeight
};

static float vertices[3 * kVertices];
static int32_t indices[4 * kTriangles];
static float triangleNormals[3 * kTriangles];
static VekrTriangleAccel records[kTriangles];

/* Planes: one float for each ray, x, y and z apart. */
static float directionX[kRays], directionY[kRays], directionZ[kRays];
static float normalX[kRays], normalY[kRays], normalZ[kRays];
static float distances[kRays], weightA[kRays], weightB[kRays], facing[kRays];
static int32_t hits[kRays];

static void makeRing(void) {
  for (int i = 0; i < kAround; ++i) {
    for (int j = 0; j < kTube; ++j) {
      const double a = 6.283185307 * i / kAround, b = 6.283185307 * j / kTube;
      const double radius = 3 + (1 + 0.15 * cos(9 * a)) * cos(b);
      const int32_t here = i * kTube + j, right = i * kTube + (j + 1) % kTube;
      const int32_t next = (i + 1) % kAround * kTube + j,
                    across = (i + 1) % kAround * kTube + (j + 1) % kTube;
      float *vertex = vertices + 3 * here;
      vertex[0] = (float)(radius * cos(a));
      vertex[1] = (float)((1 + 0.15 * cos(9 * a)) * sin(b));
      vertex[2] = (float)(radius * sin(a));
      int32_t *pair = indices + 8 * here;
      pair[0] = here, pair[1] = right, pair[2] = across;
      pair[4] = here, pair[5] = across, pair[6] = next;
    }
  }
}

int main(int argc, char **argv) {
  if (argc != 2) return 2;
  makeRing();

  float box[6];
  vekrSetBoundBox_32f(vertices, kVertices, box);
  const VekrPSAHBuildContext context = {vekrPSAHBuildIdentifier, 25, 0.5f, -1, box};
  VekrKDTreeNode *tree;
  int32_t treeSize;
  const VekStatus status = vekrKDTreeBuildAlloc(&tree, vertices, indices, kVertices,
                                                kTriangles, &treeSize, &context);
  if (status != vekOk) return 1;
  vekrTriangleAccelInit(records, vertices, indices, kTriangles);
  vekrTriangleNormal_32f(vertices, indices, triangleNormals, kTriangles);
  const VekrIntersectScene scene = {box, records, tree};

  /* The eye is at (0, 6, 9) and looks at the origin. Image point (0, 0) is the upper
   * left corner. */
  const float eye[3] = {0, 6, 9};
  const float step =
      11.5f / kWidth; /* a screen 11.5 wide, at the distance of the origin */
  const float stepX[3] = {step, 0, 0};
  const float stepY[3] = {0, -step * 9 / 10.8167f, step * 6 / 10.8167f};
  float corner[3];
  for (int c = 0; c < 3; ++c)
    corner[c] = -eye[c] - stepX[c] * (kWidth - 1) / 2 - stepY[c] * (kHeight - 1) / 2;

  float *const directions[3] = {directionX, directionY, directionZ};
  const float *const constDirections[3] = {directionX, directionY, directionZ};
  float *const normals[3] = {normalX, normalY, normalZ};
  float *const weights[2] = {weightA, weightB};
  const VekrBlockSize size = {kWidth, kHeight};
  const VekrBlockIndex first = {0, 0};

  vekrCastEye_32f(corner, stepX, stepY, kWidth, kHeight, first, directions, size);
  for (int i = 0; i < kRays; ++i)
    distances[i] = 100; /* the farthest hit that is wanted */
  vekrIntersectEyeSO_32f(eye, constDirections, distances, weights, hits, &scene, size);

  /* The numbers of the triangles, -1 at a miss, are the mask of all that follows. */
  vekrSurfFlatNormal_32f(triangleNormals, hits, normals, kRays);
  vekrDotChangeNorm_32f_IM(constDirections, hits, normals, facing, kRays);

  FILE *file = fopen(argv[1], "wb");
  if (!file) return 1;
  fprintf(file, "P6 %d %d 255\n", kWidth, kHeight);
  int found = 0;
  for (int i = 0; i < kRays; ++i) {
    const float length =
        sqrtf(directionX[i] * directionX[i] + directionY[i] * directionY[i] +
              directionZ[i] * directionZ[i]);
    const float light =
        hits[i] < 0 ? 0 : -facing[i] / length; /* 1 where the surface faces the eye */
    const float n[3] = {normalX[i], normalY[i], normalZ[i]};
    for (int c = 0; c < 3; ++c)
      fputc(
          hits[i] < 0 ? 244 : (int)(255 * (0.2f + 0.8f * light) * (0.7f + 0.3f * n[c])),
          file);
    found += hits[i] >= 0;
  }
  if (fclose(file) != 0) return 1;
  printf("%d triangles, a tree of %d bytes, %d of %d rays hit\n", kTriangles,
         (int)treeSize, found, kRays);
  vekrKDTreeFree(tree);
  return 0;
}
