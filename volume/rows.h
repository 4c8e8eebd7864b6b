// The walk along a destination row, chunk by chunk: what remap and warp share in front of the samplers. For kernel files.
#pragma once

#include "volume/sampling.h"

namespace vekr::VEKR_ISA {

// ---------------------------------------------------------------- where a chunk's voxels lie in the source

// Of coordinates that are floats already, for locate().
template <int N>
Float<N> narrowed(Float<N> a) {
  return a;
}
template <int N>
Mask<N> narrowed(Mask<N> a) {
  return a;
}

// Sets index, at and inside of the chunk.count voxels of a chunk. reader.load(axis, v) gives the coordinates of the group
// from voxel v on, reader.bound(i) a voxel number in lanes of the same type: this type decides about inclusion and index;
// only what is left for the fractions is narrowed to float [C74]. Voxels outside the region, and coordinates that are not
// numbers, are left out.
template <int32_t code, class Reader>
inline void locate(const RegionBox &region, const Reader &reader, Chunk &chunk) {
  constexpr bool rounds = kindOf<code>().sampling == Sampling::nearest;  // and needs no fractions
  const int32_t first[3] = {region.x0, region.y0, region.z0};
  const int32_t last[3] = {region.x1, region.y1, region.z1};
  VoxelSet inside = 0;
  for (int v = 0; v < chunk.count; v += kGroup) {
    const auto x = reader.load(0, v), y = reader.load(1, v), z = reader.load(2, v);
    const auto isIn = [&](int axis, const auto &at) {
      return (reader.bound(first[axis]) <= at) & (at <= reader.bound(last[axis]));
    };
    const Mask<kGroup> in = narrowed(isIn(0, x) & isIn(1, y) & isIn(2, z));
    const auto store = [&](int axis, const auto &at) {
      const Int<kGroup> index = rounds ? rounded(at) : truncated(at);
      select(in, index, Int<kGroup>(first[axis])).store(chunk.index[axis] + v);
      if constexpr (!rounds) narrowed(at).store(chunk.at[axis] + v);
    };
    store(0, x);
    store(1, y);
    store(2, z);
    inside |= static_cast<VoxelSet>(bits(in)) << v;
  }
  chunk.inside = inside & firstVoxels(chunk.count);
}

// ---------------------------------------------------------------- prefetch

// Which voxels along y and z a code reads around an index.
template <int32_t code>
constexpr int kReachBefore = (kindOf<code>().taps - 1) / 2;
template <int32_t code>
constexpr int kReachBehind = kindOf<code>().taps / 2;

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
    prefetchLine(reinterpret_cast<const void *>(address));
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

// ---------------------------------------------------------------- rows

// A row of `width` voxels. readerFor(x, count) gives the reader (see locate) of the `count` voxels from x on; it is called
// once for each chunk, in ascending order, and a chunk ahead of the sampler.
template <class Voxel, int32_t code, class ReaderFor>
inline void sampleRow(const SampledVolume &source, unsigned char *row, int32_t width,
                      const ReaderFor &readerFor) {
  Chunk chunks[2];
  const auto prepare = [&](int32_t x, Chunk &chunk) {
    chunk.count = width - x < kChunk ? width - x : kChunk;
    locate<code>(source.region, readerFor(x, chunk.count), chunk);
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

}  // namespace vekr::VEKR_ISA
