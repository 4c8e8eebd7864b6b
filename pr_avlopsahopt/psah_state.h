// Working memory of one surface-area build: what there is, what it costs, who hands it out.
//
// The build allocates in large steps and hands out from pools and chunks, so that nothing is allocated per node or
// patch and one release at the end frees everything, whatever the outcome. Every byte counts against the budget that
// the caller gave, in sizes that are fixed here: whether a build fits its budget must not depend on anything
// but the mesh.
#pragma once

#include <cstdint>

#include "vekr.h"

namespace vekr {

// A convex polygon: a triangle, or the part of one that lies in a node's cell.
struct VekrPatch {
  uint32_t word0;  // triangle number * 32 + vertex count; wraps for numbers of 2^26 and above
  uint32_t
      extremeMask;  // six fields of five bits: the vertex of the greatest x, y, z, then of the least x, y, z
  const float **vertices;  // in polygon order, each three floats of the caller or of the point pool
};

// The bounds of a patch, as wide as vector registers; the fourth lanes are 0. Not necessarily aligned like them: hosts
// may bring an allocator of their own.
struct VekrPatchBounds {
  float low[4];
  float high[4];
};

// A tree node while it is being built; always made in pairs.
struct VekrBuildNode {
  int32_t kind;   // 0, 1, 2: inner node, the axis; 3: leaf
  int32_t value;  // leaf: count; inner node: bits of the plane
  void *
      link;  // inner node: the pair of children; leaf under work: its patches; finished leaf: its triangle numbers
};

constexpr int32_t vekrBuildLeafKind = 3;

// An entry of a ring of chunks; the head of a ring is an empty one.
struct VekrBuildChunk {
  VekrBuildChunk *next;
  VekrBuildChunk *previous;
  char *base;
  char *end;
  char *cursor;
};

struct VekrBuildPool {
  char *base;
  char *end;
  char *cursor;
};

// The caller's vertices.
struct VekrBuildVertices {
  const float *base;
  const float *end;
};

// Vertex-pointer arrays of up to this many vertices are reused: a triangle in a cell has three edges and six walls.
constexpr int32_t kMostFreeListVertices = 9;

// What the five bits of a vertex number in a mask can tell. Rounding may add vertices beyond nine; never this many.
constexpr int32_t kMostPatchVertices = 31;

struct VekrBuildState {
  uint64_t memoryLeft;
  VekrBuildVertices vertices;
  VekrBuildPool patchPool;
  VekrBuildPool pointPool;
  void *scratch[3][4];  // by axis; triangleCount words each
  VekrBuildChunk nodeChunks;
  VekrBuildChunk listChunks;
  void
      *freeLists[kMostFreeListVertices + 1];  // by vertex count; a free array's first entry links to the next
  VekrBuildChunk pointerChunks;
};

// The sizes that the budget is charged with [C04], and that are asked for.
constexpr uint64_t kStateBytes = 408;
constexpr uint64_t kChunkBlockBytes = 0x1000000;
constexpr uint64_t kChunkRecordBytes = 40;
constexpr uint64_t kNodePairBytes = 48;
static_assert(sizeof(VekrBuildState) <= kStateBytes && sizeof(VekrBuildChunk) <= kChunkRecordBytes);
static_assert(sizeof(VekrPatch) == 16 && 2 * sizeof(VekrBuildNode) <= kNodePairBytes);

// Everything that a build holds. The bounds are not charged: they are a copy of what the polygons tell, kept so that
// the search reads memory in order. A patch of the pool has its bounds at the same place.
struct PsahBuild {
  VekrBuildState *state = nullptr;
  VekrPatchBounds *bounds = nullptr;

  VekrPatchBounds *boundsOf(const VekrPatch *patch) const {
    return bounds + (patch - reinterpret_cast<const VekrPatch *>(state->patchPool.base));
  }
};

// Whether `budget` bytes are enough to begin with.
bool isBudgetEnough(uint64_t budget, int32_t vertexCount, int32_t triangleCount);

// Allocates state, scratch arrays and pools. vekErrTreeBuild if memory fails; what was obtained is in `build`.
VekStatus openBuild(PsahBuild &build, const float *pVertices, int32_t vertexCount, int32_t triangleCount,
                    uint64_t budget);

// Releases what only the work on patches needs: pointer chunks, pools, scratch.
void releaseWork(PsahBuild &build);

// Releases everything that is left, at any stage.
void releaseBuild(PsahBuild &build);

// `bytes` of a ring's last chunk, or of a new one; null if the budget or the memory is spent.
void *takeFromRing(VekrBuildState &state, VekrBuildChunk &ring, uint64_t bytes);

// `bytes` of a pool; null if they don't end before its end.
inline void *takeFromPool(VekrBuildPool &pool, uint64_t bytes) {
  if (bytes >= static_cast<uint64_t>(pool.end - pool.cursor)) return nullptr;
  char *taken = pool.cursor;
  pool.cursor += bytes;
  return taken;
}

// An array of `count` vertex pointers, or null.
inline const float **takeVertexPointers(VekrBuildState &state, int32_t count) {
  if (count <= kMostFreeListVertices && state.freeLists[count] != nullptr) {
    void *array = state.freeLists[count];
    state.freeLists[count] = *static_cast<void **>(array);
    return static_cast<const float **>(array);
  }
  return static_cast<const float **>(
      takeFromRing(state, state.pointerChunks, sizeof(void *) * static_cast<uint64_t>(count)));
}

inline void giveVertexPointers(VekrBuildState &state, const float **array, int32_t count) {
  if (count > kMostFreeListVertices) return;
  void *link = array;
  *static_cast<void **>(link) = state.freeLists[count];
  state.freeLists[count] = link;
}

}  // namespace vekr
