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

template <Place where, int N>
Float<N> rowMix(Lanes<N> lanes, const float *row, const int32_t *index, const float *weight) {
  const Neighbours<N> taps = loadNeighbours(lanes, row, index);
  return mixed<where>(taps.here, taps.next, Float<N>::load(weight));
}

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
    prefetchGroups<N>(ahead, index + i);
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

inline Int<4> loadPairWeights(const FixedPair *weight) {
  return Int<4>::load(reinterpret_cast<const int32_t *>(weight));
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
    const EightWordPairs pairs = loadEightWordPairs(row, index + i);
    packedLikePairs(mixedPairs<shift>(pairs.low, loadPairWeights(weight + i)),
                    mixedPairs<shift>(pairs.high, loadPairWeights(weight + i + 4)))
        .store(out + i);
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
