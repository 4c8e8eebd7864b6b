// vekr-render: renders a mesh with the library's own functions.
#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <stdexcept>

#include "arguments.h"
#include "mesh_file.h"
#include "output_file.h"
#include "picture.h"
#include "program.h"
#include "team.h"
#include "tree_figures.h"
#include "vekcore.h"

namespace {

using vekr_example::numberFrom;

constexpr float kRadius = 10.0f;  // of every mesh, after it has been placed

struct Arguments {
  std::string mesh;
  std::string output;
  std::string builder = "psah";
  std::string up = "y";
  bool noFloor = false;
  ImportLimits importing;
  BuildOptions build;
  PictureOptions picture;
  ShadingOptions shading;
};

void addOptions(CLI::App &app, Arguments &arguments) {
  PictureOptions &picture = arguments.picture;
  app.add_option("mesh", arguments.mesh, "Mesh file: OBJ, PLY, STL, glTF, ... Without one: a built-in scene");
  app.add_option("-o,--output", arguments.output, "Picture to write, a PNG file")
      ->required()
      ->check(vekr_example::notEmpty);
  app.add_option_function<std::string>(
         "--size",
         [&picture](const std::string &text) {
           const auto [width, height] = vekr_example::parseSides<2>("--size", text, 16384);
           picture.width = width;
           picture.height = height;
         },
         "Width and height in pixels, default 960x720")
      ->type_name("WxH");
  app.add_option("--samples", picture.samples, "Samples a pixel, along each side: 1, 2 or 4")
      ->check(CLI::IsMember({1, 2, 4}))
      ->capture_default_str();
  vekr_example::addThreadsOption(app, picture.threads);
  app.add_option("--yaw", picture.yaw, "Degrees around the mesh")
      ->check(numberFrom(-36000, 36000))
      ->capture_default_str();
  app.add_option("--pitch", picture.pitch, "Degrees above it")
      ->check(numberFrom(-89, 89))
      ->capture_default_str();
  app.add_option("--zoom", picture.zoom, "Above 1: nearer")
      ->check(numberFrom(0.01, 100))
      ->capture_default_str();
  app.add_option("--up", arguments.up, "Axis of the file that points up")->check(CLI::IsMember({"y", "z"}));
  app.add_flag("--no-floor", arguments.noFloor, "Leave out the floor");
  app.add_flag("--flat", arguments.shading.flat, "Show the triangles, not smoothed surfaces");
  app.add_option("--bounces", arguments.shading.bounces, "Reflections followed")
      ->check(CLI::Range(0, 16))
      ->capture_default_str();
  app.add_option("--xray", arguments.shading.layers, "Show how many surfaces lie behind each other, up to N")
      ->type_name("N")
      ->check(CLI::Range(1, 256));
  app.add_option("--builder", arguments.builder, "Tree builder")
      ->check(CLI::IsMember({"psah", "simple"}))
      ->capture_default_str();
  app.add_option("--split-bias", arguments.build.splitBias, "Eagerness of the tree builder, 0 to 1")
      ->check(numberFrom(0, 1))
      ->capture_default_str();
  app.add_option("--depth", arguments.build.maxDepth,
                 "Depth of the tree; default 8 + 1.3 log2 of the triangles")
      ->check(CLI::Range(0, 50));
  app.add_option("--memory", arguments.build.memoryLimitMB,
                 "Memory budget of the tree builder in MiB; default none")
      ->check(CLI::Range(0, 1 << 20));
  app.add_option("--import-memory", arguments.importing.memoryMB, "Memory for reading the mesh file, in MiB")
      ->check(CLI::Range(16, 1 << 20))
      ->capture_default_str();
  app.add_option("--import-time", arguments.importing.seconds, "Seconds for reading the mesh file")
      ->check(CLI::Range(1, 86400))
      ->capture_default_str();
}

void printTree(const Scene &scene) {
  const TreeFigures tree = measureTree(scene.view()->pRoot, scene.view()->pBox);
  std::printf("tree       %.2f s, %lld nodes, depth %d of %d, %.1f MB, expected cost %.1f\n",
              scene.buildSeconds(), static_cast<long long>(tree.nodes), tree.depth, scene.maxDepth(),
              scene.treeBytes() / 1e6, tree.expectedCost);
  std::printf("leaves     %lld empty, %lld inline, %lld lists, %lld references to triangles\n",
              static_cast<long long>(tree.emptyLeaves), static_cast<long long>(tree.inlineLeaves),
              static_cast<long long>(tree.listLeaves), static_cast<long long>(tree.references));
}

void run(Arguments &arguments) {
  vekr_example::refuseSameFiles({{"the mesh", arguments.mesh}}, {{"--output", arguments.output}});
  vekr_example::OutputFile output(arguments.output);
  const std::string name = arguments.mesh.empty() ? "built-in scene" : arguments.mesh;
  const auto check = [&](const std::string &error) {
    if (!error.empty()) throw std::runtime_error(name + ": " + error);
  };
  Mesh mesh;
  if (arguments.mesh.empty()) {
    mesh = makeKnot();
  } else {
    check(loadMesh(arguments.mesh, arguments.up == "z" ? Axis::z : Axis::y, arguments.importing, mesh));
  }
  const int32_t triangles = mesh.triangleCount();
  placeOnFloor(mesh, kRadius, !arguments.noFloor && arguments.shading.layers == 0);
  float top = 0;
  for (size_t i = 1; i < mesh.vertices.size(); i += 3) top = std::max(top, mesh.vertices[i]);

  // For the triangles' normals, which are soon done: the OpenMP runtime ends a program that it can't give threads.
  vekSetNumThreads(std::min(arguments.picture.threads, vekr_example::threadsOrProcessors(0)));
  arguments.build.simple = arguments.builder == "simple";
  Scene scene;
  check(scene.build(mesh, arguments.build));
  std::printf("mesh       %s, %d triangles\n", name.c_str(), triangles);
  printTree(scene);

  vekr_example::Image image(arguments.picture.width, arguments.picture.height, 3);
  const auto start = std::chrono::steady_clock::now();
  const RayCounts counts = renderPicture(scene, makeCamera(arguments.picture, kRadius, top / 2),
                                         makeLights(kRadius), arguments.picture, arguments.shading, image);
  const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::printf("rays       %lld eye, %lld shadow, %lld reflection in %.2f s: %.2f million a second\n",
              static_cast<long long>(counts.eye), static_cast<long long>(counts.shadow),
              static_cast<long long>(counts.reflection), seconds,
              static_cast<double>(counts.all()) / std::max(seconds, 1e-9) / 1e6);
  image.write(output);
  std::printf("picture    %s, %dx%d\n", arguments.output.c_str(), image.width(), image.height());
  vekr_example::finishStandardOutput();
  output.commit();
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App app("Renders a mesh into a PNG picture.", "vekr-render");
  Arguments arguments;
  addOptions(app, arguments);
  return vekr_example::runProgram(app, argc, argv, [&] { run(arguments); });
}
