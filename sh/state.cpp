// Size and contents of the state.
#include "sh/state.h"

#include <cmath>

#include "frame/checks.h"
#include "frame/vector_arithmetic.h"
#include "sh/basis.h"
#include "sh/direct_terms.h"

using namespace vekr;

namespace {

constexpr uint32_t kDirectSize = 16;  // maxBand and type; the rest is never touched [C58]
constexpr uint32_t kTableAlignment = 16;
// Pays for the four fields and for both roundings of a table's address.
constexpr uint32_t kRecurrentOverhead = 32;

constexpr uint32_t tableEntries(uint32_t maxBand) { return (maxBand * (maxBand + 3) + 2) / 2; }

VekStatus checkKind(uint32_t maxBand, int32_t type) {
  if (type == vekrSHDirect) return maxBand > static_cast<uint32_t>(kHighestBand) ? vekErrSize : vekOk;
  return type == vekrSHRecurrent ? vekOk : vekErrBadArg;
}

uint32_t sizeOf(uint32_t maxBand, int32_t type) {
  if (type == vekrSHDirect) return kDirectSize;
  const uint32_t table =
      (4 * tableEntries(maxBand) + kTableAlignment - 1) / kTableAlignment * kTableAlignment;
  return 2 * table + kRecurrentOverhead;
}

float *tableFrom(uintptr_t address) {
  return reinterpret_cast<float *>((address + kTableAlignment - 1) / kTableAlignment * kTableAlignment);
}

// Both integers are rounded to single before they are divided in single [C51].
double singleQuotient(int64_t numerator, int64_t denominator) {
  return static_cast<double>(static_cast<float>(numerator) / static_cast<float>(denominator));
}

// The recurrences of orthonormal functions, K(l,m) divided out:
//   Y(l,m) = A(l,m) z Y(l-1,m) + B(l,m) Y(l-2,m)   for m < l,   and   Y(l,+-l) from Y(l-1,+-(l-1)) by A(l,l).
// B(l,l-1) and B(l,l) stay the zeros of the cleared block: no one reads them, and for a block at an odd address
// the last two of them lie beyond its end.
void fillBand(float *a, float *b, int64_t l) {
  const auto at = [l](int64_t m) {
    return triangularIndex(static_cast<uint32_t>(l), static_cast<uint32_t>(m));
  };
  const auto asDouble = [](int64_t i) { return static_cast<double>(i); };
  a[at(l)] = static_cast<float>(0.0 - std::sqrt(asDouble(2 * l + 1) / asDouble(2 * l)));
  a[at(0)] = static_cast<float>(std::sqrt(asDouble(4 * l * l - 1)) / asDouble(l));
  b[at(0)] = static_cast<float>((1.0 / asDouble(l) - 1.0) * std::sqrt(singleQuotient(2 * l + 1, 2 * l - 3)));
  for (int64_t m = 1; m < l; ++m) {
    a[at(m)] = static_cast<float>(std::sqrt(singleQuotient(4 * l * l - 1, l * l - m * m)));
    if (m < l - 1) {
      b[at(m)] = static_cast<float>(0.0 - std::sqrt(singleQuotient((2 * l + 1) * ((l - 1) * (l - 1) - m * m),
                                                                   (2 * l - 3) * (l * l - m * m))));
    }
  }
}

void fillTables(float *a, float *b, uint32_t maxBand) {
  constexpr double kFourPi = 12.566370614359172;
  // Entered for every maxBand: with 0 the last two lie in the padding behind the table.
  a[0] = static_cast<float>(1.0 / std::sqrt(kFourPi));
  const double bandOne = static_cast<double>(a[0]) * std::sqrt(3.0);
  a[1] = static_cast<float>(bandOne);
  a[2] = static_cast<float>(0.0 - bandOne);
  for (uint32_t l = 2; l <= maxBand; ++l) fillBand(a, b, l);
}

}  // namespace

VekStatus vekrSHGetSize_32f(uint32_t maxBand, int32_t type, uint32_t *pSize) {
  if (anyNull(pSize)) return vekErrNullPtr;
  if (const VekStatus status = checkKind(maxBand, type); status != vekOk) return status;
  *pSize = sizeOf(maxBand, type);
  return vekOk;
}

VekStatus vekrSHInit_32f(VekrSHState *pState, uint32_t maxBand, int32_t type) {
  if (anyNull(pState)) return vekErrNullPtr;
  if (const VekStatus status = checkKind(maxBand, type); status != vekOk) return status;
  veksZero_16s(reinterpret_cast<int16_t *>(pState), static_cast<int32_t>(sizeOf(maxBand, type) / 2));
  setStateField(pState, offsetof(VekrSHState, maxBand), maxBand);
  setStateField(pState, offsetof(VekrSHState, type), type);
  if (type == vekrSHDirect) return vekOk;

  float *a = tableFrom(reinterpret_cast<uintptr_t>(pState) + sizeof(VekrSHState));
  float *b = tableFrom(reinterpret_cast<uintptr_t>(a + tableEntries(maxBand)));
  setStateField(pState, offsetof(VekrSHState, pRecurA), a);
  setStateField(pState, offsetof(VekrSHState, pRecurB), b);
  fillTables(a, b, maxBand);
  return vekOk;
}
