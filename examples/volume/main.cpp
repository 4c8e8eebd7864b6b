// vekr-volume: resamples and filters NIfTI volumes with libvekre9.
#include <CLI/CLI.hpp>

#include "commands.h"
#include "program.h"

int main(int argc, char **argv) {
  CLI::App app("Resamples and filters NIfTI volumes (.nii, .nii.gz)", "vekr-volume");
  app.require_subcommand(1);
  vekr_example::addWarpCommand(app);
  vekr_example::addRemapCommand(app);
  vekr_example::addFilterCommand(app);
  vekr_example::addResizeCommand(app);
  return vekr_example::runProgram(app, argc, argv, [] {});  // subcommands do their work when they are read
}
