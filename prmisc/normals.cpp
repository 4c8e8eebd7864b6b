// Normals of triangles and of hits: the doors.
#include <omp.h>

#include <algorithm>

#include "frame/checks.h"
#include "prmisc/form.h"
#include "prmisc/normals_kernels.h"
#include "vekcore/vekcore.h"
#include "vekr.h"

using namespace vekr;

namespace {

constexpr int32_t kMostThreads = 1024;  // as in the volume functions [C101]

}  // namespace

VekStatus vekrTriangleNormal_32f(const float *pVertices, const int32_t *pIndices, float *pTriangleNormals,
                                 int32_t count) {
  if (anyNull(pVertices, pIndices, pTriangleNormals)) return vekErrNullPtr;
  if (count < 1) return vekOk;
  const auto kernel = VEKR_DISPATCH(ownTriangleNormal_32f);
  const int32_t threads = std::clamp(ownGetNumThreads(), 1, std::min(count, kMostThreads));
  // One block of triangles a thread, in order; the runtime may give fewer threads than asked for.
#pragma omp parallel num_threads(threads) if (threads > 1)
  {
    const int64_t team = omp_get_num_threads(), self = omp_get_thread_num();
    kernel(pVertices, pIndices, pTriangleNormals, count * self / team, count * (self + 1) / team);
  }
  return vekOk;
}

VekStatus vekrSurfFlatNormal_32f(const float *pTriangleNormals, const int32_t *pHitTriangles,
                                 float *const *pNormals, int32_t length) {
  if (anyNull(pTriangleNormals, pHitTriangles)) return vekErrNullPtr;
  if (length < 1) return vekOk;
  VEKR_DISPATCH(ownSurfFlatNormal_32f)(pTriangleNormals, pHitTriangles, pNormals, length);
  return vekOk;
}

VekStatus vekrSurfSmoothNormal_32f(const float *pVertexNormals, const int32_t *pNormalIndices,
                                   const int32_t *pHitTriangles, const float *const *pHits,
                                   float *const *pNormals, int32_t length, int32_t stride) {
  if (anyNull(pVertexNormals, pNormalIndices, pHitTriangles, pHits, pNormals)) return vekErrNullPtr;
  if (length < 1) return vekOk;
  const RayForm form =
      formFor(length, allAligned(pVertexNormals, pNormalIndices, pHitTriangles, pHits[0], pHits[1]) &&
                          planesAligned(pNormals));
  VEKR_DISPATCH(ownSurfSmoothNormal_32f)
  (pVertexNormals, pNormalIndices, pHitTriangles, pHits, pNormals, length, stride, form);
  return vekOk;
}
