// A progress bar on a terminal, with the time that is left; silent where stderr goes elsewhere.
#pragma once

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <mutex>
#include <string>

namespace vekr_example {

class Progress {
 public:
  // Nothing is shown unless `wanted`, on a terminal or not.
  Progress(std::string what, int64_t total, bool wanted = true)
      : what_(std::move(what)), total_(total), shown_(wanted && isatty(STDERR_FILENO) != 0) {}
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
    std::fprintf(stderr, "\r%s [%s%s] %3d%% %s\033[K", what_.c_str(),
                 std::string(static_cast<size_t>(filled), '#').c_str(),
                 std::string(static_cast<size_t>(kWidth - filled), ' ').c_str(), percent, timeLeft().c_str());
    std::fflush(stderr);
  }

 private:
  // If the rest takes as long as what is done; nothing in the first second, which tells little.
  std::string timeLeft() const {
    const double passed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    if (passed < 1 || done_ <= 0) return "";
    const auto left = static_cast<long long>(
        passed * static_cast<double>(total_ - done_) / static_cast<double>(done_) + 0.5);
    char text[48];
    if (left < 60) {
      std::snprintf(text, sizeof text, "%llds left", left);
    } else if (left < 3600) {
      std::snprintf(text, sizeof text, "%lldm %02llds left", left / 60, left % 60);
    } else {
      std::snprintf(text, sizeof text, "%lldh %02lldm left", left / 3600, left / 60 % 60);
    }
    return text;
  }

  std::mutex mutex_;
  std::string what_;
  int64_t total_;
  int64_t done_ = 0;
  int percent_ = -1;
  bool shown_;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace vekr_example
