// Projection and reconstruction, the basis never leaving a group's rows. Callers rely on the order of every sum.
#include "frame/checks.h"
#include "sh/rows.h"

namespace vekr::VEKR_ISA {

namespace {

constexpr int kAccumulatorLanes = 4;  // of the dot product
constexpr int kMostAccumulators = 4;

// ---------------------------------------------------------------- forward

// Coefficients of one channel, padded to whole tiles.
struct alignas(64) Coefficients {
  float value[kMostValues];
};

// What a sample multiplies its direction's functions with. A sample of zero adds +0 whatever the functions are, even
// NaN: that keeps black samples from spoiling a sum, and turns a coefficient of -0 into +0.
struct Factor {
  Float<kGroup> sample;
  Mask<kGroup> notZero;
};

Factor factorOf(float sample) {
  const Float<kGroup> all(sample);
  return {all, !(all == Float<kGroup>(0.0f))};
}

Float<kGroup> product(const Factor &factor, Float<kGroup> functions) {
  return kept(factor.notZero, functions * factor.sample);
}

// Adds one group's products to the sums of all channels, direction after direction.
template <int Channels, int Lanes>
void addGroup(const Rows &rows, int count, int lanes, const Factor (*factors)[kGroup], Coefficients *sums) {
  const int directions = Lanes == kGroup ? kGroup : lanes;
  for (int k = 0; k < count; k += kGroup) {
    Float<kGroup> columns[kGroup];
    turn(rows.row + k, columns);
    for (int c = 0; c < Channels; ++c) {
      Float<kGroup> sum = Float<kGroup>::load(sums[c].value + k);
      for (int i = 0; i < directions; ++i) sum = sum + product(factors[c][i], columns[i]);
      sum.store(sums[c].value + k);
    }
  }
}

template <int Channels>
void forward(const Basis &basis, const Directions &directions, const Channel<const float> *samples,
             float *const *pCoeff) {
  const int count = valuesUpTo(basis.highest);
  Coefficients sums[Channels] = {};
  for (int c = 0; c < Channels; ++c) {
    for (int k = 0; k < count; ++k) sums[c].value[k] = pCoeff[c][k];
  }
  Rows rows;
  for (int k = count; k < kMostValues && k < count + kGroup; ++k) Float<kGroup>(0.0f).store(rows.row[k]);

  forDirectionGroups(directions, [&](const GroupDirections &group, int64_t first, int lanes) {
    evaluateRows(basis, group, lanes, rows);
    Factor factors[Channels][kGroup];
    for (int c = 0; c < Channels; ++c) {
      for (int i = 0; i < lanes; ++i)
        factors[c][i] = factorOf(samples[c].first[(first + i) * samples[c].step]);
    }
    if (lanes == kGroup) {
      addGroup<Channels, kGroup>(rows, count, lanes, factors, sums);
    } else {
      addGroup<Channels, 1>(rows, count, lanes, factors, sums);
    }
  });

  for (int c = 0; c < Channels; ++c) {
    for (int k = 0; k < count; ++k) pCoeff[c][k] = sums[c].value[k];
  }
}

// Channels whose coefficient arrays overlap take turns at every direction.
void forwardShared(const Basis &basis, const Directions &directions, const Channel<const float> *samples,
                   float *const *pCoeff, int channels) {
  const int count = valuesUpTo(basis.highest);
  Rows rows;
  forDirectionGroups(directions, [&](const GroupDirections &group, int64_t first, int lanes) {
    evaluateRows(basis, group, lanes, rows);
    for (int i = 0; i < lanes; ++i) {
      for (int c = 0; c < channels; ++c) {
        const float sample = samples[c].first[(first + i) * samples[c].step];
        for (int k = 0; k < count; ++k) pCoeff[c][k] += sample == 0.0f ? 0.0f : rows.row[k][i] * sample;
      }
    }
  });
}

bool overlap(const float *a, const float *b, int count) {
  const auto p = reinterpret_cast<uintptr_t>(a), q = reinterpret_cast<uintptr_t>(b);
  return (p > q ? p - q : q - p) < static_cast<uintptr_t>(count) * sizeof(float);
}

// ---------------------------------------------------------------- inverse

// Who adds up which products of a dot product. Accumulators have four lanes; a block is a run of products, four for each
// accumulator in turn.
struct Sum {
  int head;          // products in front of the first block, one for each lane of the first accumulator
  int accumulators;  // that share a block
  int blocksEnd;
  int pairsEnd;  // from blocksEnd on, pairs go to the first two lanes of the first accumulator; one more may follow
};

// The order is that of a dot product with an array on a 16-byte boundary: where the coefficients lie on one too, all
// blocks are of 16; otherwise four products come first and blocks are of 12.
Sum sumOrder(const float *coefficients, int count) {
  constexpr int kShortest = kAccumulatorLanes * kMostAccumulators;  // below it there are pairs only
  Sum sum = {0, kMostAccumulators, 0, count / 2 * 2};
  if (count >= kShortest) {
    if (!allAligned(coefficients)) {
      sum.head = kAccumulatorLanes;
      sum.accumulators = kMostAccumulators - 1;
    }
    const int block = kAccumulatorLanes * sum.accumulators;
    sum.blocksEnd = sum.head + (count - sum.head) / block * block;
    sum.pairsEnd = sum.blocksEnd + (count - sum.blocksEnd) / 2 * 2;
  }
  return sum;
}

using Lane = Float<kGroup>;

Lane weighted(const Rows &rows, const float *coefficients, int k) {
  return Lane::load(rows.row[k]) * Lane(coefficients[k]);
}

// The dot product of every direction of the group with the coefficients.
Lane dotProducts(const Rows &rows, const float *coefficients, int count, const Sum &order) {
  Lane sums[kMostAccumulators][kAccumulatorLanes];
  for (int a = 0; a < kMostAccumulators; ++a) {
    Lane lanes[kAccumulatorLanes];
    for (Lane &lane : lanes) lane = Lane(0.0f);
    if (a == 0 && order.head != 0) {
      for (int j = 0; j < kAccumulatorLanes; ++j) lanes[j] = lanes[j] + weighted(rows, coefficients, j);
    }
    if (a < order.accumulators) {
      const int block = kAccumulatorLanes * order.accumulators;
      for (int k = order.head + a * kAccumulatorLanes; k < order.blocksEnd; k += block) {
        for (int j = 0; j < kAccumulatorLanes; ++j) lanes[j] = lanes[j] + weighted(rows, coefficients, k + j);
      }
    }
    for (int j = 0; j < kAccumulatorLanes; ++j) sums[a][j] = lanes[j];
  }
  for (int k = order.blocksEnd; k < order.pairsEnd; k += 2) {
    sums[0][0] = sums[0][0] + weighted(rows, coefficients, k);
    sums[0][1] = sums[0][1] + weighted(rows, coefficients, k + 1);
  }
  Lane total[kAccumulatorLanes];
  for (int j = 0; j < kAccumulatorLanes; ++j) {
    total[j] = (sums[0][j] + sums[1][j]) + (sums[2][j] + sums[3][j]);
  }
  const Lane result = (total[0] + total[1]) + (total[2] + total[3]);
  return order.pairsEnd == count ? result : result + weighted(rows, coefficients, order.pairsEnd);
}

}  // namespace

void ownSHForward_32f(const Basis &basis, const Directions &directions, const Channel<const float> *samples,
                      float *const *pCoeff, int channels) {
  if (channels == 1) return forward<1>(basis, directions, samples, pCoeff);
  const int count = valuesUpTo(basis.highest);
  if (overlap(pCoeff[0], pCoeff[1], count) || overlap(pCoeff[1], pCoeff[2], count) ||
      overlap(pCoeff[0], pCoeff[2], count)) {
    return forwardShared(basis, directions, samples, pCoeff, channels);
  }
  forward<kMostChannels>(basis, directions, samples, pCoeff);
}

void ownSHInverse_32f(const Basis &basis, const Directions &directions, const float *const *pCoeff,
                      const Channel<float> *values, int channels) {
  const int count = valuesUpTo(basis.highest);
  Sum orders[kMostChannels];
  for (int c = 0; c < channels; ++c) orders[c] = sumOrder(pCoeff[c], count);
  Rows rows;
  forDirectionGroups(directions, [&](const GroupDirections &group, int64_t first, int lanes) {
    evaluateRows(basis, group, lanes, rows);
    for (int c = 0; c < channels; ++c) {
      alignas(64) float results[kGroup];
      dotProducts(rows, pCoeff[c], count, orders[c]).store(results);
      for (int i = 0; i < lanes; ++i) values[c].first[(first + i) * values[c].step] = results[i];
    }
  });
}

}  // namespace vekr::VEKR_ISA
