#include "picture_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>

#include "light_file.h"
#include "picture_codec.h"

namespace {

namespace fs = std::filesystem;

std::string endingOf(const std::string &path) {
  std::string ending = fs::path(path).extension().string();
  std::transform(ending.begin(), ending.end(), ending.begin(),
                 [](unsigned char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c); });
  return ending;
}

bool isJpegName(const std::string &path) { return endingOf(path) == ".jpg" || endingOf(path) == ".jpeg"; }

void writePpm(const vekr_example::Image &image, FILE *file) {
  std::fprintf(file, "P6\n%d %d\n255\n", image.width(), image.height());
  std::fwrite(image.data(), 3, static_cast<size_t>(image.width()) * static_cast<size_t>(image.height()),
              file);
}

}  // namespace

std::string whyNoPictureFile(const std::string &path) {
  const std::string ending = endingOf(path);
  if (path == "-" || ending == ".png" || ending == ".ppm") return "";
  if (isLightFile(path)) return whyNoLightFile(path);
  if (isJpegName(path))
    return whyNoJpeg().empty() ? "" : "this program was built without libjpeg, which " + ending + " needs";
  return "must end in .png, .jpg, .ppm, .hdr or .exr, or be -, not " + path;
}

std::string frameName(const std::string &path, int frame, int frames) {
  const size_t digits = std::max<size_t>(std::to_string(frames).size(), 4);
  const std::string number = std::to_string(frame);
  const fs::path name(path);
  return (name.parent_path() / (name.stem().string() + "-" + std::string(digits - number.size(), '0') +
                                number + name.extension().string()))
      .string();
}

PictureFile::PictureFile(const std::string &path) : path_(path), output_(path == "-" ? "" : path) {}

Canvas PictureFile::canvas(int width, int height) {
  if (isLightFile(path_)) {
    light_ = std::make_unique<Panorama>(width, height);
  } else {
    image_ = std::make_unique<vekr_example::Image>(width, height, 3);
  }
  return {image_.get(), light_.get()};
}

void PictureFile::write() {
  if (isStandardOutput()) {
    image_->writeTo(stdout, "standard output");
  } else if (light_ != nullptr) {
    writeLight(*light_, output_);
  } else if (endingOf(path_) == ".png") {
    image_->write(output_);
  } else {
    const std::unique_ptr<FILE, int (*)(FILE *)> file(std::fopen(output_.create().c_str(), "wb"),
                                                      std::fclose);
    if (file == nullptr) output_.fail(std::strerror(errno));
    try {
      isJpegName(path_) ? encodeJpeg(*image_, file.get()) : writePpm(*image_, file.get());
    } catch (const std::runtime_error &error) {
      output_.fail(error.what());
    }
    if (std::fflush(file.get()) != 0 || std::ferror(file.get()) != 0) output_.fail(std::strerror(errno));
  }
}

void PictureFile::commit() {
  if (!isStandardOutput()) output_.commit();
}
