// Triangle records: the doors and the computation, which is done once for a mesh.
#include <cmath>

#include "frame/checks.h"
#include "vekr.h"

using namespace vekr;

static_assert(sizeof(VekrTriangleAccel) == 40, "the record's size is public");

namespace {

constexpr uint32_t kFlatFlag = 0x80000000u;
constexpr double kFlat = 2.220446049250313e-16;  // 2^-52, absolute [C13]

VekrTriangleAccel makeRecord(const float *a, const float *b, const float *c) {
  double e1[3], e2[3];
  for (int axis = 0; axis < 3; ++axis) {
    e1[axis] = static_cast<double>(a[axis]) - static_cast<double>(c[axis]);
    e2[axis] = static_cast<double>(b[axis]) - static_cast<double>(c[axis]);
  }
  const double n[3] = {e1[1] * e2[2] - e1[2] * e2[1],  //
                       e1[2] * e2[0] - e2[2] * e1[0],  //
                       e2[1] * e1[0] - e1[1] * e2[0]};
  // The dominant axis; x wins a tie with y or z, y wins a tie with z [C14].
  int k = std::fabs(n[1]) > std::fabs(n[0]) ? 1 : 0;
  if (std::fabs(n[2]) > std::fabs(n[k])) k = 2;
  const int u = k == 0 ? 1 : 0;
  const int v = 3 - k - u;
  if (n[k] == 0.0) return {};  // degenerate: axes = 0, which every walk passes over

  const double inverse = 1.0 / n[k];
  const bool flat = std::fabs(n[v]) < kFlat && std::fabs(n[u]) < kFlat;
  const double scale = k == 1 ? -inverse : inverse;  // (x, z) is the anti-cyclic pair
  VekrTriangleAccel record;
  record.axes = static_cast<uint32_t>((k << 4) + (u << 2) + v) | (flat ? kFlatFlag : 0u);
  record.nu = flat ? 0.0f : static_cast<float>(inverse * n[u]);
  record.ck = c[k];
  record.nv = flat ? 0.0f : static_cast<float>(inverse * n[v]);
  record.cu = c[u];
  record.cv = c[v];
  record.e2u = static_cast<float>(scale * e2[u]);
  record.e2v = static_cast<float>(scale * e2[v]);
  record.e1u = static_cast<float>(scale * e1[u]);
  record.e1v = static_cast<float>(scale * e1[v]);
  return record;
}

}  // namespace

VekStatus vekrTriangleAccelGetSize(int32_t *pSize) {
  if (anyNull(pSize)) return vekErrNullPtr;
  *pSize = sizeof(VekrTriangleAccel);
  return vekOk;
}

VekStatus vekrTriangleAccelInit(VekrTriangleAccel *pAccel, const float *pVertices, const int32_t *pIndices,
                                int32_t count) {
  for (int64_t i = 0; i < count; ++i) {
    const int32_t *corners = pIndices + 4 * i;
    pAccel[i] = makeRecord(pVertices + 3 * static_cast<int64_t>(corners[0]),
                           pVertices + 3 * static_cast<int64_t>(corners[1]),
                           pVertices + 3 * static_cast<int64_t>(corners[2]));
  }
  return vekOk;
}
