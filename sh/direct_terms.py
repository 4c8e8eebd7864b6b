#!/usr/bin/env python3
"""Writes direct_terms.h: the constants and polynomials of the direct evaluator.

    python3 sh/direct_terms.py > sh/direct_terms.h      anew
    python3 sh/direct_terms.py --check sh/direct_terms.h    fails if the file isn't what would be written

With Q(l,m) the m-th derivative of the Legendre polynomial of degree l, and K(l,m) = sqrt((2l+1)/(4 pi) (l-m)!/(l+m)!):
Q(l,m) = factor * primitive integer polynomial, and the constant of order m is (-1)^m K(l,m) factor, times sqrt(2)
for m > 0. Everything is exact up to one square root, taken with 60 digits and rounded once to double.
"""
import sys
from decimal import Decimal, getcontext
from fractions import Fraction
from math import comb, factorial, gcd

HIGHEST_BAND = 15
PI = Decimal("3.14159265358979323846264338327950288419716939937510582097494459230781640628620899")

# Up to band 4 callers know the constants by these decimals, some of which are one place off the nearest double [C49].
# Band, order: constant. Negative orders are listed where theirs isn't the constant of the positive one; that of (3, -3)
# goes with -s(3), which decides the sign of a zero.
PUBLISHED = {
    (1, 0): 0.4886025119029199, (1, 1): -0.4886025119029199,
    (2, 0): 0.31539156525252, (2, 1): -1.092548430592079, (2, 2): 0.5462742152960395, (2, -2): 1.092548430592079,
    (3, 0): 0.3731763325901154, (3, 1): -0.4570457994644657, (3, 2): 1.445305721320277, (3, -2): 2.890611442640554,
    (3, 3): -0.5900435899266435, (3, -3): 0.5900435899266435,
    (4, 0): 0.1057855469152043, (4, 1): -0.6690465435572892, (4, 2): 0.47308734787878, (4, -2): 0.94617469575756,
    (4, 3): -1.770130769779931, (4, 4): 0.6258357354491761, (4, -4): 2.503342941796705,
}
# s(2) = 2 * (xy) and s(4) = 4 * (xy (x^2 - y^2)): the evaluator has the bracket, the constant the number before it.
SINE_SCALE = {2: 2, 4: 4}


def derivative(l, m):
    """Coefficients of Q(l,m), highest power first, every second power."""
    return [Fraction((-1) ** k * comb(l, k) * comb(2 * l - 2 * k, l) * factorial(l - 2 * k),
                     2 ** l * factorial(l - 2 * k - m)) for k in range((l - m) // 2 + 1)]


def primitive(coefficients):
    """Splits into a rational factor and coprime integers, the first of them positive."""
    over = 1
    for c in coefficients:
        over = over * c.denominator // gcd(over, c.denominator)
    integers = [int(c * over) for c in coefficients]
    common = 0
    for i in integers:
        common = gcd(common, i)
    return Fraction(common, over), [i // common for i in integers]


def constant(l, m, factor):
    square = Fraction(2 * l + 1, 4) * Fraction(factorial(l - m), factorial(l + m)) * factor * factor
    if m > 0:
        square *= 2
    root = (Decimal(square.numerator) / Decimal(square.denominator) / PI).sqrt()
    return (-1) ** m * float(root)


def row(l, m):
    factor, integers = primitive(derivative(l, m))
    cosine = PUBLISHED.get((l, m)) or constant(l, m, factor)
    sine = PUBLISHED.get((l, -m)) or cosine * SINE_SCALE.get(m, 1)
    if m == 0:
        sine = 0.0
    return "{%r, %r, {%s}}," % (cosine, sine, ", ".join(map(str, integers)))


def header():
    lines = [
        "// Written by direct_terms.py; not to be edited.",
        "//",
        "// The terms of the direct evaluator, band l and order m >= 0 at index l (l + 1) / 2 + m. The value of order +m is",
        "//   cosine * p(z) * c(m),   of order -m   sine * p(z) * s(m),",
        "// with p the primitive integer form of the m-th derivative of the Legendre polynomial of degree l. `p` holds its",
        "// coefficients from the highest power down, in steps of two; for odd l - m the last one belongs to z itself. Shortest",
        "// decimals that read back as the same double.",
        "#pragma once",
        "",
        "namespace vekr {",
        "",
        "constexpr int kHighestBand = %d;" % HIGHEST_BAND,
        "",
        "struct DirectTerm {",
        "  double cosine, sine;",
        "  double p[%d];" % (HIGHEST_BAND // 2 + 1),
        "};",
        "",
        "// clang-format off",
        "constexpr DirectTerm kDirectTerms[(kHighestBand + 1) * (kHighestBand + 2) / 2] = {",
        "    // band 0 is stored, not computed",
        "    {0.0, 0.0, {1}},",
    ]
    for l in range(1, HIGHEST_BAND + 1):
        lines.append("    // band %d" % l)
        lines += ["    " + row(l, m) for m in range(l + 1)]
    lines += ["};", "// clang-format on", "", "}  // namespace vekr", ""]
    return "\n".join(lines)


def main():
    getcontext().prec = 60
    if len(sys.argv) == 3 and sys.argv[1] == "--check":
        with open(sys.argv[2], encoding="ascii") as file:
            if file.read() != header():
                sys.exit(sys.argv[2] + " is not what direct_terms.py writes")
    else:
        sys.stdout.write(header())


if __name__ == "__main__":
    main()
