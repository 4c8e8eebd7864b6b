#include "reader_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <fstream>
#include <new>

namespace vekr_example {

namespace {

// What comes through the pipe first.
enum class Outcome : uint32_t { good = 0x4d455348, refused, noMemory };

using Clock = std::chrono::steady_clock;

// Bounds what this process may take beyond what it has: a limit of the whole would count what a sanitizer reserves.
void limitMemory(int memoryMB) {
  uint64_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  const auto most = static_cast<rlim_t>(pages * static_cast<uint64_t>(sysconf(_SC_PAGESIZE)) +
                                        (static_cast<uint64_t>(memoryMB) << 20));
  rlimit limit;
  if (getrlimit(RLIMIT_AS, &limit) != 0) return;
  limit.rlim_cur = std::min(most, limit.rlim_max);  // RLIM_INFINITY is the largest number
  setrlimit(RLIMIT_AS, &limit);
}

[[noreturn]] void readAndSend(int pipe, pid_t parent, const ReaderLimits &limits, const std::string &kind,
                              const std::function<std::string()> &read,
                              const std::function<void(PipeSender &)> &send) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(1);
  const rlimit noCore = {0, 0};
  setrlimit(RLIMIT_CORE, &noCore);
  limitMemory(limits.memoryMB);
  // What a reader and its assertions print is not for the user.
  const int nowhere = open("/dev/null", O_WRONLY);
  dup2(nowhere, STDOUT_FILENO);
  dup2(nowhere, STDERR_FILENO);
  PipeSender sender(pipe);
  const auto refuse = [&](const std::string &reason) {
    sender.value(Outcome::refused);
    sender.text(reason);
    _exit(0);
  };
  try {
    if (const std::string error = read(); !error.empty()) refuse(error);
    sender.value(Outcome::good);
    send(sender);
  } catch (const std::bad_alloc &) {
    sender.value(Outcome::noMemory);
  } catch (const std::exception &error) {
    refuse("is no " + kind + " that can be read: " + error.what());
  }
  _exit(0);
}

// Ends the other process, however its owner is left.
struct Child {
  pid_t id;
  int pipe, status = 0;
  ~Child() { end(true); }
  void end(bool now) {
    if (id == 0) return;
    if (now) kill(id, SIGKILL);
    while (waitpid(id, &status, 0) < 0 && errno == EINTR) {
    }
    close(pipe);
    id = 0;
  }
};

std::string seeOption(const std::string &option) { return option.empty() ? "" : " (see " + option + ")"; }

}  // namespace

void PipeSender::send(const void *data, size_t bytes) {
  for (auto at = static_cast<const char *>(data); bytes > 0;) {
    const ssize_t now = write(pipe_, at, bytes);
    if (now < 0 && errno == EINTR) continue;
    if (now <= 0) _exit(1);
    at += now;
    bytes -= static_cast<size_t>(now);
  }
}

bool PipeReceiver::receive(void *data, size_t bytes) {
  for (auto at = static_cast<char *>(data); bytes > 0;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline_ - Clock::now());
    pollfd ready = {pipe_, POLLIN, 0};
    const int polled = left.count() > 0 ? poll(&ready, 1, static_cast<int>(left.count())) : 0;
    if (polled < 0 && errno == EINTR) continue;
    late_ = polled == 0;
    if (polled <= 0) return false;
    const ssize_t now = ::read(pipe_, at, bytes);
    if (now < 0 && errno == EINTR) continue;
    if (now <= 0) return false;
    at += now;
    bytes -= static_cast<size_t>(now);
  }
  return true;
}

std::string readApart(const ReaderLimits &limits, const ReaderWords &words,
                      const std::function<std::string()> &read, const std::function<void(PipeSender &)> &send,
                      const std::function<bool(PipeReceiver &)> &receive) {
  const auto deadline = Clock::now() + std::chrono::seconds(limits.seconds);
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return std::string("cannot be read: ") + std::strerror(errno);
  const pid_t parent = getpid(), id = fork();
  if (id < 0) {
    const int error = errno;
    close(ends[0]);
    close(ends[1]);
    return std::string("cannot be read: ") + std::strerror(error);
  }
  if (id == 0) {
    close(ends[0]);
    readAndSend(ends[1], parent, limits, words.kind, read, send);
  }
  close(ends[1]);
  Child child = {id, ends[0]};
  PipeReceiver receiver(ends[0], deadline);
  Outcome outcome = Outcome::refused;
  constexpr uint64_t kLongestText = 1 << 16;
  std::string error;
  if (receiver.value(outcome)) {
    if (outcome == Outcome::noMemory) return "takes too much memory to read" + seeOption(words.memoryOption);
    if (outcome == Outcome::refused && receiver.text(error, kLongestText)) return error;
    if (outcome == Outcome::good && receive(receiver)) {
      child.end(true);  // it has nothing more to say
      return "";
    }
  }
  child.end(receiver.late());
  if (receiver.late()) {
    return "takes more than " + std::to_string(limits.seconds) + " s to read" + seeOption(words.timeOption);
  }
  const std::string how = WIFSIGNALED(child.status) ? strsignal(WTERMSIG(child.status)) : "it has ended";
  return "is no " + words.kind + " that can be read: the importer does not survive it (" + how + ")";
}

}  // namespace vekr_example
