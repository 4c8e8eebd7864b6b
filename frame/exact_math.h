/* Refuses compiler flags that change results: every file of the library is compiled with this in front of it (see
 * cmake/flags.cmake). They come in by CFLAGS and CXXFLAGS as a rule, and would reorder sums, drop NaNs and signs of zeros, and
 * flush small numbers in the whole process of whoever loads the library. -march=native is no such flag. */
#pragma once

#if defined(__FAST_MATH__) || (defined(__FINITE_MATH_ONLY__) && __FINITE_MATH_ONLY__ != 0) || \
    defined(__ASSOCIATIVE_MATH__) || defined(__RECIPROCAL_MATH__) || defined(__NO_SIGNED_ZEROS__)
#error \
    "vekr's results are exact to the last bit: it can't be compiled with -ffast-math, -Ofast or a part of them"
#endif
