// The direct evaluator: every function as a polynomial, straight-line code instantiated from kDirectTerms. All bands in
// one go and each band by itself run through the same lines, so that their bits are the same.
//
// Powers are formed in single precision and widened; everything behind them is in double, and a value is rounded to
// single where it is stored. Multiplying a widened power (24 bits) by an integer coefficient (up to 28 bits) is exact.
#include <bit>
#include <utility>

#include "sh/rows.h"

namespace vekr::VEKR_ISA {

namespace {

constexpr int kHalf = kDirectionGroup / 2;  // lanes that a register of doubles holds
using Single = Float<kHalf>;
using Wide = Double<kHalf>;

constexpr float kBandZero = std::bit_cast<float>(0x3E906EBBu);  // 1 / sqrt(4 pi) in single

constexpr int binomial(int n, int k) {
  int64_t result = 1;
  for (int i = 1; i <= k; ++i) result = result * (n - k + i) / i;
  return static_cast<int>(result);
}

// What the terms of band l are made of, grown from band to band. Nothing is computed that the bands asked for don't use:
// the compiler drops it.
struct Terms {
  Single xs[kHighestBand + 1], ys[kHighestBand + 1], zs[kHighestBand + 1];  // powers in single
  Wide x[kHighestBand + 1], y[kHighestBand + 1], z[kHighestBand + 1];       // the same, widened
  Wide cosine[kHighestBand + 1], sine[kHighestBand + 1];                    // (x + iy)^m, see azimuth()

  // The power is the product of those of the two halves of its exponent.
  template <int n>
  VEKR_INTO_CALLER void raise() {
    xs[n] = xs[n / 2] * xs[n - n / 2];
    ys[n] = ys[n / 2] * ys[n - n / 2];
    zs[n] = zs[n / 2] * zs[n - n / 2];
    widen<n>();
  }

  template <int n>
  VEKR_INTO_CALLER void widen() {
    x[n] = widened(xs[n]);
    y[n] = widened(ys[n]);
    z[n] = widened(zs[n]);
  }

  template <int m, int j>
  VEKR_INTO_CALLER Wide monomial() const {
    if constexpr (j == 0) {
      return x[m];
    } else if constexpr (j == m) {
      return y[m];
    } else {
      return (Wide(binomial(m, j)) * x[m - j]) * y[j];
    }
  }

  // Every second term of the binomial expansion of (x + iy)^m, that of y^first in front, with alternating signs.
  template <int m, int first, int... more>
  VEKR_INTO_CALLER Wide expansion(std::integer_sequence<int, more...>) const {
    Wide sum = monomial<m, first>();
    ((sum = more % 2 == 0 ? sum - monomial<m, first + 2 + 2 * more>()
                          : sum + monomial<m, first + 2 + 2 * more>()),
     ...);
    return sum;
  }

  // The azimuthal terms of order m: real and imaginary part of (x + iy)^m. The sines of orders 2 and 4 lack a factor of 2
  // and 4, which their constants have.
  template <int m>
  VEKR_INTO_CALLER void azimuth() {
    if constexpr (m == 1) {
      cosine[1] = x[1];
      sine[1] = y[1];
    } else if constexpr (m == 2) {
      cosine[2] = widened(xs[2] - ys[2]);  // a difference in single
      sine[2] = x[1] * y[1];
    } else if constexpr (m == 4) {
      cosine[4] = expansion<4, 0>(std::make_integer_sequence<int, 2>());
      sine[4] = sine[2] * cosine[2];
    } else {
      cosine[m] = expansion<m, 0>(std::make_integer_sequence<int, m / 2>());
      sine[m] = expansion<m, 1>(std::make_integer_sequence<int, (m - 1) / 2>());
    }
  }

  // Everything that the step to band l adds.
  template <int l>
  VEKR_INTO_CALLER void grow() {
    if constexpr (l == 1) {
      widen<1>();
    } else {
      raise<l>();
    }
    azimuth<l>();
  }

  // sum p[k] z^(degree - 2k), the factor z of an odd polynomial taken out, times `constant`.
  template <int degree, int... more>
  VEKR_INTO_CALLER Wide polynomial(double constant, const double *p,
                                   std::integer_sequence<int, more...>) const {
    if constexpr (degree == 0) {
      return constant;
    } else if constexpr (degree == 1) {
      return Wide(constant) * z[1];
    } else {
      constexpr int even = degree / 2 * 2;
      Wide sum = Wide(p[0]) * z[even];
      ((sum =
            sum + (more == degree / 2 - 1 ? Wide(p[more + 1]) : Wide(p[more + 1]) * z[even - 2 - 2 * more])),
       ...);
      return Wide(constant) * (degree % 2 == 0 ? sum : z[1] * sum);
    }
  }

  // Both values of order m in band l, into the rows around that of order 0.
  template <int l, int m>
  VEKR_INTO_CALLER void storeOrder(float *zero) const {
    constexpr const DirectTerm &term = kDirectTerms[l * (l + 1) / 2 + m];
    constexpr auto terms = std::make_integer_sequence<int, (l - m) / 2>();
    const Wide alongCosine = polynomial<l - m>(term.cosine, term.p, terms);
    if constexpr (m == 0) {
      narrowed(alongCosine).store(zero);
    } else {
      narrowed(alongCosine * cosine[m]).store(zero + m * kDirectionGroup);
      const Wide alongSine = polynomial<l - m>(term.sine, term.p, terms);
      // Band 3 has its outermost sine turned round, y^3 - 3 x^2 y, constant included: callers see it in a zero's sign [C48].
      const Wide s = l == 3 && m == 3 ? y[3] - (Wide(3.0) * x[2]) * y[1] : sine[m];
      narrowed(alongSine * s).store(zero - m * kDirectionGroup);
    }
  }

  template <int l, int... m>
  VEKR_INTO_CALLER void storeBand(float *zero, std::integer_sequence<int, m...>) const {
    (storeOrder<l, m>(zero), ...);
  }

  template <int l>
  VEKR_INTO_CALLER void storeBand(float *zero) const {
    storeBand<l>(zero, std::make_integer_sequence<int, l + 1>());
  }

  VEKR_INTO_CALLER explicit Terms(const GroupDirections &group, int lane) {
    xs[1] = Single::load(group.x + lane);
    ys[1] = Single::load(group.y + lane);
    zs[1] = Single::load(group.z + lane);
  }
};

// Band l and what it needs, if it is asked for.
template <int l>
VEKR_INTO_CALLER bool bandUpTo(uint32_t highest, Terms &terms, FunctionRows &rows, int lane) {
  if (highest < l) return false;
  terms.grow<l>();
  terms.storeBand<l>(rows.row[l * l + l] + lane);
  return true;
}

template <int... l>
VEKR_INTO_CALLER void allBands(uint32_t highest, Terms &terms, FunctionRows &rows, int lane,
                               std::integer_sequence<int, l...>) {
  (bandUpTo<l + 1>(highest, terms, rows, lane) && ...);
}

template <int... l>
VEKR_INTO_CALLER void growAll(Terms &terms, std::integer_sequence<int, l...>) {
  (terms.grow<l + 1>(), ...);
}

template <int l>
void bandRows(const GroupDirections &group, int lanes, FunctionRows &rows) {
  for (int lane = 0; lane < lanes; lane += kHalf) {
    Terms terms(group, lane);
    growAll(terms, std::make_integer_sequence<int, l>());
    terms.storeBand<l>(rows.row[l] + lane);
  }
}

void fillBandZero(FunctionRows &rows) { Float<kDirectionGroup>(kBandZero).store(rows.row[0]); }  // [C52]

template <>
void bandRows<0>(const GroupDirections &, int, FunctionRows &rows) {
  fillBandZero(rows);
}

template <int... l>
BandRows bandFromTable(uint32_t band, std::integer_sequence<int, l...>) {
  static constexpr BandRows kTable[] = {bandRows<l>...};
  return kTable[band];
}

}  // namespace

void directRows(uint32_t highest, const GroupDirections &group, int lanes, FunctionRows &rows) {
  fillBandZero(rows);
  for (int lane = 0; lane < lanes; lane += kHalf) {
    Terms terms(group, lane);
    allBands(highest, terms, rows, lane, std::make_integer_sequence<int, kHighestBand>());
  }
}

BandRows bandRowsOf(uint32_t band) {
  return bandFromTable(band, std::make_integer_sequence<int, kHighestBand + 1>());
}

}  // namespace vekr::VEKR_ISA
