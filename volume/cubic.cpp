// Tricubic interpolation over 4x4x4 voxels with weights from a table. Weights are made for a group of destination voxels
// at a time; the sums then run with the four taps of a row in lanes, as those lie side by side in memory.
#include "volume/cubic_lanes.h"
#include "volume/sampling.h"

namespace vekr::VEKR_ISA {

namespace {

constexpr int kSums = kGroup / kTaps;  // voxels that are summed at once

using Weights = float[kChunk][kTaps];

// ---------------------------------------------------------------- weights

// The weight of the tap at `position` relative to the truncated coordinate: the table, interpolated at the distance.
// Distances are capped, so that lanes that are off, whatever they hold, stay inside the table.
template <int N>
Float<N> weight(const float *table, float position, Float<N> t) {
  const Float<N> distance = minOf(absOf(Float<N>(position) - t), Float<N>(static_cast<float>(kCubicSupport)));
  const Float<N> entry = distance * Float<N>(static_cast<float>(kCubicEntriesPerUnit));
  const Int<N> i = truncated(entry);
  const Neighbours<N> entries = gatherNeighbours(table, i);
  return entries.here + (entries.next - entries.here) * (entry - toFloat(i));
}

void makeWeights(const Chunk &chunk, const float *table, Weights (&weights)[3]) {
  for (int axis = 0; axis < 3; ++axis) {
    for (int v = 0; v < chunk.count; v += kGroup) {
      const Float<kGroup> t =
          Float<kGroup>::load(chunk.at[axis] + v) - toFloat(Int<kGroup>::load(chunk.index[axis] + v));
      Float<kGroup> taps[kTaps];
      for (int k = 0; k < kTaps; ++k) taps[k] = weight(table, static_cast<float>(k - 1), t);
      storeTransposed(taps, weights[axis] + v);
    }
  }
}

// ---------------------------------------------------------------- sums

// (q0 + q1) + (q2 + q3) of four operands at once, block by block.
template <int N>
Float<N> fourSums(const Float<N> (&q)[kTaps]) {
  return pairSums(pairSums(q[0], q[1]), pairSums(q[2], q[3]));
}

// Which order the last sum, along z, is formed in. Callers rely on the difference [C64].
enum class Path { interior, border };

// The sum over 4x4x4 voxels, in the first lane of each block of four. row(plane, line) loads four voxels of one row for
// each block. Along x, y and z the four products are summed as (q0 + q1) + (q2 + q3), on the interior path along z as
// (q0 + q2) + (q1 + q3).
template <Path path, int N, class Row>
Float<N> weightedSum(Float<N> wx, Float<N> wy, Float<N> wz, const Row &row) {
  Float<N> planes[kTaps];
  for (int p = 0; p < kTaps; ++p) {
    Float<N> lines[kTaps];
    for (int l = 0; l < kTaps; ++l) lines[l] = row(p, l) * wx;
    planes[p] = fourSums(lines) * wy;
  }
  const Float<N> q = fourSums(planes) * wz;
  if constexpr (path == Path::interior) {
    const Float<N> halves = q + swappedPairs(q);
    return pairSums(halves, halves);
  } else {
    const Float<N> halves = pairSums(q, q);
    return pairSums(halves, halves);
  }
}

// Row offsets are formed in 32 bits and then widened: a plane beyond 2^31 - 1 elements is out of reach.
int64_t offsetInPlane(int32_t y, int32_t step, int32_t x) {
  return (Int<1>(wrappingMul(y, step)) + Int<1>(x)).v;
}

// Sums of voxels whose taps are neighbours along all axes.
template <class Voxel>
void sumInterior(const SampledVolume &source, const Chunk &chunk, const Weights (&weights)[3],
                 const int (&voxels)[kSums], float *sums) {
  const auto planes = static_cast<const Voxel *const *>(source.planes);
  int64_t offsets[kTaps][kSums];
  const Voxel *const *firstPlane[kSums];
  for (int s = 0; s < kSums; ++s) {
    const int v = voxels[s];
    for (int l = 0; l < kTaps; ++l) {
      offsets[l][s] = offsetInPlane(chunk.index[1][v] - 1 + l, source.step, chunk.index[0][v] - 1);
    }
    firstPlane[s] = planes + (chunk.index[2][v] - 1);
  }
  const auto sum = weightedSum<Path::interior>(
      loadWeights<kSums>(weights[0], voxels), loadWeights<kSums>(weights[1], voxels),
      loadWeights<kSums>(weights[2], voxels), [&](int plane, int line) {
        const Voxel *rows[kSums];
        for (int s = 0; s < kSums; ++s) rows[s] = firstPlane[s][plane] + offsets[line][s];
        return loadRows<kSums>(rows);
      });
  for (int s = 0; s < kSums; ++s) sums[voxels[s]] = firstOfBlock(sum, s);
}

// ---------------------------------------------------------------- borders

struct Taps {
  int32_t at[kTaps];
};

// The taps of an axis for the truncated coordinate c and the region's last coordinate. The low side is guarded against
// the volume's first voxel and the high side against the region's last: callers rely on a region that starts inside the
// volume to read one voxel in front of itself, and on one that ends inside not to read past its end [C65].
Taps tapsOf(int32_t c, int32_t last) {
  if (c < 1) return {{0, 0, 1, 2}};
  if (c == last - 1) return {{c - 1, c, c + 1, c + 1}};
  if (c >= last) return {{c - 1, c, c, c}};
  return {{c - 1, c, c + 1, c + 2}};
}

template <class Voxel>
float sumBorder(const SampledVolume &source, const Chunk &chunk, const Weights (&weights)[3], int v) {
  const auto planes = static_cast<const Voxel *const *>(source.planes);
  const Taps x = tapsOf(chunk.index[0][v], source.region.x1), y = tapsOf(chunk.index[1][v], source.region.y1),
             z = tapsOf(chunk.index[2][v], source.region.z1);
  const Float<4> sum = weightedSum<Path::border>(
      Float<4>::load(weights[0][v]), Float<4>::load(weights[1][v]), Float<4>::load(weights[2][v]),
      [&](int plane, int line) -> Float<4> {
        const auto at = [&](int k) {
          return static_cast<float>(
              loadAs<Voxel>(planes[z.at[plane]] + offsetInPlane(y.at[line], source.step, x.at[k])));
        };
        return Float<4>::of(at(0), at(1), at(2), at(3));
      });
  return firstOfBlock(sum, 0);
}

// ---------------------------------------------------------------- results

void storeInterior(const float *sums, int, float *voxels) {
  std::memcpy(voxels, sums, kChunk * sizeof(float));
}
template <class Voxel>
void storeInterior(const float *sums, int count, Voxel *voxels) {
  for (int v = 0; v < count; v += kGroup) storeSaturated(rounded(Float<kGroup>::load(sums + v)), voxels + v);
}

void storeBorder(float sum, FloatBorder border, float *voxel) {
  *voxel = border == FloatBorder::truncated ? toFloat(truncated(Float<1>(sum))).v : sum;
}
template <class Voxel>
void storeBorder(float sum, FloatBorder, Voxel *voxel) {
  storeSaturated(borderRounded(Float<1>(sum)), voxel);
}

// Voxels that take the interior path along every axis.
VoxelSet interiorOf(const SampledVolume &source, const Chunk &chunk) {
  const int32_t last[3] = {source.region.x1, source.region.y1, source.region.z1};
  VoxelSet interior = 0;
  for (int v = 0; v < chunk.count; v += kGroup) {
    int lanes = allLanes<kGroup>();
    for (int axis = 0; axis < 3; ++axis) {
      const Int<kGroup> c = Int<kGroup>::load(chunk.index[axis] + v);
      lanes &= bits((Int<kGroup>(0) < c) & (c < Int<kGroup>(last[axis] - 1)));
    }
    interior |= static_cast<VoxelSet>(lanes) << v;
  }
  return interior & chunk.inside;
}

}  // namespace

template <class Voxel>
void sampleCubic(const SampledVolume &source, const Chunk &chunk, unsigned char *row) {
  alignas(32) Weights weights[3];
  makeWeights(chunk, source.table, weights);
  const VoxelSet interior = interiorOf(source, chunk);
  Voxel voxels[kChunk];
  if (interior != 0) {
    float sums[kChunk] = {};
    for (VoxelSet left = interior; left != 0;) {
      int chosen[kSums];
      for (int s = 0; s < kSums; ++s) {
        chosen[s] = left != 0 ? __builtin_ctzll(left) : chosen[0];  // an odd one is summed twice
        left &= left - 1;
      }
      sumInterior<Voxel>(source, chunk, weights, chosen, sums);
    }
    storeInterior(sums, chunk.count, voxels);
  }
  forEachOf(chunk.inside & ~interior, [&](int v) {
    storeBorder(sumBorder<Voxel>(source, chunk, weights, v), source.floatBorder, voxels + v);
  });
  storeInside(chunk, voxels, row);
}

template Sampler sampleCubic<uint8_t>;
template Sampler sampleCubic<uint16_t>;
template Sampler sampleCubic<float>;

}  // namespace vekr::VEKR_ISA
