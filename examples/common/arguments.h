// Checks of arguments that CLI11 lacks or is too kind with: what would wrap around, or is no number at all, is refused.
#pragma once

#include <CLI/CLI.hpp>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace vekr_example {

// Checks for a finite number from `low` to `high`. CLI::Range takes a NaN, which is on neither side of a bound.
inline auto numberFrom(double low, double high) {
  return [low, high](const std::string &text) {
    char *end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    if (end != text.c_str() && *end == 0 && value >= low && value <= high) return std::string();
    char message[96];
    std::snprintf(message, sizeof message, " must be a number from %g to %g", low, high);
    return text + message;
  };
}

// "960x720", "64x64x32": N whole numbers from 1 to `most`. The name is that of the option.
template <size_t N>
std::array<int32_t, N> parseSides(const char *name, const std::string &text, int32_t most) {
  std::array<int32_t, N> sides = {};
  const char *at = text.data(), *const end = at + text.size();
  bool good = true;
  for (size_t i = 0; i < N && good; ++i) {
    if (i > 0) good = at != end && (*at == 'x' || *at == 'X') && ++at != end;
    const auto [stop, error] = std::from_chars(at, end, sides[i]);
    good = good && error == std::errc() && sides[i] >= 1 && sides[i] <= most;
    at = stop;
  }
  if (!good || at != end) {
    throw CLI::ValidationError(name, "must be " + std::to_string(N) + " whole numbers from 1 to " +
                                         std::to_string(most) + " with x between them, not " + text);
  }
  return sides;
}

// For names of files: none is empty.
inline std::string notEmpty(const std::string &text) { return text.empty() ? "must not be empty" : ""; }

// The same for all programs. More threads than this would only wait for each other.
inline CLI::Option *addThreadsOption(CLI::App &app, int32_t &threads) {
  return app.add_option("--threads", threads, "Threads, up to 1024; 0, the default: one for each processor")
      ->check(CLI::Range(0, 1024));
}

}  // namespace vekr_example
