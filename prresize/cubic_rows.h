// Row passes of the cubic codes: one source row, interpolated along x. For kernel files.
#pragma once

#include <cstdint>

#include "frame/groups.h"
#include "prresize/axis.h"
#include "prresize/prefetch.h"
#include "volume/convert.h"

namespace vekr::VEKR_ISA {

// What a row that remains after groups of four columns sums by: (q0 + q1) + (q2 + q3) as the groups do, or
// (q0 + q2) + (q1 + q3). Callers depend on the last bits of each [C91].
enum class EndOrder { neighbours, crossed };

template <class Voxel>
float valueOf(const Voxel *row, int32_t column) {
  return loadVoxels<1>(row + column).v;
}

// Weighted sums (q0 + q1) + (q2 + q3) of four neighbours each.

template <class Voxel>
Float<4> cubicSums(Lanes<4>, const Voxel *row, const int32_t *index, const CubicWeights *weights) {
  const auto products = [&](int i) {
    return loadVoxels<4>(row + index[i] - 1) * Float<4>::load(weights[i].k);
  };
  return pairSums(pairSums(products(0), products(1)), pairSums(products(2), products(3)));
}

// Block by block: every second column, or every fourth, ends in the same one.
template <class Voxel>
Float<16> cubicSums(Lanes<16>, const Voxel *row, const int32_t *index, const CubicWeights *weights) {
  const auto products = [&](int i) {
    return joined(loadVoxelHalves(row + index[i] - 1, row + index[i + 1] - 1),
                  loadVoxelHalves(row + index[i + 2] - 1, row + index[i + 3] - 1)) *
           Float<16>::load(weights[i].k);
  };
  return alternatingBlocks(pairSums(pairSums(products(0), products(4)), pairSums(products(8), products(12))));
}

template <class Voxel>
Float<8> cubicSums(Lanes<8>, const Voxel *row, const int32_t *index, const CubicWeights *weights) {
  const auto products = [&](int i) {
    return loadVoxelHalves(row + index[i] - 1, row + index[i + 1] - 1) * Float<8>::load(weights[i].k);
  };
  // Block by block: the even columns end in the first one, the odd columns in the second.
  return alternatingBlocks(pairSums(pairSums(products(0), products(2)), pairSums(products(4), products(6))));
}

template <EndOrder order, class Voxel>
float cubicSum(const Voxel *row, int32_t index, const CubicWeights &weights) {
  float q[4];
  for (int32_t k = 0; k < 4; ++k) q[k] = valueOf(row, index - 1 + k) * weights.k[k];
  return order == EndOrder::crossed ? (q[0] + q[2]) + (q[1] + q[3]) : (q[0] + q[1]) + (q[2] + q[3]);
}

// The columns whose taps all lie in the source; groups are counted from the first of them. `ahead` is a row that will be
// needed soon.
template <EndOrder order, class Voxel>
void cubicInterior(const Voxel *row, const Voxel *ahead, const Axis<CubicWeights> &x, float *out) {
  const int32_t *const index = x.index;
  const CubicWeights *const weights = x.weight;
  forGroups(x.runs.lead(), x.runs.tailBegin(), [=]<int N>(Lanes<N> lanes, int64_t i) {
    if constexpr (N == 1) {
      out[i] = cubicSum<order>(row, index[i], weights[i]);
    } else {
      prefetchGroups<N>(ahead, index + i);
      cubicSums(lanes, row, index + i, weights + i).store(out + i);
    }
  });
}

// Four rows, or four slices, and their weights.
struct FourRows {
  const float *row[4];
  CubicWeights weights;

  template <int N>
  Float<N> mixed(int64_t i) const {
    const auto product = [&](int k) { return Float<N>(weights.k[k]) * Float<N>::load(row[k] + i); };
    return (product(0) + product(1)) + (product(2) + product(3));
  }
};

// The column pass.
inline void cubicMix(const FourRows &four, float *out, int32_t width) {
  forGroups(0, width, [=]<int N>(Lanes<N>, int64_t i) { four.mixed<N>(i).store(out + i); });
}

}  // namespace vekr::VEKR_ISA
