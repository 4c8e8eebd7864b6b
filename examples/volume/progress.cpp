#include "progress.h"

#include <unistd.h>

#include <cstdio>

namespace vekr_example {

namespace {
constexpr int kWidth = 40;
}

Progress::Progress(std::string what, int64_t total)
    : what_(std::move(what)), total_(total), visible_(isatty(STDERR_FILENO) == 1) {
  show(0);
}

Progress::~Progress() {
  if (visible_) std::fprintf(stderr, "\r\033[K");
}

void Progress::show(int64_t done) {
  if (!visible_) return;
  const int full = static_cast<int>(done * kWidth / total_);
  const std::string bar =
      std::string(static_cast<size_t>(full), '#') + std::string(static_cast<size_t>(kWidth - full), '.');
  std::fprintf(stderr, "\r%s [%s] %3d %%", what_.c_str(), bar.c_str(), static_cast<int>(done * 100 / total_));
  std::fflush(stderr);
}

}  // namespace vekr_example
