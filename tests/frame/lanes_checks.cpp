// Every lane operation against its scalar meaning, written out here in plain C++, over pairs of hostile values. Compiled
// once for each set, like a kernel.
#include "tests/frame/lanes_checks.h"

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
    ints("truncated", truncated(x), [](float p, float) { return truncatedTo32(p); });
    ints("rounded", rounded(x), [](float p, float) { return roundedTo32(p); });
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
      ints("shiftedRight by", shiftedRight(x, 5), [](int32_t p, int32_t) { return p >> 5; });
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
    for (int k = 0; k < N; ++k) ints[0][k] = static_cast<int32_t>(0x7FFFFFFF - 1000003 * k);
    double wide[kMost];
    widened(Int<N>::load(ints[0])).store(wide);
    for (int k = 0; k < N; ++k) report.expect(wide[k] == ints[0][k], "widened int", N, ints[0][k], 0);
  }
};

// ---------------------------------------------------------------- where lanes lie

template <int N>
void checkOrder(Report &report) {
  float in[kMost], out[kMost];
  for (int k = 0; k < N; ++k) in[k] = static_cast<float>(k);
  const Float<N> x = Float<N>::load(in);
  joined(lowHalf(x), highHalf(x)).store(out);
  report.expect(std::memcmp(in, out, N * sizeof(float)) == 0, "joined halves", N, 0, 0);
  countedFrom<N>(INT32_MAX - 1).store(out);
  for (int k = 0; k < N; ++k) {
    report.expect(out[k] == static_cast<float>(wrapped(int64_t{INT32_MAX} - 1 + k)), "countedFrom", N, k, 0);
  }
  for (unsigned set = 0; set < 1u << N; set += N == 16 ? 13 : 1) {
    report.expect(bits(maskOfBits<N>(set)) == static_cast<int>(set), "maskOfBits", N, set, 0);
    report.expect(anyOf(maskOfBits<N>(set)) == (set != 0), "anyOf", N, set, 0);
  }
  int32_t even[kMost], odd[kMost], mixed[2 * kMost];
  for (int k = 0; k < N; ++k) {
    even[k] = 2 * k;
    odd[k] = 2 * k + 1;
  }
  storeAlternating(Int<N>::load(even), Int<N>::load(odd), mixed);
  for (int k = 0; k < 2 * N; ++k) report.expect(mixed[k] == k, "storeAlternating", N, k, 0);
  loadRepeated<N>(odd).store(mixed);
  for (int k = 0; k < N; ++k) report.expect(mixed[k] == odd[k % 4], "loadRepeated", N, k, 0);
  lanesFrom<3 * N / 4>(Int<N>::load(even), Int<N>::load(odd)).store(mixed);
  for (int k = 0; k < N; ++k)
    report.expect(mixed[k] == (k < 3 * N / 4 ? even[k] : odd[k]), "lanesFrom", N, k, 0);
}

// Of the widest register only.
void checkRegister(Report &report) {
  constexpr int N = kWidestGroup;
  float rows[N][N], taps[4][N], turned[N][4], out[N];
  for (int i = 0; i < N; ++i) {
    for (int k = 0; k < N; ++k) rows[i][k] = static_cast<float>(100 * i + k);
  }
  Float<N> columns[N], four[4];
  loadTransposed(rows, columns);
  for (int i = 0; i < N; ++i) {
    columns[i].store(out);
    for (int k = 0; k < N; ++k) report.expect(out[k] == rows[k][i], "loadTransposed", N, i, k);
  }
  for (int i = 0; i < 4; ++i) four[i] = Float<N>::load(rows[i]);
  storeTransposed(four, turned);
  for (int i = 0; i < N; ++i) {
    for (int k = 0; k < 4; ++k) report.expect(turned[i][k] == rows[k][i], "storeTransposed", N, i, k);
  }
  pairSums(four[0], four[1]).store(out);
  for (int block = 0; block < N; block += 4) {
    const float want[4] = {rows[0][block] + rows[0][block + 1], rows[0][block + 2] + rows[0][block + 3],
                           rows[1][block] + rows[1][block + 1], rows[1][block + 2] + rows[1][block + 3]};
    for (int k = 0; k < 4; ++k) report.expect(out[block + k] == want[k], "pairSums", N, block, k);
    report.expect(firstOfBlock(four[2], block / 4) == rows[2][block], "firstOfBlock", N, block, 0);
  }
  int32_t index[N];
  float row[3 * N + 1];
  for (int k = 0; k <= 3 * N; ++k) row[k] = static_cast<float>(k);
  for (int k = 0; k < N; ++k) index[k] = 7 * k % (3 * N);
  const Neighbours<N> near[2] = {loadNeighbours(Lanes<N>(), row, index),
                                 gatherNeighbours(row, Int<N>::load(index))};
  for (const Neighbours<N> &pair : near) {
    pair.here.store(taps[0]);
    pair.next.store(taps[1]);
    for (int k = 0; k < N; ++k) {
      report.expect(taps[0][k] == row[index[k]] && taps[1][k] == row[index[k] + 1], "neighbours", N, k,
                    index[k]);
    }
  }
  // Words go into pairs and come back in their order.
  uint16_t words[2][2 * N], back[2 * N];
  uint8_t bytes[2 * N];
  for (int k = 0; k < 2 * N; ++k) {
    words[0][k] = static_cast<uint16_t>(k * 9);
    words[1][k] = 0;
  }
  const Short<2 *N> a = Short<2 * N>::load(words[0]), b = Short<2 * N>::load(words[1]);
  packedLikePairs(firstPairs(a, b), secondPairs(a, b)).store(back);
  storeSaturated(a, bytes);
  for (int k = 0; k < 2 * N; ++k) {
    report.expect(back[k] == words[0][k], "packedLikePairs", N, k, 0);
    report.expect(bytes[k] == (words[0][k] > 255 ? 255 : words[0][k]), "words to bytes", N, k, 0);
  }
}

// What reads or writes fewer lanes than a register has.
void checkParts(Report &report) {
  const float points[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  float out[3][4];
  Vec3<4> v;
  loadPoints(points + 9, points, points + 6, points + 3, v.x, v.y, v.z);
  float *const planes[3] = {out[0], out[1], out[2]};
  storePlanes<4>(planes, 0, v);
  const int order[4] = {3, 0, 2, 1};
  for (int k = 0; k < 4; ++k) {
    for (int axis = 0; axis < 3; ++axis) {
      report.expect(out[axis][k] == points[3 * order[k] + axis], "loadPoints", 4, k, axis);
    }
  }
  loadThree(points).store(out[0]);
  report.expect(out[0][0] == 1 && out[0][1] == 2 && out[0][2] == 3 && out[0][3] == 0, "loadThree", 4, 0, 0);
  const int32_t fields[4] = {1, 1 << 7, 1 << 30, 1 << 15};
  report.expect(firstLane(orOfLanes(Int<4>::load(fields))) == (fields[0] | fields[1] | fields[2] | fields[3]),
                "orOfLanes", 4, 0, 0);
  int32_t moved[4];
  shiftedIn(Int<4>::load(fields), 99).store(moved);
  report.expect(moved[0] == fields[1] && moved[1] == fields[2] && moved[2] == fields[3] && moved[3] == 99,
                "shiftedIn", 4, 0, 0);
  const double numbers[] = {2.0, -0.5, 1e300, -1.0000001};
  for (const double x : numbers) {
    report.expect(floorOf(Double<1>(x)).v == std::floor(x), "floorOf", 1, x, 0);
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
  double values[kHostiles];
  for (int k = 0; k < kHostiles; ++k) values[k] = kHostile[k];
  forPairs<4, DoubleChecks>(report, values, kHostiles);
  forPairs<8, DoubleChecks>(report, values, kHostiles);
  forPairs<16, DoubleChecks>(report, values, kHostiles);
}

void checkLayouts(Report &report) {
  checkOrder<4>(report);
  checkOrder<8>(report);
  checkOrder<16>(report);
  checkRegister(report);
  checkParts(report);
}

}  // namespace vekr::VEKR_ISA
