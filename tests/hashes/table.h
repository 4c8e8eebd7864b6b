// All rows, and the committed table of their hashes.
#pragma once

#include <map>
#include <string>

#include "hashes/rows.h"

namespace hashes {

inline Rows allRows() {
  Rows rows;
  addTreeRows(rows);
  addIntersectionRows(rows);
  addShadingRows(rows);
  addHarmonicsRows(rows);
  addResamplingRows(rows);
  addResizeRows(rows);
  addFilterRows(rows);
  return rows;
}

std::string lineOf(const Row &row, uint64_t hash);

// The lines of a table by the names of their rows; ends the program with 2 if it can't be read.
std::map<std::string, std::string> readTable(const char *path);

}  // namespace hashes
