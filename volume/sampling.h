// Sampling of a source volume at any coordinates: what remap and warp share. For kernel files.
//
// A destination row is walked in chunks. The family locates a chunk's voxels in the source, by its own arithmetic, and a
// sampler reads the source there and writes those destination voxels that lie inside the region. Lanes of a chunk that
// are outside, or past the row's end, carry the index of the region's first voxel; what is computed for them is never
// stored.
#pragma once

#include <cstdint>

#include "frame/lanes.h"
#include "volume/convert.h"
#include "volume/cubic_tables.h"
#include "volume/samplers.h"

namespace vekr::VEKR_ISA {

constexpr int kGroup = kWidestGroup;  // voxels in lanes
static_assert(kChunk % kGroup == 0);

constexpr VoxelSet firstVoxels(int count) { return ~VoxelSet(0) >> (kChunk - count); }

inline bool isFull(const Chunk &chunk) { return chunk.inside == firstVoxels(chunk.count); }

// ---------------------------------------------------------------- what an interpolation code stands for

template <class Voxel, int32_t code>
constexpr Sampler *samplerOf() {
  constexpr Sampling sampling = kindOf<code>().sampling;
  if constexpr (sampling == Sampling::nearest) {
    return sampleNearest<Voxel>;
  } else if constexpr (sampling == Sampling::linear) {
    return sampleLinear<Voxel>;
  } else {
    static_assert(sampling == Sampling::cubic);
    return sampleCubic<Voxel>;
  }
}

// Null for the kinds that need none.
template <int32_t code>
constexpr const float *tableOf() {
  return kCubicTables.slots[kindOf<code>().code];
}

// ---------------------------------------------------------------- for the samplers

// body(v) for each voxel of a set, in ascending order.
template <class Body>
inline void forEachOf(VoxelSet set, const Body &body) {
  for (; set != 0; set &= set - 1) body(__builtin_ctzll(set));
}

// Copies the voxels that lie inside to their row, and touches no other.
template <class Voxel>
inline void storeInside(const Chunk &chunk, const Voxel (&voxels)[kChunk], unsigned char *row) {
  if (chunk.inside == firstVoxels(kChunk)) {
    std::memcpy(row, voxels, sizeof voxels);
  } else if (isFull(chunk)) {
    std::memcpy(row, voxels, static_cast<size_t>(chunk.count) * sizeof(Voxel));
  } else {
    forEachOf(chunk.inside, [&](int v) { storeAs(row + static_cast<size_t>(v) * sizeof(Voxel), voxels[v]); });
  }
}

}  // namespace vekr::VEKR_ISA
