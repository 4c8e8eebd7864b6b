#include "reference/normals_reference.h"

#include <bit>
#include <cmath>

#include "reference/estimates.h"

namespace vekr_reference {

Edges edgesOf(const float *a, const float *b, const float *c) {
  Edges e;
  for (int i = 0; i < 3; ++i) {
    e.e1[i] = static_cast<double>(a[i]) - static_cast<double>(c[i]);
    e.e2[i] = static_cast<double>(b[i]) - static_cast<double>(c[i]);
  }
  e.n[0] = e.e1[1] * e.e2[2] - e.e1[2] * e.e2[1];
  e.n[1] = e.e1[2] * e.e2[0] - e.e2[2] * e.e1[0];
  e.n[2] = e.e2[1] * e.e1[0] - e.e1[1] * e.e2[0];
  return e;
}

void setBoundBox(const float *vertices, int32_t count, float *box) {
  constexpr float kLargest = 3.4028235e38f;
  float low[3] = {kLargest, kLargest, kLargest};
  float high[3] = {-kLargest, -kLargest, -kLargest};
  for (int32_t i = 0; i < count; ++i) {
    for (int c = 0; c < 3; ++c) {
      const float x = vertices[3 * i + c];
      if (x < low[c]) low[c] = x;
      if (x > high[c]) high[c] = x;
    }
  }
  float m = std::bit_cast<float>(0x00800000u);
  for (int c = 0; c < 3; ++c) {
    if (std::fabs(low[c]) > m) m = std::fabs(low[c]);
    if (std::fabs(high[c]) > m) m = std::fabs(high[c]);
  }
  m = m * std::bit_cast<float>(0x38d1b717u);
  for (int c = 0; c < 3; ++c) {
    box[c] = low[c] - m;
    box[3 + c] = high[c] + m;
  }
}

void triangleNormal(const float *vertices, const int32_t *indices, float *normals, int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    const int32_t *t = &indices[4 * i];
    const Edges e = edgesOf(&vertices[3 * t[0]], &vertices[3 * t[1]], &vertices[3 * t[2]]);
    const double s = (e.n[0] * e.n[0] + e.n[1] * e.n[1]) + e.n[2] * e.n[2];
    const double l = std::sqrt(s);
    for (int c = 0; c < 3; ++c) {
      normals[3 * i + c] = 2.220446049250313e-16 > s ? 0.0f : static_cast<float>(e.n[c] / l);
    }
  }
}

void surfFlatNormal(const float *triangleNormals, const int32_t *hitTriangles, float *const *normals,
                    int32_t length) {
  for (int32_t i = 0; i < length; ++i) {
    const int32_t n = hitTriangles[i];
    for (int c = 0; c < 3; ++c)
      normals[c][i] = n < 0 ? 0.0f : triangleNormals[3 * static_cast<int64_t>(n) + c];
  }
}

void surfSmoothNormal(Form form, const float *vertexNormals, const int32_t *normalIndices,
                      const int32_t *hitTriangles, const float *const *hits, float *const *normals,
                      int32_t length, int32_t stride) {
  for (int32_t i = 0; i < length; ++i) {
    const int32_t n = hitTriangles[i];
    if (n < 0) {
      for (int c = 0; c < 3; ++c) normals[c][i] = 0.0f;
      continue;
    }
    const float u = hits[0][i];
    const float v = hits[1][i];
    const float w = (1.0f - u) - v;
    const auto b = static_cast<int32_t>(static_cast<uint32_t>(n) * static_cast<uint32_t>(stride));
    const float *na = &vertexNormals[3 * normalIndices[b]];
    const float *nb = &vertexNormals[3 * normalIndices[b + 1]];
    const float *nc = &vertexNormals[3 * normalIndices[b + 2]];
    float sum[3];
    for (int c = 0; c < 3; ++c) {
      sum[c] =
          form == Form::plain ? nc[c] * w + (nb[c] * v + na[c] * u) : (na[c] * u + nb[c] * v) + nc[c] * w;
    }
    const float s = (sum[0] * sum[0] + sum[1] * sum[1]) + sum[2] * sum[2];
    if (form == Form::plain) {
      const auto l = static_cast<float>(std::sqrt(static_cast<double>(s)));
      for (int c = 0; c < 3; ++c) normals[c][i] = 1.1920929e-7f > s ? 0.0f : sum[c] / l;
    } else {
      float r = approximateReciprocalSqrt(s);
      if (!(1.1920929e-7f < s)) r = 0.0f;
      const float q = (r * -0.5f) * (((s * r) * r) - 3.0f);
      for (int c = 0; c < 3; ++c) normals[c][i] = sum[c] * q;
    }
  }
}

}  // namespace vekr_reference
