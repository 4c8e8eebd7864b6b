#include "reference/shading_reference.h"

#include <bit>
#include <cmath>

namespace vekr_reference {

namespace {

float hitPoint(Form form, float o, float d, float t, float eps) {
  return form == Form::plain ? (eps * d) * t + o : (t * d) * eps + o;
}

float dotOf(const float *const *a, const float *const *b, int32_t i) {
  return (a[0][i] * b[0][i] + a[1][i] * b[1][i]) + a[2][i] * b[2][i];
}

float quotient(float p, float q) {
  if (q != 0.0f) return p / q;  // a NaN is not 0
  if (p > 0.0f) return std::bit_cast<float>(0x7f800000u);
  if (p < 0.0f) return std::bit_cast<float>(0xff800000u);
  return std::bit_cast<float>(0xffc00000u);
}

}  // namespace

void hitPointS0(Form form, const float *origin, const float *const *directions, const float *distances,
                const int32_t *mask, float *const *points, int32_t length, float eps) {
  for (int32_t i = 0; i < length; ++i) {
    for (int c = 0; c < 3; ++c) {
      points[c][i] = mask[i] < 0 ? 0.0f : hitPoint(form, origin[c], directions[c][i], distances[i], eps);
    }
  }
}

void hitPointM0(Form form, const float *const *origins, const float *const *directions,
                const float *distances, const int32_t *mask, float *const *points, int32_t length,
                float eps) {
  for (int32_t i = 0; i < length; ++i) {
    for (int c = 0; c < 3; ++c) {
      points[c][i] = mask[i] < 0 ? 0.0f : hitPoint(form, origins[c][i], directions[c][i], distances[i], eps);
    }
  }
}

void dot(const float *const *a, const float *const *b, const int32_t *mask, float *result, int32_t length) {
  for (int32_t i = 0; i < length; ++i) result[i] = mask[i] < 0 ? 0.0f : dotOf(a, b, i);
}

void dotChangeNorm(const float *const *directions, const int32_t *mask, float *const *normals, float *result,
                   int32_t length) {
  for (int32_t i = 0; i < length; ++i) {
    if (mask[i] < 0) {
      result[i] = 0.0f;
      continue;
    }
    float d = dotOf(directions, normals, i);
    if (d > 0.0f) {
      for (int c = 0; c < 3; ++c) normals[c][i] = -normals[c][i];
      d = -d;
    }
    result[i] = d;
  }
}

void mulC1(const float *src, const int32_t *mask, float *srcDst, int32_t length) {
  for (int32_t i = 0; i < length; ++i) srcDst[i] = mask[i] < 0 ? 0.0f : srcDst[i] * src[i];
}

void mulC1P3(const float *src, const int32_t *mask, float *const *srcDst, int32_t length) {
  for (int c = 0; c < 3; ++c) mulC1(src, mask, srcDst[c], length);
}

void divC1(const float *src, const int32_t *mask, float *srcDst, int32_t length) {
  for (int32_t i = 0; i < length; ++i) srcDst[i] = mask[i] < 0 ? 0.0f : quotient(srcDst[i], src[i]);
}

void addMulMul(Form form, const float *scale, const float *factor, const float *const *colour,
               const int32_t *mask, float *const *accumulator, int32_t length) {
  for (int32_t i = 0; i < length; ++i) {
    if (mask[i] < 0) continue;
    for (int c = 0; c < 3; ++c) {
      float *a = &accumulator[c][i];
      *a = form == Form::plain ? ((scale[c] * colour[c][i]) * factor[i]) + *a
                               : ((colour[c][i] * factor[i]) * scale[c]) + *a;
    }
  }
}

void distAttenuation(Form form, const float *light, const float *const *points, const int32_t *mask,
                     float *distance, int32_t length) {
  for (int32_t i = 0; i < length; ++i) {
    if (mask[i] < 0) {
      distance[i] = 1.0f;
      continue;
    }
    const float x = points[0][i] - light[0];
    const float y = points[1][i] - light[1];
    const float z = points[2][i] - light[2];
    const float s = (x * x + y * y) + z * z;
    if (form == Form::plain) {
      distance[i] = 1.0f > s ? 1.0f : static_cast<float>(std::sqrt(static_cast<double>(s)));
    } else {
      distance[i] = std::sqrt(s > 1.0f ? s : 1.0f);
    }
  }
}

}  // namespace vekr_reference
