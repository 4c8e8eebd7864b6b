// The samplers of remap and warp, and what they are given: plain data, so that walk and sampler may be of different
// instruction sets.
#pragma once

#include <cstdint>

#include "frame/dispatch.h"
#include "volume/view.h"

namespace vekr {

constexpr int kChunk = 64;  // voxels; a multiple of every set's group
using VoxelSet = uint64_t;  // bit v: voxel v of a chunk

struct Chunk {
  alignas(32) int32_t index[3][kChunk];  // x, y, z, rounded for nearest [C98], else truncated toward zero
  alignas(32) float at[3][kChunk];       // the coordinates themselves; not set for nearest
  VoxelSet inside;                       // those that are to be sampled
  int count;                             // voxels of the row in this chunk, at least 1
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

}  // namespace vekr

VEKR_KERNELS(nearest, template <class Voxel> Sampler sampleNearest;)
VEKR_KERNELS(linear, template <class Voxel> Sampler sampleLinear;)
VEKR_KERNELS(cubic, template <class Voxel> Sampler sampleCubic;)
