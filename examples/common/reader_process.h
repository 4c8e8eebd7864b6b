// Reading files that nobody has looked at before, in a process of its own: readers crash on some damaged files, and take all
// memory and time on others. There it is one clear line.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vekr_example {

struct ReaderLimits {
  int memoryMB = 4096;  // beyond what the program itself takes
  int seconds = 120;
};

// The reading process's end of the pipe. It ends the process when nobody listens any more.
class PipeSender {
 public:
  explicit PipeSender(int pipe) : pipe_(pipe) {}
  void send(const void *data, size_t bytes);
  template <class T>
  void value(const T &data) {
    send(&data, sizeof data);
  }
  template <class T>
  void list(const std::vector<T> &data) {
    value(uint64_t{data.size()});
    send(data.data(), data.size() * sizeof(T));
  }
  void text(const std::string &data) {
    value(uint64_t{data.size()});
    send(data.data(), data.size());
  }

 private:
  int pipe_;
};

// The program's end: what arrives may be anything. All functions return false if the other side or the time ends before all
// of it is there, or if a list is longer than it may be.
class PipeReceiver {
 public:
  PipeReceiver(int pipe, std::chrono::steady_clock::time_point deadline) : pipe_(pipe), deadline_(deadline) {}
  bool late() const { return late_; }
  bool receive(void *data, size_t bytes);
  template <class T>
  bool value(T &data) {
    return receive(&data, sizeof data);
  }
  template <class T>
  bool list(std::vector<T> &data, uint64_t most) {
    uint64_t count = 0;
    if (!value(count) || count > most) return false;
    data.resize(count);
    return receive(data.data(), count * sizeof(T));
  }
  bool text(std::string &data, uint64_t most) {
    uint64_t count = 0;
    if (!value(count) || count > most) return false;
    data.resize(count);
    return receive(data.data(), count);
  }

 private:
  int pipe_;
  std::chrono::steady_clock::time_point deadline_;
  bool late_ = false;
};

// What is read, in words: "mesh" as in "is no mesh that can be read", and the options that raise the limits, if there are any.
struct ReaderWords {
  std::string kind;
  std::string memoryOption, timeOption;
};

// Calls `read` in a process of its own; if it returns an empty text `send` hands over there what it has read, and `receive`
// takes it here. Returns an empty string, or what is wrong: what `read` returned, or thrown, or that it did not survive.
// To be called before the program has started threads.
std::string readApart(const ReaderLimits &limits, const ReaderWords &words,
                      const std::function<std::string()> &read, const std::function<void(PipeSender &)> &send,
                      const std::function<bool(PipeReceiver &)> &receive);

}  // namespace vekr_example
