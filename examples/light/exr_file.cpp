#include <ImfRgbaFile.h>
#include <half.h>

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "light_file.h"

Panorama readExr(const std::string &path) {
  try {
    Imf::RgbaInputFile file(path.c_str());
    const Imath::Box2i window = file.dataWindow();
    const int64_t width = int64_t{window.max.x} - window.min.x + 1,
                  height = int64_t{window.max.y} - window.min.y + 1;
    if (width < 1 || height < 1) throw std::runtime_error("it has no pixels");
    if (static_cast<uint64_t>(width) > kMostLightPixels ||
        static_cast<uint64_t>(width * height) > kMostLightPixels) {
      throw std::runtime_error("the picture is too large");
    }
    if (!(file.channels() & Imf::WRITE_RGB) && !(file.channels() & (Imf::WRITE_Y | Imf::WRITE_C))) {
      throw std::runtime_error("it has neither colours nor brightness");
    }
    Panorama light(static_cast<int>(width), static_cast<int>(height));
    std::vector<Imf::Rgba> row(static_cast<size_t>(width));
    for (int y = 0; y < light.height(); ++y) {
      // The row's address is that of column 0, wherever the window begins.
      file.setFrameBuffer(row.data() - window.min.x, 1, 0);
      file.readPixels(window.min.y + y);
      float *out = light.row(y);
      for (size_t x = 0; x < row.size(); ++x) {
        out[3 * x] = row[x].r;
        out[3 * x + 1] = row[x].g;
        out[3 * x + 2] = row[x].b;
      }
    }
    return light;
  } catch (const std::bad_alloc &) {
    throw;
  } catch (const std::exception &error) {  // OpenEXR's are no runtime errors, all of them
    throw std::runtime_error(error.what());
  }
}

void writeExr(const Panorama &light, const std::string &path) {
  try {
    Imf::RgbaOutputFile file(path.c_str(), light.width(), light.height(), Imf::WRITE_RGB);
    std::vector<Imf::Rgba> row(static_cast<size_t>(light.width()));
    for (int y = 0; y < light.height(); ++y) {
      const float *in = light.row(y);
      const auto part = [](float value) {
        return half(std::clamp(value, 0.0f, static_cast<float>(HALF_MAX)));
      };
      for (size_t x = 0; x < row.size(); ++x) {
        row[x] = Imf::Rgba(part(in[3 * x]), part(in[3 * x + 1]), part(in[3 * x + 2]), half(1.0f));
      }
      file.setFrameBuffer(row.data(), 1, 0);
      file.writePixels(1);
    }
  } catch (const std::bad_alloc &) {
    throw;
  } catch (const std::exception &error) {
    throw std::runtime_error(error.what());
  }
}
