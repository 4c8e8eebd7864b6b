/* The light of a sky becomes a few coefficients, and a sky again.
 *   harmonics FILE.ppm */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <vekcore.h>
#include <vekr.h>

enum {
  kBand = 8,
  kFunctions = (kBand + 1) * (kBand + 1),
  kSamples = 20000,
  kWidth = 320,
  kHeight = 160
};

static float x[kSamples], y[kSamples], z[kSamples], samples[3 * kSamples];
static unsigned char picture[4][kHeight][kWidth][3];

/* Blue above, brown below, and a wide sun. z is up, as it is for the functions. */
static void sky(const float *d, float *rgb) {
  static const float sun[3] = {0.48f, 0.6f, 0.64f};
  const float t = 0.5f + 0.5f * tanhf(6 * d[2]);
  const float glow = expf(12 * (d[0] * sun[0] + d[1] * sun[1] + d[2] * sun[2] - 1));
  rgb[0] = 0.20f + 0.12f * t + 0.60f * glow;
  rgb[1] = 0.15f + 0.27f * t + 0.45f * glow;
  rgb[2] = 0.10f + 0.52f * t + 0.20f * glow;
}

/* kSamples directions spread evenly: each stands for 4 pi / kSamples of the sphere. */
static void spread(void) {
  for (int i = 0; i < kSamples; ++i) {
    const double height = 1 - (2 * i + 1.0) / kSamples,
                 across = sqrt(1 - height * height), turn = 2.39996322973 * i;
    x[i] = (float)(across * cos(turn)), y[i] = (float)(across * sin(turn)),
    z[i] = (float)height;
  }
}

/* One row of a map of all directions: longitude along it, latitude from row to row. */
static void rowDirections(int row) {
  const double latitude = 3.141592653589793 * (0.5 - (row + 0.5) / kHeight);
  for (int i = 0; i < kWidth; ++i) {
    const double longitude = 6.283185307179586 * (i + 0.5) / kWidth;
    x[i] = (float)(cos(latitude) * cos(longitude));
    y[i] = (float)(cos(latitude) * sin(longitude));
    z[i] = (float)sin(latitude);
  }
}

static void storeRow(int panel, int row, const float *rgb) {
  for (int i = 0; i < 3 * kWidth; ++i) {
    const float v = rgb[i] < 0 ? 0 : rgb[i] > 1 ? 1 : rgb[i];
    picture[panel][row][i / 3][i % 3] = (unsigned char)(255 * sqrtf(v));
  }
}

int main(int argc, char **argv) {
  if (argc != 2) return 2;
  /* What the evaluator needs. The block must not be moved. */
  uint32_t bytes;
  if (vekrSHGetSize_32f(kBand, vekrSHRecurrent, &bytes) != vekOk) return 1;
  VekrSHState *state = malloc(bytes);
  if (!state || vekrSHInit_32f(state, kBand, vekrSHRecurrent) != vekOk) return 1;

  /* Projection: an integral over the sphere, so each sample is weighted with its solid
   * angle. */
  spread();
  for (int i = 0; i < kSamples; ++i) {
    const float d[3] = {x[i], y[i], z[i]};
    sky(d, samples + 3 * i);
    for (int c = 0; c < 3; ++c)
      samples[3 * i + c] *= (float)(4 * 3.141592653589793 / kSamples);
  }
  /* 16 bytes of alignment decide the order of a later sum, in the last bits: vekMalloc
   * leaves no doubt. */
  float *coefficients[3], *matt[3];
  const float *coefficientsIn[3], *mattIn[3];
  for (int c = 0; c < 3; ++c) {
    coefficientsIn[c] = coefficients[c] = vekMalloc(kFunctions * sizeof(float));
    mattIn[c] = matt[c] = vekMalloc(kFunctions * sizeof(float));
    if (!coefficients[c] || !matt[c]) return 1;
    for (int k = 0; k < kFunctions; ++k)
      coefficients[c][k] = 0; /* the projection adds */
  }
  if (vekrSHTFwd_32f_C3P3I(x, y, z, samples, kSamples, coefficients, kBand, state) !=
      vekOk)
    return 1;
  for (int l = 0; l <= 1; ++l) {
    for (int m = -l; m <= l; ++m) {
      const int k = l * l + l + m;
      printf("l %d m %2d  %7.3f %7.3f %7.3f\n", l, m, coefficients[0][k],
             coefficients[1][k], coefficients[2][k]);
    }
  }

  /* What a white matt surface sends back: each band by a factor of its own. */
  static const float cosine[kBand + 1] = {
      1, 2 / 3.0f, 1 / 4.0f, 0, -1 / 24.0f, 0, 1 / 64.0f, 0, -1 / 128.0f};
  for (int l = 0; l <= kBand; ++l) {
    for (int k = l * l; k < (l + 1) * (l + 1); ++k) {
      for (int c = 0; c < 3; ++c) matt[c][k] = cosine[l] * coefficients[c][k];
    }
  }

  /* Maps of the sky itself, of bands 0 to 2, of bands 0 to 8, and of the light on matt
   * surfaces. */
  static float rgb[3 * kWidth];
  for (int row = 0; row < kHeight; ++row) {
    rowDirections(row);
    for (int i = 0; i < kWidth; ++i) {
      const float d[3] = {x[i], y[i], z[i]};
      sky(d, rgb + 3 * i);
    }
    storeRow(0, row, rgb);
    if (vekrSHTInv_32f_P3C3(coefficientsIn, 2, x, y, z, rgb, kWidth, state) != vekOk)
      return 1;
    storeRow(1, row, rgb);
    if (vekrSHTInv_32f_P3C3(coefficientsIn, kBand, x, y, z, rgb, kWidth, state) !=
        vekOk)
      return 1;
    storeRow(2, row, rgb);
    if (vekrSHTInv_32f_P3C3(mattIn, kBand, x, y, z, rgb, kWidth, state) != vekOk)
      return 1;
    storeRow(3, row, rgb);
  }
  for (int c = 0; c < 3; ++c) vekFree(coefficients[c]), vekFree(matt[c]);
  free(state);

  FILE *file = fopen(argv[1], "wb");
  if (!file) return 1;
  fprintf(file, "P6 %d %d 255\n", 2 * kWidth, 2 * kHeight);
  for (int i = 0; i < 4 * kHeight; ++i) { /* two panels beside each other, twice */
    fwrite(picture[i / (2 * kHeight) * 2 + i % 2][i / 2 % kHeight], 3, kWidth, file);
  }
  return fclose(file) != 0;
}
