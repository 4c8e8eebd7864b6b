// vekr-volume: resamples and filters volumes with libvekre9.
#include "command_line.h"

int main(int argc, char **argv) { return vekr_example::runVolumeProgram(argc, argv); }
