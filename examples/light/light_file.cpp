#include "light_file.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <optional>
#include <stdexcept>

#include "reader_process.h"

namespace {

std::string endingOf(const std::string &path) {
  std::string ending = std::filesystem::path(path).extension().string();
  std::transform(ending.begin(), ending.end(), ending.begin(),
                 [](unsigned char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c); });
  return ending;
}

// OpenEXR's own code and its compressors are many; a file that they don't survive must not end the program.
Panorama readApartly(const std::string &path) {
  std::optional<Panorama> light;
  int32_t size[2] = {0, 0};
  const std::string error = vekr_example::readApart(
      {}, {"panorama", "", ""},
      [&]() -> std::string {
        try {
          light.emplace(readExr(path));
        } catch (const std::runtime_error &reason) {
          return reason.what();
        }
        return "";
      },
      [&](vekr_example::PipeSender &to) {
        size[0] = light->width();
        size[1] = light->height();
        to.value(size);
        for (int y = 0; y < size[1]; ++y) to.send(light->row(y), 12 * static_cast<size_t>(size[0]));
      },
      [&](vekr_example::PipeReceiver &from) {
        if (!from.value(size) || size[0] < 1 || size[1] < 1) return false;
        if (static_cast<uint64_t>(size[0]) * static_cast<uint64_t>(size[1]) > kMostLightPixels) return false;
        light.emplace(size[0], size[1]);
        for (int y = 0; y < size[1]; ++y) {
          if (!from.receive(light->row(y), 12 * static_cast<size_t>(size[0]))) return false;
        }
        return true;
      });
  if (!error.empty()) throw std::runtime_error(error);
  return std::move(*light);
}

// Light is finite and not negative, and no more than single sums can take: files hold anything.
void makeSensible(Panorama &light) {
  constexpr float kBrightest = 1e6f;
  for (int y = 0; y < light.height(); ++y) {
    float *row = light.row(y);
    for (int i = 0; i < 3 * light.width(); ++i) row[i] = row[i] > 0.0f ? std::min(row[i], kBrightest) : 0.0f;
  }
}

}  // namespace

bool isLightFile(const std::string &path) { return endingOf(path) == ".hdr" || endingOf(path) == ".exr"; }

std::string whyNoLightFile(const std::string &path) {
#ifndef VEKR_HAVE_OPENEXR
  if (endingOf(path) == ".exr") return "this program was built without OpenEXR, which .exr files need";
#endif
  static_cast<void>(path);
  return "";
}

Panorama readPanorama(const std::string &path) {
  const auto fail = [&](const std::string &reason) {
    throw std::runtime_error("cannot read '" + path + "': " + reason);
  };
  if (!isLightFile(path)) return fromPicture(vekr_example::Image::read(path, 3));
  if (const std::string reason = vekr_example::whyUnreadable(path); !reason.empty()) fail(reason);
  if (const std::string reason = whyNoLightFile(path); !reason.empty()) fail(reason);
  try {
    Panorama light = endingOf(path) == ".hdr" ? readRadiance(path) : readApartly(path);
    makeSensible(light);
    return light;
  } catch (const std::runtime_error &error) {
    fail(error.what());
    throw;
  }
}

void writeLight(const Panorama &light, vekr_example::OutputFile &output) {
  if (const std::string reason = whyNoLightFile(output.path()); !reason.empty()) output.fail(reason);
  const std::string &path = output.create();
  try {
    endingOf(output.path()) == ".exr" ? writeExr(light, path) : writeRadiance(light, path);
  } catch (const std::runtime_error &error) {
    output.fail(error.what());
  }
}

#ifndef VEKR_HAVE_OPENEXR
Panorama readExr(const std::string &path) { throw std::runtime_error(whyNoLightFile(path)); }
void writeExr(const Panorama &, const std::string &path) { throw std::runtime_error(whyNoLightFile(path)); }
#endif
