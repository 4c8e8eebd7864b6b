#include "command_line.h"

#include <CLI/CLI.hpp>
#include <climits>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "arguments.h"
#include "commands.h"
#include "program.h"

namespace vekr_example {

namespace {

void addFiles(CLI::App &command, FileOptions &files) {
  command.add_option("IN", files.in, "Volume to read")->required();
  command.add_option("OUT", files.out, std::string("Volume to write, ") + writtenEndings() + "; may be IN")
      ->required()
      ->check([](const std::string &name) {
        return endingOf(name).empty() ? name + " must end in " + writtenEndings() : "";
      });
  CLI::Option *const preview =
      command.add_option("--preview", files.preview, "PNG to write: three middle slices, before above after")
          ->check(notEmpty);
  command
      .add_flag("--difference", files.difference,
                "A third row in the preview: what has changed at each place; middle grey is nothing")
      ->needs(preview);
  command
      .add_option("--mask", files.mask, "Volume on any grid: where it is 0 the result holds what --fill says")
      ->check(notEmpty);
  command
      .add_option_function<double>(
          "--fill", [&files](double value) { files.fill = value; },
          "Value where the source doesn't reach or the mask is 0; by default 0 is stored")
      ->check(numberFrom(-3e38, 3e38));
  command.add_flag("--labels", files.labels,
                   "IN holds labels, as files may say themselves: only nearest leaves them whole");
  command.add_flag("--force", files.force, "Mixes labels all the same");
  command.add_flag("--quiet", files.quiet, "Prints nothing but warnings and errors");
  addThreadsOption(command, files.threads);
}

void addInterpolation(CLI::App &command, Interpolation &interpolation) {
  command
      .add_option_function<std::string>(
          "--interpolation",
          [&interpolation](const std::string &name) {
            interpolation = {interpolationNamed(name), true};
          },
          "nearest, linear (default), lagrange, bspline, catmull-rom or mitchell; of labels nearest")
      ->check(CLI::IsMember({"nearest", "linear", "lagrange", "bspline", "catmull-rom", "mitchell"}));
}

void addRegion(CLI::App &command, std::vector<int32_t> &region) {
  command
      .add_option("--region", region,
                  "X,Y,Z,WIDTH,HEIGHT,DEPTH: the voxels of the source that may be used; all by default")
      ->delimiter(',')
      ->expected(6)
      ->check(CLI::Range(0, INT32_MAX));
}

void refuseEmpty(const std::vector<int32_t> &region) {
  if (region.size() == 6 && std::min({region[3], region[4], region[5]}) < 1)
    throw UsageError("--region takes sides of 1 or more");
}

CLI::Option *addLike(CLI::App &command, FileOptions &files) {
  return command
      .add_option("--like", files.like,
                  "Volume onto whose grid the result is sampled, place by place in millimetres")
      ->check(notEmpty);
}

void addWarp(CLI::App &app) {
  auto options = std::make_shared<WarpCommand>();
  CLI::App &command = *app.add_subcommand(
      "warp", "Turns, scales and moves a volume, or brings it onto the grid of another one");
  addFiles(command, options->files);
  addInterpolation(command, options->interpolation);
  addRegion(command, options->region);
  CLI::Option *const like = addLike(command, options->files);
  command
      .add_option("--rotate", options->rotate,
                  "X,Y,Z: degrees about the axes of the world through the middle, in this order")
      ->delimiter(',')
      ->check(numberFrom(-36000, 36000));
  command.add_option("--scale", options->scale, "FACTOR or X,Y,Z: above 1 enlarges")
      ->delimiter(',')
      ->expected(1, 3)
      ->check([](const std::string &text) {
        const auto within = numberFrom(1e-6, 1e6);
        const bool mirrors = !text.empty() && text[0] == '-';
        return within(mirrors ? text.substr(1) : text);
      });
  command.add_option("--translate", options->translate, "X,Y,Z: millimetres, after all else")
      ->delimiter(',')
      ->check(numberFrom(-1e6, 1e6));
  const std::map<std::string, TransformKind> kinds = {{"auto", TransformKind::automatic},
                                                      {"itk", TransformKind::itk},
                                                      {"fsl", TransformKind::fsl},
                                                      {"world", TransformKind::world}};
  CLI::Option *const transform =
      command
          .add_option(
              "--transform", options->files.map,
              "Affine transform: .tfm or .txt of the Insight toolkit, .mat of FSL, or rows of four numbers; "
              "instead of the three above")
          ->check(notEmpty)
          ->excludes("--rotate", "--scale", "--translate");
  command
      .add_option_function<std::string>(
          "--transform-kind", [options, kinds](const std::string &name) { options->kind = kinds.at(name); },
          "auto (default: by content and ending), itk, fsl, or world: from source to result, x to the right")
      ->check(CLI::IsMember({"auto", "itk", "fsl", "world"}))
      ->needs(transform);
  command
      .add_option_function<std::string>(
          "--matrix",
          [options](const std::string &name) {
            options->files.map = name;
            options->mapIsMatrix = true;
          },
          "File of three or four rows of four numbers, from source voxels to result voxels; instead of the "
          "others")
      ->check(notEmpty)
      ->excludes("--rotate", "--scale", "--translate", "--transform");
  command.add_flag("--inverse", options->inverse, "The other way round");
  command
      .add_flag("--keep-header", options->keepHeader,
                "The data move in the world; by default the header follows, and says where they lie")
      ->excludes(like);
  command.callback([options] {
    if (options->scale.size() == 2) throw UsageError("--scale takes one number or three");
    refuseEmpty(options->region);
    options->run();
  });
}

void addRemap(CLI::App &app) {
  auto options = std::make_shared<RemapCommand>();
  CLI::App &command =
      *app.add_subcommand("remap", "Deforms a volume by a displacement field, or in a way of its own");
  addFiles(command, options->files);
  addInterpolation(command, options->interpolation);
  addRegion(command, options->region);
  CLI::Option *const field =
      command
          .add_option(
              "--field", options->files.map,
              "Displacement field: a volume of three components, millimetres from the result to the source; "
              "the result gets its grid")
          ->check(notEmpty);
  command
      .add_option_function<std::string>(
          "--field-axes", [options](const std::string &name) { options->fieldIsRas = name == "ras"; },
          "lps (default, as the Insight toolkit has it: x to the left, y to the back) or ras")
      ->check(CLI::IsMember({"lps", "ras"}))
      ->needs(field);
  addLike(command, options->files)->needs(field);
  command.add_option("--deformation", options->deformation, "twist (default), waves or bulge")
      ->check(CLI::IsMember({"twist", "waves", "bulge"}))
      ->excludes(field);
  command
      .add_option("--strength", options->strength,
                  "How much of it, also of the field; 1 by default, negative for the other way")
      ->check(numberFrom(-1000, 1000));
  command.callback([options] {
    refuseEmpty(options->region);
    options->run();
  });
}

void addFilter(CLI::App &app) {
  auto options = std::make_shared<FilterCommand>();
  CLI::App &command = *app.add_subcommand(
      "filter", "Smooths, sharpens or differentiates a volume; the result is of type 16s");
  addFiles(command, options->files);
  command.add_option("--kernel", options->kernel,
                     "gaussian:SIZE (gaussian:3 by default), box:SIZE, sharpen, sobel-x, or a text file: "
                     "width, height, depth, "
                     "then the taps, integers, x fastest");
  const CLI::Option *const given = command.add_option(
      "--divisor", options->divisor,
      "What the sums are divided by; by default the kernel's own, of a file the sum of its taps "
      "if that is positive");
  command
      .add_option("--border", options->border,
                  "replicate (default) or reflect: what stands beyond the volume's border")
      ->check(CLI::IsMember({"replicate", "reflect"}));
  command.callback([options, given] {
    const bool none = options->divisor == 0 || options->divisor == INT_MIN;  // in whatever way they are spelt
    if (!given->empty() && none)
      throw UsageError("--divisor must not be " + std::to_string(options->divisor));
    options->run();
  });
}

void addResize(CLI::App &app) {
  auto options = std::make_shared<ResizeCommand>();
  CLI::App &command = *app.add_subcommand("resize", "Gives a volume more voxels, or fewer");
  addFiles(command, options->files);
  addInterpolation(command, options->interpolation);
  CLI::App &by = *command.add_option_group("by", "One of these");
  by.add_option("--factor", options->factor, "FACTOR or X,Y,Z: above 1 enlarges")
      ->delimiter(',')
      ->expected(1, 3)
      ->check(numberFrom(1e-4, 1e4));
  by.add_option_function<std::string>(
      "--size",
      [options](const std::string &text) { options->size = parseSides<3>("--size", text, kLargestSide); },
      "WIDTHxHEIGHTxDEPTH in voxels");
  by.add_option("--spacing", options->spacing, "MM or X,Y,Z: millimetres from voxel to voxel")
      ->delimiter(',')
      ->expected(1, 3)
      ->check(numberFrom(1e-4, 1e4));
  by.require_option(1);
  command.callback([options] { options->run(); });
}

}  // namespace

int runVolumeProgram(int argc, char **argv) {
  CLI::App app("Resamples and filters volumes", "vekr-volume");
  app.set_version_flag("--version", "vekr-volume " VEKR_VERSION, "Prints the version and ends");
  app.require_subcommand(1);
  addWarp(app);
  addRemap(app);
  addFilter(app);
  addResize(app);
  return runProgram(app, argc, argv, [] {});  // subcommands do their work when they are read
}

}  // namespace vekr_example
