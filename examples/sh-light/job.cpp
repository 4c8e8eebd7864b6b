#include "job.h"

#include <chrono>
#include <cstdarg>
#include <cstdio>

#include "basis_picture.h"
#include "coefficients_file.h"
#include "light_file.h"
#include "lighting.h"
#include "output_file.h"
#include "standard_streams.h"

namespace {

constexpr int kBasisBands = 4;

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

class Job {
 public:
  explicit Job(const Arguments &arguments)
      : a_(arguments),
        outputs_{vekr_example::OutputFile(arguments.reconstruction),
                 vekr_example::OutputFile(arguments.irradiance), vekr_example::OutputFile(arguments.sky),
                 vekr_example::OutputFile(arguments.basis),
                 vekr_example::OutputFile(arguments.coefficients)} {}

  void run() {
    auto &[reconstruction, irradiance, sky, basis, coefficients] = outputs_;
    if (reconstruction.wanted() || irradiance.wanted() || coefficients.wanted() || a_.print) project();
    if (sky.wanted()) write(builtInSky(a_.width, a_.height), sky);
    if (basis.wanted()) write(drawBasis(kBasisBands, a_.tile, a_.threads, !a_.quiet), basis);
    vekr_example::finishStandardOutput();
    for (auto *output : {&reconstruction, &irradiance, &sky, &basis, &coefficients}) {
      if (output->wanted()) output->commit();
    }
  }

 private:
  struct Outputs {
    vekr_example::OutputFile reconstruction, irradiance, sky, basis, coefficients;
  };

  // A line about what is done, unless nobody wants to know.
  __attribute__((format(printf, 2, 3))) void tell(const char *format, ...) const {
    if (a_.quiet) return;
    va_list values;
    va_start(values, format);
    std::vprintf(format, values);
    va_end(values);
  }

  // Pictures take their names when all of them are there.
  void write(const vekr_example::Image &image, vekr_example::OutputFile &output) const {
    image.write(output);
    tell("picture         %s, %dx%d\n", output.path().c_str(), image.width(), image.height());
  }

  // Linear light where the file can hold it, else what a screen shows.
  void write(const Panorama &light, vekr_example::OutputFile &output) const {
    if (!isLightFile(output.path())) {
      write(toPicture(light, a_.exposure), output);
      return;
    }
    writeLight(light, output);
    tell("light           %s, %dx%d\n", output.path().c_str(), light.width(), light.height());
  }

  // Projects the light and writes what was asked for of it.
  void project() {
    const Panorama light =
        a_.environment.empty() ? builtInSky(a_.width, a_.height) : readPanorama(a_.environment);
    const std::string source = a_.environment.empty() ? "built-in sky" : a_.environment;
    const Harmonics harmonics(a_.highestBand, a_.evaluator == "direct" ? vekrSHDirect : vekrSHRecurrent);
    const auto start = std::chrono::steady_clock::now();
    const Coefficients coefficients = ::project(harmonics, light);
    const double projecting = seconds(start), pixels = static_cast<double>(light.width()) * light.height();
    tell("light           %s, %dx%d\n", source.c_str(), light.width(), light.height());
    tell("coefficients    %zu a channel, bands 0 to %u, %.3f s: %.1f million directions a second\n",
         harmonics.count(), a_.highestBand, projecting, pixels / std::max(projecting, 1e-9) / 1e6);
    if (a_.print) printCoefficients(harmonics, coefficients);
    if (outputs_.coefficients.wanted()) {
      writeCoefficients(harmonics, coefficients, source, outputs_.coefficients);
      tell("coefficients    %s\n", a_.coefficients.c_str());
    }
    if (outputs_.reconstruction.wanted()) {
      const Panorama same = reconstruct(harmonics, coefficients, light.width(), light.height());
      tell("reconstruction  differs by %.4f (root mean square over the sphere)\n", difference(light, same));
      write(reconstruct(harmonics, coefficients, a_.width, a_.height), outputs_.reconstruction);
    }
    if (outputs_.irradiance.wanted()) {
      write(reconstruct(harmonics, diffuse(harmonics, coefficients), a_.width, a_.height),
            outputs_.irradiance);
    }
  }

  const Arguments &a_;
  Outputs outputs_;
};

}  // namespace

void run(const Arguments &a) {
  if (a.reconstruction.empty() && a.irradiance.empty() && a.sky.empty() && a.basis.empty() &&
      a.coefficients.empty() && !a.print) {
    throw vekr_example::UsageError(
        "nothing to do: give --reconstruction, --irradiance, --coefficients, --sky, --basis or --print");
  }
  if (!a.coefficients.empty()) {
    const std::string reason = whyNoCoefficients(a.coefficients);
    if (!reason.empty()) throw vekr_example::UsageError("--coefficients: " + reason);
  }
  vekr_example::refuseSameFiles({{"the environment", a.environment}}, {{"--reconstruction", a.reconstruction},
                                                                       {"--irradiance", a.irradiance},
                                                                       {"--coefficients", a.coefficients},
                                                                       {"--sky", a.sky},
                                                                       {"--basis", a.basis}});
  Job(a).run();
}
