#include "hashes/table.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace hashes {

// "0123456789abcdef name", the hash with a * behind it where it is that of one make of processor.
std::string lineOf(const Row &row, uint64_t hash) {
  char digits[20];
  std::snprintf(digits, sizeof digits, "%016" PRIx64 "%c ", hash, row.estimate ? '*' : ' ');
  return digits + row.name;
}

std::map<std::string, std::string> readTable(const char *path) {
  std::map<std::string, std::string> lines;
  std::ifstream file(path);
  constexpr size_t kName = 18;
  for (std::string line; std::getline(file, line);) {
    if (line.size() > kName && line[0] != '#') lines[line.substr(kName)] = line;
  }
  if (lines.empty()) {
    std::fprintf(stderr, "%s: no table of hashes\n", path);
    std::exit(2);
  }
  return lines;
}

}  // namespace hashes
