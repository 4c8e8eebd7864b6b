// Plain scalar twins of the spherical harmonics, one value at a time, and the same functions in extended precision.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <vector>

namespace reference {

constexpr long double kPi = 3.14159265358979323846264338327950288L;

inline long double factorial(int n) { return n < 2 ? 1.0L : static_cast<long double>(n) * factorial(n - 1); }

// K(l,m) without its root.
inline long double squaredNorm(int l, int m) {
  return static_cast<long double>(2 * l + 1) / (4.0L * kPi) * factorial(l - m) / factorial(l + m);
}

// ---------------------------------------------------------------- the functions themselves

// m-th derivative of the Legendre polynomial of degree l, by the recurrence in l: no powers, no cancellation.
inline long double legendreDerivative(int l, int m, long double z) {
  long double before = 0.0L, value = 1.0L;
  for (int i = 1; i <= m; ++i) value *= static_cast<long double>(2 * i - 1);
  for (int n = m + 1; n <= l; ++n) {
    const long double next =
        (static_cast<long double>(2 * n - 1) * z * value - static_cast<long double>(n + m - 1) * before) /
        static_cast<long double>(n - m);
    before = value;
    value = next;
  }
  return value;
}

inline long double exactSH(int l, int order, float x, float y, float z) {
  const int m = order < 0 ? -order : order;
  long double c = 1.0L, s = 0.0L;
  for (int i = 0; i < m; ++i) {
    const long double next = c * x - s * y;
    s = c * y + s * x;
    c = next;
  }
  const long double sign = m % 2 != 0 ? -1.0L : 1.0L;
  const long double root = std::sqrt(squaredNorm(l, m) * (m > 0 ? 2.0L : 1.0L));
  return sign * root * legendreDerivative(l, m, z) * (order < 0 ? s : c);
}

// ---------------------------------------------------------------- direct evaluator

struct IntegerPolynomial {
  long double factor = 1.0L;      // times the primitive polynomial
  std::vector<double> primitive;  // highest power first, every second one
};

// From the primitive Legendre polynomial: differentiated m times, and made primitive again.
inline IntegerPolynomial primitiveDerivative(int l, int m) {
  // 2^l P(l), whose coefficients are integers: (-1)^k C(l,k) C(2l-2k,l).
  const auto choose = [](int n, int k) {
    int64_t result = 1;
    for (int i = 1; i <= k; ++i) result = result * (n - k + i) / i;
    return result;
  };
  std::vector<int64_t> coefficients(static_cast<size_t>(l) + 1, 0);  // by power
  for (int k = 0; 2 * k <= l; ++k) {
    coefficients[static_cast<size_t>(l - 2 * k)] =
        (k % 2 != 0 ? -1 : 1) * choose(l, k) * choose(2 * l - 2 * k, l);
  }
  IntegerPolynomial result;
  result.factor = std::pow(0.5L, l);
  for (int d = 0; d <= m; ++d) {
    int64_t common = 0;
    for (int64_t c : coefficients) common = std::gcd(common, c);
    for (int64_t &c : coefficients) c /= common;
    result.factor *= static_cast<long double>(common);
    if (d == m) break;
    for (size_t power = 1; power < coefficients.size(); ++power) {
      coefficients[power - 1] = coefficients[power] * static_cast<int64_t>(power);
    }
    coefficients.pop_back();
  }
  for (int power = l - m; power >= 0; power -= 2) {
    result.primitive.push_back(static_cast<double>(coefficients[static_cast<size_t>(power)]));
  }
  return result;
}

// One block of the direct evaluator: powers in single, everything else in double.
class Direct {
 public:
  Direct() {
    for (int l = 5; l <= 15; ++l) {
      for (int m = 0; m <= l; ++m) {
        const IntegerPolynomial p = primitiveDerivative(l, m);
        const long double root = std::sqrt(squaredNorm(l, m) * (m > 0 ? 2.0L : 1.0L));
        terms_[l][m] = {static_cast<double>((m % 2 != 0 ? -1.0L : 1.0L) * root * p.factor), p.primitive};
      }
    }
  }

  std::vector<float> block(float xs, float ys, float zs, int highest) const {
    float px[16] = {}, py[16] = {}, pz[16] = {};
    px[1] = xs, py[1] = ys, pz[1] = zs;
    for (int k = 2; k < 16; ++k) {
      px[k] = px[k / 2] * px[(k + 1) / 2];
      py[k] = py[k / 2] * py[(k + 1) / 2];
      pz[k] = pz[k / 2] * pz[(k + 1) / 2];
    }
    const float difference = px[2] - py[2];
    const double x = xs, y = ys, z = zs, x2 = px[2], y2 = py[2], z2 = pz[2], x3 = px[3], y3 = py[3];
    const double x4 = px[4], y4 = py[4], z4 = pz[4], d = difference;

    const double c3 = x3 - 3.0 * x * y2, s3 = 3.0 * x2 * y - y3, c4 = x4 - 6.0 * x2 * y2 + y4;
    std::vector<double> v = {0.0,
                             -0.4886025119029199 * y,
                             0.4886025119029199 * z,
                             -0.4886025119029199 * x,
                             1.092548430592079 * (x * y),
                             -1.092548430592079 * z * y,
                             0.31539156525252 * (3.0 * z2 - 1.0),
                             -1.092548430592079 * z * x,
                             0.5462742152960395 * d,
                             0.5900435899266435 * (y3 - 3.0 * x2 * y),
                             2.890611442640554 * z * (x * y),
                             -0.4570457994644657 * (5.0 * z2 - 1.0) * y,
                             0.3731763325901154 * (z * (5.0 * z2 - 3.0)),
                             -0.4570457994644657 * (5.0 * z2 - 1.0) * x,
                             1.445305721320277 * z * d,
                             -0.5900435899266435 * c3,
                             2.503342941796705 * (x * y * d),
                             -1.770130769779931 * z * s3,
                             0.94617469575756 * (7.0 * z2 - 1.0) * (x * y),
                             -0.6690465435572892 * (z * (7.0 * z2 - 3.0)) * y,
                             0.1057855469152043 * (35.0 * z4 - 30.0 * z2 + 3.0),
                             -0.6690465435572892 * (z * (7.0 * z2 - 3.0)) * x,
                             0.47308734787878 * (7.0 * z2 - 1.0) * d,
                             -1.770130769779931 * z * c3,
                             0.6258357354491761 * c4};
    v.resize(256);
    for (int l = 5; l <= highest; ++l) {
      for (int m = 0; m <= l; ++m) {
        const Term &term = terms_[l][m];
        const int degree = l - m;
        // The polynomial, a factor z of odd ones taken out.
        double p = 0.0;
        for (size_t k = 0; k < term.polynomial.size(); ++k) {
          const int power = degree / 2 * 2 - 2 * static_cast<int>(k);
          const double monomial =
              power == 0 ? term.polynomial[k] : term.polynomial[k] * static_cast<double>(pz[power]);
          p = k == 0 ? monomial : p + monomial;
        }
        if (degree % 2 != 0) p = degree == 1 ? z : z * p;
        const double kp = degree == 0 ? term.constant : term.constant * p;
        double c = 1.0, s = 0.0;
        if (m == 1) c = x, s = y;
        if (m == 2) c = d, s = 2.0 * (x * y);
        if (m == 3) c = c3, s = s3;
        if (m == 4) c = c4, s = 4.0 * (x * y * d);
        if (m >= 5) c = expansion(m, 0, px, py), s = expansion(m, 1, px, py);
        v[static_cast<size_t>(l * l + l + m)] = kp * c;
        if (m > 0) v[static_cast<size_t>(l * l + l - m)] = kp * s;
        if (m == 0) v[static_cast<size_t>(l * l + l)] = kp;
      }
    }
    std::vector<float> result(static_cast<size_t>((highest + 1) * (highest + 1)));
    for (size_t k = 0; k < result.size(); ++k) result[k] = static_cast<float>(v[k]);
    const uint32_t bandZero = 0x3E906EBBu;
    std::memcpy(result.data(), &bandZero, sizeof bandZero);
    return result;
  }

 private:
  struct Term {
    double constant = 0.0;
    std::vector<double> polynomial;
  };

  // Sum over j = first, first + 2, ... of +-C(m,j) x^(m-j) y^j.
  static double expansion(int m, int first, const float *px, const float *py) {
    double sum = 0.0, binomial = 1.0, sign = 1.0;
    for (int j = 0; j <= m; ++j) {
      if (j % 2 == first) {
        double monomial = binomial;
        if (j < m) monomial *= static_cast<double>(px[m - j]);
        if (j > 0) monomial *= static_cast<double>(py[j]);
        sum = j == first ? monomial : sum + sign * monomial;
        sign = -sign;
      }
      binomial = binomial * (m - j) / (j + 1);
    }
    return sum;
  }

  Term terms_[16][16];
};

inline std::vector<float> directBlock(float x, float y, float z, int highest) {
  static const Direct direct;
  return direct.block(x, y, z, highest);
}

// ---------------------------------------------------------------- recurrent evaluator

struct Tables {
  std::vector<float> a, b;
};

inline Tables recurrenceTables(int maxBand) {
  const size_t entries = static_cast<size_t>((maxBand + 1) * (maxBand + 2) / 2);
  Tables t;
  t.a.assign(entries < 3 ? 3 : entries, 0.0f);
  t.b.assign(entries, 0.0f);
  const auto single = [](int64_t n, int64_t d) {
    return std::sqrt(static_cast<double>(static_cast<float>(n) / static_cast<float>(d)));
  };
  t.a[0] = static_cast<float>(1.0 / std::sqrt(12.566370614359172));
  t.a[1] = static_cast<float>(static_cast<double>(t.a[0]) * std::sqrt(3.0));
  t.a[2] = static_cast<float>(0.0 - static_cast<double>(t.a[0]) * std::sqrt(3.0));
  for (int64_t l = 2; l <= maxBand; ++l) {
    float *a = t.a.data() + l * (l + 1) / 2;
    float *b = t.b.data() + l * (l + 1) / 2;
    const double n = static_cast<double>(l);
    a[l] = static_cast<float>(-std::sqrt((2.0 * n + 1.0) / (2.0 * n)));
    a[0] = static_cast<float>(std::sqrt(4.0 * n * n - 1.0) / n);
    b[0] = static_cast<float>((1.0 / n - 1.0) * single(2 * l + 1, 2 * l - 3));
    for (int64_t m = 1; m < l; ++m) {
      a[m] = static_cast<float>(single(4 * l * l - 1, l * l - m * m));
      b[m] = static_cast<float>(
          0.0 - single((2 * l + 1) * ((l - 1) * (l - 1) - m * m), (2 * l - 3) * (l * l - m * m)));
    }
  }
  return t;
}

inline std::vector<float> recurrentBlock(const Tables &t, float x, float y, float z, int highest) {
  std::vector<float> block(static_cast<size_t>((highest + 1) * (highest + 1)));
  const auto Y = [&](int l, int m) -> float & { return block[static_cast<size_t>(l * l + l + m)]; };
  const auto A = [&](int l, int m) { return t.a[static_cast<size_t>(l * (l + 1) / 2 + m)]; };
  const auto B = [&](int l, int m) { return t.b[static_cast<size_t>(l * (l + 1) / 2 + m)]; };
  Y(0, 0) = A(0, 0);
  if (highest == 0) return block;
  Y(1, -1) = y * A(1, 1);
  Y(1, 0) = z * A(1, 0);
  Y(1, 1) = x * A(1, 1);
  for (int l = 2; l <= highest; ++l) {
    Y(l, l) = ((x * Y(l - 1, l - 1)) - (y * Y(l - 1, -(l - 1)))) * A(l, l);
    Y(l, -l) = ((x * Y(l - 1, -(l - 1))) + (y * Y(l - 1, l - 1))) * A(l, l);
    Y(l, l - 1) = (z * A(l, l - 1)) * Y(l - 1, l - 1);
    Y(l, -(l - 1)) = (z * A(l, l - 1)) * Y(l - 1, -(l - 1));
    Y(l, 0) = (z * A(l, 0)) * Y(l - 1, 0) + B(l, 0) * Y(l - 2, 0);
    for (int m = 1; m <= l - 2; ++m) {
      Y(l, m) = (z * A(l, m)) * Y(l - 1, m) + B(l, m) * Y(l - 2, m);
      Y(l, -m) = (z * A(l, m)) * Y(l - 1, -m) + B(l, m) * Y(l - 2, -m);
    }
  }
  return block;
}

// ---------------------------------------------------------------- sums

// One direction of a forward transform.
inline void project(const std::vector<float> &block, float sample, float *coefficients) {
  for (size_t k = 0; k < block.size(); ++k) {
    const float product = sample == 0.0f ? 0.0f : sample == 1.0f ? block[k] : block[k] * sample;
    coefficients[k] += product;
  }
}

// The dot product of two arrays, of which the first lies on a 16-byte boundary.
inline float dotProduct(const float *a, const float *b, int count) {
  float acc[4][4] = {};
  int k = 0;
  if (count < 16) {
    for (; count - k >= 2; k += 2) {
      acc[0][0] += a[k] * b[k];
      acc[0][1] += a[k + 1] * b[k + 1];
    }
  } else {
    const int wide = reinterpret_cast<uintptr_t>(b) % 16 == 0 ? 16 : 12;
    if (wide == 12) {
      for (; k < 4; ++k) acc[0][k] += a[k] * b[k];
    }
    for (; count - k >= wide; k += wide) {
      for (int j = 0; j < wide; ++j) acc[j / 4][j % 4] += a[k + j] * b[k + j];
    }
    for (; count - k >= 4; k += 4) {
      for (int j = 0; j < 4; ++j) acc[0][j] += a[k + j] * b[k + j];
    }
  }
  float lane[4];
  for (int j = 0; j < 4; ++j) lane[j] = acc[0][j] + (acc[1][j] + (acc[2][j] + acc[3][j]));
  float sum = (lane[0] + lane[1]) + (lane[2] + lane[3]);
  for (; k < count; ++k) sum += a[k] * b[k];
  return sum;
}

}  // namespace reference
