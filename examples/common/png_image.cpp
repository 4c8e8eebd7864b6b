#include "png_image.h"

#include <png.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <stdexcept>

namespace vekr_example {

namespace {

// Refuses files whose header promises more than a program of this kind should allocate: 400 MB as RGB.
constexpr uint64_t kMostPixels = uint64_t{1} << 27;

uint32_t formatOf(int channels) { return channels == 1 ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB; }

// What the PNG library is told of a picture to write.
png_image descriptionOf(const Image &image) {
  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  png.width = static_cast<uint32_t>(image.width());
  png.height = static_cast<uint32_t>(image.height());
  png.format = formatOf(image.channels());
  return png;
}

// Encodes into an open file. Null on success, else the reason; the file is closed in any case.
const char *encode(FILE *file, png_image &png, const uint8_t *bytes) {
  const bool encoded = png_image_write_to_stdio(&png, file, 0, bytes, 0, nullptr) != 0;
  const bool closed = std::fclose(file) == 0;
  if (!encoded) return png.message;
  return closed ? nullptr : std::strerror(errno);
}

}  // namespace

void Image::write(OutputFile &output) const {
  FILE *file = std::fopen(output.create().c_str(), "wb");
  if (file == nullptr) output.fail(std::strerror(errno));
  png_image png = descriptionOf(*this);
  if (const char *reason = encode(file, png, bytes_.data()); reason != nullptr) output.fail(reason);
}

void Image::writeTo(FILE *file, const std::string &name) const {
  png_image png = descriptionOf(*this);
  if (png_image_write_to_stdio(&png, file, 0, bytes_.data(), 0, nullptr) == 0) {
    throw std::runtime_error("cannot write '" + name + "': " + png.message);
  }
}

Image Image::read(const std::string &path, int channels) {
  const auto fail = [&](const std::string &reason) {
    throw std::runtime_error("cannot read '" + path + "': " + reason);
  };
  // Opened here and not by the PNG library, which would not tell why a file can't be opened.
  std::error_code code;
  if (std::filesystem::is_directory(path, code)) fail("is a directory");
  const std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen(path.c_str(), "rb"), std::fclose);
  if (file == nullptr) fail(std::strerror(errno));

  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  const std::unique_ptr<png_image, void (*)(png_image *)> release(&png, png_image_free);
  if (png_image_begin_read_from_stdio(&png, file.get()) == 0) fail(png.message);
  if (uint64_t{png.width} * png.height > kMostPixels) fail("the picture is too large");
  png.format = formatOf(channels);
  png.flags |= PNG_IMAGE_FLAG_16BIT_sRGB;  // 16-bit files without a gamma are encoded as 8-bit ones are
  Image image(static_cast<int>(png.width), static_cast<int>(png.height), channels);
  if (png_image_finish_read(&png, nullptr, image.data(), 0, nullptr) == 0) fail(png.message);
  return image;
}

}  // namespace vekr_example
