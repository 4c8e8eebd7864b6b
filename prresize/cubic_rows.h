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
inline __m128 products(const Voxel *row, int32_t index, const CubicWeights &weights) {
  return _mm_mul_ps(loadVoxels<4>(row + index - 1).v, _mm_loadu_ps(weights.k));
}

template <class Voxel>
Float<4> cubicSums(Lanes<4>, const Voxel *row, const int32_t *index, const CubicWeights *weights) {
  const __m128 low = _mm_hadd_ps(products(row, index[0], weights[0]), products(row, index[1], weights[1]));
  const __m128 high = _mm_hadd_ps(products(row, index[2], weights[2]), products(row, index[3], weights[3]));
  return _mm_hadd_ps(low, high);
}

#ifdef __AVX2__

// Four neighbours of one column in the low half, of another in the high half.
inline __m256 fourAndFour(const float *low, const float *high) {
  return _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(low)), _mm_loadu_ps(high), 1);
}
inline __m256 fourAndFour(const uint16_t *low, const uint16_t *high) {
  const __m128i both = _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(low)),
                                          _mm_loadl_epi64(reinterpret_cast<const __m128i *>(high)));
  return _mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(both));
}
inline __m256 fourAndFour(const uint8_t *low, const uint8_t *high) {
  const __m128i both = _mm_insert_epi32(_mm_cvtsi32_si128(loadAs<int32_t>(low)), loadAs<int32_t>(high), 1);
  return _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(both));
}

template <class Voxel>
Float<8> cubicSums(Lanes<8>, const Voxel *row, const int32_t *index, const CubicWeights *weights) {
  const auto pair = [&](int i) {
    return _mm256_mul_ps(fourAndFour(row + index[i] - 1, row + index[i + 1] - 1),
                         _mm256_loadu_ps(weights[i].k));
  };
  // The additions work in each half by itself: even columns end in the low one, odd columns in the high one.
  const __m256 sums = _mm256_hadd_ps(_mm256_hadd_ps(pair(0), pair(2)), _mm256_hadd_ps(pair(4), pair(6)));
  return _mm256_permutevar8x32_ps(sums, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

#endif

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
      if constexpr (N == 8) prefetchGroup(ahead, index + i);
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
