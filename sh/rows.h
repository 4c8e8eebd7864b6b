// Evaluation of a group of directions side by side, a lane each.
//
// Evaluators write rows: row k holds function k of the group's directions. A block of the caller, or the coefficients
// of a transform, run the other way, along k for one direction; tiles of rows are turned round in registers.
#pragma once

#include <cstdint>

#include "frame/simd.h"
#include "sh/direct_terms.h"
#include "sh/sh_kernels.h"

// For the pieces of an evaluator, which have to end up in one straight line of code. Under a sanitizer, which watches every
// temporary, that line would take minutes to compile: there they stay functions of their own.
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define VEKR_INTO_CALLER [[gnu::noinline]]
#endif
#elif defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define VEKR_INTO_CALLER [[gnu::noinline]]
#endif
#ifndef VEKR_INTO_CALLER
#define VEKR_INTO_CALLER [[gnu::always_inline]] inline
#endif

namespace vekr::VEKR_ISA {

constexpr int kGroup = kWidestGroup;
constexpr int kMostValues = (kHighestBand + 1) * (kHighestBand + 1);

struct alignas(64) Rows {
  float row[kMostValues][kGroup];
};

// kGroup directions that can be read in full.
struct GroupDirections {
  const float *x, *y, *z;
};

// The evaluators: rows 0 to valuesUpTo(highest) - 1, or rows 0 to 2 band for one band alone. Lanes from `lanes` on may
// be left out.
void directRows(uint32_t highest, const GroupDirections &group, int lanes, Rows &rows);
void recurrentRows(const Basis &basis, const GroupDirections &group, Rows &rows);
using BandRows = void (*)(const GroupDirections &group, int lanes, Rows &rows);
BandRows bandRowsOf(uint32_t band);

inline void evaluateRows(const Basis &basis, const GroupDirections &group, int lanes, Rows &rows) {
  if (basis.recurrenceA == nullptr) {
    directRows(basis.highest, group, lanes, rows);
  } else {
    recurrentRows(basis, group, rows);
  }
}

// body(group, i, lanes) for groups that cover all directions: `lanes` of them from direction i. Behind the last
// direction a group is filled with zeros.
template <class Body>
void forDirectionGroups(const Directions &directions, const Body &body) {
  int64_t i = 0;
  for (; i + kGroup <= directions.count; i += kGroup) {
    body(GroupDirections{directions.x + i, directions.y + i, directions.z + i}, i, kGroup);
  }
  const int lanes = static_cast<int>(directions.count - i);
  if (lanes == 0) return;
  float padded[3][kGroup] = {};
  for (int lane = 0; lane < lanes; ++lane) {
    padded[0][lane] = directions.x[i + lane];
    padded[1][lane] = directions.y[i + lane];
    padded[2][lane] = directions.z[i + lane];
  }
  body(GroupDirections{padded[0], padded[1], padded[2]}, i, lanes);
}

// Columns [lane] of the four rows k to k + 3, for four lanes.
inline void turnFour(const float (*row)[kGroup], int lane, Float<4> *columns) {
  __m128 a = _mm_loadu_ps(row[0] + lane);
  __m128 b = _mm_loadu_ps(row[1] + lane);
  __m128 c = _mm_loadu_ps(row[2] + lane);
  __m128 d = _mm_loadu_ps(row[3] + lane);
  _MM_TRANSPOSE4_PS(a, b, c, d);
  columns[0] = a;
  columns[1] = b;
  columns[2] = c;
  columns[3] = d;
}

// The columns of kGroup rows: column i is what direction i has of these kGroup functions.
inline void turn(const float (*row)[kGroup], Float<kGroup> (&columns)[kGroup]) {
#ifdef __AVX2__
  // Rows k and k + 4 share a register from the start, so that the lanes need to be exchanged within halves only.
  for (int half = 0; half < 2; ++half) {
    __m256 pair[4];
    for (int k = 0; k < 4; ++k) {
      const __m256 low = _mm256_castps128_ps256(_mm_load_ps(row[k] + 4 * half));
      pair[k] = _mm256_insertf128_ps(low, _mm_load_ps(row[k + 4] + 4 * half), 1);
    }
    const __m256 ab0 = _mm256_unpacklo_ps(pair[0], pair[1]);
    const __m256 ab1 = _mm256_unpackhi_ps(pair[0], pair[1]);
    const __m256 cd0 = _mm256_unpacklo_ps(pair[2], pair[3]);
    const __m256 cd1 = _mm256_unpackhi_ps(pair[2], pair[3]);
    columns[4 * half + 0] = _mm256_shuffle_ps(ab0, cd0, 0x44);
    columns[4 * half + 1] = _mm256_shuffle_ps(ab0, cd0, 0xEE);
    columns[4 * half + 2] = _mm256_shuffle_ps(ab1, cd1, 0x44);
    columns[4 * half + 3] = _mm256_shuffle_ps(ab1, cd1, 0xEE);
  }
#else
  turnFour(row, 0, columns);
#endif
}

}  // namespace vekr::VEKR_ISA
