// Radiance's .hdr: a header of lines, then rows of pixels of three mantissas and one exponent, mostly run-length encoded
// channel by channel. G. Ward, "Real Pixels", Graphics Gems II, 1991.
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "light_file.h"

namespace {

using File = std::unique_ptr<FILE, int (*)(FILE *)>;

constexpr int kShortestEncoded = 8,
              kLongestEncoded = 0x7fff;  // widths of rows that may be run-length encoded
constexpr int kExponentBias = 128 + 8;   // of mantissas that are whole numbers

std::string readLine(FILE *file) {
  constexpr size_t kLongest = 4096;
  std::string line;
  int c;
  while ((c = std::fgetc(file)) != EOF && c != '\n') {
    line.push_back(static_cast<char>(c));
    if (line.size() > kLongest) throw std::runtime_error("a line of its header does not end");
  }
  if (c == EOF) throw std::runtime_error("its header ends too soon");
  return line;
}

uint8_t readByte(FILE *file) {
  const int c = std::fgetc(file);
  if (c == EOF) throw std::runtime_error("it ends too soon");
  return static_cast<uint8_t>(c);
}

// One channel of a row: runs of equal bytes, their length above 128, and stretches of different ones.
void readChannel(FILE *file, uint8_t *pixels, int width) {
  for (int x = 0; x < width;) {
    const int code = readByte(file);
    const int count = code > 128 ? code - 128 : code;
    if (count == 0 || count > width - x)
      throw std::runtime_error("a run of its pixels is longer than the row");
    const uint8_t same = code > 128 ? readByte(file) : uint8_t{0};
    for (int i = 0; i < count; ++i, ++x) pixels[4 * x] = code > 128 ? same : readByte(file);
  }
}

void readRow(FILE *file, std::vector<uint8_t> &pixels, int width) {
  uint8_t first[4];
  for (uint8_t &byte : first) byte = readByte(file);
  const bool encoded = first[0] == 2 && first[1] == 2 && first[2] < 128 && width >= kShortestEncoded &&
                       width <= kLongestEncoded;
  if (encoded) {
    if (first[2] * 256 + first[3] != width) throw std::runtime_error("a row of its pixels has another width");
    for (size_t c = 0; c < 4; ++c) readChannel(file, pixels.data() + c, width);
    return;
  }
  // Plain pixels; in old files mantissas of 1 repeat the last pixel, by a count whose digits are single pixels.
  int shift = 0;
  for (int x = 0; x < width;) {
    if (x > 0 || shift > 0) {
      for (uint8_t &byte : first) byte = readByte(file);
    }
    if (first[0] != 1 || first[1] != 1 || first[2] != 1) {
      std::memcpy(&pixels[4 * static_cast<size_t>(x++)], first, 4);
      shift = 0;
      continue;
    }
    const int64_t count = shift > 16 ? -1 : int64_t{first[3]} << shift;
    if (x == 0 || count < 0 || count > width - x)
      throw std::runtime_error("a run of its pixels is longer than the row");
    for (int64_t i = 0; i < count; ++i, ++x) {
      std::memcpy(&pixels[4 * static_cast<size_t>(x)], &pixels[4 * static_cast<size_t>(x - 1)], 4);
    }
    shift += 8;
  }
}

}  // namespace

Panorama readRadiance(const std::string &path) {
  const File file(std::fopen(path.c_str(), "rb"), std::fclose);
  if (file == nullptr) throw std::runtime_error(std::strerror(errno));
  char magic[2];
  if (std::fread(magic, 1, 2, file.get()) != 2 || magic[0] != '#' || magic[1] != '?') {
    throw std::runtime_error("is no Radiance picture");
  }
  readLine(file.get());
  double exposure = 1;
  int lines = 0;
  for (std::string line; !(line = readLine(file.get())).empty();) {
    double value;
    if (++lines > 1000) throw std::runtime_error("its header does not end");
    if (line.rfind("FORMAT=", 0) == 0 && line != "FORMAT=32-bit_rle_rgbe") {
      throw std::runtime_error("its pixels are not red, green and blue");
    }
    if (std::sscanf(line.c_str(), "EXPOSURE=%lf", &value) == 1 && value > 0 && std::isfinite(value))
      exposure *= value;
  }
  int width = 0, height = 0, rest = 0;
  const std::string size = readLine(file.get());
  if (std::sscanf(size.c_str(), "-Y %9d +X %9d%n", &height, &width, &rest) != 2 || width < 1 || height < 1) {
    throw std::runtime_error("its rows don't run from the top left corner");
  }
  if (static_cast<uint64_t>(width) * static_cast<uint64_t>(height) > kMostLightPixels) {
    throw std::runtime_error("the picture is too large");
  }
  // Row by row, so that a header which promises much takes no memory before there is something to hold.
  std::vector<float> light;
  std::vector<uint8_t> pixels(4 * static_cast<size_t>(width));
  for (int y = 0; y < height; ++y) {
    readRow(file.get(), pixels, width);
    for (size_t x = 0; x < static_cast<size_t>(width); ++x) {
      const uint8_t *p = &pixels[4 * x];
      const double unit = p[3] == 0 ? 0.0 : std::ldexp(1.0, p[3] - kExponentBias) / exposure;
      for (int c = 0; c < 3; ++c) light.push_back(static_cast<float>((p[c] + 0.5) * unit));
    }
  }
  return Panorama(width, height, std::move(light));
}

void writeRadiance(const Panorama &light, const std::string &path) {
  File file(std::fopen(path.c_str(), "wb"), std::fclose);
  if (file == nullptr) throw std::runtime_error(std::strerror(errno));
  std::fprintf(file.get(), "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y %d +X %d\n", light.height(),
               light.width());
  const int width = light.width();
  const bool encoded = width >= kShortestEncoded && width <= kLongestEncoded;
  std::vector<uint8_t> planes(4 * static_cast<size_t>(width)), bytes;
  for (int y = 0; y < light.height(); ++y) {
    const float *row = light.row(y);
    bytes.clear();
    for (int x = 0; x < width; ++x, row += 3) {
      const float largest = std::max(std::max(row[0], row[1]), row[2]);
      uint8_t p[4] = {};
      if (largest > 1e-32f) {
        int exponent;
        const double scale =
            std::frexp(static_cast<double>(largest), &exponent) * 256.0 / static_cast<double>(largest);
        for (int c = 0; c < 3; ++c)
          p[c] = static_cast<uint8_t>(std::max(0.0, static_cast<double>(row[c]) * scale));
        p[3] = static_cast<uint8_t>(exponent + 128);
      }
      for (int c = 0; c < 4; ++c) planes[static_cast<size_t>(c * width + x)] = p[c];
      if (!encoded) bytes.insert(bytes.end(), p, p + 4);
    }
    if (encoded) {
      bytes = {2, 2, static_cast<uint8_t>(width >> 8), static_cast<uint8_t>(width & 255)};
      // Stretches of different bytes only: small enough, and every reader takes them.
      for (int c = 0; c < 4; ++c) {
        for (int x = 0; x < width; x += 128) {
          const int count = std::min(128, width - x);
          bytes.push_back(static_cast<uint8_t>(count));
          const auto first = planes.begin() + c * width + x;
          bytes.insert(bytes.end(), first, first + count);
        }
      }
    }
    std::fwrite(bytes.data(), 1, bytes.size(), file.get());
  }
  const bool bad = std::ferror(file.get()) != 0;
  if (std::fclose(file.release()) != 0 || bad) throw std::runtime_error(std::strerror(errno));
}
