#include "pr_avlopsahopt/psah_state.h"

#include <cstring>

#include "frame/memory.h"

namespace vekr {
namespace {

// Pools grow with the mesh in steps of this many bytes.
constexpr uint64_t kPoolStep = 0x1000000;
constexpr uint64_t kPatchPoolBytesPerTriangle = 36;
constexpr uint64_t kPointPoolBytesPerVertex = 48;

// What must be there to begin with. It counts less for a vertex than the point pool takes, so that what is left may
// fall below zero; being unsigned it is then huge, and chunks are without limit. Results depend on it [C05].
constexpr uint64_t kBudgetPerVertex = 12;
constexpr uint64_t kBudgetPerTriangle = 84;
constexpr uint64_t kBudgetBase = 2 * kPoolStep + 488;

void makeEmptyRing(VekrBuildChunk &ring) { ring = {&ring, &ring, nullptr, nullptr, nullptr}; }

void releaseRing(VekrBuildChunk &ring) {
  while (ring.next != &ring) {
    VekrBuildChunk *chunk = ring.next;
    veksFree(chunk->base);
    ring.next = chunk->next;
    chunk->next->previous = &ring;
    veksFree(chunk);
  }
}

bool openPool(VekrBuildState &state, VekrBuildPool &pool, uint64_t bytes) {
  state.memoryLeft -= bytes;
  pool.base = pool.cursor = static_cast<char *>(veksMallocBytes(bytes));
  if (pool.base == nullptr) return false;
  pool.end = pool.base + bytes;
  return true;
}

void releasePool(VekrBuildPool &pool) {
  veksFree(pool.base);
  pool = {nullptr, nullptr, nullptr};
}

uint64_t poolBytes(uint64_t perItem, uint64_t items) {
  return (perItem * items & ~(kPoolStep - 1)) + kPoolStep;
}

// A chunk for a request of `bytes`: of the usual size, or as large as a request beyond it.
VekrBuildChunk *openChunk(VekrBuildState &state, VekrBuildChunk &ring, uint64_t bytes) {
  const uint64_t blockBytes = bytes > kChunkBlockBytes ? bytes : kChunkBlockBytes;
  if (state.memoryLeft < blockBytes + kChunkRecordBytes) return nullptr;
  auto *chunk = static_cast<VekrBuildChunk *>(veksMallocBytes(kChunkRecordBytes));
  char *block = static_cast<char *>(veksMallocBytes(blockBytes));
  if (chunk == nullptr || block == nullptr) {
    veksFree(chunk);
    veksFree(block);
    return nullptr;
  }
  state.memoryLeft -= blockBytes + kChunkRecordBytes;
  *chunk = {&ring, ring.previous, block, block + blockBytes, block};
  ring.previous->next = chunk;
  ring.previous = chunk;
  return chunk;
}

}  // namespace

bool isBudgetEnough(uint64_t budget, int32_t vertexCount, int32_t triangleCount) {
  return budget >= kBudgetPerVertex * static_cast<uint64_t>(vertexCount) +
                       kBudgetPerTriangle * static_cast<uint64_t>(triangleCount) + kBudgetBase;
}

VekStatus openBuild(PsahBuild &build, const float *pVertices, int32_t vertexCount, int32_t triangleCount,
                    uint64_t budget) {
  build.state = static_cast<VekrBuildState *>(veksMallocBytes(kStateBytes));
  if (build.state == nullptr) return vekErrTreeBuild;
  VekrBuildState &state = *build.state;
  std::memset(&state, 0, sizeof state);
  makeEmptyRing(state.nodeChunks);
  makeEmptyRing(state.listChunks);
  makeEmptyRing(state.pointerChunks);
  state.memoryLeft = budget - kStateBytes;
  state.vertices = {pVertices, pVertices + 3 * static_cast<int64_t>(vertexCount)};
  for (auto &axis : state.scratch) {
    for (void *&array : axis) {
      state.memoryLeft -= 4 * static_cast<uint64_t>(triangleCount);
      array = veksMalloc_32s(triangleCount);
      if (array == nullptr && triangleCount > 0) return vekErrTreeBuild;
    }
  }
  const uint64_t patchBytes = poolBytes(kPatchPoolBytesPerTriangle, static_cast<uint64_t>(triangleCount));
  const uint64_t pointBytes = poolBytes(kPointPoolBytesPerVertex, static_cast<uint64_t>(vertexCount));
  if (!openPool(state, state.patchPool, patchBytes)) return vekErrTreeBuild;
  if (!openPool(state, state.pointPool, pointBytes)) return vekErrTreeBuild;
  build.bounds = static_cast<VekrPatchBounds *>(
      veksMallocBytes(patchBytes / sizeof(VekrPatch) * sizeof(VekrPatchBounds)));
  return build.bounds == nullptr ? vekErrTreeBuild : vekOk;
}

void releaseWork(PsahBuild &build) {
  VekrBuildState &state = *build.state;
  releaseRing(state.pointerChunks);
  releasePool(state.patchPool);
  releasePool(state.pointPool);
  for (auto &axis : state.scratch) {
    for (void *&array : axis) {
      veksFree(array);
      array = nullptr;
    }
  }
  veksFree(build.bounds);
  build.bounds = nullptr;
}

void releaseBuild(PsahBuild &build) {
  if (build.state == nullptr) return;
  releaseWork(build);
  releaseRing(build.state->listChunks);
  releaseRing(build.state->nodeChunks);
  veksFree(build.state);
  build.state = nullptr;
}

void *takeFromRing(VekrBuildState &state, VekrBuildChunk &ring, uint64_t bytes) {
  VekrBuildChunk *chunk = ring.previous;
  if (bytes >= static_cast<uint64_t>(chunk->end - chunk->cursor)) {
    chunk = openChunk(state, ring, bytes);
    if (chunk == nullptr) return nullptr;
  }
  char *taken = chunk->cursor;
  chunk->cursor += bytes;
  return taken;
}

}  // namespace vekr
