// The recurrent evaluator: single precision throughout, every operation in the order that callers rely on.
#include "sh/rows.h"

namespace vekr::VEKR_ISA {

namespace {

using Lane = Float<kGroup>;

// Rows of one band: order m at [m].
struct Band {
  explicit Band(Rows &rows, int l) : zero(rows.row + l * l + l) {}
  Lane operator[](int m) const { return Lane::load(zero[m]); }
  void set(int m, Lane value) const { value.store(zero[m]); }
  float (*zero)[kGroup];
};

// Band l from the two before it.
void nextBand(const Basis &basis, Lane x, Lane y, Lane z, int l, Rows &rows) {
  const float *a = basis.recurrenceA + triangularIndex(static_cast<uint32_t>(l), 0);
  const float *b = basis.recurrenceB + triangularIndex(static_cast<uint32_t>(l), 0);
  const Band band(rows, l), before(rows, l - 1), beforeThat(rows, l - 2);
  const int last = l - 1;

  const Lane cosine = before[last], sine = before[-last];
  band.set(l, ((x * cosine) - (y * sine)) * a[l]);
  band.set(-l, ((x * sine) + (y * cosine)) * a[l]);
  const Lane climb = z * a[last];
  band.set(last, climb * cosine);
  band.set(-last, climb * sine);

  band.set(0, (z * a[0]) * before[0] + Lane(b[0]) * beforeThat[0]);
  for (int m = 1; m <= l - 2; ++m) {
    const Lane za = z * a[m];
    const Lane bm = b[m];
    band.set(m, za * before[m] + bm * beforeThat[m]);
    band.set(-m, za * before[-m] + bm * beforeThat[-m]);
  }
}

}  // namespace

void recurrentRows(const Basis &basis, const GroupDirections &group, Rows &rows) {
  const float *a = basis.recurrenceA;
  const Lane x = Lane::load(group.x), y = Lane::load(group.y), z = Lane::load(group.z);
  Lane(a[0]).store(rows.row[0]);
  if (basis.highest == 0) return;
  const Band one(rows, 1);
  const float alongZ = a[triangularIndex(1, 0)], across = a[triangularIndex(1, 1)];
  one.set(-1, y * across);
  one.set(0, z * alongZ);
  one.set(1, x * across);
  for (int l = 2; l <= static_cast<int>(basis.highest); ++l) nextBand(basis, x, y, z, l, rows);
}

}  // namespace vekr::VEKR_ISA
