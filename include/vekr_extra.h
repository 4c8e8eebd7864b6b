/* vekr_extra.h: what C programs that use vekr write again and again. Optional: inline functions, no part of
 * the libraries; nothing in vekr.h needs them. They call vekrTriangleAccelInit and vekMalloc, so link the
 * library as for vekr.h. Valid C99 and C++. */
#ifndef VEKR_EXTRA_H
#define VEKR_EXTRA_H

#include <string.h>

#include "vekcore.h"
#include "vekr.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Returns the name of a status and what it means, as a constant text; "unknown status" for other numbers. */
static inline const char *vekrExtraStatusText(VekStatus status) {
  switch (status) {
    case vekOk:
      return "vekOk: success";
    case vekWarnNoVoxels:
      return "vekWarnNoVoxels: the destination region is empty along an axis";
    case vekWarnNoOverlap:
      return "vekWarnNoOverlap: the region does not overlap the volume";
    case vekErrTreeInternal:
      return "vekErrTreeInternal: the parts of a node of the tree don't add up";
    case vekErrMemAlloc:
      return "vekErrMemAlloc: no memory, or a budget too small to begin";
    case vekErrContext:
      return "vekErrContext: the context's identifier is unknown";
    case vekErrSize:
      return "vekErrSize: a count, length, dimension or divisor is out of range";
    case vekErrBadArg:
      return "vekErrBadArg: band or state type not acceptable";
    case vekErrNullPtr:
      return "vekErrNullPtr: a pointer is null";
    case vekErrTreeBuild:
      return "vekErrTreeBuild: the budget or the memory ran out during the build";
    case vekErrRange:
      return "vekErrRange: a value is out of range";
    case vekErrInterpolation:
      return "vekErrInterpolation: unknown interpolation code";
    case vekErrResizeFactor:
      return "vekErrResizeFactor: a factor is not positive";
    case vekErrChannel:
      return "vekErrChannel: the channel count is not 1";
    case vekErrCoeff:
      return "vekErrCoeff: the matrix is singular";
    default:
      return "unknown status";
  }
}

/* Returns 1 if the processor has what the library's code is compiled for, otherwise 0: then a call may end
 * the program by SIGILL. */
static inline int vekrExtraProcessorIsServed(void) {
#if defined(__x86_64__) && defined(__GNUC__)
  return __builtin_cpu_supports("sse4.1") != 0;
#elif defined(__aarch64__) && defined(__linux__)
  return 1;
#else
  return 0;
#endif
}

/* What vekrExtraCheckMesh has found. The first numbers are -1 where there is none. */
typedef struct VekrExtraMeshReport {
  int32_t strayTriangles; /* triangles with a vertex number below 0 or beyond the vertices */
  int32_t firstStray;     /* number of the first of them */
  int32_t badVertices;    /* vertices with a NaN or an infinity */
  int32_t firstBad;       /* number of the first of them */
  int32_t degenerate;     /* other triangles whose normal is 0: no error, never hit */
} VekrExtraMeshReport;

/* Looks at a mesh before it is given to vekrKDTreeBuildAlloc and vekrTriangleAccelInit, which trust it: a
 * stray vertex number makes them read elsewhere.
 *   pVertices   vertexCount vertices, three floats each
 *   pIndices    triangleCount triangles, four ints each, of which the last is not looked at
 *   pReport     out: everything that was found, also beside vekErrRange
 * Errors: vekErrNullPtr, vekErrSize (a negative count), vekErrRange (a stray triangle or a bad vertex). */
static inline VekStatus vekrExtraCheckMesh(const float *pVertices, const int32_t *pIndices,
                                           int32_t vertexCount, int32_t triangleCount,
                                           VekrExtraMeshReport *pReport) {
  VekrExtraMeshReport report = {0, -1, 0, -1, 0};
  int64_t i;
  int k;
  if (!pVertices || !pIndices || !pReport) return vekErrNullPtr;
  if (vertexCount < 0 || triangleCount < 0) return vekErrSize;
  for (i = 0; i < vertexCount; ++i) {
    int bad = 0;
    for (k = 0; k < 3; ++k) {
      uint32_t bits; /* and no comparison, which -ffast-math would remove */
      memcpy(&bits, pVertices + 3 * i + k, sizeof bits);
      bad |= (bits & 0x7F800000u) == 0x7F800000u;
    }
    if (bad && report.badVertices++ == 0) report.firstBad = (int32_t)i;
  }
  for (i = 0; i < triangleCount; ++i) {
    const int32_t *corners = pIndices + 4 * i;
    int stray = 0;
    for (k = 0; k < 3; ++k) stray |= corners[k] < 0 || corners[k] >= vertexCount;
    if (stray) {
      if (report.strayTriangles++ == 0) report.firstStray = (int32_t)i;
    } else {
      VekrTriangleAccel record; /* all zero where the library finds no normal */
      vekrTriangleAccelInit(&record, pVertices, corners, 1);
      report.degenerate += record.axes == 0;
    }
  }
  *pReport = report;
  return report.strayTriangles > 0 || report.badVertices > 0 ? (VekStatus)vekErrRange : (VekStatus)vekOk;
}

/* Bytes from one plane of `count` entries of 4 bytes to the next: a multiple of 64, so that all planes of one
 * block are aligned as packet forms and kernels want them. */
static inline size_t vekrExtraPlaneStep(int32_t count) { return ((size_t)count * 4 + 63) / 64 * 64; }

/* Allocates planes of one block, each aligned to 64 bytes; contents are undefined. The block goes back by
 * vekFree(ppPlanes[0]).
 *   ppPlanes     out: planeCount pointers; written on success only
 *   planeCount   1 or more
 *   count        entries of a plane, 1 or more (width * height of a ray block)
 * Errors: vekErrNullPtr, vekErrSize, vekErrMemAlloc. */
static inline VekStatus vekrExtraAllocPlanes_32f(float **ppPlanes, int32_t planeCount, int32_t count) {
  char *block;
  int32_t i;
  if (!ppPlanes) return vekErrNullPtr;
  if (planeCount < 1 || count < 1) return vekErrSize;
  block = (char *)vekMalloc((size_t)planeCount * vekrExtraPlaneStep(count));
  if (!block) return vekErrMemAlloc;
  for (i = 0; i < planeCount; ++i)
    ppPlanes[i] = (float *)(void *)(block + (size_t)i * vekrExtraPlaneStep(count));
  return vekOk;
}

/* The same for planes of ints: triangle numbers, masks. */
static inline VekStatus vekrExtraAllocPlanes_32s(int32_t **ppPlanes, int32_t planeCount, int32_t count) {
  char *block;
  int32_t i;
  if (!ppPlanes) return vekErrNullPtr;
  if (planeCount < 1 || count < 1) return vekErrSize;
  block = (char *)vekMalloc((size_t)planeCount * vekrExtraPlaneStep(count));
  if (!block) return vekErrMemAlloc;
  for (i = 0; i < planeCount; ++i)
    ppPlanes[i] = (int32_t *)(void *)(block + (size_t)i * vekrExtraPlaneStep(count));
  return vekOk;
}

/* A list of planes as an input: in C, other than in C++, `float *list[3]` is no `const float *const *` by
 * itself.
 *   vekrIntersectEyeSO_32f(eye, vekrExtraConst_32f(directions), ...) */
static inline const float *const *vekrExtraConst_32f(float *const *ppPlanes) {
  return (const float *const *)ppPlanes;
}

#ifdef __cplusplus
}
#endif

#endif
