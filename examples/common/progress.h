// A progress bar on a terminal; silent where stderr goes elsewhere.
#pragma once

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <string>

namespace vekr_example {

class Progress {
 public:
  Progress(std::string what, int64_t total)
      : what_(std::move(what)), total_(total), shown_(isatty(STDERR_FILENO) != 0) {}
  ~Progress() {
    if (shown_) std::fprintf(stderr, "\r\033[K");
  }
  Progress(const Progress &) = delete;
  Progress &operator=(const Progress &) = delete;

  // So many more steps are done; may be called from any thread.
  void step(int64_t steps = 1) {
    const std::lock_guard<std::mutex> lock(mutex_);
    done_ += steps;
    const int percent = static_cast<int>(done_ * 100 / std::max<int64_t>(total_, 1));
    if (!shown_ || percent == percent_) return;
    percent_ = percent;
    constexpr int kWidth = 40;
    const int filled = percent * kWidth / 100;
    std::fprintf(stderr, "\r%s [%s%s] %3d%%", what_.c_str(),
                 std::string(static_cast<size_t>(filled), '#').c_str(),
                 std::string(static_cast<size_t>(kWidth - filled), ' ').c_str(), percent);
    std::fflush(stderr);
  }

 private:
  std::mutex mutex_;
  std::string what_;
  int64_t total_;
  int64_t done_ = 0;
  int percent_ = -1;
  bool shown_;
};

}  // namespace vekr_example
