// vekr-sh-light: projects the light of a panorama onto spherical harmonics and draws what the coefficients hold.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <new>

#include "basis_picture.h"
#include "lighting.h"

namespace {

constexpr const char *kName = "vekr-sh-light";
constexpr int kLargestWidth = 8192;
constexpr int kSmallestTile = 16, kLargestTile = 1024;
constexpr int kBasisBands = 4;

struct Arguments {
  std::string environment;
  std::string sky, reconstruction, irradiance, basis;
  uint32_t highestBand = 4;
  std::string evaluator = "recurrent";
  int width = 512, height = 256;
  float exposure = 1.0f;
  int tile = 128;
  bool print = false;
};

int fail(const std::string &reason, int code) {
  std::fprintf(stderr, "%s: %s\n", kName, reason.c_str());
  return code;
}

void addOptions(CLI::App &app, Arguments &a) {
  app.add_option(
      "environment", a.environment,
      "Panorama, a PNG file: 360 degrees wide, 180 high, the zenith above. Without one: a built-in sky");
  app.add_option("--reconstruction", a.reconstruction,
                 "PNG file to write: the light that the coefficients hold");
  app.add_option("--irradiance", a.irradiance,
                 "PNG file to write: light sent back by a white matt surface, by its normal");
  app.add_option("--sky", a.sky, "PNG file to write: the built-in sky");
  app.add_option("--basis", a.basis, "PNG file to write: the functions of bands 0 to 3");
  app.add_option("--bands", a.highestBand, "Highest band")->check(CLI::Range(0, 15))->capture_default_str();
  app.add_option("--evaluator", a.evaluator, "How functions are evaluated")
      ->check(CLI::IsMember({"recurrent", "direct"}))
      ->capture_default_str();
  app.add_option_function<std::string>(
         "--size",
         [&a](const std::string &text) {
           char end = 0;
           if (std::sscanf(text.c_str(), "%dx%d%c", &a.width, &a.height, &end) != 2 || a.width < 1 ||
               a.height < 1 || a.width > kLargestWidth || a.height > kLargestWidth / 2) {
             throw CLI::ValidationError("--size", "must be like 512x256, at most 8192x4096");
           }
         },
         "Width and height of the pictures of light, default 512x256")
      ->type_name("WxH");
  app.add_option("--exposure", a.exposure, "What light is multiplied with in pictures, 1e-6 to 1e6")
      ->check([](const std::string &text) {
        const float value = std::strtof(text.c_str(), nullptr);
        return value >= 1e-6f && value <= 1e6f ? "" : "must be a number from 1e-6 to 1e6";  // a NaN isn't
      })
      ->capture_default_str();
  app.add_option("--tile", a.tile, "Pixels along a side of each function of --basis")
      ->check(CLI::Range(kSmallestTile, kLargestTile))
      ->capture_default_str();
  app.add_flag("--print", a.print, "Print the coefficients");
}

double seconds(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void printCoefficients(const Harmonics &harmonics, const Coefficients &c) {
  for (uint32_t l = 0, k = 0; l <= harmonics.highestBand(); ++l) {
    for (int m = -static_cast<int>(l); m <= static_cast<int>(l); ++m, ++k) {
      std::printf("%2u %3d  % .7f % .7f % .7f\n", l, m, static_cast<double>(c[0][k]),
                  static_cast<double>(c[1][k]), static_cast<double>(c[2][k]));
    }
  }
}

// Writes a picture; empty on success, otherwise the reason.
std::string write(const vekr_example::Image &image, const std::string &path) {
  std::string error;
  if (image.write(path, error))
    std::printf("picture         %s, %dx%d\n", path.c_str(), image.width(), image.height());
  return error;
}

// Projects the light and writes what was asked for; empty on success, otherwise the reason.
std::string runLight(const Arguments &a) {
  std::string error;
  std::optional<Panorama> light =
      a.environment.empty() ? builtInSky(a.width, a.height) : readPanorama(a.environment, error);
  if (!light) return error;

  const Harmonics harmonics(a.highestBand, a.evaluator == "direct" ? vekrSHDirect : vekrSHRecurrent);
  auto start = std::chrono::steady_clock::now();
  const Coefficients coefficients = project(harmonics, *light);
  const double projecting = seconds(start);
  const double pixels = static_cast<double>(light->width()) * light->height();
  std::printf("light           %s, %dx%d\n", a.environment.empty() ? "built-in sky" : a.environment.c_str(),
              light->width(), light->height());
  std::printf("coefficients    %zu a channel, bands 0 to %u, %.3f s: %.1f million directions a second\n",
              harmonics.count(), a.highestBand, projecting, pixels / std::max(projecting, 1e-9) / 1e6);
  if (a.print) printCoefficients(harmonics, coefficients);

  if (!a.reconstruction.empty()) {
    const Panorama same = reconstruct(harmonics, coefficients, light->width(), light->height());
    std::printf("reconstruction  differs by %.4f (root mean square over the sphere)\n",
                difference(*light, same));
    const Panorama seen = reconstruct(harmonics, coefficients, a.width, a.height);
    if (error = write(toPicture(seen, a.exposure), a.reconstruction); !error.empty()) return error;
  }
  if (!a.irradiance.empty()) {
    const Panorama sent = reconstruct(harmonics, diffuse(harmonics, coefficients), a.width, a.height);
    if (error = write(toPicture(sent, a.exposure), a.irradiance); !error.empty()) return error;
  }
  return "";
}

int run(const Arguments &a) {
  std::string error;
  if (!a.reconstruction.empty() || !a.irradiance.empty() || a.print) error = runLight(a);
  if (error.empty() && !a.sky.empty())
    error = write(toPicture(builtInSky(a.width, a.height), a.exposure), a.sky);
  if (error.empty() && !a.basis.empty()) error = write(drawBasis(kBasisBands, a.tile), a.basis);
  return error.empty() ? 0 : fail(error, 1);
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App app("Projects the light of a panorama onto spherical harmonics.", kName);
  Arguments arguments;
  addOptions(app, arguments);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp &help) {
    return app.exit(help);
  } catch (const CLI::ParseError &error) {
    return fail(error.what(), 2);
  }
  const Arguments &a = arguments;
  if (a.reconstruction.empty() && a.irradiance.empty() && a.sky.empty() && a.basis.empty() && !a.print) {
    return fail("nothing to do: give --reconstruction, --irradiance, --sky, --basis or --print", 2);
  }
  try {
    return run(a);
  } catch (const std::bad_alloc &) {
    return fail("not enough memory for pictures of this size", 1);
  }
}
