#include "vekr.h"

// Part of the interface, like the functions' names: callers compare its texts and its date. So these are constants and
// not what CMake knows of the build; a test holds name and number against the build's version.
static constexpr VekLibVersion kVersion = {
    6, 1, 137, 703, {'e', '9', 0, 0}, "libvekre9.so.6.1", "6.1 build 137.56", "Mar 17 2010"};  // [C95]

const VekLibVersion *vekrGetLibVersion(void) { return &kVersion; }
