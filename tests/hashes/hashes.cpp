// Hashes what every function writes, in every form, for every type and interpolation, over fixed inputs.
//   hashes                  prints the table
//   hashes --check TABLE    compares with one, names the rows that differ, and ends with 1 if one does that mustn't
//   --threads N             grants N threads where the hash doesn't depend on their number
//   --strict                hashes of another make of processor count as different too
#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "hashes/table.h"
#include "vekcore/vekcore.h"

namespace {

using namespace hashes;

struct Options {
  const char *table = nullptr;
  int32_t threads = 0;
  bool strict = false;
};

Options optionsOf(int count, char **arguments) {
  Options options;
  for (int i = 1; i < count; ++i) {
    const std::string name = arguments[i];
    if (name == "--strict") {
      options.strict = true;
    } else if (name == "--check" && i + 1 < count) {
      options.table = arguments[++i];
    } else if (name == "--threads" && i + 1 < count) {
      options.threads = std::atoi(arguments[++i]);
    } else {
      std::fprintf(stderr, "usage: hashes [--check TABLE] [--threads N] [--strict]\n");
      std::exit(2);
    }
  }
  return options;
}

struct Outcome {
  int wrong = 0, otherProcessor = 0, rows = 0, estimates = 0;
};

void compare(const Row &row, const std::string &line, const std::map<std::string, std::string> &table,
             bool strict, Outcome &outcome) {
  ++outcome.rows;
  outcome.estimates += row.estimate;
  const auto entry = table.find(row.name);
  if (entry != table.end() && entry->second == line) return;
  // A row of a processor's estimates says nothing on another make of processor, but it must be in the table.
  if (row.estimate && entry != table.end() && !strict) {
    ++outcome.otherProcessor;
    return;
  }
  ++outcome.wrong;
  std::printf("differs: %s\n  instead: %s\n", line.c_str(),
              entry == table.end() ? "nothing" : entry->second.c_str());
}

}  // namespace

int main(int count, char **arguments) {
  const Options options = optionsOf(count, arguments);
  std::map<std::string, std::string> table;
  if (options.table) table = readTable(options.table);
  Outcome outcome;
  for (const Row &row : allRows()) {
    vekSetNumThreads(row.threads ? row.threads : options.threads);
    const std::string line = lineOf(row, row.hash());
    if (options.table) {
      compare(row, line, table, options.strict, outcome);
    } else {
      std::puts(line.c_str());
      std::fflush(stdout);  // a row that crashes is named by the one before it
    }
  }
  if (!options.table) return 0;
  if (outcome.rows != static_cast<int>(table.size())) {
    std::printf("the table has %d rows, the program %d\n", static_cast<int>(table.size()), outcome.rows);
    ++outcome.wrong;
  }
  // Estimates are one property of a processor: either all those rows are its own or, mostly, none is.
  std::printf("%d rows, %d wrong; %d of %d with a processor's estimates are of another make\n", outcome.rows,
              outcome.wrong, outcome.otherProcessor, outcome.estimates);
  return outcome.wrong != 0;
}
