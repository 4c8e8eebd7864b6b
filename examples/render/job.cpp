#include "job.h"

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <numbers>
#include <optional>
#include <stdexcept>

#include "output_file.h"
#include "picture_file.h"
#include "scene.h"
#include "standard_streams.h"
#include "team.h"
#include "tree_figures.h"
#include "vekcore.h"

namespace {

constexpr float kRadius = 10.0f;  // of every mesh, after it has been placed
constexpr float kLightDistance = 4.3f * kRadius;
constexpr float kDomeRadius = 20 * kRadius;  // beyond the floor's corners

class Job {
 public:
  explicit Job(Arguments &arguments) : a_(arguments) {}

  void run() {
    checkArguments();
    std::optional<vekr_example::OutputFile> savedTree;
    savedTree.emplace(a_.saveTree);
    std::vector<std::string> names = {a_.output};
    if (a_.turntable > 0) {
      names.clear();
      for (int frame = 1; frame <= a_.turntable; ++frame)
        names.push_back(frameName(a_.output, frame, a_.turntable));
    }
    for (const std::string &name : names) {
      vekr_example::refuseSameFiles(
          {{"the mesh", a_.mesh}, {"--panorama", a_.environment.panorama}, {"--tree", a_.tree}},
          {{"--output", name == "-" ? "" : name}, {"--save-tree", a_.saveTree}});
      PictureFile looksWhetherItCanBeWritten(name);
    }
    // What is read by processes of their own comes before threads.
    const Environment environment(a_.environment);
    readMesh();
    prepareScene();
    if (savedTree->wanted()) {
      scene_.save(*savedTree);
      tell("saved      %s\n", a_.saveTree.c_str());
    }
    const Surface surface(mesh_);
    const World world = makeWorld(surface, environment);
    a_.picture.showProgress = !a_.quiet;
    for (size_t i = 0; i < names.size(); ++i) {
      PictureFile picture(names[i]);
      draw(world, viewOf(static_cast<double>(i) * 360 / static_cast<double>(names.size())), picture,
           names[i]);
      if (i + 1 == names.size()) finish();
      if (i == 0 && savedTree->wanted()) savedTree->commit();
      picture.commit();
    }
  }

 private:
  // A line about what is done: on stderr if standard output is the picture's, unless nobody wants to know.
  __attribute__((format(printf, 2, 3))) void tell(const char *format, ...) const {
    if (a_.quiet) return;
    va_list values;
    va_start(values, format);
    std::vfprintf(a_.output == "-" ? stderr : stdout, format, values);
    va_end(values);
  }

  void checkArguments() const {
    using vekr_example::UsageError;
    if (const std::string reason = whyNoPictureFile(a_.output); !reason.empty())
      throw UsageError("--output: " + reason);
    if (a_.turntable > 0 && a_.output == "-")
      throw UsageError("--turntable: standard output takes one picture only");
  }

  void fail(const std::string &error) const { throw std::runtime_error(name_ + ": " + error); }

  void readMesh() {
    const auto start = std::chrono::steady_clock::now();
    if (a_.mesh.empty()) {
      mesh_ = makeKnot();
    } else if (const std::string error = loadMesh(a_.mesh, a_.importing, a_.importLimits, mesh_);
               !error.empty()) {
      fail(error);
    }
    for (const std::string &note : mesh_.notes) {
      if (!a_.quiet) vekr_example::tellFailure("vekr-render", name_ + ": " + note);
    }
    tell("mesh       %s, %d triangles", name_.c_str(), mesh_.triangleCount());
    if (!mesh_.vertexColours.empty()) tell(", coloured vertices");
    if (!mesh_.textures.empty())
      tell(", %zu texture%s", mesh_.textures.size(), mesh_.textures.size() == 1 ? "" : "s");
    if (!mesh_.cameras.empty())
      tell(", %zu camera%s", mesh_.cameras.size(), mesh_.cameras.size() == 1 ? "" : "s");
    tell(", read in %.2f s\n",
         std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    a_.floor.wanted = a_.floor.wanted && a_.shading.layers == 0;
    placement_ = placeOnFloor(mesh_, kRadius, a_.floor);
    for (size_t i = 1; i < mesh_.vertices.size(); i += 3) top_ = std::max(top_, mesh_.vertices[i]);
    if (a_.view.eye || !a_.view.fileCamera.empty())
      viewOf(0);  // whether there is one, before the tree is built
  }

  void prepareScene() {
    // For the triangles' normals, which are soon done: the OpenMP runtime ends a program that it can't give threads.
    vekSetNumThreads(std::min(a_.picture.threads, vekr_example::threadsOrProcessors(0)));
    if (a_.tree.empty()) {
      if (const std::string error = scene_.build(mesh_, a_.build); !error.empty()) fail(error);
    } else if (const std::string error = scene_.load(mesh_, a_.tree); !error.empty()) {
      throw std::runtime_error(a_.tree + ": " + error);
    }
    const TreeFigures tree = measureTree(scene_.view()->pRoot, scene_.view()->pBox);
    tell("tree       %s%.2f s, %lld nodes, depth %d of %d, %.1f MB, expected cost %.1f\n",
         scene_.isLoaded() ? "mapped in " : "", scene_.seconds(), static_cast<long long>(tree.nodes),
         tree.depth, scene_.options().maxDepth, scene_.treeBytes() / 1e6, tree.expectedCost);
    tell("leaves     %lld empty, %lld inline, %lld lists, %lld references to triangles\n",
         static_cast<long long>(tree.emptyLeaves), static_cast<long long>(tree.inlineLeaves),
         static_cast<long long>(tree.listLeaves), static_cast<long long>(tree.references));
  }

  std::vector<Light> makeLights(const Environment &environment) const {
    std::vector<Light> lights;
    if (a_.noLights || (a_.lights.empty() && environment.hasPanorama())) return lights;
    if (a_.lights.empty()) {
      return {{{2.2f * kRadius, 3.4f * kRadius, 1.6f * kRadius}, {0.80f, 0.76f, 0.68f}},
              {{-3.0f * kRadius, 1.8f * kRadius, 2.0f * kRadius}, {0.16f, 0.20f, 0.28f}}};
    }
    for (const LightOption &option : a_.lights) {
      constexpr float kDegree = std::numbers::pi_v<float> / 180;
      const float yaw = option.yaw * kDegree, pitch = option.pitch * kDegree;
      Light light = {
          {kLightDistance * std::cos(pitch) * std::sin(yaw), top_ / 2 + kLightDistance * std::sin(pitch),
           kLightDistance * std::cos(pitch) * std::cos(yaw)},
          {}};
      for (size_t c = 0; c < 3; ++c) light.colour[c] = option.strength * option.colour[c];
      lights.push_back(light);
    }
    return lights;
  }

  World makeWorld(const Surface &surface, const Environment &environment) {
    World world = {scene_, surface, environment, makeLights(environment), {}, {}};
    if (a_.shading.shadowSamples > 0) {
      for (const Light &light : world.lights) {
        world.lightSamples.push_back(
            sampleDisc(light, {0, top_ / 2, 0}, a_.lightSize * kRadius, a_.shading.shadowSamples));
      }
    }
    if (a_.shading.occlusionSamples > 0) {
      world.dome = sampleDome(environment, kDomeRadius, a_.shading.occlusionSamples);
    }
    return world;
  }

  View viewOf(double turn) const {
    if (!a_.view.eye && a_.view.fileCamera.empty()) return orbitView(a_.view, kRadius, top_ / 2, turn);
    return fixedView(a_.view, mesh_, a_.importing.up, placement_, {0, top_ / 2, 0});
  }

  void draw(const World &world, const View &view, PictureFile &picture, const std::string &name) const {
    const int width = a_.picture.width, height = a_.picture.height, samples = a_.picture.samples;
    const Canvas canvas = picture.canvas(width, height);
    const auto start = std::chrono::steady_clock::now();
    const RayCounts counts = renderPicture(world, makeCamera(view, width * samples, height * samples),
                                           a_.picture, a_.shading, canvas);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    std::string occlusion;
    if (counts.occlusion > 0) occlusion = ", " + std::to_string(counts.occlusion) + " occlusion";
    tell("rays       %lld eye, %lld shadow, %lld reflection%s in %.2f s: %.2f million a second\n",
         static_cast<long long>(counts.eye), static_cast<long long>(counts.shadow),
         static_cast<long long>(counts.reflection), occlusion.c_str(), seconds,
         static_cast<double>(counts.all()) / std::max(seconds, 1e-9) / 1e6);
    const auto writing = std::chrono::steady_clock::now();
    picture.write();
    tell("picture    %s, %dx%d, written in %.2f s\n", name == "-" ? "standard output" : name.c_str(), width,
         height, std::chrono::duration<double>(std::chrono::steady_clock::now() - writing).count());
  }

  void finish() const {
    rusage own, readers;
    if (getrusage(RUSAGE_SELF, &own) == 0 && getrusage(RUSAGE_CHILDREN, &readers) == 0) {
      tell("memory     %.0f MB at most", static_cast<double>(own.ru_maxrss) / 1024);
      if (readers.ru_maxrss > 0)
        tell(", %.0f MB to read files", static_cast<double>(readers.ru_maxrss) / 1024);
      tell("\n");
    }
    vekr_example::finishStandardOutput();
  }

  Arguments &a_;
  const std::string name_ = a_.mesh.empty() ? "built-in scene" : a_.mesh;
  Mesh mesh_;
  Placement placement_;
  Scene scene_;
  float top_ = 0;
};

}  // namespace

void run(Arguments &arguments) { Job(arguments).run(); }
