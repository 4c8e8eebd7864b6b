// Projection and reconstruction, the basis never leaving a group's rows. Callers rely on the order of every sum [C54].
#include "frame/vector_arithmetic.h"
#include "sh/rows.h"

namespace vekr::VEKR_ISA {

namespace {

// ---------------------------------------------------------------- forward

// Coefficients of one channel, padded to whole tiles.
struct alignas(64) Coefficients {
  float value[kMostValues];
};

// What a sample multiplies its direction's functions with. A sample of zero adds +0 whatever the functions are, even
// NaN: that keeps black samples from spoiling a sum, and turns a coefficient of -0 into +0 [C53].
struct Factor {
  Float<kDirectionGroup> sample;
  Mask<kDirectionGroup> notZero;
};

Factor factorOf(float sample) {
  const Float<kDirectionGroup> all(sample);
  return {all, !(all == Float<kDirectionGroup>(0.0f))};
}

Float<kDirectionGroup> product(const Factor &factor, Float<kDirectionGroup> functions) {
  return kept(factor.notZero, functions * factor.sample);
}

// Adds one group's products to the sums of all channels, direction after direction.
template <int Channels, int Filled>
void addGroup(const FunctionRows &rows, int count, int lanes, const Factor (*factors)[kDirectionGroup],
              Coefficients *sums) {
  const int directions = Filled == kDirectionGroup ? kDirectionGroup : lanes;
  for (int k = 0; k < count; k += kDirectionGroup) {
    Float<kDirectionGroup> columns[kDirectionGroup];
    loadTransposed(rows.row + k, columns);
    for (int c = 0; c < Channels; ++c) {
      Float<kDirectionGroup> sum = Float<kDirectionGroup>::load(sums[c].value + k);
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
  for (int c = 0; c < Channels; ++c) veksCopy_32f(pCoeff[c], sums[c].value, count);
  FunctionRows rows;
  for (int k = count; k < kMostValues && k < count + kDirectionGroup; ++k)
    Float<kDirectionGroup>(0.0f).store(rows.row[k]);

  forDirectionGroups(directions, [&](const GroupDirections &group, int64_t first, int lanes) {
    evaluateRows(basis, group, lanes, rows);
    Factor factors[Channels][kDirectionGroup];
    for (int c = 0; c < Channels; ++c) {
      const Channel<const float> &channel = samples[c];
      for (int i = 0; i < lanes; ++i) factors[c][i] = factorOf(channel.first[(first + i) * channel.step]);
    }
    if (lanes == kDirectionGroup) {
      addGroup<Channels, kDirectionGroup>(rows, count, lanes, factors, sums);
    } else {
      addGroup<Channels, 1>(rows, count, lanes, factors, sums);
    }
  });

  for (int c = 0; c < Channels; ++c) veksCopy_32f(sums[c].value, pCoeff[c], count);
}

// Channels whose coefficient arrays overlap take turns at every direction.
void forwardShared(const Basis &basis, const Directions &directions, const Channel<const float> *samples,
                   float *const *pCoeff, int channels) {
  const int count = valuesUpTo(basis.highest);
  FunctionRows rows;
  float functions[kMostValues], products[kMostValues];  // of one direction
  forDirectionGroups(directions, [&](const GroupDirections &group, int64_t first, int lanes) {
    evaluateRows(basis, group, lanes, rows);
    for (int i = 0; i < lanes; ++i) {
      for (int k = 0; k < count; ++k) functions[k] = rows.row[k][i];
      for (int c = 0; c < channels; ++c) {
        veksMulC_32f(functions, samples[c].first[(first + i) * samples[c].step], products, count);
        veksAdd_32f_I(products, pCoeff[c], count);
      }
    }
  });
}

bool overlap(const float *a, const float *b, int count) {
  const auto p = reinterpret_cast<uintptr_t>(a), q = reinterpret_cast<uintptr_t>(b);
  return (p > q ? p - q : q - p) < static_cast<uintptr_t>(count) * sizeof(float);
}

// ---------------------------------------------------------------- inverse

using Lane = Float<kDirectionGroup>;

Lane weighted(const FunctionRows &rows, const float *coefficients, int k) {
  return Lane::load(rows.row[k]) * Lane(coefficients[k]);
}

// The dot product of every direction's functions with the coefficients, in the order of veksDotProd_32f for two arrays
// of which the first lies on a 16-byte boundary [C55].

// Fewer than 16 products: two sums that take turns, and an odd last product.
Lane shortDotProducts(const FunctionRows &rows, const float *coefficients, int count) {
  Lane even(0.0f), odd(0.0f);
  int k = 0;
  for (; k + 2 <= count; k += 2) {
    even = even + weighted(rows, coefficients, k);
    odd = odd + weighted(rows, coefficients, k + 1);
  }
  const Lane sum = even + odd;
  return k < count ? sum + weighted(rows, coefficients, k) : sum;
}

// Accumulators of four lanes share blocks of products, four for each in turn: four accumulators if the coefficients lie
// on a boundary too, otherwise three, behind four products for the first. Behind the blocks the first takes groups of
// four; what is left is added last, one by one.
template <int Accumulators>
Lane longDotProducts(const FunctionRows &rows, const float *coefficients, int count) {
  constexpr int kLanes = 4, kBlock = kLanes * Accumulators;
  constexpr int first = Accumulators == 4 ? 0 : kLanes;
  const int blocksEnd = first + (count - first) / kBlock * kBlock;
  const int groupsEnd = count / kLanes * kLanes;
  // From the last accumulator to the first. Starting from zero changes nothing: no accumulator ever holds a -0.
  Lane sums[kLanes];
  for (Lane &sum : sums) sum = Lane(0.0f);
  for (int a = Accumulators - 1; a >= 0; --a) {
    Lane lanes[kLanes];
    for (Lane &lane : lanes) lane = Lane(0.0f);
    const auto addFour = [&](int k) {
      for (int j = 0; j < kLanes; ++j) lanes[j] = lanes[j] + weighted(rows, coefficients, k + j);
    };
    if (a == 0 && first != 0) addFour(0);
    for (int k = first + a * kLanes; k < blocksEnd; k += kBlock) addFour(k);
    if (a == 0) {
      for (int k = blocksEnd; k < groupsEnd; k += kLanes) addFour(k);
    }
    for (int j = 0; j < kLanes; ++j) sums[j] = lanes[j] + sums[j];
  }
  Lane sum = (sums[0] + sums[1]) + (sums[2] + sums[3]);
  for (int k = groupsEnd; k < count; ++k) sum = sum + weighted(rows, coefficients, k);
  return sum;
}

using DotProducts = Lane (*)(const FunctionRows &rows, const float *coefficients, int count);

DotProducts dotProductsFor(const float *coefficients, int count) {
  constexpr int kLong = 16;
  constexpr uintptr_t kBoundary = 16;
  if (count < kLong) return shortDotProducts;
  return reinterpret_cast<uintptr_t>(coefficients) % kBoundary == 0 ? longDotProducts<4> : longDotProducts<3>;
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
  DotProducts dotProducts[kMostChannels];
  for (int c = 0; c < channels; ++c) dotProducts[c] = dotProductsFor(pCoeff[c], count);
  FunctionRows rows;
  forDirectionGroups(directions, [&](const GroupDirections &group, int64_t first, int lanes) {
    evaluateRows(basis, group, lanes, rows);
    for (int c = 0; c < channels; ++c) {
      alignas(64) float results[kDirectionGroup];
      dotProducts[c](rows, pCoeff[c], count).store(results);
      for (int i = 0; i < lanes; ++i) values[c].first[(first + i) * values[c].step] = results[i];
    }
  });
}

}  // namespace vekr::VEKR_ISA
