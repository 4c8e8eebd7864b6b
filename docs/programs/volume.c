/* A volume is turned, bent, enlarged and smoothed; the middle slices of all go side by
 * side into one picture.
 *   volume FILE.pgm */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <vekr.h>

enum {
  kSide = 128,
  kDepth = 64,
  kPlane = kSide * kSide,
  kVoxels = kPlane * kDepth,
  kPanels = 5,
  kReach = 2
};

static float source[kVoxels], turned[kVoxels], bent[kVoxels], enlarged[kVoxels],
    mapX[kVoxels], mapY[kVoxels], mapZ[kVoxels];
static int16_t smooth[kVoxels];
/* The filter reads beyond its destination, for a kernel of five by two voxels. */
static int16_t
    wide[(kDepth + 2 * kReach) * (kSide + 2 * kReach) * (kSide + 2 * kReach)];
static unsigned char picture[kSide][kPanels * kSide];

static const VekrVolumeSize kSize = {kSide, kSide, kDepth};
static const VekrVolumeBox kAll = {0, 0, 0, kSide, kSide, kDepth};
static const int32_t kStep = kSide * sizeof(float); /* bytes from row to row */

/* A volume in one piece as a list of planes: once to read and once to write. */
static void planesOf(float *volume, float **out, const float **in) {
  for (int z = 0; z < kDepth; ++z) in[z] = out[z] = volume + z * kPlane;
}

static float spiral(float x, float y, float z) {
  const float r = sqrtf(x * x + y * y + 4 * z * z);
  const float spot = sqrtf((x - 22) * (x - 22) + (y + 22) * (y + 22) + 4 * z * z);
  if (spot < 12) return 250;
  return r < 56 ? 120 + 90 * cosf(0.4f * r + 3 * atan2f(y, x)) : 8;
}

static void show(int panel, const float *slice) {
  for (int y = 0; y < kSide; ++y) {
    for (int x = 0; x < kSide; ++x) {
      const float v = slice[y * kSide + x];
      picture[y][panel * kSide + x] = (unsigned char)(v < 0 ? 0 : v > 255 ? 255 : v);
    }
  }
}

/* Turned by 25 degrees around its middle, a little smaller. The matrix leads from
 * source to destination. */
static VekStatus turn(const float *const *from, float *const *to) {
  const double c = 0.8 * cos(25 * 3.141592653589793 / 180),
               s = 0.8 * sin(25 * 3.141592653589793 / 180);
  const double m =
      (kSide - 1) /
      2.0; /* an integer is the centre of a voxel: the middle of 128 is 63.5 */
  const double matrix[12] = {c, -s, 0, m - c * m + s * m, /* x */
                             s, c,  0, m - s * m - c * m, /* y */
                             0, 0,  1, 0};                /* z */
  return vekrWarpAffine_32f_C1PV(from, kSize, kStep, kAll, to, kStep, kAll, matrix,
                                 vekrInterCubicCatmullRom);
}

/* Bent: each voxel tells where it takes its value from. Voxels whose place is outside
 * keep what they held. */
static VekStatus bend(const float *const *from, float *const *to) {
  static float *out[3][kDepth];
  static const float *maps[3][kDepth];
  planesOf(mapX, out[0], maps[0]), planesOf(mapY, out[1], maps[1]),
      planesOf(mapZ, out[2], maps[2]);
  for (int z = 0; z < kDepth; ++z) {
    for (int i = 0; i < kPlane; ++i) {
      const float x = (float)(i % kSide), y = (float)(i / kSide);
      out[0][z][i] = x + 5 * sinf(0.1f * y);
      out[1][z][i] = y + 5 * sinf(0.1f * x);
      out[2][z][i] = (float)z;
    }
  }
  return vekrRemap_32f_C1PV(from, kSize, kStep, kAll, maps[0], maps[1], maps[2], kStep,
                            to, kStep, kSize, vekrInterLinear);
}

/* Twice as large, of which the destination shows the middle. The block form: one
 * pointer and two steps. */
static VekStatus enlarge(void) {
  int32_t bytes;
  VekStatus status =
      vekrResizeGetBufSize(kAll, kAll, 1, vekrInterCubicMitchell, &bytes);
  if (status != vekOk) return status;
  uint8_t *buffer = malloc((size_t)bytes);
  if (!buffer) return vekErrMemAlloc;
  const int32_t planeStep = kPlane * sizeof(float);
  status = vekrResize_32f_C1V(
      source, kSize, kStep, planeStep, kAll, enlarged, kStep, planeStep, kAll,
      /* factors */ 2, 2, 2, /* shifts */ -kSide / 2.0, -kSide / 2.0, -kDepth / 2.0,
      vekrInterCubicMitchell, buffer);
  free(buffer);
  return status;
}

/* Smoothed by 1 4 6 4 1 along each axis. The source has a margin in which the nearest
 * voxels are repeated. */
static VekStatus smoothen(void) {
  const int side = kSide + 2 * kReach;
  static const int32_t taps[5] = {1, 4, 6, 4, 1};
  static const VekrVolumeSize kernelSize = {5, 5, 5};
  static const VekrVolumePoint anchor = {2, 2, 2};
  static const int16_t *all[kDepth + 2 * kReach];
  static int16_t *out[kDepth];
  int32_t kernel[125];
  for (int i = 0; i < 125; ++i)
    kernel[i] = taps[i % 5] * taps[i / 5 % 5] * taps[i / 25];
  for (int z = -kReach; z < kDepth + kReach; ++z) {
    int16_t *plane = wide + (z + kReach) * side * side;
    for (int y = -kReach; y < kSide + kReach; ++y) {
      for (int x = -kReach; x < kSide + kReach; ++x) {
        const int at[3] = {x < 0       ? 0
                           : x < kSide ? x
                                       : kSide - 1,
                           y < 0       ? 0
                           : y < kSide ? y
                                       : kSide - 1,
                           z < 0        ? 0
                           : z < kDepth ? z
                                        : kDepth - 1};
        plane[(y + kReach) * side + x + kReach] =
            (int16_t)source[at[2] * kPlane + at[1] * kSide + at[0]];
      }
    }
    all[z + kReach] = plane + kReach * side +
                      kReach; /* the voxel that belongs to destination (0, 0) */
  }
  for (int z = 0; z < kDepth; ++z) out[z] = smooth + z * kPlane;

  int32_t bytes;
  VekStatus status = vekrFilterGetBufSize(kSize, kernelSize, 1, &bytes);
  if (status != vekOk) return status;
  uint8_t *buffer = malloc((size_t)bytes);
  if (!buffer) return vekErrMemAlloc;
  status = vekrFilter_16s_C1PV(all + kReach, side * (int32_t)sizeof(int16_t), out,
                               kSide * sizeof(int16_t), kSize, kernel, kernelSize,
                               anchor, 16 * 16 * 16, buffer);
  free(buffer);
  return status;
}

int main(int argc, char **argv) {
  if (argc != 2) return 2;
  static float *out[kDepth];
  static const float *sourceList[kDepth], *in[kDepth];
  planesOf(source, out, sourceList);
  for (int i = 0; i < kVoxels; ++i) {
    source[i] = spiral((float)(i % kSide) - 63.5f, (float)(i / kSide % kSide) - 63.5f,
                       (float)(i / kPlane) - 31.5f);
  }
  const int middle = kDepth / 2 * kPlane;
  show(0, source + middle);

  planesOf(turned, out, in);
  const VekStatus turnStatus = turn(sourceList, out);
  show(1, turned + middle);

  planesOf(bent, out, in);
  const VekStatus bendStatus = bend(sourceList, out);
  show(2, bent + middle);

  const VekStatus enlargeStatus = enlarge();
  show(3, enlarged + middle);

  const VekStatus smoothStatus = smoothen();
  static float slice[kPlane];
  for (int i = 0; i < kPlane; ++i) slice[i] = smooth[middle + i];
  show(4, slice);

  printf("statuses %d %d %d %d\n", (int)turnStatus, (int)bendStatus, (int)enlargeStatus,
         (int)smoothStatus);
  if (turnStatus || bendStatus || enlargeStatus || smoothStatus) return 1;
  FILE *file = fopen(argv[1], "wb");
  if (!file) return 1;
  fprintf(file, "P5 %d %d 255\n", kPanels * kSide, kSide);
  fwrite(picture, 1, sizeof picture, file);
  return fclose(file) != 0;
}
