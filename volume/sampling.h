// Sampling of a source volume at any coordinates: what remap and warp share. For kernel files.
//
// A destination row is walked in chunks. The family locates a chunk's voxels in the source, by its own arithmetic, and a
// sampler reads the source there and writes those destination voxels that lie inside the region. Lanes of a chunk that are outside, or past the row's end, carry the index of the region's first voxel, so that
// samplers may read for all lanes alike; what they compute there is never stored.
#pragma once

#include <cstdint>

#include "frame/simd.h"
#include "volume/convert.h"
#include "volume/cubic_tables.h"
#include "volume/region.h"

namespace vekr::VEKR_ISA {

constexpr int kChunk = 64;
using VoxelSet = uint64_t;  // bit v: voxel v of a chunk

constexpr VoxelSet firstVoxels(int count) { return ~VoxelSet(0) >> (kChunk - count); }

struct Chunk {
  alignas(32) int32_t index[3][kChunk];  // x, y, z, rounded for nearest, otherwise truncated toward zero
  alignas(32) float at[3][kChunk];       // the coordinates themselves; not set for nearest
  VoxelSet inside;                       // those that are to be sampled
  int count;                             // voxels of the row in this chunk, at least 1

  bool isFull() const { return inside == firstVoxels(count); }
};

// What the border conversion of a cubic 32f result does. The two families differ here, and callers rely on both.
enum class FloatBorder {
  kept,      // nothing
  truncated  // toward zero to a signed 32-bit integer, and back
};

struct SampledVolume {
  const void *planes;  // list of plane pointers, of the voxel type that the sampler is for
  int32_t step;        // in elements
  RegionBox region;
  const float *table;  // of the cubic kernels
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
  return code == vekrInterNearest  ? sampleNearest<Voxel>
         : code == vekrInterLinear ? sampleLinear<Voxel>
                                   : sampleCubic<Voxel>;
}

template <int32_t code>
constexpr const float *tableOf() {
  return code == vekrInterCubicLagrange     ? tblC0.at
         : code == vekrInterCubicBSpline    ? tblC1.at
         : code == vekrInterCubicCatmullRom ? tblC2.at
         : code == vekrInterCubicMitchell   ? tblC3.at
                                            : nullptr;
}

// Which voxels along y and z a code reads around an index.
template <int32_t code>
constexpr int kReachBefore = code == vekrInterNearest || code == vekrInterLinear ? 0 : 1;
template <int32_t code>
constexpr int kReachBehind = code == vekrInterNearest  ? 0
                             : code == vekrInterLinear ? 1
                                                       : 2;

// ---------------------------------------------------------------- rows

// Asks for the source lines of a chunk that is to be sampled soon. What hasn't been read by an earlier row or plane lies at
// an edge of the voxels' neighbourhoods, on whichever side the walk is heading to: the four edges are asked for.
// All of it is inlined by force, as g++ drops calls of functions that do nothing but prefetch.
template <class Voxel, int32_t code>
[[gnu::always_inline]] inline void prefetch(const SampledVolume &source, const Chunk &chunk) {
  constexpr int kStride = 4;  // neighbours mostly share a line
  const auto planes = static_cast<const Voxel *const *>(source.planes);
  const int64_t before = int64_t(kReachBefore<code>) * source.step,
                behind = int64_t(kReachBehind<code>) * source.step;
  const auto ask = [&](int32_t plane, int64_t offset) __attribute__((always_inline)) {
    const int32_t z = plane < source.region.z0   ? source.region.z0
                      : plane > source.region.z1 ? source.region.z1
                                                 : plane;
    // As a number, for it may lie outside of the plane: asking doesn't hurt.
    const uintptr_t address =
        reinterpret_cast<uintptr_t>(planes[z]) + static_cast<uintptr_t>(offset) * sizeof(Voxel);
    _mm_prefetch(reinterpret_cast<const char *>(address), _MM_HINT_T0);
  };
  for (int v = 0; v < chunk.count; v += kStride) {
    const int64_t offset = int64_t(chunk.index[1][v]) * source.step + chunk.index[0][v];
    const int32_t z = chunk.index[2][v];
    ask(z + kReachBehind<code>, offset + behind);
    if constexpr (kReachBehind<code> != 0) {
      ask(z + kReachBehind<code>, offset - before);
      ask(z - kReachBefore<code>, offset + behind);
      ask(z - kReachBefore<code>, offset - before);
    }
  }
}

// A row of `width` voxels. locate(x, chunk) sets index, at and inside of the chunk.count voxels from x on; it is called
// once for each chunk, in ascending order, and a chunk ahead of the sampler.
template <class Voxel, int32_t code, class Locate>
inline void sampleRow(const SampledVolume &source, unsigned char *row, int32_t width, const Locate &locate) {
  Chunk chunks[2];
  const auto prepare = [&](int32_t x, Chunk &chunk) {
    chunk.count = width - x < kChunk ? width - x : kChunk;
    locate(x, chunk);
    if (chunk.inside != 0) prefetch<Voxel, code>(source, chunk);
  };
  prepare(0, chunks[0]);
  int ready = 0;
  for (int32_t x = 0;; ready ^= 1) {
    const bool more = width - x > kChunk;
    if (more) prepare(x + kChunk, chunks[ready ^ 1]);
    if (chunks[ready].inside != 0) {
      samplerOf<Voxel, code>()(source, chunks[ready], row + static_cast<size_t>(x) * sizeof(Voxel));
    }
    if (!more) break;
    x += kChunk;
  }
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
