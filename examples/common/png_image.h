// Pictures of the example programs: 8-bit grey or RGB, read from and written to PNG files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "output_file.h"

namespace vekr_example {

class Image {
 public:
  // A black picture. `channels` is 1 (grey) or 3 (red, green, blue); width and height are at least 1.
  Image(int width, int height, int channels)
      : width_(width),
        height_(height),
        channels_(channels),
        bytes_(static_cast<size_t>(width) * static_cast<size_t>(height) * static_cast<size_t>(channels)) {}

  int width() const { return width_; }
  int height() const { return height_; }
  int channels() const { return channels_; }

  // The first channel of a pixel; rows run from the top down and are dense.
  uint8_t *at(int x, int y) { return bytes_.data() + offset(x, y); }
  const uint8_t *at(int x, int y) const { return bytes_.data() + offset(x, y); }
  uint8_t *data() { return bytes_.data(); }
  const uint8_t *data() const { return bytes_.data(); }

  // Writes a PNG; the caller commits it. Throws std::runtime_error, with one line that names the file and the reason.
  void write(OutputFile &output) const;

  // Writes a PNG into a file that is open, and stays so. Throws std::runtime_error, with one line that calls it `name`.
  void writeTo(FILE *file, const std::string &name) const;

  // Reads a PNG of any kind and converts it to `channels`; transparent parts are laid over black. Throws
  // std::runtime_error, with one line that names the file and the reason.
  static Image read(const std::string &path, int channels);

 private:
  size_t offset(int x, int y) const {
    return (static_cast<size_t>(y) * static_cast<size_t>(width_) + static_cast<size_t>(x)) *
           static_cast<size_t>(channels_);
  }

  int width_;
  int height_;
  int channels_;
  std::vector<uint8_t> bytes_;
};

}  // namespace vekr_example
