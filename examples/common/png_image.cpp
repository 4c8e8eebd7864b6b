#include "png_image.h"

#include <fcntl.h>
#include <png.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace vekr_example {

namespace {

// Refuses files whose header promises more than a program of this kind should allocate: 400 MB as RGB.
constexpr uint64_t kMostPixels = uint64_t{1} << 27;

uint32_t formatOf(int channels) { return channels == 1 ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB; }

std::string failure(const char *verb, const std::string &path, const char *reason) {
  return std::string("cannot ") + verb + " '" + path + "': " + reason;
}

// Encodes into an open file. Null on success, else the reason; the file is closed in any case.
const char *encode(FILE *file, png_image &png, const uint8_t *bytes) {
  const bool encoded = png_image_write_to_stdio(&png, file, 0, bytes, 0, nullptr) != 0;
  const bool closed = std::fclose(file) == 0;
  if (!encoded) return png.message;
  return closed ? nullptr : std::strerror(errno);
}

}  // namespace

bool Image::write(const std::string &path, std::string &error) const {
  namespace fs = std::filesystem;
  std::error_code code;
  // A link's target is replaced, not the link; a device or directory is never replaced by a file.
  const fs::path resolved = fs::weakly_canonical(path, code);
  const fs::path target = code ? fs::path(path) : resolved;
  if (path.empty() || fs::is_directory(target, code)) {
    error = failure("write", path, path.empty() ? "the name is empty" : "it is a directory");
    return false;
  }
  if (fs::exists(target, code) && !fs::is_regular_file(target, code)) {
    error = failure("write", path, "it is not a regular file");
    return false;
  }

  const std::string beside = target.string() + "." + std::to_string(getpid()) + ".tmp";
  const int descriptor = open(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  FILE *file = descriptor < 0 ? nullptr : fdopen(descriptor, "wb");
  if (file == nullptr) {
    error = failure("write", path, std::strerror(errno));
    if (descriptor >= 0) {
      close(descriptor);
      unlink(beside.c_str());
    }
    return false;
  }

  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  png.width = static_cast<uint32_t>(width_);
  png.height = static_cast<uint32_t>(height_);
  png.format = formatOf(channels_);
  const char *reason = encode(file, png, bytes_.data());
  if (reason == nullptr && std::rename(beside.c_str(), target.c_str()) != 0) reason = std::strerror(errno);
  if (reason != nullptr) {
    error = failure("write", path, reason);
    unlink(beside.c_str());
    return false;
  }
  return true;
}

std::optional<Image> Image::read(const std::string &path, int channels, std::string &error) {
  // Opened here and not by the PNG library, which would not tell why a file can't be opened.
  FILE *file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) {
    error = failure("read", path, std::strerror(errno));
    return std::nullopt;
  }
  const auto fail = [&](const char *reason) {
    error = failure("read", path, reason);
    std::fclose(file);
    return std::nullopt;
  };
  std::error_code code;
  if (std::filesystem::is_directory(path, code)) return fail("it is a directory");

  png_image png{};
  png.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_stdio(&png, file) == 0) return fail(png.message);
  if (uint64_t{png.width} * png.height > kMostPixels) {
    png_image_free(&png);
    return fail("the picture is too large");
  }
  png.format = formatOf(channels);
  png.flags |= PNG_IMAGE_FLAG_16BIT_sRGB;  // 16-bit files without a gamma are encoded as 8-bit ones are
  Image image(static_cast<int>(png.width), static_cast<int>(png.height), channels);
  if (png_image_finish_read(&png, nullptr, image.data(), 0, nullptr) == 0) return fail(png.message);
  std::fclose(file);
  return image;
}

}  // namespace vekr_example
