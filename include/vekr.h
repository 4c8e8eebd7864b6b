/* vekr.h: the public interface of libvekre9.so.6.1.
 *
 * Low-level routines for ray-traced rendering and for volumes of sampled data. The library is given arrays
 * and gives back arrays: it does no input or output, prints nothing, keeps no state, needs no initialisation.
 *
 * It runs on Linux, on x86-64 processors with SSE4.1 (all since 2008) and on 64-bit ARM. Nothing looks for
 * SSE4.1: an older one dies by SIGILL in the first function that computes. A program that must run there as
 * well asks before the first call: __builtin_cpu_supports("sse4.1"), which vekr_extra.h wraps.
 *
 * What holds for every function unless its own text says otherwise:
 *   - Result: a VekStatus. 0 is success, positive a warning, negative an error. After an error the outputs
 *     are as they were. Errors are listed in the order in which they are looked for; the first one found is
 *     returned.
 *   - Threads: every function may be called from several threads at once, on separate outputs. Most do all
 *     their work on the caller's thread; the few that fork OpenMP threads say so, and the work of all of
 *     those has ended on return (the OpenMP runtime may keep the threads themselves for a later call).
 *   - Exactness: the bits of a result depend on the arguments: on what arrays hold and, in functions with
 *     two forms, whose text tells which form runs when, on the alignment of arrays and on lengths. They
 *     don't depend on the compiler, on the instruction set, on the run or on the number of threads, with two
 *     exceptions. Affine warp: the thread count. Packet forms of intersection and the kernel of smooth
 *     normals: the make of an x86 processor, from whose estimate of a reciprocal or a reciprocal root they
 *     start. docs/exactness.md in the sources tells all of it.
 *   - Planes: a per-ray quantity is a dense array, one 32-bit entry a ray; a vector quantity is three such
 *     arrays (x, y, z), passed as a list of three pointers. Arrays need only the alignment of their element
 *     type.
 *   - Masks: a mask plane holds signed ints; a negative entry marks a dead ray. Triangle numbers, which are
 *     -1 at a miss, serve as a mask directly.
 *   - Distances along a ray are in units of the direction's length. Directions are never normalised.
 *
 * Letters in names: C1 one array, C3 three interleaved values, P3 three planes, AC1 one constant a component,
 * I in place, M masked, SO/S0 one origin for all rays, MO/M0 one origin a ray, V a volume as one block, PV a
 * volume as a list of plane pointers; 8u 16u 16s 32s 32f the element types. */
#ifndef VEKR_H
#define VEKR_H

#include <stdint.h>

#if defined(__GNUC__)
#define VEKR_API __attribute__((visibility("default")))
#else
#define VEKR_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* -----------------------------------------------------------------------------------------------------------
 * Statuses and version
 * -------------------------------------------------------------------------------------------------------- */

/* Result of a call: 0 success, above 0 a warning (less was done than asked), below 0 an error. */
typedef int32_t VekStatus;

enum {
  vekOk = 0,
  vekWarnNoVoxels = 1,   /* resize: the destination region is empty along an axis; nothing was written */
  vekWarnNoOverlap = 40, /* volumes: the region asked for does not overlap the volume; nothing was written */
  vekErrTreeInternal = -2, /* tree build: a node's parts don't add up; never seen with finite vertices */
  vekErrMemAlloc = -4,     /* tree build: no memory for the tree, or a budget too small to begin */
  vekErrContext = -5,      /* tree build: the context's identifier is unknown */
  vekErrSize = -6,         /* a count, length, dimension or divisor is out of range */
  vekErrBadArg = -7,       /* spherical harmonics: band or state type not acceptable */
  vekErrNullPtr = -8,      /* a pointer is null; looked for before sizes, but for the tree's context */
  vekErrTreeBuild = -9, /* tree build: budget or memory ran out, with a budget or without; all is released */
  vekErrRange = -11,    /* tree build: a field of the context is out of range */
  vekErrInterpolation = -22, /* volumes: interpolation code not one that the function takes */
  vekErrResizeFactor = -23,  /* resize: a factor is not positive */
  vekErrChannel = -53,       /* buffer size queries: the channel count is not 1 */
  vekErrCoeff = -56          /* affine warp: the matrix is singular, or counts as such */
};

typedef struct VekLibVersion {
  int32_t major;
  int32_t minor;
  int32_t majorBuild;
  int32_t build;
  char targetCpu[4]; /* code of the processor class, padded with zeros */
  const char *name;
  const char *version;
  const char *buildDate;
} VekLibVersion;

/* Returns the library's version record: constant, the same address on every call, not to be freed. Never
 * fails. */
VEKR_API const VekLibVersion *vekrGetLibVersion(void);

/* -----------------------------------------------------------------------------------------------------------
 * Scene tree: a kd-tree over the triangles of a mesh
 *
 * A mesh is an array of vertices, three consecutive floats (x, y, z) each, and an array of triangles, four
 * signed 32-bit ints each: three vertex numbers (not checked) and one int that nothing reads. A triangle's
 * number is its place in that array, counted from 0.
 *
 * The finished tree is one block of memory without absolute addresses; it may be moved or written to a file.
 * It starts with the root; 16 bytes on, pairs of child nodes; behind them, lists of triangle numbers (int32).
 * -------------------------------------------------------------------------------------------------------- */

/* A node. Inner node (word0 >= 0): bits 0-1 of word0 are the axis of the plane (0 x, 1 y, 2 z); word0 with
 * bits 0-2 cleared is the distance in bytes from this node to its two children, the one below the plane
 * first; word1 is the plane's coordinate, a float. Leaf (word0 < 0), by word1:
 *   0                    empty
 *   above 0              word1 triangle numbers in a list, at this node's address minus word0
 *   sign bit, low bits 1 one triangle: word0 & 0x7FFFFFFF
 *   sign bit, low bits 2 two: word0 & 0x7FFFFFFF, and (word1 & 0x7FFFFFFC) >> 2
 *   sign bit, low bits 3 three: M - A, M, M + B with M = (word1 & 0x7FFFFFFC) >> 2,
 *                        A = (word0 & 0x7FFF0000) >> 16, B = word0 & 0xFFFF */
typedef struct VekrKDTreeNode {
  int32_t word0;
  int32_t word1;
} VekrKDTreeNode;

enum { vekrSimpleBuildIdentifier = 0x499D3DC2, vekrPSAHBuildIdentifier = 0x2D07705B };

/* Chooses the simple builder: one leaf that lists all triangles. */
typedef struct VekrSimpleBuildContext {
  int32_t identifier; /* vekrSimpleBuildIdentifier */
  int32_t maxDepth;   /* 0 to 50; otherwise without effect */
} VekrSimpleBuildContext;

/* Chooses the surface-area builder, which cuts triangles exactly at the split planes. Scratch memory of its
 * search, up to twice what the budget charges for the mesh's pieces, comes on top of the budget; most of it
 * is never touched. */
typedef struct VekrPSAHBuildContext {
  int32_t identifier;    /* vekrPSAHBuildIdentifier */
  int32_t maxDepth;      /* 0 to 50: depth at which every node becomes a leaf */
  float splitBias;       /* 0 to 1: 1 splits most eagerly, 0 least */
  int32_t memoryLimitMB; /* budget in MiB, 81 for a few triangles, below 32 refused; negative: no limit */
  const float *pBounds;  /* box that triangles are clipped to; null: the bounds of the vertices */
} VekrPSAHBuildContext;

/* Builds a tree and allocates its block.
 *   ppTree         receives the root's address; written on success only
 *   pVertices      vertexCount vertices; the surface-area builder without pBounds reads the first vertex of a
 *                  mesh that has triangles also if vertexCount is 0
 *   pIndices       triangleCount triangles
 *   vertexCount, triangleCount   0 or more; the tree of no triangles is an empty leaf
 *   pTreeSize      receives the tree's size in bytes; written on success only
 *   pContext       one of the two contexts above
 * Errors: vekErrNullPtr (ppTree, pVertices, pIndices, pTreeSize), vekErrSize (a negative count),
 * vekErrNullPtr (pContext), vekErrContext (an unknown identifier: nothing behind it is read), vekErrRange
 * (maxDepth, splitBias; a NaN is taken), vekErrMemAlloc (memoryLimitMB 0 to 31, or too small for the mesh to
 * begin), vekErrTreeBuild (budget or memory run out on the way, memory also where there is no budget) or
 * vekErrTreeInternal, vekErrMemAlloc (no memory for the tree). After an error nothing remains allocated.
 * The tree of finite vertices is a function of the arguments alone. The caller gives it back with
 * vekrKDTreeFree.
 * Threads: in nodes of more than 4096 pieces the surface-area builder may fork up to three, no more than the
 * machine has processors; it doesn't ask ownGetNumThreads(). The tree is never written again, so any number
 * of threads may trace through it. */
VEKR_API VekStatus vekrKDTreeBuildAlloc(VekrKDTreeNode **ppTree, const float *pVertices,
                                        const int32_t *pIndices, int32_t vertexCount, int32_t triangleCount,
                                        int32_t *pTreeSize, const void *pContext);

/* Releases a tree. Accepts null. */
VEKR_API void vekrKDTreeFree(VekrKDTreeNode *pTree);

/* -----------------------------------------------------------------------------------------------------------
 * Triangle records
 * -------------------------------------------------------------------------------------------------------- */

/* What a ray/triangle test needs of one triangle A, B, C: its plane and its barycentric coordinates,
 * projected along the dominant axis k of the normal N = (A - C) x (B - C) on the other two axes u, v. All
 * zero: degenerate, never hit.
 * With E1 = A - C, E2 = B - C and s = -1 for k = 1, else 1. After I. Wald, "Realtime Ray Tracing and
 * Interactive Global Illumination", 2004, chapter 7. */
typedef struct VekrTriangleAccel {
  uint32_t axes; /* bits 0-1 v, 2-3 u, 4-5 k; bit 31: |N[u]| and |N[v]| are below 2^-52 and count as 0 */
  float nu;      /* N[u] / N[k] */
  float ck;      /* C[k] */
  float nv;      /* N[v] / N[k] */
  float cu;      /* C[u] */
  float cv;      /* C[v] */
  float e2u;     /* s * E2[u] / N[k] */
  float e2v;     /* s * E2[v] / N[k] */
  float e1u;     /* s * E1[u] / N[k] */
  float e1v;     /* s * E1[v] / N[k] */
} VekrTriangleAccel;

/* Stores the size of a record in bytes, 40. Errors: vekErrNullPtr. */
VEKR_API VekStatus vekrTriangleAccelGetSize(int32_t *pSize);

/* Fills one record for each triangle.
 *   pAccel      out, count records
 *   pVertices   vertices, three floats each
 *   pIndices    count triangles, four ints each
 *   count       below 1: nothing is read or written
 * Computed in double and rounded once. Tests nothing, always returns vekOk. */
VEKR_API VekStatus vekrTriangleAccelInit(VekrTriangleAccel *pAccel, const float *pVertices,
                                         const int32_t *pIndices, int32_t count);

/* -----------------------------------------------------------------------------------------------------------
 * Intersection of ray blocks with a mesh
 *
 * A block is width * height rays; ray (x, y) has index y * width + x in every plane. The functions test
 * nothing and always return vekOk; a width or height below 1 reads and writes nothing. Triangles are hit from
 * both sides.
 *
 * Each function has a packet form, four rays at a time, and a one-ray form. The packet form runs if width and
 * height are multiples of four and every array that the call walks ray by ray is 16-byte aligned. Results of
 * the two forms are not equal in the last bits: the packet form divides by an approximate reciprocal with one
 * Newton step and takes no margin at tree nodes. A ray's result in the packet form may depend on the rays of
 * its tile of four by four: on whether all sixteen point into one octant, and on its row. Rows 0 and 2 of a
 * tile of one octant may lose rays that are parallel to the planes of constant y (many origins: y or z).
 * -------------------------------------------------------------------------------------------------------- */

typedef struct VekrBlockSize {
  int32_t width;
  int32_t height;
} VekrBlockSize;

/* What a ray block is traced against; bound by the caller, read only by the library. */
typedef struct VekrIntersectScene {
  const float *pBox;                   /* min x, y, z, max x, y, z (vekrSetBoundBox_32f) */
  const VekrTriangleAccel *pTriangles; /* one record for each triangle (vekrTriangleAccelInit) */
  const VekrKDTreeNode *pRoot;         /* the tree (vekrKDTreeBuildAlloc) */
} VekrIntersectScene;

/* Nearest hit of each ray, every ray with an origin of its own.
 *   pOrigins, pDirections   three planes each
 *   pDistances     in: the farthest distance wanted; out: the distance of the hit, unchanged at a miss
 *   pHits          two planes, out: the hit's barycentric weights of the triangle's first and second vertex;
 *                  one-ray form: unchanged at a miss; packet form: 0 at a miss, or unchanged if all rays of
 *                  the packet have missed the box
 *   pHitTriangles  out: the triangle's number, -1 at a miss
 * One-ray form: a hit must lie more than 1e-5 before the best one so far, a ray parallel to a pair of box
 * planes must start strictly between them, and triangles that are nearly parallel to the ray (D.N / N[k]
 * below 1.1920929e-6) are passed over.
 * Walk: V. Havran, "Heuristic Ray Shooting Algorithms", 2000; triangle test: see VekrTriangleAccel. */
VEKR_API VekStatus vekrIntersectMO_32f(const float *const *pOrigins, const float *const *pDirections,
                                       float *pDistances, float *const *pHits, int32_t *pHitTriangles,
                                       const VekrIntersectScene *pScene, VekrBlockSize size);

/* The same for rays from one point. `pOrigin`: three floats. Of two hits at the same distance the one met
 * first on the walk stays. */
VEKR_API VekStatus vekrIntersectEyeSO_32f(const float *pOrigin, const float *const *pDirections,
                                          float *pDistances, float *const *pHits, int32_t *pHitTriangles,
                                          const VekrIntersectScene *pScene, VekrBlockSize size);

/* Which segments from one point are blocked. The segment of a ray runs from pOrigin to pOrigin + direction;
 * its ends are open, so that a surface at either end does not block it.
 *   pOrigin       three floats
 *   pDirections   three planes (vekrCastShadowSO_32f)
 *   pOccluders    out: a triangle that blocks the segment, not always the nearest one, or -1
 *   pMask         in: negative at segments that need no test; out: -1 where the segment is blocked
 * One-ray form: dead rays are not traced and get -1 in pOccluders. Packet form: dead rays may be traced along
 * with their neighbours and get a triangle and -1 if blocked; in tiles whose rays point into several octants,
 * pOccluders of a blocked ray may be 0 instead of the triangle's number: the mask alone tells what is
 * blocked. The scene's box is not read. */
VEKR_API VekStatus vekrIntersectAnySO_32f(const float *pOrigin, const float *const *pDirections,
                                          int32_t *pOccluders, int32_t *pMask, VekrBlockSize size,
                                          const VekrIntersectScene *pScene);

/* Size of a volume: columns, rows, planes. */
typedef struct VekrVolumeSize {
  int32_t width;
  int32_t height;
  int32_t depth;
} VekrVolumeSize;

/* Up to volume.depth successive hits along each ray from one point.
 *   pOrigin        three floats
 *   pDirections    three planes of volume.width * volume.height entries
 *   pDistances     in, plane 0: the farthest distance wanted; out: the distance of each hit from pOrigin
 *   pHits          two lists, out: weights of the triangle's first and second vertex, unchanged at a miss
 *   pHitTriangles  out: the triangle, -1 where there is no further hit
 * The four result arrays hold volume.depth planes of width * height entries; hit l of ray i is at
 * l * width * height + i. volume.depth must be at least 1. pHitTriangles tells which layers have found
 * something; of the others pDistances says nothing: the first one behind a hit holds 3.4028235e38, later
 * ones what they held, or, in the packet form, 0. A triangle is not hit again as long as its number is
 * remembered: one-ray form up to eight layers, packet form four. */
VEKR_API VekStatus vekrIntersectMultipleSO_32f(const float *pOrigin, const float *const *pDirections,
                                               float *pDistances, float *const *pHits, int32_t *pHitTriangles,
                                               const VekrIntersectScene *pScene, VekrVolumeSize volume);

/* -----------------------------------------------------------------------------------------------------------
 * Ray casting
 * -------------------------------------------------------------------------------------------------------- */

/* Position of a block in an image, counted in blocks. */
typedef struct VekrBlockIndex {
  int32_t x;
  int32_t y;
} VekrBlockIndex;

/* Directions of the eye rays of one block of an image: pCorner + column * pStepX + row * pStepY.
 *   pCorner               three floats: the direction towards image point (0, 0)
 *   pStepX, pStepY        three floats each: increment for one column, for one row
 *   blockStepX, blockStepY   columns and rows from one block to the next; the products with blockIndex are
 *                         formed in 32 bits
 *   pDirections           out, three planes of size.width * size.height entries
 * A width or height below 1 reads and writes nothing. With a width that is a multiple of four the row's start
 * is accumulated by adding pStepY row after row; otherwise each row is computed afresh.
 * Errors: vekErrNullPtr (pDirections). */
VEKR_API VekStatus vekrCastEye_32f(const float *pCorner, const float *pStepX, const float *pStepY,
                                   int32_t blockStepX, int32_t blockStepY, VekrBlockIndex blockIndex,
                                   float *const *pDirections, VekrBlockSize size);

/* Mirrors directions at normals: R = I - 2 (I.N) N. Dead rays get (0, 0, 0). I.N is summed (x + y) + z if the
 * length is a multiple of four, otherwise (y + z) + x.
 *   pIncident, pNormals   three planes each; normals must be of unit length
 *   pMask                 length entries
 *   pReflected            out, three planes; may be those of pIncident or pNormals
 *   length                below 1: nothing is read or written
 * Errors: vekErrNullPtr (pIncident, pMask, pNormals, pReflected). */
VEKR_API VekStatus vekrCastReflectionRay_32f(const float *const *pIncident, const int32_t *pMask,
                                             const float *const *pNormals, float *const *pReflected,
                                             int32_t length);

/* Segments from a point light to the shaded points, for those points that it can light.
 *   pLight              three floats
 *   pSurfaceDot         dot products of the incoming rays and the normals (vekrDotChangeNorm_32f_IM): they
 *                       tell the side of the surface that the viewer sees
 *   pNormals, pPoints   three planes each
 *   pMask               in and out: -1 where no ray is to be traced
 *   pLightDot           out: |N.W| with W = point - light, not normalised; 0 where no ray is to be traced
 *   pShadowDirections   out, three planes: W, or 0 where no ray is to be traced
 *   length              below 1: nothing is read or written
 * A ray is kept if it is live, light and viewer are on one side of the surface, and |N.W| is at least
 * 0.0017453292 (float 0x3ae4c388). Of the last length % 4 rays the dead ones keep their negative mask as it
 * is; all others get -1. Trace the result with vekrIntersectAnySO_32f from pLight.
 * Errors: vekErrNullPtr (pSurfaceDot, pNormals, pPoints, pMask, pShadowDirections, pLightDot). */
VEKR_API VekStatus vekrCastShadowSO_32f(const float *pLight, const float *pSurfaceDot,
                                        const float *const *pNormals, const float *const *pPoints,
                                        int32_t *pMask, float *pLightDot, float *const *pShadowDirections,
                                        int32_t length);

/* -----------------------------------------------------------------------------------------------------------
 * Hit points and masked arithmetic: the steps of a shading loop over `length` rays
 *
 * A length below 1 reads and writes nothing. Pointers inside a list of planes are never tested. An output may
 * be the very array of an input. "Kernel" below is the form that runs if length is a multiple of four and all
 * arrays named in "aligned" are 16-byte aligned; where nothing is said, results don't depend on it.
 * -------------------------------------------------------------------------------------------------------- */

/* Points along rays from one origin: H = O + eps t D, (0, 0, 0) at dead rays.
 *   pOrigin       three floats
 *   pDirections   three planes; pDistances, pMask: length entries; pHitPoints: three planes, out
 *   eps           a factor near 1 that places the point a little before or behind the surface
 * Kernel (t D) eps + O, otherwise (eps D) t + O; aligned: pDistances, pMask, pDirections, pHitPoints.
 * Errors: vekErrNullPtr (pDistances, pMask, pDirections, pHitPoints). */
VEKR_API VekStatus vekrHitPoint3DEpsS0_32f_M(const float *pOrigin, const float *const *pDirections,
                                             const float *pDistances, const int32_t *pMask,
                                             float *const *pHitPoints, int32_t length, float eps);

/* The same with an origin for each ray, three planes, which must be aligned for the kernel too.
 * Errors: vekErrNullPtr (pDistances, pMask, pDirections, pHitPoints, pOrigins). */
VEKR_API VekStatus vekrHitPoint3DEpsM0_32f_M(const float *const *pOrigins, const float *const *pDirections,
                                             const float *pDistances, const int32_t *pMask,
                                             float *const *pHitPoints, int32_t length, float eps);

/* pDot = dot product of pSrc0 and pSrc1 (three planes each), 0 at dead rays.
 * Errors: vekErrNullPtr (pSrc0, pSrc1, pMask, pDot). */
VEKR_API VekStatus vekrDot_32f_P3C1M(const float *const *pSrc0, const float *const *pSrc1,
                                     const int32_t *pMask, float *pDot, int32_t length);

/* Turns normals against the rays: where d = D.N is above 0, N = -N and d = -d. pDot = d, 0 at dead rays,
 * whose normals stay.
 *   pDirections   three planes; pNormals: three planes, in and out; pDot: out
 * Errors: vekErrNullPtr (pDirections, pMask, pNormals, pDot). */
VEKR_API VekStatus vekrDotChangeNorm_32f_IM(const float *const *pDirections, const int32_t *pMask,
                                            float *const *pNormals, float *pDot, int32_t length);

/* pSrcDst *= pSrc, 0 at dead rays. Tests nothing. */
VEKR_API VekStatus vekrMul_32f_C1IM(const float *pSrc, const int32_t *pMask, float *pSrcDst, int32_t length);

/* Each of three planes *= pSrc, 0 at dead rays. Errors: vekErrNullPtr (pSrc, pMask, pSrcDst). */
VEKR_API VekStatus vekrMul_32f_C1P3IM(const float *pSrc, const int32_t *pMask, float *const *pSrcDst,
                                      int32_t length);

/* pSrcDst /= pSrc, 0 at dead rays. A divisor of 0 of either sign gives +infinity for a positive dividend,
 * -infinity for a negative one, else the NaN 0xffc00000; no warning is reported.
 * Errors: vekErrNullPtr (pSrc, pSrcDst; pMask is not tested). */
VEKR_API VekStatus vekrDiv_32f_C1IM(const float *pSrc, const int32_t *pMask, float *pSrcDst, int32_t length);

/* Adds light to a colour: pAccumulator += pScale * pColour * pFactor; unchanged at dead rays.
 *   pScale         three floats, one for each plane
 *   pFactor        length entries
 *   pColour        three planes; pAccumulator: three planes, in and out
 * Kernel (colour factor) scale + accumulator, otherwise (scale colour) factor + accumulator; aligned:
 * pFactor, pMask, pAccumulator.
 * Errors: vekErrNullPtr (pFactor, pColour, pMask, pAccumulator; pScale is not tested). */
VEKR_API VekStatus vekrAddMulMul_32f_AC1P3IM(const float *pScale, const float *pFactor,
                                             const float *const *pColour, const int32_t *pMask,
                                             float *const *pAccumulator, int32_t length);

/* Distance from a light to each point, at least 1: sqrt(max(1, |P - L|^2)); 1.0 at dead rays.
 *   pLight   three floats; pPoints: three planes; pDistance: out
 * A NaN gives 1.0 in the kernel, otherwise NaN; aligned: pDistance, pMask, pPoints.
 * Errors: vekErrNullPtr (pPoints, pMask, pDistance; pLight is not tested). */
VEKR_API VekStatus vekrDistAttenuationSO_32f_M(const float *pLight, const float *const *pPoints,
                                               const int32_t *pMask, float *pDistance, int32_t length);

/* -----------------------------------------------------------------------------------------------------------
 * Normals and bounds
 * -------------------------------------------------------------------------------------------------------- */

/* Bounds of `count` vertices, widened on every side by 0.0001 times the largest absolute coordinate (at least
 * the smallest normal float). pBox: out, min x, y, z, max x, y, z, not tested. A count below 1 gives an
 * inverted box.
 * Errors: vekErrNullPtr (pVertices). */
VEKR_API VekStatus vekrSetBoundBox_32f(const float *pVertices, int32_t count, float *pBox);

/* Unit normal (A - C) x (B - C) of each triangle, computed in double; (0, 0, 0) where its length before the
 * division is below about 1.49e-8.
 *   pVertices, pIndices   a mesh
 *   pTriangleNormals      out, three consecutive floats a triangle
 *   count                 triangles; below 1: nothing is read or written
 * Threads: forks ownGetNumThreads() OpenMP threads, at most one for each triangle and at most 1024; the
 * result doesn't depend on their number.
 * Errors: vekErrNullPtr (pVertices, pIndices, pTriangleNormals). */
VEKR_API VekStatus vekrTriangleNormal_32f(const float *pVertices, const int32_t *pIndices,
                                          float *pTriangleNormals, int32_t count);

/* Normal of the triangle that each ray has hit; (0, 0, 0) at a negative triangle number.
 *   pTriangleNormals   three consecutive floats a triangle (vekrTriangleNormal_32f)
 *   pHitTriangles      length triangle numbers
 *   pNormals           out, three planes; length below 1: nothing is read or written
 * Errors: vekErrNullPtr (pTriangleNormals, pHitTriangles). */
VEKR_API VekStatus vekrSurfFlatNormal_32f(const float *pTriangleNormals, const int32_t *pHitTriangles,
                                          float *const *pNormals, int32_t length);

/* Vertex normals, interpolated at each hit and normalised; (0, 0, 0) at a negative triangle number, or where
 * the squared length is below 1.1920929e-7.
 *   pVertexNormals   three consecutive floats a normal
 *   pNormalIndices   triangle n has its normal numbers at [n * stride], [n * stride + 1], [n * stride + 2],
 *                    the product in 32 bits
 *   pHitTriangles    length triangle numbers
 *   pHits            two planes of weights, as the intersection functions write them
 *   pNormals         out, three planes; length below 1: nothing is read or written
 *   stride           ints from one triangle to the next: 4 for a mesh's index array, 3 for a plain one
 * Kernel: approximate reciprocal square root with one Newton step, otherwise a division; and the kernel gives
 * 0 where the squared length equals the threshold. It runs if length is a multiple of four and
 * pVertexNormals, pNormalIndices, pHitTriangles, pNormals and pHits are 16-byte aligned.
 * Errors: vekErrNullPtr (pVertexNormals, pNormalIndices, pHitTriangles, pHits, pNormals). */
VEKR_API VekStatus vekrSurfSmoothNormal_32f(const float *pVertexNormals, const int32_t *pNormalIndices,
                                            const int32_t *pHitTriangles, const float *const *pHits,
                                            float *const *pNormals, int32_t length, int32_t stride);

/* -----------------------------------------------------------------------------------------------------------
 * Spherical harmonics: real basis functions of bands 0 to 15, projection onto them and back
 *
 * Directions are three arrays x, y, z, with z the polar axis. They are not normalised: the functions are
 * polynomials
 *   Y(l,0)  = K(l,0) Q(l,0)(z)
 *   Y(l,+m) = (-1)^m sqrt(2) K(l,m) Q(l,m)(z) Re (x + iy)^m      m = 1 to l
 *   Y(l,-m) = (-1)^m sqrt(2) K(l,m) Q(l,m)(z) Im (x + iy)^m
 * with Q(l,m) the m-th derivative of the Legendre polynomial of degree l and
 * K(l,m) = sqrt((2l+1)/(4 pi) (l-m)!/(l+m)!). On the unit sphere they are orthonormal, Condon-Shortley sign
 * included. Function (l, m) has index l*l + l + m; bands 0 to L are (L+1)^2 functions.
 *
 * Two evaluators give these functions. The direct one needs no tables; it forms powers in single precision
 * and all else in double, so that on the sphere it is within 2e-6 of sqrt((2l+1)/(4 pi)) up to band 6, but
 * only within 1e-3 up to band 13, 2e-3 at band 14 and 5e-3 at band 15. The recurrent one (three-term
 * recurrence in l, single precision) stays within 3e-5 everywhere, and is the faster of the two.
 * Recurrence: M. Abramowitz, I. A. Stegun, "Handbook of Mathematical Functions", 1964, 8.5.3; use for
 * lighting: R. Ramamoorthi, P. Hanrahan, "An Efficient Representation for Irradiance Environment Maps", 2001.
 * -------------------------------------------------------------------------------------------------------- */

enum { vekrSHDirect = 0, vekrSHRecurrent = 1 };

/* What the evaluators need. The caller allocates vekrSHGetSize_32f bytes at any address, less than this
 * record for vekrSHDirect, which has no tables; vekrSHInit_32f fills them. The block holds addresses in
 * itself: it can't be moved or copied. Nothing has to be freed but the block. */
typedef struct VekrSHState {
  uint32_t maxBand; /* highest band that may be asked for */
  int32_t type;     /* vekrSHDirect or vekrSHRecurrent */
  float *pRecurA;   /* tables of the recurrence, in the block behind these fields; vekrSHRecurrent only */
  float *pRecurB;
} VekrSHState;

/* Stores the size of a state in bytes.
 *   maxBand   highest band; 0 to 15 for vekrSHDirect. For vekrSHRecurrent it isn't limited here, but no more
 *             than band 15 can be evaluated; from about 32766 on the size doesn't fit 32 bits and is
 *             meaningless
 *   type      vekrSHDirect or vekrSHRecurrent
 * Errors: vekErrNullPtr (pSize), vekErrSize (vekrSHDirect with maxBand above 15), vekErrBadArg (type). */
VEKR_API VekStatus vekrSHGetSize_32f(uint32_t maxBand, int32_t type, uint32_t *pSize);

/* Fills a state of vekrSHGetSize_32f(maxBand, type) bytes. It is only read afterwards: any number of threads
 * may use it.
 * Errors: vekErrNullPtr (pState), vekErrSize (vekrSHDirect with maxBand above 15), vekErrBadArg (type). */
VEKR_API VekStatus vekrSHInit_32f(VekrSHState *pState, uint32_t maxBand, int32_t type);

/* Values of all functions of bands 0 to L.
 *   pX, pY, pZ   N values each; a component that is not finite makes those values of its direction NaN or
 *                infinite that depend on it: never that of band 0
 *   N            directions; below 0: nothing is read or written
 *   pDst         out, N blocks of (L+1)^2 values, that of function (l, m) at l*l + l + m in its block
 *   L            highest band, at most the state's, and at most 15
 * Errors: vekErrNullPtr (pX, pY, pZ, pDst, pState), vekErrSize (N is 0), vekErrBadArg (L above the state's
 * highest band; the state's type; L above 15). */
VEKR_API VekStatus vekrSH_32f(const float *pX, const float *pY, const float *pZ, int32_t N, float *pDst,
                              uint32_t L, const VekrSHState *pState);

/* Values of the 2L+1 functions of band L alone, without a state: the very bits that vekrSH_32f gives for them
 * with vekrSHDirect.
 *   pX, pY, pZ   N values each
 *   N            directions; below 0: nothing is read or written
 *   pDst         out, N blocks of 2L+1 values, that of order m at L + m
 *   L            band, 0 to 15
 * Errors: vekErrNullPtr (pX, pY, pZ, pDst), vekErrBadArg (L), vekErrSize (N is 0). */
VEKR_API VekStatus vekrSHBand_32f(const float *pX, const float *pY, const float *pZ, int32_t N, float *pDst,
                                  uint32_t L);

/* Transforms. All six take
 *   pX, pY, pZ   N values each
 *   N            directions; below 0: nothing is read or written
 *   L            highest band, at most the state's. Above 15, which only a recurrent state admits, nothing is
 *                done and vekOk is returned
 *   pState       a filled state
 *   pCoeff       (L+1)^2 coefficients, or a list of three such arrays; coefficient l*l + l + m belongs to
 *                function (l, m)
 * Errors: vekErrNullPtr (any pointer, or entry of a list), vekErrSize (N is 0), vekErrBadArg (L above the
 * state's highest band).
 *
 * Forward: pCoeff[k] += Y_k(direction) * sample, for all directions in order of their index, product and sum
 * rounded to single. A sample of 0 adds 0, even where a function is not finite. Samples that stand for parts
 * of the sphere must be weighted with their solid angles by the caller. The coefficients are added to: clear
 * them for a fresh projection.
 *   _C1I     pSrc: N samples
 *   _C3P3I   pSrc: N samples of three interleaved channels; a coefficient array for each channel
 *   _P3I     pSrc: list of three arrays of N samples; a coefficient array for each
 *
 * Inverse: value = sum of pCoeff[k] * Y_k(direction). From 16 coefficients on, the order of the sum depends
 * on whether the coefficients are 16-byte aligned, and so do the last bits.
 *   _C1      pDst: out, N values
 *   _P3      pDst: list of three arrays, out, N values each, one for each coefficient array
 *   _P3C3    pDst: out, N values of three interleaved channels, one for each coefficient array */
VEKR_API VekStatus vekrSHTFwd_32f_C1I(const float *pX, const float *pY, const float *pZ, const float *pSrc,
                                      int32_t N, float *pCoeff, uint32_t L, const VekrSHState *pState);
VEKR_API VekStatus vekrSHTFwd_32f_C3P3I(const float *pX, const float *pY, const float *pZ, const float *pSrc,
                                        int32_t N, float *const *pCoeff, uint32_t L,
                                        const VekrSHState *pState);
VEKR_API VekStatus vekrSHTFwd_32f_P3I(const float *pX, const float *pY, const float *pZ,
                                      const float *const *pSrc, int32_t N, float *const *pCoeff, uint32_t L,
                                      const VekrSHState *pState);
VEKR_API VekStatus vekrSHTInv_32f_C1(const float *pCoeff, uint32_t L, const float *pX, const float *pY,
                                     const float *pZ, float *pDst, int32_t N, const VekrSHState *pState);
VEKR_API VekStatus vekrSHTInv_32f_P3(const float *const *pCoeff, uint32_t L, const float *pX, const float *pY,
                                     const float *pZ, float *const *pDst, int32_t N,
                                     const VekrSHState *pState);
VEKR_API VekStatus vekrSHTInv_32f_P3C3(const float *const *pCoeff, uint32_t L, const float *pX,
                                       const float *pY, const float *pZ, float *pDst, int32_t N,
                                       const VekrSHState *pState);

/* -----------------------------------------------------------------------------------------------------------
 * Volumes: what remap, affine warp, resize and filter share
 *
 * A volume is a stack of planes, a plane a stack of rows, all of one channel. Voxel (x, y, z) is column x of
 * row y of plane z; an integer coordinate is the centre of a voxel.
 *
 * Two forms of volume argument, told by the end of a function's name:
 *   _C1PV   a list of plane pointers. List entry z points to voxel (0, 0, z); row y begins y * step bytes
 *           behind it. Planes may lie anywhere, each for itself.
 *   _C1V    one block: a pointer to voxel (0, 0, 0), bytes from row to row and bytes from plane to plane.
 *
 * Steps are signed byte counts and are not checked. A source step counts whole voxels: what remains of it
 * beyond a multiple of the voxel's size is dropped, by an arithmetic shift; in resize and the filter so does
 * a destination step. Rows may begin at any address.
 *
 * A source box that reaches beyond the volume is cut without complaint; one that begins outside gives
 * vekWarnNoOverlap.
 *
 * Source and destination are not to overlap.
 * -------------------------------------------------------------------------------------------------------- */

typedef struct VekrVolumeBox {
  int32_t x; /* the first voxel */
  int32_t y;
  int32_t z;
  int32_t width;
  int32_t height;
  int32_t depth;
} VekrVolumeBox;

typedef struct VekrVolumePoint {
  int32_t x;
  int32_t y;
  int32_t z;
} VekrVolumePoint;

/* Interpolation codes; no other value is taken. The cubic codes are separable over 4x4x4 voxels, the last
 * three are of D. P. Mitchell and A. N. Netravali, "Reconstruction Filters in Computer Graphics", 1988, with
 * the (B, C) told. */
enum {
  vekrInterNearest = 1,         /* the voxel nearest to the coordinate */
  vekrInterLinear = 2,          /* trilinear, 2x2x2 voxels */
  vekrInterCubicLagrange = 4,   /* four-point Lagrange cubic */
  vekrInterCubicBSpline = 5,    /* cubic B-spline, B = 1, C = 0: smooths, also at integer coordinates */
  vekrInterCubicCatmullRom = 6, /* Catmull-Rom spline, B = 0, C = 1/2 */
  vekrInterCubicMitchell = 7    /* B = 1/2, C = 3/10 */
};

/* How remap and affine warp sample. A coordinate is sampled if it lies in the closed box from the region's
 * first voxel to its last one; otherwise the destination voxel keeps what it held. Coordinates that are not
 * numbers are outside the contract; their voxels are left alone.
 *   nearest   each coordinate is rounded, ties to even.
 *   linear    along x, then y, then z, each as a * (1 - t) + b * t in float. 8u and 16u round to nearest,
 *             ties to even.
 *   cubic     weights from a table of the kernel function at distances of 1/100, interpolated linearly; sums
 *             in float. Where all taps of a voxel are neighbours of each other in the volume (the interior),
 *             8u and 16u round to nearest, ties to even, and 32f keeps the sum. At a border, that is where
 *             the truncated coordinate of an axis is 0, or the region's last or last but one, taps are
 *             clamped to the volume's first voxel and the region's last one, and 8u and 16u add 0.5000001 and
 *             truncate; of 32f, see the function. A coordinate truncated to 0 takes voxels 0, 1 and 2,
 *             however small the region. Results of 8u and 16u are clamped to their range; those of 32f may
 *             leave the source's.
 * A source with a side below 4 voxels turns cubic into linear, one with a side below 2 everything into
 * nearest. A plane under a cubic code may have up to 2^31 - 1 voxels, steps included. */

/* -----------------------------------------------------------------------------------------------------------
 * Remap: a volume looked up at coordinates given voxel by voxel
 * -------------------------------------------------------------------------------------------------------- */

/* Fills the destination: voxel (i, j, k) is the source sampled at the coordinates that the three maps hold at
 * column i of row j of plane k.
 *   pSrc            source planes
 *   srcSize         voxels of the source
 *   srcStep         bytes from row to row of a source plane
 *   srcBox          region of the source that may be sampled; it is not the origin of the coordinates
 *   pXMap, pYMap, pZMap   planes of source coordinates in voxels, as many as the destination has
 *   mapStep         bytes from row to row of all three maps
 *   pDst            destination planes
 *   dstStep         bytes from row to row of a destination plane
 *   dstSize         voxels of the destination and of each map
 *   interpolation   vekrInterNearest and so on
 * A cubic border voxel of 32f is truncated toward zero to a whole number; where the sum is beyond a signed
 * 32-bit integer it is undefined.
 * Errors: vekErrNullPtr (pSrc, pDst, pXMap, pYMap, pZMap), vekErrSize (a size below 1 or a box origin below
 * 0), vekErrInterpolation, vekWarnNoOverlap.
 * Threads: destinations of at least 16 voxels a side are divided by planes among as many as the companion
 * library allows, at most one for each plane and at most 1024; the result doesn't depend on it. */
VEKR_API VekStatus vekrRemap_8u_C1PV(const uint8_t *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                                     VekrVolumeBox srcBox, const float *const *pXMap,
                                     const float *const *pYMap, const float *const *pZMap, int32_t mapStep,
                                     uint8_t *const *pDst, int32_t dstStep, VekrVolumeSize dstSize,
                                     int32_t interpolation);
VEKR_API VekStatus vekrRemap_16u_C1PV(const uint16_t *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                                      VekrVolumeBox srcBox, const float *const *pXMap,
                                      const float *const *pYMap, const float *const *pZMap, int32_t mapStep,
                                      uint16_t *const *pDst, int32_t dstStep, VekrVolumeSize dstSize,
                                      int32_t interpolation);
VEKR_API VekStatus vekrRemap_32f_C1PV(const float *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                                      VekrVolumeBox srcBox, const float *const *pXMap,
                                      const float *const *pYMap, const float *const *pZMap, int32_t mapStep,
                                      float *const *pDst, int32_t dstStep, VekrVolumeSize dstSize,
                                      int32_t interpolation);

/* -----------------------------------------------------------------------------------------------------------
 * Affine warp: a volume seen through a matrix
 * -------------------------------------------------------------------------------------------------------- */

/* Fills a box of the destination with the source under an affine transform. The transform is inverted once;
 * source coordinates are then running sums in double: along a row, from row to row, from plane to plane.
 *   pSrc, srcSize, srcStep, srcBox   the source, as in remap
 *   pDst            destination planes, addressed by the absolute z, y and x of dstBox
 *   dstStep         bytes from row to row of a destination plane
 *   dstBox          voxels to compute; not cut: the destination must hold them all
 *   pCoeffs         12 doubles, three rows of four, source to destination:
 *                   xd = c[0] xs + c[1] ys + c[2] zs + c[3], and so yd, zd. Not tested for null
 *   interpolation   vekrInterNearest and so on
 * A cubic border voxel of 32f keeps its fraction.
 * Errors: vekErrNullPtr (pSrc, pDst), vekErrSize (srcSize, srcBox, dstBox), vekErrCoeff (all three diagonal
 * entries within 1e-100 of 0, also if the matrix could be inverted; or the last two rows dependent),
 * vekErrInterpolation, vekWarnNoOverlap, vekErrCoeff (a determinant within 1e-10 of 0, whatever the matrix's
 * scale).
 * Threads: boxes of at least 16 voxels a side are divided by planes among as many as the companion library
 * allows. Each thread starts its running sums by multiplication, so that the last bits of a coordinate, and
 * with them a decision at a region's bound or a tie, may depend on the number of threads. A number above that
 * of the planes gives what one thread does, and runs as one; of more than 1024 fewer do the sums of all. */
VEKR_API VekStatus vekrWarpAffine_8u_C1PV(const uint8_t *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                                          VekrVolumeBox srcBox, uint8_t *const *pDst, int32_t dstStep,
                                          VekrVolumeBox dstBox, const double *pCoeffs, int32_t interpolation);
VEKR_API VekStatus vekrWarpAffine_16u_C1PV(const uint16_t *const *pSrc, VekrVolumeSize srcSize,
                                           int32_t srcStep, VekrVolumeBox srcBox, uint16_t *const *pDst,
                                           int32_t dstStep, VekrVolumeBox dstBox, const double *pCoeffs,
                                           int32_t interpolation);
VEKR_API VekStatus vekrWarpAffine_32f_C1PV(const float *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                                           VekrVolumeBox srcBox, float *const *pDst, int32_t dstStep,
                                           VekrVolumeBox dstBox, const double *pCoeffs,
                                           int32_t interpolation);

/* Stores the size in bytes of the work buffer that a warp needs: 0, for it takes none.
 *   srcBox, dstBox, interpolation   as for the warp
 *   nChannel   1
 *   pSize      out; written on success only
 * Errors: vekErrNullPtr (pSize), vekErrSize (a box's origin below 0 or size below 1), vekErrChannel,
 * vekErrInterpolation. */
VEKR_API VekStatus vekrWarpAffineGetBufSize(VekrVolumeBox srcBox, VekrVolumeBox dstBox, int32_t nChannel,
                                            int32_t interpolation, int32_t *pSize);

/* -----------------------------------------------------------------------------------------------------------
 * Filter: three-dimensional convolution of 16-bit volumes
 *
 *   S(x, y, z) = sum over k, j, i of K[k][j][i] * src(x + ax - i, y + ay - j, z + az - k)
 *
 * with (ax, ay, az) the anchor and K[k][j][i] = pKernel[(k * kh + j) * kw + i], kw, kh, kd the kernel's
 * width, height and depth; then S divided by the divisor, rounded to nearest with ties to even, saturated to
 * -32768 to 32767. The kernel is mirrored against the source; the tap at the anchor multiplies the voxel at
 * the destination's own place.
 *
 * There is no border: the source reaches beyond the destination on all sides. Columns -(kw-1-ax) to
 * width-1+ax, rows -(kh-1-ay) to height-1+ay and list entries -(kd-1-az) to depth-1+az are read, so the list
 * too is read at negative indices, and its pointers point to the voxel that belongs to destination voxel
 * (0, 0).
 *
 * Two forms. The vector form runs if
 *   - the signed sum of all taps is at most 98301,
 *   - every tap lies in -32767 to 32766,
 *   - the destination is at least 16 voxels wide, and
 *   - the kernel is at least 3 voxels wide, high and deep.
 * It sums in 32 bits, which wrap around. A divisor that is no power of two is replaced by a factor,
 * 1 / float(divisor), and product and factor are floats: what stands near a half can end one off. The wide
 * form, for all other calls, sums 32-bit products (wrapped) in 64 bits and divides in double, by
 * float(divisor).
 *
 * Kernels of a width other than 3 and 5 in the vector form. Let t0, t1, ... be the taps of a kernel row
 * against rising columns (t0 = K[k][j][kw-1]), w the destination's width, W = w rounded down to a multiple of
 * 16, m = w - W.
 *   - kw of 4, 6, 7, 9 and w below 32: the sum above.
 *   - kw of 8, 10 and more: voxels 0 to W - 1 get t0 to t3 only.
 *   - w of 32 and more: voxels x with x mod 16 of 12 and more get t4, t5 in place of t2, t3 (for kw of 4: t0,
 *     t1 of the kernel row that comes next from the last to the first; behind the first one, the low and high
 *     16 bits of the sum at voxel x mod 4). Voxels W to w - 1 lack the taps from t4 on. Voxels 16 to
 *     16 + m - 1 get the whole row once more for each kernel row but the last (K[kd-1][kh-1]), and for that
 *     one just the whole row.
 * Whoever needs the sum above from any kernel filters in strips of at most 15 voxels; or of at most 31, with
 * a kernel padded with zeros to a width of 5, 6, 7 or 9.
 * -------------------------------------------------------------------------------------------------------- */

/* Bytes of work memory for vekrFilter_16s_C1PV.
 *   dstSize      destination; only its width counts
 *   kernelSize   kernel
 *   nChannel     1
 *   pSize        out, in 32-bit arithmetic
 * Errors: vekErrNullPtr (pSize); vekErrSize (a width, height or depth below 1); vekErrChannel (nChannel is
 * not 1). */
VEKR_API VekStatus vekrFilterGetBufSize(VekrVolumeSize dstSize, VekrVolumeSize kernelSize, int32_t nChannel,
                                        int32_t *pSize);

/* Filters a volume.
 *   pSrc         source planes, read at negative indices too (see above)
 *   srcStep      bytes from row to row; an odd one loses its last bit, as does dstStep
 *   pDst         out, depth planes of height rows of width voxels
 *   dstStep      bytes from row to row
 *   dstSize      destination
 *   pKernel      kw * kh * kd taps, x fastest, then y, then z
 *   kernelSize   kw, kh, kd
 *   anchor       the tap that multiplies the destination's own place; outside the kernel it moves what is
 *                read
 *   divisor      not 0 and not INT32_MIN
 *   pBuffer      work memory of at least the bytes that vekrFilterGetBufSize tells, at any address; nothing
 *                in it counts before or after the call
 * Threads: none are started; calls that run at the same time need buffers of their own.
 * Errors: vekErrNullPtr (pSrc, pDst, pKernel, pBuffer); vekErrSize (a width, height or depth below 1, or
 * divisor 0). */
VEKR_API VekStatus vekrFilter_16s_C1PV(const int16_t *const *pSrc, int32_t srcStep, int16_t *const *pDst,
                                       int32_t dstStep, VekrVolumeSize dstSize, const int32_t *pKernel,
                                       VekrVolumeSize kernelSize, VekrVolumePoint anchor, int32_t divisor,
                                       uint8_t *pBuffer);

/* -----------------------------------------------------------------------------------------------------------
 * Volumes: resize
 *
 * Scales a box of a source by three factors, each axis by itself, into a box of a destination: along x, then
 * y, then z. Destination voxel d of an axis lies at source coordinate
 * ((d + 0.5) / factor - 0.5) - shift / factor: centres map to centres. At the ends of the source the first or
 * last voxel stands in for taps that would lie outside. Sources should have at least 4 voxels along each axis
 * for the cubic codes and 2 for vekrInterLinear; with fewer, no other code is taken instead, and nothing
 * outside the source is read.
 *
 * Arguments of all six functions, with T of unsigned 8-bit, unsigned 16-bit or float:
 *   pSrc, srcSize    the whole source; neighbours are read from all of it
 *   srcStep          bytes from row to row; all steps count whole voxels, what remains is dropped by an
 *                    arithmetic shift
 *   srcPlaneStep     block form: bytes from plane to plane. Source steps may be negative in both forms of
 *                    argument
 *   srcBox           doesn't restrict what is read: its image is what may be written. Cut to the source
 *   pDst             the destination; it has no size but dstBox, and only voxels of dstBox whose centres lie
 *                    in the image of srcBox are written
 *   dstStep          bytes from row to row, dstPlaneStep: from plane to plane (block form)
 *   xFactor ...      destination voxels for each source voxel, above 0: above 1 enlarges
 *   xShift ...       destination voxels by which the image is moved
 *   interpolation    one of the codes above
 *   pBuffer          work memory of vekrResizeGetBufSize bytes, at any address; its contents mean nothing
 *                    before or after
 *
 * With vekrInterNearest voxels are copied. With vekrInterLinear integer voxels are mixed with weights of 14
 * bits. With the cubic codes sums are in float, the weights aren't normalised, and integer voxels are
 * truncated, except those within the reach of the source's first and last columns and rows, which are
 * rounded; both are cut to the type's range. A float isn't cut and may overshoot. A negative srcStep gives
 * the same voxels as the equal volume with a positive one, except under the cubic codes in the rows whose
 * centres lie at or beyond that of the last source row.
 *
 * Errors, in this order: vekErrNullPtr (pSrc, pDst, pBuffer; entries of a list aren't tested); vekErrSize (a
 * size below 1, a box with an origin below 0 or a size below 1); vekErrResizeFactor (a factor of 0 or below;
 * a NaN passes); vekErrInterpolation; vekWarnNoOverlap (srcBox begins outside the source); vekWarnNoVoxels
 * (no voxel to write). In all of them the destination is as it was.
 *
 * Threads: calls on separate destinations and buffers may run side by side. vekrResize_32f_C1V alone forks:
 * it shares the planes among ownGetNumThreads() OpenMP threads, at most one for each plane and at most 1024,
 * where the region to write has at least 16 voxels along each axis. The result doesn't depend on their
 * number.
 * -------------------------------------------------------------------------------------------------------- */

/* Size of the work buffer in bytes, for all six functions. It is computed in 32 bits, and is proportional to
 * ownGetNumThreads(), which shouldn't grow before the buffer is used.
 *   srcBox, dstBox   as in the call; nChannel: 1; interpolation: as in the call
 *   pSize            out, not written on an error
 * Errors: vekErrNullPtr (pSize); vekErrSize (a box with an origin below 0 or a size below 1); vekErrChannel
 * (nChannel isn't 1); vekErrInterpolation. */
VEKR_API VekStatus vekrResizeGetBufSize(VekrVolumeBox srcBox, VekrVolumeBox dstBox, int32_t nChannel,
                                        int32_t interpolation, int32_t *pSize);

VEKR_API VekStatus vekrResize_8u_C1V(const uint8_t *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                                     int32_t srcPlaneStep, VekrVolumeBox srcBox, uint8_t *pDst,
                                     int32_t dstStep, int32_t dstPlaneStep, VekrVolumeBox dstBox,
                                     double xFactor, double yFactor, double zFactor, double xShift,
                                     double yShift, double zShift, int32_t interpolation, uint8_t *pBuffer);
VEKR_API VekStatus vekrResize_16u_C1V(const uint16_t *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                                      int32_t srcPlaneStep, VekrVolumeBox srcBox, uint16_t *pDst,
                                      int32_t dstStep, int32_t dstPlaneStep, VekrVolumeBox dstBox,
                                      double xFactor, double yFactor, double zFactor, double xShift,
                                      double yShift, double zShift, int32_t interpolation, uint8_t *pBuffer);
VEKR_API VekStatus vekrResize_32f_C1V(const float *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                                      int32_t srcPlaneStep, VekrVolumeBox srcBox, float *pDst,
                                      int32_t dstStep, int32_t dstPlaneStep, VekrVolumeBox dstBox,
                                      double xFactor, double yFactor, double zFactor, double xShift,
                                      double yShift, double zShift, int32_t interpolation, uint8_t *pBuffer);

VEKR_API VekStatus vekrResize_8u_C1PV(const uint8_t *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                                      VekrVolumeBox srcBox, uint8_t *const *pDst, int32_t dstStep,
                                      VekrVolumeBox dstBox, double xFactor, double yFactor, double zFactor,
                                      double xShift, double yShift, double zShift, int32_t interpolation,
                                      uint8_t *pBuffer);
VEKR_API VekStatus vekrResize_16u_C1PV(const uint16_t *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                                       VekrVolumeBox srcBox, uint16_t *const *pDst, int32_t dstStep,
                                       VekrVolumeBox dstBox, double xFactor, double yFactor, double zFactor,
                                       double xShift, double yShift, double zShift, int32_t interpolation,
                                       uint8_t *pBuffer);
VEKR_API VekStatus vekrResize_32f_C1PV(const float *const *pSrc, VekrVolumeSize srcSize, int32_t srcStep,
                                       VekrVolumeBox srcBox, float *const *pDst, int32_t dstStep,
                                       VekrVolumeBox dstBox, double xFactor, double yFactor, double zFactor,
                                       double xShift, double yShift, double zShift, int32_t interpolation,
                                       uint8_t *pBuffer);

#ifdef __cplusplus
}
#endif

#endif
