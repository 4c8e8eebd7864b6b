// vekr-sh-light: projects the light of a panorama onto spherical harmonics and draws what the coefficients hold.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>

#include "arguments.h"
#include "basis_picture.h"
#include "lighting.h"
#include "output_file.h"
#include "program.h"

namespace {

constexpr const char *kName = "vekr-sh-light";
constexpr int kLargestWidth = 8192;
constexpr int kSmallestTile = 16, kLargestTile = 512;
constexpr int kBasisBands = 4;

struct Arguments {
  std::string environment;
  std::string sky, reconstruction, irradiance, basis;
  uint32_t highestBand = 4;
  std::string evaluator = "recurrent";
  int width = 512, height = 256;
  float exposure = 1.0f;
  int tile = 128;
  int threads = 0;
  bool print = false;
};

void addOptions(CLI::App &app, Arguments &a) {
  app.add_option(
      "environment", a.environment,
      "Panorama, a PNG file: 360 degrees wide, 180 high, the zenith above. Without one: a built-in sky");
  app.add_option("--reconstruction", a.reconstruction,
                 "PNG file to write: the light that the coefficients hold")
      ->check(vekr_example::notEmpty);
  app.add_option("--irradiance", a.irradiance,
                 "PNG file to write: light sent back by a white matt surface, by its normal")
      ->check(vekr_example::notEmpty);
  app.add_option("--sky", a.sky, "PNG file to write: the built-in sky")->check(vekr_example::notEmpty);
  app.add_option("--basis", a.basis, "PNG file to write: the functions of bands 0 to 3")
      ->check(vekr_example::notEmpty);
  app.add_option("--bands", a.highestBand, "Highest band")->check(CLI::Range(0, 15))->capture_default_str();
  app.add_option("--evaluator", a.evaluator, "How functions are evaluated")
      ->check(CLI::IsMember({"recurrent", "direct"}))
      ->capture_default_str();
  app.add_option_function<std::string>(
         "--size",
         [&a](const std::string &text) {
           const auto [width, height] = vekr_example::parseSides<2>("--size", text, kLargestWidth);
           if (height > kLargestWidth / 2) {
             throw CLI::ValidationError("--size", "must be at most 8192x4096, not " + text);
           }
           a.width = width;
           a.height = height;
         },
         "Width and height of the pictures of light, default 512x256")
      ->type_name("WxH");
  app.add_option("--exposure", a.exposure, "What light is multiplied with in pictures, 1e-6 to 1e6")
      ->check(vekr_example::numberFrom(1e-6, 1e6))
      ->capture_default_str();
  app.add_option("--tile", a.tile, "Pixels along a side of each function of --basis")
      ->check(CLI::Range(kSmallestTile, kLargestTile))
      ->capture_default_str();
  vekr_example::addThreadsOption(app, a.threads);
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

// Writes a picture; it takes its name when all of them are there.
void write(const vekr_example::Image &image, vekr_example::OutputFile &output) {
  image.write(output);
  std::printf("picture         %s, %dx%d\n", output.path().c_str(), image.width(), image.height());
}

struct Outputs {
  vekr_example::OutputFile reconstruction, irradiance, sky, basis;

  void commit() {
    for (auto *output : {&reconstruction, &irradiance, &sky, &basis}) {
      if (output->wanted()) output->commit();
    }
  }
};

// Projects the light and writes what was asked for of it.
void runLight(const Arguments &a, Outputs &outputs) {
  const Panorama light = a.environment.empty() ? builtInSky(a.width, a.height) : readPanorama(a.environment);
  const Harmonics harmonics(a.highestBand, a.evaluator == "direct" ? vekrSHDirect : vekrSHRecurrent);
  auto start = std::chrono::steady_clock::now();
  const Coefficients coefficients = project(harmonics, light);
  const double projecting = seconds(start);
  const double pixels = static_cast<double>(light.width()) * light.height();
  std::printf("light           %s, %dx%d\n", a.environment.empty() ? "built-in sky" : a.environment.c_str(),
              light.width(), light.height());
  std::printf("coefficients    %zu a channel, bands 0 to %u, %.3f s: %.1f million directions a second\n",
              harmonics.count(), a.highestBand, projecting, pixels / std::max(projecting, 1e-9) / 1e6);
  if (a.print) printCoefficients(harmonics, coefficients);

  if (outputs.reconstruction.wanted()) {
    const Panorama same = reconstruct(harmonics, coefficients, light.width(), light.height());
    std::printf("reconstruction  differs by %.4f (root mean square over the sphere)\n",
                difference(light, same));
    const Panorama seen = reconstruct(harmonics, coefficients, a.width, a.height);
    write(toPicture(seen, a.exposure), outputs.reconstruction);
  }
  if (outputs.irradiance.wanted()) {
    const Panorama sent = reconstruct(harmonics, diffuse(harmonics, coefficients), a.width, a.height);
    write(toPicture(sent, a.exposure), outputs.irradiance);
  }
}

void run(const Arguments &a) {
  if (a.reconstruction.empty() && a.irradiance.empty() && a.sky.empty() && a.basis.empty() && !a.print) {
    throw vekr_example::UsageError(
        "nothing to do: give --reconstruction, --irradiance, --sky, --basis or --print");
  }
  vekr_example::refuseSameFiles({{"the environment", a.environment}}, {{"--reconstruction", a.reconstruction},
                                                                       {"--irradiance", a.irradiance},
                                                                       {"--sky", a.sky},
                                                                       {"--basis", a.basis}});
  using vekr_example::OutputFile;
  Outputs outputs = {OutputFile(a.reconstruction), OutputFile(a.irradiance), OutputFile(a.sky),
                     OutputFile(a.basis)};
  if (outputs.reconstruction.wanted() || outputs.irradiance.wanted() || a.print) runLight(a, outputs);
  if (outputs.sky.wanted()) write(toPicture(builtInSky(a.width, a.height), a.exposure), outputs.sky);
  if (outputs.basis.wanted()) write(drawBasis(kBasisBands, a.tile, a.threads), outputs.basis);
  vekr_example::finishStandardOutput();
  outputs.commit();
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App app("Projects the light of a panorama onto spherical harmonics.", kName);
  Arguments arguments;
  addOptions(app, arguments);
  return vekr_example::runProgram(app, argc, argv, [&] { run(arguments); });
}
