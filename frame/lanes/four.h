// What four lanes do by other operations alone, on every architecture.
#pragma once

#include "frame/lanes/neon.h"
#include "frame/lanes/x128.h"

namespace vekr::VEKR_ISA {

template <>
inline Int<4> loadRepeated<4>(const int32_t *p) {
  return Int<4>::load(p);
}

// Four floats from column `first` on of each of the rows, which lie anywhere.
inline void loadColumns(const float *const (&rows)[4], int first, Float<4> (&columns)[4]) {
  for (int k = 0; k < 4; ++k) columns[k] = Float<4>::load(rows[k] + first);
  transpose(columns);
}

inline void loadTransposed(const float (*rows)[4], Float<4> (&columns)[4]) {
  for (int k = 0; k < 4; ++k) columns[k] = Float<4>::load(rows[k]);
  transpose(columns);
}

// Four rows of as many lanes, to one block after the other.
inline void storeTransposed(const Float<4> (&rows)[4], float (*out)[4]) {
  Float<4> columns[4] = {rows[0], rows[1], rows[2], rows[3]};
  transpose(columns);
  for (int k = 0; k < 4; ++k) columns[k].store(out[k]);
}

}  // namespace vekr::VEKR_ISA
