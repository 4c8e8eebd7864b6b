// vekr-volume: resamples and filters NIfTI volumes with libvekre9.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <new>

#include "commands.h"

int main(int argc, char **argv) {
  CLI::App app("Resamples and filters NIfTI volumes (.nii, .nii.gz)", "vekr-volume");
  app.require_subcommand(1);
  vekr_example::addWarpCommand(app);
  vekr_example::addRemapCommand(app);
  vekr_example::addFilterCommand(app);
  vekr_example::addResizeCommand(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &e) {
    if (e.get_exit_code() == 0) return app.exit(e);  // help
    std::fprintf(stderr, "vekr-volume: %s\n", e.what());
    return 2;  // wrong usage
  } catch (const std::bad_alloc &) {
    std::fprintf(stderr, "vekr-volume: not enough memory\n");
    return 1;
  } catch (const std::exception &e) {
    std::fprintf(stderr, "vekr-volume: %s\n", e.what());
    return 1;
  }
  return 0;
}
