// vekr-sh-light: projects the light of a panorama onto spherical harmonics and draws what the coefficients hold.
#include <CLI/CLI.hpp>

#include "arguments.h"
#include "job.h"
#include "light_file.h"
#include "program.h"

namespace {

constexpr int kLargestWidth = 8192;
constexpr int kSmallestTile = 16, kLargestTile = 512;

// For names of pictures to write: those that hold what a screen shows, and where `light`, those that hold linear light too.
auto pictureName(bool light) {
  return [light](const std::string &text) -> std::string {
    if (light && isLightFile(text)) return whyNoLightFile(text);
    const bool png = text.size() > 4 && (text.ends_with(".png") || text.ends_with(".PNG"));
    return png ? "" : (light ? "must end in .png, .hdr or .exr, not " : "must end in .png, not ") + text;
  };
}

void addOptions(CLI::App &app, Arguments &a) {
  app.set_version_flag("--version", std::string("vekr-sh-light ") + VEKR_VERSION,
                       "Print the version and exit");
  app.add_option(
      "environment", a.environment,
      "Panorama, a .hdr, .exr or PNG file: 360 degrees wide, 180 high, the zenith above. Without one: a "
      "built-in sky");
  app.add_option("--reconstruction", a.reconstruction, "File to write: the light that the coefficients hold")
      ->check(pictureName(true));
  app.add_option("--irradiance", a.irradiance,
                 "File to write: light sent back by a white matt surface, by its normal")
      ->check(pictureName(true));
  app.add_option("--coefficients", a.coefficients, "Text file to write, .json or .csv: the coefficients")
      ->check(vekr_example::notEmpty);
  app.add_option("--sky", a.sky, "File to write: the built-in sky. As .hdr or .exr it is linear light")
      ->check(pictureName(true));
  app.add_option("--basis", a.basis, "PNG file to write: the functions of bands 0 to 3")
      ->check(pictureName(false));
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
  app.add_option("--exposure", a.exposure, "What light is multiplied with in PNG pictures, 1e-6 to 1e6")
      ->check(vekr_example::numberFrom(1e-6, 1e6))
      ->capture_default_str();
  app.add_option("--tile", a.tile, "Pixels along a side of each function of --basis")
      ->check(CLI::Range(kSmallestTile, kLargestTile))
      ->capture_default_str();
  vekr_example::addThreadsOption(app, a.threads);
  app.add_flag("--print", a.print, "Print the coefficients");
  app.add_flag("--quiet", a.quiet, "Print nothing but what --print asks for");
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App app("Projects the light of a panorama onto spherical harmonics.", "vekr-sh-light");
  Arguments arguments;
  addOptions(app, arguments);
  return vekr_example::runProgram(app, argc, argv, [&] { run(arguments); });
}
