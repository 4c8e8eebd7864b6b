/* The whole road of a block of rays: eye, hit, normals, lights with shadows, one mirror
 * bounce.
 *   shading FILE.ppm */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <vekr.h>

enum {
  kWidth = 960,
  kHeight = 576,
  kSide = 64, /* of a block: a multiple of four; its planes stay in the cache */
  kRays = kSide * kSide,
  kAround = 128,
  kTube = 48,
  kVertices = 4 + kAround * kTube,
  kTriangles = 2 + 2 * kAround * kTube
};

/* Three planes, and the two lists through which functions take them: in C a list of
 * `float *` doesn't turn into a list of `const float *` by itself, so both are kept. */
typedef struct {
  float *out[3];      /* for parameters `float *const *` */
  const float *in[3]; /* for parameters `const float *const *` */
} Planes;

typedef struct {
  float position[3], colour[3];
} Light;

/* Everything of one block. The triangle numbers are the mask of live rays. */
typedef struct {
  Planes directions, points, normals, albedo, colour, reflected, shadow;
  float *weights[2];
  const float *weightsIn[2];
  float *distances, *dot, *lightDot, *lightDistance, *throughput, *factor;
  int32_t *triangles, *mask, *occluders;
} Block;

static float vertices[3 * kVertices], vertexNormals[3 * kVertices];
static int32_t indices[4 * kTriangles];
static VekrTriangleAccel records[kTriangles];
static unsigned char picture[3 * kWidth * kHeight];

static const float kFar = 1e30f;
static const float kInFront = 0.9999f; /* see vekrHitPoint3DEpsS0_32f_M below */
static const float kMirror = 0.2f;     /* share of light that a surface mirrors */

/* malloc aligns to 16 bytes here, which packets ask for; vekMalloc aligns to 64. */
static void *plane(size_t bytes) {
  void *memory = calloc(1, bytes);
  if (!memory) exit(1);
  return memory;
}

static Planes planes(void) {
  Planes p;
  for (int c = 0; c < 3; ++c) p.in[c] = p.out[c] = plane(kRays * sizeof(float));
  return p;
}

static Block makeBlock(void) {
  Block b;
  Planes *const threes[] = {&b.directions, &b.points,    &b.normals, &b.albedo,
                            &b.colour,     &b.reflected, &b.shadow};
  for (size_t i = 0; i < sizeof threes / sizeof *threes; ++i) *threes[i] = planes();
  for (int i = 0; i < 2; ++i)
    b.weightsIn[i] = b.weights[i] = plane(kRays * sizeof(float));
  float **const ones[] = {&b.distances,     &b.dot,        &b.lightDot,
                          &b.lightDistance, &b.throughput, &b.factor};
  for (size_t i = 0; i < sizeof ones / sizeof *ones; ++i)
    *ones[i] = plane(kRays * sizeof(float));
  int32_t **const masks[] = {&b.triangles, &b.mask, &b.occluders};
  for (size_t i = 0; i < sizeof masks / sizeof *masks; ++i)
    *masks[i] = plane(kRays * sizeof(int32_t));
  return b;
}

/* A floor of two triangles, a knotted tube above it, and a normal at each vertex. */
static void makeMesh(void) {
  static const float floorAt[4][2] = {{-60, -60}, {-60, 60}, {60, 60}, {60, -60}};
  static const int32_t floorIndices[8] = {0, 1, 2, 0, 0, 2, 3, 0};
  for (int i = 0; i < 4; ++i) {
    vertices[3 * i] = floorAt[i][0], vertices[3 * i + 2] = floorAt[i][1];
    vertexNormals[3 * i + 1] = 1;
  }
  memcpy(indices, floorIndices, sizeof floorIndices);
  for (int i = 0; i < kAround; ++i) {
    const double a = 6.283185307179586 * i / kAround;
    const double ring =
        4.6 + 1.6 * cos(3 * a); /* the middle of the tube, wound twice around */
    const double centre[3] = {ring * cos(2 * a), 3.6 + 1.9 * sin(3 * a),
                              ring * sin(2 * a)};
    const double slope = -4.8 * sin(3 * a), c = cos(2 * a), s = sin(2 * a);
    double t[3] = {slope * c - 2 * ring * s, 5.7 * cos(3 * a),
                   slope * s + 2 * ring * c};
    const double length = sqrt(t[0] * t[0] + t[1] * t[1] + t[2] * t[2]);
    for (int k = 0; k < 3; ++k) t[k] /= length;
    double u[3] = {t[2], 0, -t[0]}; /* across the tube, level */
    const double width = sqrt(u[0] * u[0] + u[2] * u[2]);
    for (int k = 0; k < 3; ++k) u[k] /= width;
    const double v[3] = {t[1] * u[2] - t[2] * u[1], t[2] * u[0] - t[0] * u[2],
                         t[0] * u[1] - t[1] * u[0]};
    for (int j = 0; j < kTube; ++j) {
      const double b = 6.283185307179586 * j / kTube;
      const int32_t here = 4 + i * kTube + j, right = 4 + i * kTube + (j + 1) % kTube;
      const int32_t step = i + 1 < kAround ? kTube : -i * kTube;
      for (int k = 0; k < 3; ++k) {
        const double n = cos(b) * u[k] + sin(b) * v[k];
        vertexNormals[3 * here + k] = (float)n;
        vertices[3 * here + k] = (float)(centre[k] + 1.05 * n);
      }
      int32_t *pair = indices + 8 + 8 * (i * kTube + j);
      pair[0] = here, pair[1] = right, pair[2] = right + step;
      pair[4] = here, pair[5] = right + step, pair[6] = here + step;
    }
  }
}

static void surfaceColour(int32_t triangle, float *rgb) {
  static const float floorColour[3] = {0.75f, 0.75f, 0.72f};
  static const float bands[2][3] = {{0.86f, 0.55f, 0.28f}, {0.25f, 0.50f, 0.75f}};
  memcpy(rgb, triangle < 2 ? floorColour : bands[(triangle - 2) / (2 * kTube) / 4 % 2],
         3 * sizeof(float));
}

/* Adds what one light gives to the points of the block. */
static void addLight(Block *b, const Light *light, const VekrIntersectScene *scene) {
  const VekrBlockSize size = {kSide, kSide};
  /* The shadow calls write into their mask: they get a copy, for the next light needs
   * the hits again. */
  memcpy(b->mask, b->triangles, kRays * sizeof(int32_t));
  /* Segments from the light to the points. The mask becomes -1 where the light is
   * behind the surface. */
  vekrCastShadowSO_32f(light->position, b->dot, b->normals.in, b->points.in, b->mask,
                       b->lightDot, b->shadow.out, kRays);
  /* ... and where something stands between. */
  vekrIntersectAnySO_32f(light->position, b->shadow.in, b->occluders, b->mask, size,
                         scene);
  /* lightDot is |N.W| with W as long as the light is far away. Divided by the distance
   * once it is the cosine; once more, and light falls off with the distance; a third
   * time, and it does so with its square. */
  vekrDistAttenuationSO_32f_M(light->position, b->points.in, b->mask, b->lightDistance,
                              kRays);
  vekrDiv_32f_C1IM(b->lightDistance, b->mask, b->lightDot, kRays);
  vekrMul_32f_C1IM(b->throughput, b->mask, b->lightDot, kRays);
  vekrAddMulMul_32f_AC1P3IM(light->colour, b->lightDot, b->albedo.in, b->mask,
                            b->colour.out, kRays);
}

/* Adds the light of the points that the rays have just hit. */
static void shade(Block *b, const VekrIntersectScene *scene) {
  static const float ambient[3] = {0.22f, 0.24f, 0.28f};
  static const Light lights[2] = {{{22, 34, 16}, {0.75f, 0.72f, 0.66f}},
                                  {{-30, 18, 20}, {0.16f, 0.19f, 0.26f}}};
  /* 4: the mesh's own index array, four ints a triangle, numbers the normals too. */
  vekrSurfSmoothNormal_32f(vertexNormals, indices, b->triangles, b->weightsIn,
                           b->normals.out, kRays, 4);
  /* Normals against the rays. dot tells vekrCastShadowSO_32f from which side the
   * surface is seen. */
  vekrDotChangeNorm_32f_IM(b->directions.in, b->triangles, b->normals.out, b->dot,
                           kRays);
  for (int i = 0; i < kRays; ++i) {
    if (b->triangles[i] < 0) continue;
    float rgb[3];
    surfaceColour(b->triangles[i], rgb);
    for (int c = 0; c < 3; ++c) b->albedo.out[c][i] = rgb[c];
    b->factor[i] = b->throughput[i] * (0.6f + 0.4f * b->normals.in[1][i]);
  }
  vekrAddMulMul_32f_AC1P3IM(ambient, b->factor, b->albedo.in, b->triangles,
                            b->colour.out, kRays);
  for (int i = 0; i < 2; ++i) addLight(b, &lights[i], scene);
}

/* Rays that are on their way and have hit nothing see the sky. */
static void addSky(Block *b) {
  for (int i = 0; i < kRays; ++i) {
    if (b->triangles[i] >= 0 || b->throughput[i] == 0) continue;
    const float *const *d = b->directions.in;
    const float length =
        sqrtf(d[0][i] * d[0][i] + d[1][i] * d[1][i] + d[2][i] * d[2][i]);
    const float t = d[1][i] > 0 ? sqrtf(d[1][i] / length) : 0;
    const float sky[3] = {0.86f - 0.55f * t, 0.89f - 0.42f * t, 0.92f - 0.15f * t};
    for (int c = 0; c < 3; ++c) b->colour.out[c][i] += b->throughput[i] * sky[c];
  }
}

static void traceBlock(Block *b, VekrBlockIndex where, const float *eye,
                       const float *corner, const float *stepX, const float *stepY,
                       const VekrIntersectScene *scene) {
  const VekrBlockSize size = {kSide, kSide};
  vekrCastEye_32f(corner, stepX, stepY, kSide, kSide, where, b->directions.out, size);
  for (int i = 0; i < kRays; ++i) {
    b->distances[i] = kFar; /* read: the farthest hit that is wanted */
    b->throughput[i] = 1;
    for (int c = 0; c < 3; ++c) b->colour.out[c][i] = 0;
  }
  vekrIntersectEyeSO_32f(eye, b->directions.in, b->distances, b->weights, b->triangles,
                         scene, size);
  addSky(b);
  vekrHitPoint3DEpsS0_32f_M(eye, b->directions.in, b->distances, b->triangles,
                            b->points.out, kRays, kInFront);
  shade(b, scene);

  /* One bounce: rays with an origin each. The dead ones want nothing, at distance 0,
   * and carry nothing. */
  vekrCastReflectionRay_32f(b->directions.in, b->triangles, b->normals.in,
                            b->reflected.out, kRays);
  for (int i = 0; i < kRays; ++i) {
    const int live = b->triangles[i] >= 0;
    b->distances[i] = live ? kFar : 0;
    b->throughput[i] = live ? kMirror : 0;
    for (int c = 0; c < 3; ++c) b->directions.out[c][i] = b->reflected.in[c][i];
  }
  vekrIntersectMO_32f(b->points.in, b->directions.in, b->distances, b->weights,
                      b->triangles, scene, size);
  addSky(b);
  vekrHitPoint3DEpsM0_32f_M(b->points.in, b->directions.in, b->distances, b->triangles,
                            b->points.out, kRays, kInFront);
  shade(b, scene);
}

/* What has been traced into the picture, brighter where display values are small. */
static void storeBlock(const Block *b, VekrBlockIndex where) {
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      unsigned char *pixel =
          picture + 3 * ((where.y * kSide + y) * kWidth + where.x * kSide + x);
      for (int c = 0; c < 3; ++c) {
        const float light = b->colour.in[c][y * kSide + x];
        pixel[c] = (unsigned char)(255 * sqrtf(light < 1 ? light : 1));
      }
    }
  }
}

int main(int argc, char **argv) {
  if (argc != 2) return 2;
  makeMesh();
  float box[6];
  vekrSetBoundBox_32f(vertices, kVertices, box);
  const VekrPSAHBuildContext context = {vekrPSAHBuildIdentifier, 25, 0.5f, -1, box};
  VekrKDTreeNode *tree;
  int32_t treeSize;
  const VekStatus status = vekrKDTreeBuildAlloc(&tree, vertices, indices, kVertices,
                                                kTriangles, &treeSize, &context);
  if (status != vekOk) {
    fprintf(stderr, "no tree: status %d\n", (int)status);
    return 1;
  }
  vekrTriangleAccelInit(records, vertices, indices, kTriangles);
  const VekrIntersectScene scene = {box, records, tree};

  /* The eye looks at (0, 3.2, 0); stepX and stepY are one pixel on a screen there. */
  const float eye[3] = {0, 15.2f, 24};
  const float stepX[3] = {0.022f, 0, 0}, stepY[3] = {0, -0.01968f, 0.00984f};
  const float towards[3] = {0, -12, -24};
  float corner[3];
  for (int c = 0; c < 3; ++c) {
    corner[c] = towards[c] - stepX[c] * (kWidth - 1) / 2 - stepY[c] * (kHeight - 1) / 2;
  }

  static Block block;
  block = makeBlock();
  VekrBlockIndex where;
  for (where.y = 0; where.y < kHeight / kSide; ++where.y) {
    for (where.x = 0; where.x < kWidth / kSide; ++where.x) {
      traceBlock(&block, where, eye, corner, stepX, stepY, &scene);
      storeBlock(&block, where);
    }
  }
  vekrKDTreeFree(tree);

  FILE *file = fopen(argv[1], "wb");
  if (!file) return 1;
  fprintf(file, "P6 %d %d 255\n", kWidth, kHeight);
  fwrite(picture, 1, sizeof picture, file);
  if (fclose(file) != 0) return 1;
  printf("%d triangles, %d blocks of %d rays\n", kTriangles, kWidth * kHeight / kRays,
         kRays);
  return 0;
}
