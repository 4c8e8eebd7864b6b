#include "vekr.h"

static constexpr VekLibVersion kVersion = {
    6, 1, 137, 703, {'e', '9', 0, 0}, "libvekre9.so.6.1", "6.1 build 137.56", "Mar 17 2010"};  // [C95]

const VekLibVersion *vekrGetLibVersion(void) { return &kVersion; }
