#include "option_values.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <vector>

namespace {

constexpr double kFarthest = 1e9;  // coordinates beyond it are no places of a mesh

std::vector<std::string> splitAtCommas(const std::string &text) {
  std::vector<std::string> parts = {""};
  for (const char c : text) {
    if (c == ',') {
      parts.emplace_back();
    } else {
      parts.back().push_back(c);
    }
  }
  return parts;
}

}  // namespace

double parseNumber(const std::string &text, double low, double high) {
  char *end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  if (end != text.c_str() && *end == 0 && value >= low && value <= high) return value;
  char message[96];
  std::snprintf(message, sizeof message, " must be a number from %g to %g", low, high);
  throw std::invalid_argument("'" + text + "'" + message);
}

Point parsePoint(const std::string &text) {
  const std::vector<std::string> parts = splitAtCommas(text);
  if (parts.size() != 3)
    throw std::invalid_argument("must be three numbers with commas between them, not " + text);
  return {parseNumber(parts[0], -kFarthest, kFarthest), parseNumber(parts[1], -kFarthest, kFarthest),
          parseNumber(parts[2], -kFarthest, kFarthest)};
}

Rgb parseColour(const std::string &text) {
  const bool digits = text.size() == 7 && text[0] == '#' &&
                      text.find_first_not_of("0123456789abcdefABCDEF", 1) == std::string::npos;
  if (!digits) throw std::invalid_argument("must be a colour like #ff8000, not " + text);
  Rgb colour;
  for (size_t c = 0; c < 3; ++c) {
    const float x = static_cast<float>(std::strtol(text.substr(1 + 2 * c, 2).c_str(), nullptr, 16)) / 255.0f;
    colour[c] = x <= 0.04045f ? x / 12.92f : std::pow((x + 0.055f) / 1.055f, 2.4f);
  }
  return colour;
}

LightOption parseLight(const std::string &text) {
  const std::vector<std::string> parts = splitAtCommas(text);
  if (parts.size() < 2 || parts.size() > 4) {
    throw std::invalid_argument("must be yaw and pitch, strength and colour with commas between them, not " +
                                text);
  }
  LightOption light = {static_cast<float>(parseNumber(parts[0], -36000, 36000)),
                       static_cast<float>(parseNumber(parts[1], -90, 90)),
                       0.8f,
                       {1, 1, 1}};
  if (parts.size() > 2) light.strength = static_cast<float>(parseNumber(parts[2], 0, 1000));
  if (parts.size() > 3) light.colour = parseColour(parts[3]);
  return light;
}
