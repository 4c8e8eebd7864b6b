// Every lane operation against its scalar meaning, written out here in plain C++, over pairs of hostile values. Compiled
// once for each set, like a kernel.
#include "tests/frame/lanes_checks.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "frame/planes.h"
#include "tests/reference/estimates.h"

namespace vekr::VEKR_ISA {

namespace {

using vekr_test::Report;

constexpr int kMost = 16;
constexpr float kInf = std::numeric_limits<float>::infinity();

float fromBits(uint32_t bits) {
  float value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

// NaNs of both signs with payloads, zeros, denormals, ties, the edges of 32-bit integers, the largest numbers.
const float kHostile[] = {0.0f,
                          -0.0f,
                          1.0f,
                          -1.0f,
                          0.5f,
                          -0.5f,
                          1.5f,
                          2.5f,
                          -2.5f,
                          0.49999997f,
                          255.5f,
                          65535.5f,
                          8388607.5f,
                          16777217.0f,
                          2147483520.0f,
                          2147483648.0f,
                          -2147483648.0f,
                          -2147483904.0f,
                          3.4028235e38f,
                          -3.4028235e38f,
                          1.1754944e-38f,
                          1e-45f,
                          -1e-45f,
                          kInf,
                          -kInf,
                          fromBits(0x7FC00000u),
                          fromBits(0xFFC00001u),
                          fromBits(0x7FC12345u),
                          3.0f};
constexpr int kHostiles = sizeof kHostile / sizeof *kHostile;

// What floats can't be besides: the edges of 32-bit integers with fractions, what floats round to and beyond their range.
const double kHostileDoubles[] = {0.0,
                                  -0.0,
                                  0.5,
                                  -0.5,
                                  1.5,
                                  2.5,
                                  -2.5,
                                  2147483646.5,
                                  2147483647.0,
                                  2147483647.25,
                                  2147483647.5,
                                  2147483647.9999998,
                                  2147483648.0,
                                  -2147483647.5,
                                  -2147483648.0,
                                  -2147483648.5,
                                  -2147483648.5000005,
                                  -2147483648.9999995,
                                  -2147483649.0,
                                  4294967297.0,
                                  1e19,
                                  -1e300,
                                  1.0 + 0x1p-24,
                                  1.0 + 0x1p-24 + 0x1p-52,
                                  3.4028235677973366e38,
                                  3.4028235e38,
                                  7e-46,
                                  1.1754942e-38,
                                  -5e-324,
                                  2.2250738585072014e-308,
                                  kInf,
                                  -kInf,
                                  std::numeric_limits<double>::quiet_NaN(),
                                  -std::numeric_limits<double>::quiet_NaN()};
constexpr int kHostileDoubleCount = sizeof kHostileDoubles / sizeof *kHostileDoubles;

const int32_t kHostileInts[] = {0,     1,        -1,        2,         255,           256,
                                -256,  32767,    32768,     -32768,    -32769,        65535,
                                65536, 16777217, INT32_MAX, INT32_MIN, INT32_MIN + 1, 0x12345678};
constexpr int kHostileIntCount = sizeof kHostileInts / sizeof *kHostileInts;

template <class T>
bool sameBits(T a, T b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}
// Which NaN arithmetic gives is the compiler's choice of operand order.
bool sameNumber(double a, double b) { return (std::isnan(a) && std::isnan(b)) || sameBits(a, b); }

// ---------------------------------------------------------------- the scalar meaning

float smaller(float a, float b) { return a < b ? a : b; }
float larger(float a, float b) { return a > b ? a : b; }

int32_t wrapped(int64_t a) { return static_cast<int32_t>(static_cast<uint32_t>(a)); }

int32_t truncatedTo32(double a) {
  return a > -2147483649.0 && a < 2147483648.0 ? static_cast<int32_t>(a) : INT32_MIN;
}
// There and back; through memory, as compilers make one rounding of it otherwise, whose zeros have signs.
float wholeOf(int32_t a) {
  const volatile int32_t whole = a;
  return static_cast<float>(whole);
}
int32_t roundedTo32(double a) { return truncatedTo32(std::nearbyint(a)); }

// ---------------------------------------------------------------- floats

template <int N>
struct FloatChecks {
  Report &report;
  float a[kMost], b[kMost];

  template <class Meaning>
  void floats(const char *operation, Float<N> got, bool exactNaN, const Meaning &meaning) const {
    float out[kMost];
    got.store(out);
    for (int k = 0; k < N; ++k) {
      const float want = meaning(a[k], b[k]);
      report.expect(exactNaN ? sameBits(out[k], want) : sameNumber(out[k], want), operation, N, a[k], b[k]);
    }
  }
  template <class Meaning>
  void masks(const char *operation, Mask<N> got, const Meaning &meaning) const {
    for (int k = 0; k < N; ++k) {
      report.expect((bits(got) >> k & 1) == static_cast<int>(meaning(a[k], b[k])), operation, N, a[k], b[k]);
    }
    report.expect(bits(got) >> N == 0, "no bit above the lanes", N, 0, 0);
  }
  template <class Meaning>
  void ints(const char *operation, Int<N> got, const Meaning &meaning) const {
    int32_t out[kMost];
    got.store(out);
    for (int k = 0; k < N; ++k) report.expect(out[k] == meaning(a[k], b[k]), operation, N, a[k], b[k]);
  }

  void run() const {
    const Float<N> x = Float<N>::load(a), y = Float<N>::load(b);
    floats("+", x + y, false, [](float p, float q) { return p + q; });
    floats("-", x - y, false, [](float p, float q) { return p - q; });
    floats("*", x * y, false, [](float p, float q) { return p * q; });
    floats("/", x / y, false, [](float p, float q) { return p / q; });
    floats("minOf", minOf(x, y), true, smaller);
    floats("maxOf", maxOf(x, y), true, larger);
    floats("absOf", absOf(x), true, [](float p, float) { return std::fabs(p); });
    floats("sqrtOf", sqrtOf(x), false, [](float p, float) { return std::sqrt(p); });
    masks("<", x < y, [](float p, float q) { return p < q; });
    masks("<=", x <= y, [](float p, float q) { return p <= q; });
    masks(">", x > y, [](float p, float q) { return p > q; });
    masks(">=", x >= y, [](float p, float q) { return p >= q; });
    masks("==", x == y, [](float p, float q) { return p == q; });
    masks("!", !(x < y), [](float p, float q) { return !(p < q); });
    masks("&", (x < y) & (x <= Float<N>(1.0f)), [](float p, float q) { return p < q && p <= 1.0f; });
    masks("|", (x < y) | (x == y), [](float p, float q) { return p < q || p == q; });
    floats("select", select(x < y, x, y), true, [](float p, float q) { return p < q ? p : q; });
    floats("kept", kept(x < y, x), true, [](float p, float q) { return p < q ? p : 0.0f; });
    floats("negatedWhere", negatedWhere(x < y, x), true, [](float p, float q) { return p < q ? -p : p; });
    if constexpr (N > 1) {
      ints("asInts", asInts(x), [](float p, float) { return std::bit_cast<int32_t>(p); });
      floats("asFloats", asFloats(asInts(x)), true, [](float p, float) { return p; });
    }
    ints("truncated", truncated(x), [](float p, float) { return truncatedTo32(p); });
    ints("rounded", rounded(x), [](float p, float) { return roundedTo32(p); });
    floats("truncated and back", toFloat(truncated(x)), true,
           [](float p, float) { return wholeOf(truncatedTo32(p)); });
    floats("rounded and back", toFloat(rounded(x)), true,
           [](float p, float) { return wholeOf(roundedTo32(p)); });
    // The estimates are those of one element, in every lane.
    if constexpr (N > 1) {
      floats("approxReciprocal", approxReciprocal(x), true,
             [](float p, float) { return vekr_reference::approximateReciprocal(p); });
    }
    floats("approxReciprocalSqrt", approxReciprocalSqrt(x), true,
           [](float p, float) { return vekr_reference::approximateReciprocalSqrt(p); });
  }
};

// body(checks) for lanes filled with all pairs of values, each pair in each lane.
template <int N, template <int> class Checks, class Value>
void forPairs(Report &report, const Value *values, int count) {
  for (int i = 0; i < count; ++i) {
    for (int j = 0; j < count; ++j) {
      Checks<N> checks{report, {}, {}};
      for (int k = 0; k < N; ++k) {
        checks.a[k] = values[(i + k) % count];
        checks.b[k] = values[(j + 3 * k) % count];
      }
      checks.run();
    }
  }
}

// ---------------------------------------------------------------- integers

template <int N>
struct IntChecks {
  Report &report;
  int32_t a[kMost], b[kMost];

  template <class Meaning>
  void ints(const char *operation, Int<N> got, const Meaning &meaning) const {
    int32_t out[kMost];
    got.store(out);
    for (int k = 0; k < N; ++k) report.expect(out[k] == meaning(a[k], b[k]), operation, N, a[k], b[k]);
  }
  template <class T>
  void stores(const char *operation, int64_t least, int64_t most) const {
    T out[kMost + 1];
    out[N] = 77;
    storeSaturated(Int<N>::load(a), out);
    for (int k = 0; k < N; ++k) {
      const int64_t want = a[k] < least ? least : a[k] > most ? most : a[k];
      report.expect(out[k] == want, operation, N, a[k], 0);
    }
    report.expect(out[N] == 77, "nothing stored behind the lanes", N, 0, 0);
  }
  template <class T>
  void loads(const char *operation) const {
    T in[kMost];
    for (int k = 0; k < N; ++k) in[k] = static_cast<T>(a[k]);
    int32_t out[kMost];
    Int<N>::load(in).store(out);
    for (int k = 0; k < N; ++k) report.expect(out[k] == static_cast<T>(a[k]), operation, N, a[k], 0);
  }

  void run() const {
    const Int<N> x = Int<N>::load(a), y = Int<N>::load(b);
    ints("int +", x + y, [](int64_t p, int64_t q) { return wrapped(p + q); });
    ints("int -", x - y, [](int64_t p, int64_t q) { return wrapped(p - q); });
    ints("int *", x * y, [](int64_t p, int64_t q) { return wrapped(p * q); });
    ints("int &", x & y, [](int32_t p, int32_t q) { return p & q; });
    ints("int select", select(x < y, x, y), [](int32_t p, int32_t q) { return p < q ? p : q; });
    ints("int ==", select(x == y, Int<N>(1), Int<N>(0)), [](int32_t p, int32_t q) { return p == q ? 1 : 0; });
    ints("isNegative", select(isNegative(x), Int<N>(1), Int<N>(0)),
         [](int32_t p, int32_t) { return p < 0 ? 1 : 0; });
    ints("shiftedLeft", shiftedLeft<3>(x), [](int64_t p, int64_t) { return wrapped(p << 3); });
    ints("shiftedRight", shiftedRight<3>(x), [](int32_t p, int32_t) { return p >> 3; });
    float floats[kMost];
    toFloat(x).store(floats);
    for (int k = 0; k < N; ++k) {
      report.expect(sameBits(floats[k], static_cast<float>(a[k])), "toFloat", N, a[k], 0);
    }
    loads<uint8_t>("load 8u");
    loads<uint16_t>("load 16u");
    loads<int16_t>("load 16s");
    stores<uint8_t>("store 8u", 0, 255);
    stores<uint16_t>("store 16u", 0, 65535);
    if constexpr (N > 1) {
      stores<int16_t>("store 16s", -32768, 32767);
      ints("int ^", x ^ y, [](int32_t p, int32_t q) { return p ^ q; });
      ints("int minOf", minOf(x, y), [](int32_t p, int32_t q) { return p < q ? p : q; });
      if constexpr (N <= kWidestGroup) {  // of registers only
        ints("shiftedRightUnsigned", shiftedRightUnsigned<5>(x),
             [](int32_t p, int32_t) { return static_cast<int32_t>(static_cast<uint32_t>(p) >> 5); });
      }
      for (int count = 0; count < 32; ++count) {
        ints("shiftedRight by", shiftedRight(x, count), [count](int32_t p, int32_t) { return p >> count; });
      }
      ints("countedIn", countedIn(x, x < y), [](int64_t p, int64_t q) { return wrapped(p < q ? p + 1 : p); });
      words();
    }
  }

  // Pairs of 16-bit words; only -32768 twice in both pairs wraps.
  void words() const {
    int16_t p[2 * kMost], q[2 * kMost];
    std::memcpy(p, a, sizeof p / 2 * 2);
    std::memcpy(q, b, sizeof q / 2 * 2);
    int32_t out[kMost];
    pairProducts(Short<2 * N>::load(p), Short<2 * N>::load(q)).store(out);
    for (int k = 0; k < N; ++k) {
      const int64_t want = int64_t{p[2 * k]} * q[2 * k] + int64_t{p[2 * k + 1]} * q[2 * k + 1];
      report.expect(out[k] == wrapped(want), "pairProducts", N, a[k], b[k]);
    }
  }
};

// ---------------------------------------------------------------- doubles

template <int N>
struct DoubleChecks {
  Report &report;
  double a[kMost], b[kMost];

  template <class Meaning>
  void doubles(const char *operation, Double<N> got, bool exactNaN, const Meaning &meaning) const {
    double out[kMost];
    got.store(out);
    for (int k = 0; k < N; ++k) {
      const double want = meaning(a[k], b[k]);
      report.expect(exactNaN ? sameBits(out[k], want) : sameNumber(out[k], want), operation, N, a[k], b[k]);
    }
  }

  void run() const {
    const Double<N> x = Double<N>::load(a), y = Double<N>::load(b);
    doubles("double +", x + y, false, [](double p, double q) { return p + q; });
    doubles("double -", x - y, false, [](double p, double q) { return p - q; });
    doubles("double *", x * y, false, [](double p, double q) { return p * q; });
    doubles("double /", x / y, false, [](double p, double q) { return p / q; });
    doubles("double minOf", minOf(x, y), true, [](double p, double q) { return p < q ? p : q; });
    doubles("double maxOf", maxOf(x, y), true, [](double p, double q) { return p > q ? p : q; });
    doubles("double <", select(x < y, x, y), true, [](double p, double q) { return p < q ? p : q; });
    doubles("double ==", select(x == y, x, Double<N>(7.0)), true,
            [](double p, double q) { return p == q ? p : 7.0; });
    doubles("double & |", select(((x < y) & (y <= x)) | (x == y), x, y), true,
            [](double p, double q) { return p == q ? p : q; });
    int32_t ints[2][kMost];
    truncated(x).store(ints[0]);
    rounded(x).store(ints[1]);
    float floats[kMost];
    narrowed(x).store(floats);
    const int inOrder = bits(narrowed(x <= y));
    for (int k = 0; k < N; ++k) {
      report.expect(ints[0][k] == truncatedTo32(a[k]), "double truncated", N, a[k], 0);
      report.expect(ints[1][k] == roundedTo32(a[k]), "double rounded", N, a[k], 0);
      report.expect(sameNumber(floats[k], static_cast<float>(a[k])), "narrowed", N, a[k], 0);
      report.expect((inOrder >> k & 1) == static_cast<int>(a[k] <= b[k]), "narrowed mask", N, a[k], b[k]);
    }
    doubles("widened", widened(narrowed(x)), false,
            [](double p, double) { return static_cast<double>(static_cast<float>(p)); });
    for (int k = 0; k < N; ++k) ints[0][k] = kHostileInts[k] ^ static_cast<int32_t>(a[0] < b[0]);
    double wide[kMost];
    widened(Int<N>::load(ints[0])).store(wide);
    for (int k = 0; k < N; ++k) report.expect(wide[k] == ints[0][k], "widened int", N, ints[0][k], 0);
  }
};

// One element, which is all that a remainder asks for.
void checkOneDouble(Report &report) {
  for (const double x : kHostileDoubles) {
    report.expect(sameNumber(floorOf(Double<1>(x)).v, std::floor(x)), "floorOf", 1, x, 0);
    report.expect(truncated(Double<1>(x)).v == truncatedTo32(x), "double truncated", 1, x, 0);
    report.expect(sameBits(toFloat(truncated(Double<1>(x))).v, wholeOf(truncatedTo32(x))),
                  "double truncated and back", 1, x, 0);
  }
  for (const float x : kHostile) {
    report.expect(sameNumber(widened(Float<1>(x)).v, static_cast<double>(x)), "widened", 1, x, 0);
  }
}

}  // namespace

void checkFloats(Report &report) {
  forPairs<1, FloatChecks>(report, kHostile, kHostiles);
  forPairs<4, FloatChecks>(report, kHostile, kHostiles);
  forPairs<8, FloatChecks>(report, kHostile, kHostiles);
  forPairs<16, FloatChecks>(report, kHostile, kHostiles);
}

void checkIntegers(Report &report) {
  forPairs<1, IntChecks>(report, kHostileInts, kHostileIntCount);
  forPairs<4, IntChecks>(report, kHostileInts, kHostileIntCount);
  forPairs<8, IntChecks>(report, kHostileInts, kHostileIntCount);
  forPairs<16, IntChecks>(report, kHostileInts, kHostileIntCount);
}

void checkDoubles(Report &report) {
  forPairs<4, DoubleChecks>(report, kHostileDoubles, kHostileDoubleCount);
  forPairs<8, DoubleChecks>(report, kHostileDoubles, kHostileDoubleCount);
  forPairs<16, DoubleChecks>(report, kHostileDoubles, kHostileDoubleCount);
  checkOneDouble(report);
}

}  // namespace vekr::VEKR_ISA
