/* The six interpolation codes as the library computes them, as pictures for the page on volumes:
 *   kernels DIRECTORY
 * For each code its curve (a single voxel, sampled across), what it does to a step (the same with an edge), a
 * slanted edge enlarged twelvefold and a zone plate enlarged threefold. The largest and smallest values go to
 * standard output. */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <vekr.h>

enum { kLength = 16, kAcross = 8, kPoints = 241, kEdge = 14, kZone = 56, kShown = 168, kDeep = 4 };

typedef struct {
  int32_t code;
  const char *name;
} Kernel;

static const Kernel kKernels[] = {
    {vekrInterNearest, "nearest"},
    {vekrInterLinear, "linear"},
    {vekrInterCubicLagrange, "lagrange"},
    {vekrInterCubicBSpline, "b-spline"},
    {vekrInterCubicCatmullRom, "catmull-rom"},
    {vekrInterCubicMitchell, "mitchell"},
};

static FILE *create(const char *directory, const char *what, const char *name, const char *ending) {
  char path[1024];
  snprintf(path, sizeof path, "%s/%s-%s.%s", directory, what, name, ending);
  FILE *file = fopen(path, "wb");
  if (!file) {
    perror(path);
    exit(1);
  }
  return file;
}

/* Values of a volume that changes along x alone, from x = 5 to 11. */
static void sampleRow(const float *row, int32_t code, float *values) {
  static float volume[kAcross][kAcross][kLength], map[3][kPoints];
  const float *planes[kAcross];
  for (int z = 0; z < kAcross; ++z) {
    planes[z] = volume[z][0];
    for (int y = 0; y < kAcross; ++y) {
      for (int x = 0; x < kLength; ++x) volume[z][y][x] = row[x];
    }
  }
  for (int i = 0; i < kPoints; ++i)
    map[0][i] = 5 + 6.0f * (float)i / (kPoints - 1), map[1][i] = map[2][i] = 3;
  const float *const maps[3] = {map[0], map[1], map[2]};
  const VekrVolumeSize size = {kLength, kAcross, kAcross}, wanted = {kPoints, 1, 1};
  const VekrVolumeBox box = {0, 0, 0, kLength, kAcross, kAcross};
  if (vekrRemap_32f_C1PV(planes, size, sizeof volume[0][0], box, &maps[0], &maps[1], &maps[2], sizeof map[0],
                         &values, sizeof map[0], wanted, code) != vekOk) {
    exit(1);
  }
}

/* A curve over -3 to 3, between -0.25 and 1.25. */
static void drawCurve(FILE *file, const float *values, const char *title) {
  const double left = 26, top = 8, width = 204, height = 120, unit = height / 1.5;
  const double zero = top + 1.25 * unit;
  fprintf(file,
          "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 240 150\" width=\"224\" height=\"140\" "
          "font-family=\"sans-serif\" font-size=\"10\" fill=\"#444\">\n<title>%s</title>\n"
          "<rect width=\"240\" height=\"150\" fill=\"#fff\"/>\n",
          title);
  for (int i = -3; i <= 3; ++i) {
    const double x = left + width * (i + 3) / 6;
    fprintf(file,
            "<path d=\"M%.1f %.1fV%.1f\" stroke=\"#ddd\"/><text x=\"%.1f\" y=\"%.1f\" "
            "text-anchor=\"middle\">%d</text>\n",
            x, top, top + height, x, top + height + 14, i);
  }
  for (int i = 0; i <= 2; ++i) {
    const double y = zero - i * unit / 2;
    fprintf(file,
            "<path d=\"M%.1f %.1fH%.1f\" stroke=\"%s\"/><text x=\"%.1f\" y=\"%.1f\" "
            "text-anchor=\"end\">%g</text>\n",
            left, y, left + width, i ? "#ddd" : "#888", left - 5, y + 3.5, i / 2.0);
  }
  fprintf(
      file,
      "<polyline fill=\"none\" stroke=\"#c2571a\" stroke-width=\"2\" stroke-linejoin=\"round\" points=\"");
  for (int i = 0; i < kPoints; ++i) {
    fprintf(file, "%.2f,%.2f ", left + width * i / (kPoints - 1), zero - values[i] * unit);
  }
  fprintf(file, "\"/>\n</svg>\n");
}

static void curves(const char *directory, const Kernel *kernel) {
  float voxel[kLength] = {0}, step[kLength], values[kPoints];
  voxel[8] = 1;
  for (int i = 0; i < kLength; ++i) step[i] = i < 8 ? 0 : 1;
  const float *const rows[2] = {voxel, step};
  static const char *const names[2] = {"curve", "step"};
  for (int i = 0; i < 2; ++i) {
    sampleRow(rows[i], kernel->code, values);
    FILE *file = create(directory, names[i], kernel->name, "svg");
    drawCurve(file, values, kernel->name);
    if (fclose(file) != 0) exit(1);
    float low = values[0], high = values[0];
    for (int k = 1; k < kPoints; ++k) {
      if (values[k] < low) low = values[k];
      if (values[k] > high) high = values[k];
    }
    printf("%s %s %.3f %.3f\n", names[i], kernel->name, low + 0.0f, high);
  }
}

/* Enlarges the same plane, repeated, to kShown columns and rows. */
static void enlarge(const char *directory, const char *what, const Kernel *kernel, const uint8_t *plane,
                    int side) {
  static uint8_t shown[kDeep][kShown][kShown];
  const uint8_t *from[kDeep];
  uint8_t *to[kDeep];
  for (int z = 0; z < kDeep; ++z) from[z] = plane, to[z] = shown[z][0];
  const VekrVolumeSize size = {side, side, kDeep};
  const VekrVolumeBox box = {0, 0, 0, side, side, kDeep}, wanted = {0, 0, 0, kShown, kShown, kDeep};
  const double factor = (double)kShown / side;
  int32_t bytes;
  if (vekrResizeGetBufSize(box, wanted, 1, kernel->code, &bytes) != vekOk) exit(1);
  uint8_t *buffer = malloc((size_t)bytes);
  if (!buffer || vekrResize_8u_C1PV(from, size, side, box, to, kShown, wanted, factor, factor, 1, 0, 0, 0,
                                    kernel->code, buffer) != vekOk) {
    exit(1);
  }
  free(buffer);
  FILE *file = create(directory, what, kernel->name, "pgm");
  fprintf(file, "P5 %d %d 255\n", kShown, kShown);
  fwrite(shown[1], 1, sizeof shown[1], file);
  if (fclose(file) != 0) exit(1);
}

int main(int argc, char **argv) {
  if (argc != 2) return 2;
  static uint8_t edge[kEdge][kEdge], zone[kZone][kZone];
  for (int y = 0; y < kEdge; ++y) {
    for (int x = 0; x < kEdge; ++x) edge[y][x] = 3 * (x - kEdge / 2) > y - kEdge / 2 ? 210 : 45;
  }
  /* Rings that narrow outwards, down to two voxels from light to light at half the side. */
  for (int y = 0; y < kZone; ++y) {
    for (int x = 0; x < kZone; ++x) {
      const double dx = x - (kZone - 1) / 2.0, dy = y - (kZone - 1) / 2.0;
      zone[y][x] = (uint8_t)(127.5 + 127.5 * cos(3.141592653589793 * (dx * dx + dy * dy) / kZone));
    }
  }
  for (size_t i = 0; i < sizeof kKernels / sizeof *kKernels; ++i) {
    curves(argv[1], &kKernels[i]);
    enlarge(argv[1], "edge", &kKernels[i], edge[0], kEdge);
    enlarge(argv[1], "zone", &kKernels[i], zone[0], kZone);
  }
  return 0;
}
