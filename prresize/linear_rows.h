// Row and column passes of the linear code. For kernel files.
#pragma once

#include <cstdint>

#include "prresize/fixed_lanes.h"
#include "prresize/kernels.h"
#include "prresize/place.h"
#include "prresize/prefetch.h"

namespace vekr::VEKR_ISA {

// ---------------------------------------------------------------- float: one source row, along x

// The interior's form and the frame's round differently [C88].
template <Place where, int N>
Float<N> mixed(Float<N> a, Float<N> b, Float<N> f) {
  return where == Place::frame ? (Float<N>(1.0f) - f) * a + f * b : a + (b - a) * f;
}

inline __m128 twoPairs(const float *first, const float *second) {
  const __m128 low = _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(first)));
  return _mm_loadh_pi(low, reinterpret_cast<const __m64 *>(second));
}

template <Place where>
Float<4> rowMix(Lanes<4>, const float *row, const int32_t *index, const float *weight) {
  const __m128 low = twoPairs(row + index[0], row + index[1]),
               high = twoPairs(row + index[2], row + index[3]);
  return mixed<where>(Float<4>(_mm_shuffle_ps(low, high, _MM_SHUFFLE(2, 0, 2, 0))),
                      Float<4>(_mm_shuffle_ps(low, high, _MM_SHUFFLE(3, 1, 3, 1))), Float<4>::load(weight));
}

#ifdef __AVX2__
template <Place where>
Float<8> rowMix(Lanes<8>, const float *row, const int32_t *index, const float *weight) {
  const auto pairs = [&](int i, int j) {
    return _mm256_insertf128_ps(_mm256_castps128_ps256(twoPairs(row + index[i], row + index[i + 1])),
                                twoPairs(row + index[j], row + index[j + 1]), 1);
  };
  const __m256 low = pairs(0, 4), high = pairs(2, 6);
  return mixed<where>(Float<8>(_mm256_shuffle_ps(low, high, _MM_SHUFFLE(2, 0, 2, 0))),
                      Float<8>(_mm256_shuffle_ps(low, high, _MM_SHUFFLE(3, 1, 3, 1))),
                      Float<8>::load(weight));
}
#endif

template <Place where>
Float<1> rowMix(Lanes<1>, const float *row, const int32_t *index, const float *weight) {
  return mixed<where>(Float<1>(loadAs<float>(row + *index)), Float<1>(loadAs<float>(row + *index + 1)),
                      Float<1>(*weight));
}

inline void storeRow(Float<1> a, float *out) { storeAs(out, a.v); }
template <int N>
void storeRow(Float<N> a, float *out) {
  a.store(out);
}

template <Place where>
void rowPass(const float *row, const float *ahead, const Axis<float> &x, float *out, int32_t begin,
             int32_t end) {
  const int32_t *const index = x.index;
  const float *const weight = x.weight;
  forGroups(begin, end, [=]<int N>(Lanes<N> lanes, int64_t i) {
    if constexpr (N == 8) prefetchGroup(ahead, index + i);
    storeRow(rowMix<where>(lanes, row, index + i, weight + i), out + i);
  });
}

// A column that repeats one tap, in a strip.
inline float repeated(float a, float f) {
  return mixed<Place::frame>(Float<1>(a), Float<1>(a), Float<1>(f)).v;
}

// ---------------------------------------------------------------- integers: one source row, along x

// Bits that go: an 8u interior keeps six of fraction.
template <Place where, class Voxel>
constexpr int rowShift() {
  return sizeof(Voxel) == 1 && where == Place::interior ? kFixedBits - 6 : kFixedBits;
}

// The pairs of eight columns, as words: columns 0 to 3 and 4 to 7.
struct EightPairs {
  __m128i low, high;
};

inline EightPairs eightPairs(const uint8_t *row, const int32_t *index) {
  __m128i bytes = _mm_cvtsi32_si128(loadAs<uint16_t>(row + index[0]));
  bytes = _mm_insert_epi16(bytes, loadAs<uint16_t>(row + index[1]), 1);
  bytes = _mm_insert_epi16(bytes, loadAs<uint16_t>(row + index[2]), 2);
  bytes = _mm_insert_epi16(bytes, loadAs<uint16_t>(row + index[3]), 3);
  bytes = _mm_insert_epi16(bytes, loadAs<uint16_t>(row + index[4]), 4);
  bytes = _mm_insert_epi16(bytes, loadAs<uint16_t>(row + index[5]), 5);
  bytes = _mm_insert_epi16(bytes, loadAs<uint16_t>(row + index[6]), 6);
  bytes = _mm_insert_epi16(bytes, loadAs<uint16_t>(row + index[7]), 7);
  return {_mm_cvtepu8_epi16(bytes), _mm_unpackhi_epi8(bytes, _mm_setzero_si128())};
}

inline __m128i fourPairs(const uint16_t *row, const int32_t *index) {
  __m128i words = _mm_cvtsi32_si128(loadAs<int32_t>(row + index[0]));
  words = _mm_insert_epi32(words, loadAs<int32_t>(row + index[1]), 1);
  words = _mm_insert_epi32(words, loadAs<int32_t>(row + index[2]), 2);
  return _mm_insert_epi32(words, loadAs<int32_t>(row + index[3]), 3);
}

inline EightPairs eightPairs(const uint16_t *row, const int32_t *index) {
  return {fourPairs(row, index), fourPairs(row, index + 4)};
}

inline __m128i loadPairWeights(const FixedPair *weight) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i *>(weight));
}

template <Place where, class Voxel>
void rowPass(const Voxel *row, const Voxel *ahead, const Axis<FixedPair> &x, uint16_t *out, int32_t begin,
             int32_t end) {
  constexpr int shift = rowShift<where, Voxel>();
  const int32_t *const index = x.index;
  const FixedPair *const weight = x.weight;
  int64_t i = begin;
  for (; i + 8 <= end; i += 8) {
    prefetchGroup(ahead, index + i);
    const EightPairs pairs = eightPairs(row, index + i);
    storeWords(_mm_packus_epi32(mixedPairs<shift>(pairs.low, loadPairWeights(weight + i)),
                                mixedPairs<shift>(pairs.high, loadPairWeights(weight + i + 4))),
               out + i);
  }
  for (; i < end; ++i) {
    const Voxel *const near = row + index[i];
    storeAs(out + i,
            static_cast<uint16_t>(mixed<shift>(loadAs<Voxel>(near), loadAs<Voxel>(near + 1), weight[i])));
  }
}

inline uint16_t repeated(uint16_t a, FixedPair w) {
  return static_cast<uint16_t>(mixed<kFixedBits>(a, a, w));
}

// ---------------------------------------------------------------- whole rows

// One source row over the destination's whole width: as the strips above and below the interior need it, or as the interior
// does, with the plain voxels of the source's first and last column beside it. `ahead` is a row that will be needed soon.
template <Place where, class Voxel, class Weight, class Middle>
void linearRow(const Voxel *row, const Voxel *ahead, const Axis<Weight> &x, Middle *out) {
  const auto edge = [&](int32_t begin, int32_t end, Middle voxel) {
    for (int32_t i = begin; i < end; ++i) {
      storeAs(out + i, where == Place::frame ? repeated(voxel, x.weight[i]) : voxel);
    }
  };
  edge(0, x.runs.lead(), loadAs<Voxel>(row));
  rowPass<where>(row, ahead, x, out, x.runs.lead(), x.runs.tailBegin());
  edge(x.runs.tailBegin(), x.runs.count(), loadAs<Voxel>(row + x.size - 1));
}

// ---------------------------------------------------------------- two rows, or two slices, into one

inline void mixRow(const float *near, const float *far, float f, float *out, const PlaneAxes<float> &axes,
                   int32_t) {
  const float g = 1.0f - f;
  forGroups(0, axes.x.runs.count(), [=]<int N>(Lanes<N>, int64_t i) {
    storeRow(Float<N>(g) * Float<N>::load(near + i) + Float<N>(f) * Float<N>::load(far + i), out + i);
  });
}

// Words stay on their scale.
inline void mixRow(const uint16_t *near, const uint16_t *far, FixedPair w, uint16_t *out,
                   const PlaneAxes<FixedPair> &axes, int32_t) {
  mixRows<kFixedBits>(near, far, w, out, 0, axes.x.runs.count());
}

// Row y of an 8u destination: the interior gives up its six bits.
inline void mixRow(const uint16_t *near, const uint16_t *far, FixedPair w, uint8_t *out,
                   const PlaneAxes<FixedPair> &axes, int32_t y) {
  forPlaces(axes, y, [&]<Place where>(PlaceIs<where>, int32_t begin, int32_t end) {
    mixRows<where == Place::frame ? kFixedBits : kFixedBits + 6>(near, far, w, out, begin, end);
  });
}

}  // namespace vekr::VEKR_ISA
