#include "reference/triangle_record_reference.h"

#include <cmath>

#include "reference/normals_reference.h"

namespace vekr_reference {

void triangleAccelInit(VekrTriangleAccel *records, const float *vertices, const int32_t *indices,
                       int32_t count) {
  for (int32_t i = 0; i < count; ++i) {
    const float *corner[3];
    for (int j = 0; j < 3; ++j) corner[j] = &vertices[3 * indices[4 * i + j]];
    const Edges e = edgesOf(corner[0], corner[1], corner[2]);

    int k = 0, u = 1;
    double s = 1.0;
    if (std::fabs(e.n[1]) > std::fabs(e.n[0])) {
      k = 1;
      u = 0;
      s = -1.0;
    }
    if (std::fabs(e.n[2]) > std::fabs(e.n[k])) {
      k = 2;
      u = 0;
      s = 1.0;
    }
    const int v = 3 - k - u;

    VekrTriangleAccel &r = records[i];
    if (std::fabs(e.n[k]) == 0.0) {
      r = VekrTriangleAccel();
      continue;
    }
    r.axes = static_cast<uint32_t>((k << 4) + (u << 2) + v);
    const double inv = 1.0 / e.n[k];
    if (std::fabs(e.n[v]) < 2.220446049250313e-16 && std::fabs(e.n[u]) < 2.220446049250313e-16) {
      r.nu = 0.0f;
      r.nv = 0.0f;
      r.axes |= 0x80000000u;
    } else {
      r.nu = static_cast<float>(inv * e.n[u]);
      r.nv = static_cast<float>(inv * e.n[v]);
    }
    const double scale = s * inv;
    r.e1u = static_cast<float>(scale * e.e1[u]);
    r.e1v = static_cast<float>(scale * e.e1[v]);
    r.e2u = static_cast<float>(scale * e.e2[u]);
    r.e2v = static_cast<float>(scale * e.e2[v]);
    r.ck = corner[2][k];
    r.cu = corner[2][u];
    r.cv = corner[2][v];
  }
}

}  // namespace vekr_reference
