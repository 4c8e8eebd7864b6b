#include "reference/cast_reference.h"

#include <bit>
#include <cmath>

namespace vekr_reference {

namespace {

const float kThreshold = std::bit_cast<float>(0x3ae4c388u);  // a tenth of a degree

// The low 32 bits of the product, as a signed number.
int32_t wrappedProduct(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint64_t>(a) * static_cast<uint64_t>(b)));
}

}  // namespace

void castEye(const float *corner, const float *stepX, const float *stepY, int32_t blockStepX,
             int32_t blockStepY, VekrBlockIndex blockIndex, float *const *directions, VekrBlockSize size) {
  if (size.width < 1 || size.height < 1) return;
  const float x0 = static_cast<float>(wrappedProduct(blockIndex.x, blockStepX));
  const float y0 = static_cast<float>(wrappedProduct(blockIndex.y, blockStepY));
  for (int c = 0; c < 3; ++c) {
    float start = (stepY[c] * y0 + corner[c]) + stepX[c] * x0;
    for (int32_t row = 0; row < size.height; ++row) {
      for (int32_t col = 0; col < size.width; ++col) {
        float *out = &directions[c][row * size.width + col];
        if (size.width % 4 == 0) {
          *out = start + stepX[c] * static_cast<float>(col);
        } else {
          const float y = y0 + static_cast<float>(row);
          const float x = x0 + static_cast<float>(col);
          *out = (y * stepY[c] + corner[c]) + x * stepX[c];
        }
      }
      start = start + stepY[c];
    }
  }
}

void castReflectionRay(const float *const *incident, const int32_t *mask, const float *const *normals,
                       float *const *reflected, int32_t length) {
  for (int32_t i = 0; i < length; ++i) {
    const float ix = incident[0][i], iy = incident[1][i], iz = incident[2][i];
    const float nx = normals[0][i], ny = normals[1][i], nz = normals[2][i];
    const float s = length % 4 == 0 ? (ix * nx + iy * ny) + iz * nz : (iy * ny + iz * nz) + nx * ix;
    const bool dead = mask[i] < 0;
    reflected[0][i] = dead ? 0.0f : ix - (s + s) * nx;
    reflected[1][i] = dead ? 0.0f : iy - (s + s) * ny;
    reflected[2][i] = dead ? 0.0f : iz - (s + s) * nz;
  }
}

void castShadow(const float *light, const float *surfaceDot, const float *const *normals,
                const float *const *points, int32_t *mask, float *lightDot, float *const *shadowDirections,
                int32_t length) {
  const int32_t grouped = length < 1 ? 0 : length / 4 * 4;
  for (int32_t i = 0; i < length; ++i) {
    float w[3];
    for (int c = 0; c < 3; ++c) w[c] = points[c][i] - light[c];
    float d = (w[0] * normals[0][i] + w[1] * normals[1][i]) + w[2] * normals[2][i];
    bool keep;
    if (i < grouped) {
      const float q = d * surfaceDot[i];
      keep = q > 0.0f && mask[i] >= 0 && std::fabs(d) >= kThreshold;
      if (!keep) mask[i] = -1;
    } else if (mask[i] < 0) {
      keep = false;  // and the mask stays as it is
    } else {
      if (kThreshold > std::fabs(d)) d = 0.0f;
      keep = surfaceDot[i] * d > 0.0f;
      if (!keep) mask[i] = -1;
    }
    lightDot[i] = keep ? std::fabs(d) : 0.0f;
    for (int c = 0; c < 3; ++c) shadowDirections[c][i] = keep ? w[c] : 0.0f;
  }
}

}  // namespace vekr_reference
