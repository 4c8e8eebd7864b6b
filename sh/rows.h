// Evaluation of a group of directions side by side, a lane each.
//
// Evaluators write rows: row k holds function k of the group's directions. A block of the caller, or the coefficients
// of a transform, run the other way, along k for one direction; tiles of rows are turned round in registers.
#pragma once

#include <cstdint>

#include "frame/lanes.h"
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

constexpr int kDirectionGroup = kWidestGroup;
constexpr int kMostValues = (kHighestBand + 1) * (kHighestBand + 1);

struct alignas(64) FunctionRows {
  float row[kMostValues][kDirectionGroup];
};

// kDirectionGroup directions that can be read in full.
struct GroupDirections {
  const float *x, *y, *z;
};

// The evaluators: rows 0 to valuesUpTo(highest) - 1, or rows 0 to 2 band for one band alone. Lanes from `lanes` on may
// be left out.
void directRows(uint32_t highest, const GroupDirections &group, int lanes, FunctionRows &rows);
void recurrentRows(const Basis &basis, const GroupDirections &group, FunctionRows &rows);
using BandRows = void (*)(const GroupDirections &group, int lanes, FunctionRows &rows);
BandRows bandRowsOf(uint32_t band);

inline void evaluateRows(const Basis &basis, const GroupDirections &group, int lanes, FunctionRows &rows) {
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
  for (; i + kDirectionGroup <= directions.count; i += kDirectionGroup) {
    body(GroupDirections{directions.x + i, directions.y + i, directions.z + i}, i, kDirectionGroup);
  }
  const int lanes = static_cast<int>(directions.count - i);
  if (lanes == 0) return;
  float padded[3][kDirectionGroup] = {};
  for (int lane = 0; lane < lanes; ++lane) {
    padded[0][lane] = directions.x[i + lane];
    padded[1][lane] = directions.y[i + lane];
    padded[2][lane] = directions.z[i + lane];
  }
  body(GroupDirections{padded[0], padded[1], padded[2]}, i, lanes);
}

// Columns [lane] of the four rows k to k + 3, for four lanes.
inline void turnFour(const float (*row)[kDirectionGroup], int lane, Float<4> *columns) {
  Float<4> rows[4];
  for (int k = 0; k < 4; ++k) rows[k] = Float<4>::load(row[k] + lane);
  transpose(rows);
  for (int k = 0; k < 4; ++k) columns[k] = rows[k];
}

}  // namespace vekr::VEKR_ISA
