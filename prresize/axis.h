// One axis of a separable resampling: where the destination's coordinates fall in the source. Plain data, for drivers and
// kernel files alike.
#pragma once

#include <cstdint>

namespace vekr {

// A destination coordinate is classed by its source coordinate s on an axis of N voxels. As s never falls from one
// coordinate to the next, each class is one run, and only lengths are kept.
struct AxisRuns {
  int32_t below;   // s < 0
  int32_t first;   // 0 <= s < 1, cubic codes only
  int32_t inside;  // all taps lie in the source
  int32_t high;    // N - 2 <= s < N - 1, cubic codes only
  int32_t above;   // N - 1 <= s

  constexpr int32_t lead() const { return below + first; }
  constexpr int32_t tail() const { return high + above; }
  constexpr int32_t tailBegin() const { return below + first + inside; }
  constexpr int32_t count() const { return below + first + inside + high + above; }
};

template <class WeightType>
struct Axis {
  using Weight = WeightType;
  int32_t size;          // N
  AxisRuns runs;         // of the destination's coordinates
  const int32_t *index;  // of each coordinate: the integer part of s
  const Weight *weight;  // and what its fraction makes of the taps
};

// Linear weights of integer voxels, (1 - f, f) on the scale 2^14.
struct FixedPair {
  uint16_t near, far;
};
constexpr int kFixedBits = 14;
constexpr int32_t kFixedOne = 1 << kFixedBits;

// Cubic weights of the taps c - 1, c, c + 1, c + 2.
struct CubicWeights {
  float k[4];
};

// Source rows or columns under the four cubic weights.
struct CubicTaps {
  int32_t at[4];
};

constexpr int32_t clampedTo(int32_t size, int32_t tap) { return tap < 0 ? 0 : tap < size ? tap : size - 1; }

// Taps of coordinate `i`, repeated at the ends as its class says. A source of fewer than three voxels has none for some
// classes: its nearest voxel stands in, so that nothing outside is read [C85].
constexpr CubicTaps cubicTaps(const AxisRuns &runs, int32_t size, int32_t i, int32_t index) {
  CubicTaps taps = {};
  if (i < runs.below) {
    taps = {{0, 0, 0, 1}};
  } else if (i < runs.lead()) {
    taps = {{0, 0, 1, 2}};
  } else if (i < runs.tailBegin()) {
    taps = {{index - 1, index, index + 1, index + 2}};
  } else if (i < runs.tailBegin() + runs.high) {
    taps = {{size - 3, size - 2, size - 1, size - 1}};
  } else {
    taps = {{size - 2, size - 1, size - 1, size - 1}};
  }
  for (int32_t &tap : taps.at) tap = clampedTo(size, tap);
  return taps;
}

// The two axes of a plane.
template <class Weight>
struct PlaneAxes {
  Axis<Weight> x, y;
};

// Destination rows `begin` to `end` - 1 of a plane.
struct RowBand {
  int32_t begin, end;
};

}  // namespace vekr
