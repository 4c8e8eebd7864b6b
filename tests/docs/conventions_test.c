/* What the page on volumes says and draws about coordinates, boxes, steps and kernels, by the library itself. */
#include <math.h>
#include <stdio.h>
#include <string.h>
#include <vekr.h>

enum { kWidth = 12, kHeight = 8, kDepth = 6 };

static float source[kDepth][kHeight][kWidth], target[kDepth][2 * kHeight][2 * kWidth];
static const float *from[kDepth];
static float *to[kDepth];
static const VekrVolumeSize kSize = {kWidth, kHeight, kDepth};
static int failures = 0;

static void expect(int holds, const char *what) {
  if (holds) return;
  printf("WRONG: %s\n", what);
  ++failures;
}

/* The source tells each voxel's place; the target nothing. */
static void prepare(void) {
  for (int z = 0; z < kDepth; ++z) {
    from[z] = source[z][0], to[z] = target[z][0];
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) source[z][y][x] = (float)(100 * z + 10 * y + x);
    }
  }
  for (int z = 0; z < kDepth; ++z) {
    for (int i = 0; i < 4 * kWidth * kHeight; ++i) to[z][i] = -1;
  }
}

/* One voxel of remap: -1 where nothing was written. */
static float remap(float x, float y, float z, VekrVolumeBox box) {
  float value = -1, *out = &value;
  const float *const maps[3] = {&x, &y, &z};
  const VekrVolumeSize one = {1, 1, 1};
  expect(vekrRemap_32f_C1PV(from, kSize, sizeof source[0][0], box, &maps[0], &maps[1], &maps[2], 4, &out, 4,
                            one, vekrInterLinear) == vekOk,
         "remap");
  return value;
}

static void remapCountsFromTheVolumeAndTheBoxIsClosed(void) {
  const VekrVolumeBox box = {2, 1, 1, 4, 4, 4};
  expect(remap(3.5f, 2, 3, box) == 323.5f, "an integer is a voxel's centre, whatever the box");
  expect(remap(5, 4, 2, box) == 245, "the box ends with its last centre");
  expect(remap(2, 1, 1, box) == 112, "and begins with its first one");
  expect(remap(5.3f, 2, 2, box) == -1, "behind it voxels are kept");
  expect(remap(1.8f, 2, 2, box) == -1, "as before it");
}

static void resizeMapsEdgesToEdges(void) {
  static uint8_t buffer[1 << 20];
  int32_t bytes;
  const VekrVolumeBox all = {0, 0, 0, kWidth, kHeight, kDepth},
                      wanted = {0, 0, 0, 2 * kWidth, kHeight, kDepth};
  vekrResizeGetBufSize(all, wanted, 1, vekrInterLinear, &bytes);
  expect(bytes <= (int32_t)sizeof buffer, "the buffer suffices");
  prepare();
  expect(vekrResize_32f_C1PV(from, kSize, sizeof source[0][0], all, to, sizeof target[0][0], wanted, 2, 1, 1,
                             0, 0, 0, vekrInterLinear, buffer) == vekOk,
         "resize by 2");
  expect(target[0][0][0] == 0 && fabsf(target[0][0][1] - 0.25f) < 1e-6f &&
             fabsf(target[0][0][2] - 0.75f) < 1e-6f && fabsf(target[0][0][7] - 3.25f) < 1e-5f,
         "centres at -0.25, where the first voxel stands in, 0.25, 0.75, ..., 3.25");
  prepare();
  vekrResize_32f_C1PV(from, kSize, sizeof source[0][0], all, to, sizeof target[0][0], wanted, 2, 1, 1, 4, 0,
                      0, vekrInterLinear, buffer);
  expect(fabsf(target[0][0][7] - 1.25f) < 1e-5f, "the shift counts destination voxels");

  const VekrVolumeBox part = {2, 0, 0, 4, kHeight, kDepth};
  prepare();
  vekrResize_32f_C1PV(from, kSize, sizeof source[0][0], part, to, sizeof target[0][0], wanted, 1.5, 1, 1, 0,
                      0, 0, vekrInterLinear, buffer);
  for (int x = 0; x < 11; ++x) {
    expect((target[2][3][x] != -1) == (x >= 3 && x <= 8),
           "written are voxels 3 to 8, whose centres lie in the image");
  }
}

static void warpLeadsFromSourceToDestination(void) {
  const VekrVolumeBox all = {0, 0, 0, kWidth, kHeight, kDepth},
                      wanted = {0, 0, 0, 2 * kWidth, kHeight, kDepth};
  const double matrix[12] = {2, 0, 0, 0.5, 0, 1, 0, 0, 0, 0, 1, 0};
  prepare();
  expect(vekrWarpAffine_32f_C1PV(from, kSize, sizeof source[0][0], all, to, sizeof target[0][0], wanted,
                                 matrix, vekrInterLinear) == vekOk,
         "warp");
  expect(target[0][0][0] == -1 && fabsf(target[0][0][1] - 0.25f) < 1e-6f &&
             fabsf(target[0][0][7] - 3.25f) < 1e-5f,
         "2 and (2 - 1) / 2 look at the places of a resize by 2, and keep what lies outside");
}

static void stepsAreSignedBytes(void) {
  prepare();
  const float *upsideDown[kDepth];
  for (int z = 0; z < kDepth; ++z) upsideDown[z] = source[z][kHeight - 1];
  const VekrVolumeBox all = {0, 0, 0, kWidth, kHeight, kDepth};
  float value = -1, *out = &value, place[3] = {3, 1, 2};
  const float *const maps[3] = {&place[0], &place[1], &place[2]};
  const VekrVolumeSize one = {1, 1, 1};
  vekrRemap_32f_C1PV(upsideDown, kSize, -(int32_t)sizeof source[0][0], all, &maps[0], &maps[1], &maps[2], 4,
                     &out, 4, one, vekrInterNearest);
  expect(value == 263, "a negative step turns a volume upside down");
}

static void filterMirrorsItsKernel(void) {
  static int16_t row[7] = {10, 20, 30, 40, 50, 60, 70};
  static uint8_t buffer[1 << 16];
  const int32_t taps[3] = {1, 100, 10000};
  const VekrVolumeSize one = {1, 1, 1}, three = {3, 1, 1};
  const int16_t *in = &row[3];
  for (int32_t anchor = 0; anchor < 2; ++anchor) {
    int16_t value = 0, *out = &value;
    const VekrVolumePoint at = {anchor, 0, 0};
    expect(vekrFilter_16s_C1PV(&in, sizeof row, &out, 2, one, taps, three, at, 100, buffer) == vekOk,
           "filter");
    const double sum = row[3 + anchor] + 100.0 * row[2 + anchor] + 10000.0 * row[1 + anchor];
    expect(value == (int16_t)rint(sum / 100),
           "the tap of the anchor is at the voxel's own place, those behind before it");
  }
}

static void cubicWeightsAtAVoxel(void) {
  const VekrVolumeBox all = {0, 0, 0, kWidth, kHeight, kDepth};
  static const int32_t codes[4] = {vekrInterCubicLagrange, vekrInterCubicBSpline, vekrInterCubicCatmullRom,
                                   vekrInterCubicMitchell};
  static const float own[4] = {1, 2 / 3.0f, 1, 5 / 6.0f}, beside[4] = {0, 1 / 6.0f, 0, 1 / 12.0f};
  for (int z = 0; z < kDepth; ++z) {
    for (int y = 0; y < kHeight; ++y) {
      for (int x = 0; x < kWidth; ++x) source[z][y][x] = x == 6;
    }
  }
  for (int i = 0; i < 4; ++i) {
    float values[2], *out = values, places[3][2] = {{6, 7}, {3, 3}, {2, 2}};
    const float *const maps[3] = {places[0], places[1], places[2]};
    const VekrVolumeSize two = {2, 1, 1};
    vekrRemap_32f_C1PV(from, kSize, sizeof source[0][0], all, &maps[0], &maps[1], &maps[2], 8, &out, 8, two,
                       codes[i]);
    expect(fabsf(values[0] - own[i]) < 1e-5f && fabsf(values[1] - beside[i]) < 1e-5f,
           "weights at a voxel's centre");
  }
}

int main(void) {
  prepare();
  remapCountsFromTheVolumeAndTheBoxIsClosed();
  resizeMapsEdgesToEdges();
  warpLeadsFromSourceToDestination();
  stepsAreSignedBytes();
  filterMirrorsItsKernel();
  cubicWeightsAtAVoxel();
  printf("%d wrong\n", failures);
  return failures != 0;
}
