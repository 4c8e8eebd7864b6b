#include "prresize/mapping.h"

#include <cmath>

#include "frame/lanes.h"

namespace vekr {

namespace {

// Keeps the last voxel of a box in the box.
constexpr double kNearestBias = 1e-10;
// Lets a fraction that a rounded product leaves just below a step of the scale reach it [C87].
constexpr double kFixedBias = 1e-07;

// Centres map to centres.
double sourceCoordinate(const Mapping &m, int32_t i) {
  const double d = static_cast<double>(m.begin) + i;
  return ((d + 0.5) * m.inverse - 0.5) + m.shift;
}

enum class Taps { linear, cubic };

// Class of a source coordinate, as the run that grows. All comparisons are false for a NaN, whose taps are those of the end.
int32_t &runOf(AxisRuns &runs, double s, int32_t size, Taps taps) {
  const bool cubic = taps == Taps::cubic;
  if (s < 0) return runs.below;
  if (cubic && s < 1) return runs.first;
  if (s < (cubic ? static_cast<double>(size) - 2 : static_cast<double>(size) - 1)) return runs.inside;
  if (cubic && s < static_cast<double>(size) - 1) return runs.high;
  return runs.above;
}

// weigh(i, fraction) for each coordinate; the fraction is in double.
template <Taps taps, class Weigh>
AxisRuns fill(const Mapping &m, int32_t *index, const Weigh &weigh) {
  AxisRuns runs = {};
  for (int32_t i = 0; i < m.count; ++i) {
    const double s = sourceCoordinate(m, i), whole = VEKR_ISA::floorOf(VEKR_ISA::Double<1>(s)).v;
    ++runOf(runs, s, m.size, taps);
    index[i] = truncatedInt(whole);
    weigh(i, s - whole);
  }
  return runs;
}

void setWeight(double fraction, float *weight) { *weight = static_cast<float>(fraction); }

void setWeight(double fraction, FixedPair *weight) {
  const auto far =
      static_cast<uint16_t>(truncatedInt(fraction * static_cast<double>(kFixedOne) + kFixedBias));
  *weight = {static_cast<uint16_t>(kFixedOne - far), far};
}

// The four functions in Horner form, of a distance from 0 up, inside 1 and inside 2. Remap and warp tabulate them instead
// (volume/cubic_tables.h). Callers rely on the last bits of both, and so on the order of the operations [C86].
struct Lagrange {
  static double inner(double a) { return (a * 0.5 * a - a - 0.5) * a + 1.0; }
  static double outer(double a) { return (a * -0.16666666666666666 * a + a - 1.8333333333333333) * a + 1.0; }
};
struct BSpline {
  static double inner(double a) { return (a * 0.5 * a - a) * a + 0.6666666666666666; }
  static double outer(double a) {
    return (a * -0.16666666666666666 * a + a) * a + (1.3333333333333333 - a - a);
  }
};
struct CatmullRom {
  static double inner(double a) { return (a * 1.5 - 2.5) * a * a + 1.0; }
  static double outer(double a) { return ((a * -0.5 + 2.5) * a - 4.0) * a + 2.0; }
};
struct Mitchell {
  static double inner(double a) { return (a * 0.95 - 1.7) * a * a + 0.8333333333333334; }
  static double outer(double a) {
    return ((a * -0.38333333333333336 + 2.0) * a - 3.4) * a + 1.8666666666666667;
  }
};

// Distances are stepped in float, each kernel value is rounded to float once.
template <class Kernel>
CubicWeights cubicWeights(float t) {
  CubicWeights weights;
  float d = -1.0f - t;
  for (float &weight : weights.k) {
    const double a = std::fabs(d);
    weight = static_cast<float>(a < 1 ? Kernel::inner(a) : a < 2 ? Kernel::outer(a) : 0.0);
    d += 1.0f;
  }
  return weights;
}

}  // namespace

CubicWeights ownpi_Cubic0Kernel(float t) { return cubicWeights<Lagrange>(t); }
CubicWeights ownpi_Cubic1Kernel(float t) { return cubicWeights<BSpline>(t); }
CubicWeights ownpi_Cubic2Kernel(float t) { return cubicWeights<CatmullRom>(t); }
CubicWeights ownpi_Cubic3Kernel(float t) { return cubicWeights<Mitchell>(t); }

static constexpr InterpolationTable<CubicKernel> kCubicKernels = cubicKindTable<CubicKernel>(
    ownpi_Cubic0Kernel, ownpi_Cubic1Kernel, ownpi_Cubic2Kernel, ownpi_Cubic3Kernel);

// The region keeps the index in the source but for a hair at either end, where its nearest voxel is taken.
void fillNearest(const Mapping &m, int32_t *index) {
  for (int32_t i = 0; i < m.count; ++i) {
    const double d = static_cast<double>(m.begin) + i;
    index[i] = clampedTo(m.size, truncatedInt((d + 0.5) * m.inverse - kNearestBias + m.shift));
  }
}

template <class Weight>
Axis<Weight> fillLinear(const Mapping &m, int32_t *index, Weight *weight) {
  const AxisRuns runs =
      fill<Taps::linear>(m, index, [&](int32_t i, double fraction) { setWeight(fraction, weight + i); });
  return {m.size, runs, index, weight};
}

template Axis<float> fillLinear(const Mapping &, int32_t *, float *);
template Axis<FixedPair> fillLinear(const Mapping &, int32_t *, FixedPair *);

Axis<CubicWeights> fillCubic(const Mapping &m, const InterpolationKind &kind, int32_t *index,
                             CubicWeights *weight) {
  CubicKernel *const kernel = kCubicKernels.slots[kind.code];
  const AxisRuns runs = fill<Taps::cubic>(
      m, index, [&](int32_t i, double fraction) { weight[i] = kernel(static_cast<float>(fraction)); });
  return {m.size, runs, index, weight};
}

}  // namespace vekr
