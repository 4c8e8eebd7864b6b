// A progress bar on stderr, where that is a terminal.
#pragma once

#include <cstdint>
#include <string>

namespace vekr_example {

class Progress {
 public:
  Progress(std::string what, int64_t total);
  ~Progress();
  Progress(const Progress &) = delete;
  Progress &operator=(const Progress &) = delete;
  void show(int64_t done);

 private:
  std::string what_;
  int64_t total_;
  bool visible_;
};

// Planes that are handed to the library at once: enough for all of its threads, few enough for the bar to move.
constexpr int32_t kPlanesAtOnce = 32;

}  // namespace vekr_example
