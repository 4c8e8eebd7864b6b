// The arguments of vekr-volume. The one file behind this header knows CLI11, which takes long to compile.
#pragma once

namespace vekr_example {

// Reads the arguments, does what they ask for and returns what main() returns.
int runVolumeProgram(int argc, char **argv);

}  // namespace vekr_example
