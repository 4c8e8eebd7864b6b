// vekr-render: renders a mesh with the library's own functions.
#include <CLI/CLI.hpp>

#include "arguments.h"
#include "job.h"
#include "option_values.h"
#include "program.h"

namespace {

using vekr_example::notEmpty;
using vekr_example::numberFrom;

// An option of a text that is turned into a value by `parse`, which throws what is wrong with it.
template <class Parse>
CLI::Option *addParsed(CLI::App &app, const std::string &name, const char *type, const std::string &about,
                       const Parse &parse) {
  return app
      .add_option_function<std::string>(
          name,
          [name, parse](const std::string &text) {
            try {
              parse(text);
            } catch (const std::invalid_argument &error) {
              throw CLI::ValidationError(name, error.what());
            }
          },
          about)
      ->type_name(type);
}

void addCameraOptions(CLI::App &app, Arguments &arguments) {
  ViewOptions &view = arguments.view;
  auto *yaw = app.add_option("--yaw", view.yaw, "Degrees around the mesh")
                  ->check(numberFrom(-36000, 36000))
                  ->capture_default_str();
  auto *pitch = app.add_option("--pitch", view.pitch, "Degrees above it")
                    ->check(numberFrom(-89, 89))
                    ->capture_default_str();
  auto *zoom = app.add_option("--zoom", view.zoom, "Above 1: nearer")
                   ->check(numberFrom(0.01, 100))
                   ->capture_default_str();
  addParsed(
      app, "--fov", "DEGREES", "Field of view of the picture's smaller side; default 40, or the camera's",
      [&view](const std::string &text) { view.field = static_cast<float>(parseNumber(text, 0.1, 170)); });
  auto *eye = addParsed(app, "--eye", "X,Y,Z", "Look from this point of the file's coordinates",
                        [&view](const std::string &text) { view.eye = parsePoint(text); });
  addParsed(app, "--look-at", "X,Y,Z", "With --eye: towards this point; default the mesh's middle",
            [&view](const std::string &text) { view.lookAt = parsePoint(text); })
      ->needs(eye);
  auto *camera =
      app.add_option("--camera", view.fileCamera, "Look by a camera of the file, by its name or number")
          ->check(notEmpty)
          ->excludes(eye);
  auto *turntable =
      app.add_option("--turntable", arguments.turntable,
                     "Pictures from all around: N files, numbered before the ending of --output")
          ->type_name("N")
          ->check(CLI::Range(1, 99999));
  for (auto *orbit : {yaw, pitch, zoom, turntable}) orbit->excludes(eye)->excludes(camera);
}

void addLightOptions(CLI::App &app, Arguments &arguments) {
  EnvironmentOptions &environment = arguments.environment;
  addParsed(app, "--background", "#RRGGBB", "Colour behind everything; default a sky, or the panorama",
            [&environment](const std::string &text) { environment.background = parseColour(text); });
  addParsed(app, "--floor", "#RRGGBB", "Colour of the floor",
            [&arguments](const std::string &text) { arguments.floor.colour = parseColour(text); });
  app.add_flag_callback(
      "--no-floor", [&arguments] { arguments.floor.wanted = false; }, "Leave out the floor");
  addParsed(app, "--light", "YAW,PITCH[,STRENGTH[,#RRGGBB]]",
            "A light in that direction instead of the two of their own; may be given again",
            [&arguments](const std::string &text) { arguments.lights.push_back(parseLight(text)); })
      ->expected(1)
      ->trigger_on_parse()
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  app.add_flag("--no-lights", arguments.noLights, "Only the light of the surroundings");
  app.add_option("--soft-shadows", arguments.shading.shadowSamples,
                 "Lights are discs, looked for at N points each; 0: points")
      ->type_name("N")
      ->check(CLI::Range(0, 1024));
  app.add_option("--light-size", arguments.lightSize,
                 "With --soft-shadows: radius of a light, in radii of the mesh")
      ->check(numberFrom(0, 4))
      ->capture_default_str();
  app.add_option("--ambient", environment.ambient, "What the light of the surroundings is multiplied with")
      ->check(numberFrom(0, 1000))
      ->capture_default_str();
  app.add_option("--ambient-occlusion", arguments.shading.occlusionSamples,
                 "Weaken that light where surfaces hide the surroundings, looked for in N directions")
      ->type_name("N")
      ->check(CLI::Range(0, 1024));
  auto *panorama = app.add_option("--panorama", environment.panorama,
                                  "Light by the spherical harmonics of a panorama, a .hdr, .exr or PNG file")
                       ->check(notEmpty);
  app.add_option("--panorama-bands", environment.bands, "Highest band of that light")
      ->check(CLI::Range(0, 15))
      ->capture_default_str()
      ->needs(panorama);
  app.add_option("--panorama-turn", environment.turn, "Degrees by which the panorama is turned")
      ->check(numberFrom(-36000, 36000))
      ->capture_default_str()
      ->needs(panorama);
  app.add_option("--exposure", arguments.picture.exposure, "What the picture's light is multiplied with")
      ->check(numberFrom(1e-6, 1e6))
      ->capture_default_str();
  app.add_option("--bounces", arguments.shading.bounces, "Reflections followed")
      ->check(CLI::Range(0, 16))
      ->capture_default_str();
  app.add_option("--mirror", arguments.shading.mirror, "Share of the light that surfaces mirror")
      ->check(numberFrom(0, 1))
      ->capture_default_str();
}

void addTreeOptions(CLI::App &app, Arguments &arguments) {
  auto *tree = app.add_option("--tree", arguments.tree,
                              "Map this tree, which --save-tree has written for the same mesh")
                   ->check(notEmpty);
  auto *save = app.add_option("--save-tree", arguments.saveTree, "File to write: tree, records and box")
                   ->check(notEmpty);
  auto *builder = app.add_option_function<std::string>(
                         "--builder",
                         [&arguments](const std::string &name) { arguments.build.simple = name == "simple"; },
                         "Tree builder, default psah")
                      ->check(CLI::IsMember({"psah", "simple"}));
  auto *bias =
      app.add_option("--split-bias", arguments.build.splitBias, "Eagerness of the tree builder, 0 to 1")
          ->check(numberFrom(0, 1))
          ->capture_default_str();
  auto *depth = app.add_option("--depth", arguments.build.maxDepth,
                               "Depth of the tree; default 8 + 1.3 log2 of the triangles")
                    ->check(CLI::Range(0, 50));
  auto *memory = app.add_option("--memory", arguments.build.memoryLimitMB,
                                "Memory budget of the tree builder in MiB; default none")
                     ->check(CLI::Range(0, 1 << 20));
  for (auto *building : {save, builder, bias, depth, memory}) building->excludes(tree);
}

void addOptions(CLI::App &app, Arguments &arguments) {
  PictureOptions &picture = arguments.picture;
  app.set_version_flag("--version", std::string("vekr-render ") + VEKR_VERSION, "Print the version and exit");
  app.add_option("mesh", arguments.mesh, "Mesh file: OBJ, PLY, STL, glTF, ... Without one: a built-in scene");
  app.add_option(
         "-o,--output", arguments.output,
         "Picture to write: .png, .jpg, .ppm, or .hdr and .exr for linear light; - is standard output, a PNG")
      ->required()
      ->check(notEmpty);
  addParsed(app, "--size", "WxH", "Width and height in pixels, default 960x720",
            [&picture](const std::string &text) {
              const auto [width, height] = vekr_example::parseSides<2>("--size", text, 16384);
              picture.width = width;
              picture.height = height;
            });
  app.add_option("--samples", picture.samples, "Samples a pixel, along each side: 1, 2 or 4")
      ->check(CLI::IsMember({1, 2, 4}))
      ->capture_default_str();
  vekr_example::addThreadsOption(app, picture.threads);
  app.add_flag("--quiet", arguments.quiet, "Print nothing but what goes wrong");
  addCameraOptions(app, arguments);
  addLightOptions(app, arguments);
  app.add_option_function<std::string>(
         "--up",
         [&arguments](const std::string &axis) { arguments.importing.up = axis == "z" ? Axis::z : Axis::y; },
         "Axis of the file that points up, default y")
      ->check(CLI::IsMember({"y", "z"}));
  app.add_flag_callback(
      "--no-textures", [&arguments] { arguments.importing.textures = false; }, "Leave out the textures");
  app.add_option("--smooth", arguments.importing.crease,
                 "Make normals anew, smooth where triangles meet at less than these degrees; default the "
                 "file's normals, "
                 "and 40 for STL")
      ->type_name("DEGREES")
      ->check(numberFrom(0, 175));
  app.add_flag("--flat", arguments.shading.flat, "Show the triangles, not smoothed surfaces");
  app.add_option("--xray", arguments.shading.layers, "Show how many surfaces lie behind each other, up to N")
      ->type_name("N")
      ->check(CLI::Range(1, 256));
  addTreeOptions(app, arguments);
  app.add_option("--import-memory", arguments.importLimits.memoryMB,
                 "Memory for reading the mesh file, in MiB")
      ->check(CLI::Range(16, 1 << 20))
      ->capture_default_str();
  app.add_option("--import-time", arguments.importLimits.seconds, "Seconds for reading the mesh file")
      ->check(CLI::Range(1, 86400))
      ->capture_default_str();
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App app("Renders a mesh into a picture.", "vekr-render");
  Arguments arguments;
  addOptions(app, arguments);
  return vekr_example::runProgram(app, argc, argv, [&] { run(arguments); });
}
