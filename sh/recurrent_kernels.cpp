// The recurrent evaluator: single precision throughout, every operation in the order that callers rely on [C50].
#include <utility>

#include "sh/rows.h"

namespace vekr::VEKR_ISA {

namespace {

using Lane = Float<kDirectionGroup>;

// Rows of one band: order m at [m].
struct Band {
  explicit Band(FunctionRows &rows, int l) : zero(rows.row + l * l + l) {}
  Lane operator[](int m) const { return Lane::load(zero[m]); }
  void set(int m, Lane value) const { value.store(zero[m]); }
  float (*zero)[kDirectionGroup];
};

// Orders m and -m of band l, m at most l - 2.
template <int l, int m>
VEKR_INTO_CALLER void innerOrders(const float *a, const float *b, Lane z, FunctionRows &rows) {
  const Band band(rows, l), before(rows, l - 1), beforeThat(rows, l - 2);
  const Lane za = z * a[m];
  const Lane bm = b[m];
  band.set(m, za * before[m] + bm * beforeThat[m]);
  if constexpr (m != 0) band.set(-m, za * before[-m] + bm * beforeThat[-m]);
}

template <int l, int... m>
VEKR_INTO_CALLER void innerOrders(const float *a, const float *b, Lane z, FunctionRows &rows,
                                  std::integer_sequence<int, m...>) {
  (innerOrders<l, m>(a, b, z, rows), ...);
}

// Band l from the two before it, if it is asked for.
template <int l>
VEKR_INTO_CALLER bool bandUpTo(const Basis &basis, Lane x, Lane y, Lane z, FunctionRows &rows) {
  if (basis.highest < l) return false;
  const float *a = basis.recurrenceA + triangularIndex(l, 0);
  const float *b = basis.recurrenceB + triangularIndex(l, 0);
  const Band band(rows, l), before(rows, l - 1);

  const Lane cosine = before[l - 1], sine = before[-(l - 1)];
  band.set(l, ((x * cosine) - (y * sine)) * a[l]);
  band.set(-l, ((x * sine) + (y * cosine)) * a[l]);
  const Lane climb = z * a[l - 1];
  band.set(l - 1, climb * cosine);
  band.set(-(l - 1), climb * sine);
  innerOrders<l>(a, b, z, rows, std::make_integer_sequence<int, l - 1>());
  return true;
}

template <int... l>
VEKR_INTO_CALLER void higherBands(const Basis &basis, Lane x, Lane y, Lane z, FunctionRows &rows,
                                  std::integer_sequence<int, l...>) {
  (bandUpTo<l + 2>(basis, x, y, z, rows) && ...);
}

}  // namespace

void recurrentRows(const Basis &basis, const GroupDirections &group, FunctionRows &rows) {
  const float *a = basis.recurrenceA;
  const Lane x = Lane::load(group.x), y = Lane::load(group.y), z = Lane::load(group.z);
  Lane(a[0]).store(rows.row[0]);
  if (basis.highest == 0) return;
  const Band one(rows, 1);
  const float alongZ = a[triangularIndex(1, 0)], across = a[triangularIndex(1, 1)];
  one.set(-1, y * across);
  one.set(0, z * alongZ);
  one.set(1, x * across);
  higherBands(basis, x, y, z, rows, std::make_integer_sequence<int, kHighestBand - 1>());
}

}  // namespace vekr::VEKR_ISA
