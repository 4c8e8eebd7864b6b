#include "coefficients_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#ifdef VEKR_HAVE_JSON
#include <nlohmann/json.hpp>
#endif

namespace {

bool endsIn(const std::string &path, const char *ending) {
  return std::filesystem::path(path).extension() == ending;
}

// Nine digits: a single is the same after it has been read again.
std::string asCsv(const Harmonics &harmonics, const Coefficients &coefficients) {
  std::string text = "l,m,red,green,blue\n";
  for (uint32_t l = 0, k = 0; l <= harmonics.highestBand(); ++l) {
    for (int m = -static_cast<int>(l); m <= static_cast<int>(l); ++m, ++k) {
      char line[128];
      std::snprintf(line, sizeof line, "%u,%d,%.9g,%.9g,%.9g\n", l, m,
                    static_cast<double>(coefficients[0][k]), static_cast<double>(coefficients[1][k]),
                    static_cast<double>(coefficients[2][k]));
      text += line;
    }
  }
  return text;
}

#ifdef VEKR_HAVE_JSON
std::string asJson(const Harmonics &harmonics, const Coefficients &coefficients, const std::string &source) {
  nlohmann::ordered_json file;
  file["source"] = source;
  file["highest_band"] = harmonics.highestBand();
  file["order"] = "function (l, m) at l*l + l + m";
  const char *const names[3] = {"red", "green", "blue"};
  for (size_t c = 0; c < 3; ++c) file["coefficients"][names[c]] = coefficients[c];
  // Names of files may hold what is no UTF-8.
  return file.dump(1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}
#else
std::string asJson(const Harmonics &, const Coefficients &, const std::string &) { return ""; }
#endif

}  // namespace

std::string whyNoCoefficients(const std::string &path) {
  if (endsIn(path, ".csv")) return "";
  if (!endsIn(path, ".json")) return "must end in .json or .csv, not " + path;
#ifndef VEKR_HAVE_JSON
  return "this program was built without nlohmann-json, which .json files need";
#endif
  return "";
}

void writeCoefficients(const Harmonics &harmonics, const Coefficients &coefficients,
                       const std::string &source, vekr_example::OutputFile &output) {
  const std::string text = endsIn(output.path(), ".csv") ? asCsv(harmonics, coefficients)
                                                         : asJson(harmonics, coefficients, source);
  FILE *file = std::fopen(output.create().c_str(), "wb");
  if (file == nullptr) output.fail(std::strerror(errno));
  const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size();
  const bool closed = std::fclose(file) == 0;
  if (!written || !closed) output.fail(std::strerror(errno));
}
