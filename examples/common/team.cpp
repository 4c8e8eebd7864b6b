#include "team.h"

#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace vekr_example {

void onThreads(int threads, const std::function<void()> &work) {
  std::mutex mutex;
  std::exception_ptr first;
  const auto guarded = [&] {
    try {
      work();
    } catch (...) {
      const std::lock_guard<std::mutex> lock(mutex);
      if (!first) first = std::current_exception();
    }
  };
  std::vector<std::thread> team;
  try {
    for (int i = 1; i < threads; ++i) team.emplace_back(guarded);
  } catch (const std::system_error &) {  // no more threads to be had
  } catch (const std::bad_alloc &) {
  }
  guarded();
  for (std::thread &member : team) member.join();
  if (first) std::rethrow_exception(first);
}

int threadsOrProcessors(int threads) {
  if (threads > 0) return threads;
  const auto processors = static_cast<int>(std::thread::hardware_concurrency());
  return processors > 0 ? processors : 1;
}

}  // namespace vekr_example
