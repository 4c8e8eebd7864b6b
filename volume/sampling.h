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
#include "volume/view.h"

namespace vekr::VEKR_ISA {

constexpr int kGroup = kWidestGroup;  // voxels in lanes
constexpr int kChunk = 64;            // a multiple of that
using VoxelSet = uint64_t;            // bit v: voxel v of a chunk

constexpr VoxelSet firstVoxels(int count) { return ~VoxelSet(0) >> (kChunk - count); }

struct Chunk {
  alignas(32) int32_t index[3][kChunk];  // x, y, z, rounded for nearest [C98], else truncated toward zero
  alignas(32) float at[3][kChunk];       // the coordinates themselves; not set for nearest
  VoxelSet inside;                       // those that are to be sampled
  int count;                             // voxels of the row in this chunk, at least 1

  bool isFull() const { return inside == firstVoxels(count); }
};

// What the border conversion of a cubic 32f result does. The two families differ here, and callers rely on both [C67].
enum class FloatBorder {
  kept,      // nothing
  truncated  // toward zero to a signed 32-bit integer, and back
};

// The view is of the voxel type that the sampler is for.
struct SampledVolume : SourceView {
  const float *table;  // of the cubic kinds
  FloatBorder floatBorder;
};

// `row` is the address of the chunk's first destination voxel.
using Sampler = void(const SampledVolume &source, const Chunk &chunk, unsigned char *row);

template <class Voxel>
Sampler sampleNearest;
template <class Voxel>
Sampler sampleLinear;
template <class Voxel>
Sampler sampleCubic;

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
  } else if (chunk.isFull()) {
    std::memcpy(row, voxels, static_cast<size_t>(chunk.count) * sizeof(Voxel));
  } else {
    forEachOf(chunk.inside, [&](int v) { storeAs(row + static_cast<size_t>(v) * sizeof(Voxel), voxels[v]); });
  }
}

}  // namespace vekr::VEKR_ISA
