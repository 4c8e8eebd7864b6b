// The subcommands of vekr-volume, one file each. A subcommand adds its arguments to the application and does its work in
// its callback; whatever goes wrong is thrown as a std::runtime_error with a text of one line.
#pragma once

#include <CLI/CLI.hpp>

namespace vekr_example {

void addWarpCommand(CLI::App &app);
void addRemapCommand(CLI::App &app);
void addFilterCommand(CLI::App &app);
void addResizeCommand(CLI::App &app);

}  // namespace vekr_example
