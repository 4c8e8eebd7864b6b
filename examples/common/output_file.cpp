#include "output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include "standard_streams.h"

namespace vekr_example {

namespace {

namespace fs = std::filesystem;

// Names that a signal handler can read: written before `used` is set.
struct Slot {
  std::atomic<bool> used = false;
  char name[PATH_MAX];
};
constexpr int kSlots = 8;  // files in the making at once: no program has more
Slot slots[kSlots];

// Signals that end a program unless it says otherwise, but for those that tell of its own mistakes.
constexpr int kSignals[] = {SIGHUP,  SIGINT,  SIGQUIT, SIGTERM, SIGPIPE,  SIGALRM,
                            SIGUSR1, SIGUSR2, SIGXCPU, SIGPROF, SIGVTALRM};

void removeAndEnd(int signal) {
  for (const Slot &slot : slots) {
    if (slot.used) unlink(slot.name);
  }
  std::signal(signal, SIG_DFL);
  raise(signal);  // is delivered when the handler returns
}

void watchSignals() {
  static const bool watched = [] {
    for (const int signal : kSignals) {
      struct sigaction action = {};
      if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) continue;  // nohup
      action.sa_handler = removeAndEnd;
      sigemptyset(&action.sa_mask);
      sigaction(signal, &action, nullptr);
    }
    return true;
  }();
  static_cast<void>(watched);
}

int takeSlot(const std::string &name) {
  if (name.size() >= PATH_MAX) return -1;
  for (int i = 0; i < kSlots; ++i) {
    if (slots[i].used) continue;
    std::memcpy(slots[i].name, name.c_str(), name.size() + 1);
    slots[i].used = true;
    return i;
  }
  return -1;
}

// The file that a path leads to; that of a link which leads nowhere yet, too.
fs::path resolved(const std::string &path) {
  std::error_code code;
  fs::path at = path;
  constexpr int kMostLinks = 40;  // as the system counts them
  for (int i = 0; i < kMostLinks && fs::is_symlink(fs::symlink_status(at, code)); ++i) {
    const fs::path to = fs::read_symlink(at, code);
    if (code) break;
    at = at.parent_path() / to;  // an absolute `to` replaces all
  }
  const fs::path canonical = fs::weakly_canonical(at, code);
  return code ? at : canonical;
}

}  // namespace

OutputFile::OutputFile(std::string path, std::string ending)
    : path_(std::move(path)), ending_(std::move(ending)) {
  if (path_.empty()) return;
  const fs::path target = resolved(path_);
  target_ = target.string();
  std::error_code code;
  const fs::file_status status = fs::status(target, code);
  if (fs::is_directory(status)) fail("it is a directory");
  if (fs::exists(status) && !fs::is_regular_file(status)) fail("it is not a regular file");
  if (path_.back() == '/') fail("it names a directory");
  const fs::path parent = target.has_parent_path() ? target.parent_path() : fs::path(".");
  struct stat folder;
  if (stat(parent.c_str(), &folder) != 0) fail(std::strerror(errno));
  if (!S_ISDIR(folder.st_mode)) fail(std::strerror(ENOTDIR));
  if (access(parent.c_str(), W_OK | X_OK) != 0) fail(std::strerror(errno));
}

OutputFile::~OutputFile() {
  if (!temporary_.empty()) unlink(temporary_.c_str());
  forget();
}

void OutputFile::forget() {
  if (slot_ >= 0) slots[slot_].used = false;
  slot_ = -1;
  temporary_.clear();
}

const std::string &OutputFile::create() {
  static int number = 0;
  // Short, as the target's own name may be as long as names can be.
  const fs::path folder = fs::path(target_).parent_path();
  temporary_ =
      (folder / (".vekr-" + std::to_string(getpid()) + "-" + std::to_string(number++) + ".tmp" + ending_))
          .string();
  watchSignals();
  slot_ = takeSlot(temporary_);  // before the file is there: no signal finds it unknown
  if (slot_ < 0) {
    temporary_.clear();
    fail(std::strerror(ENAMETOOLONG));
  }
  const int descriptor = open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (descriptor < 0) {
    const int error = errno;
    forget();
    fail(std::strerror(error));
  }
  close(descriptor);
  return temporary_;
}

void OutputFile::commit() {
  if (std::rename(temporary_.c_str(), target_.c_str()) != 0) fail(std::strerror(errno));
  forget();
}

void OutputFile::fail(const std::string &reason) const {
  throw std::runtime_error("cannot write '" + path_ + "': " + reason);
}

std::string whyUnreadable(const std::string &path) {
  struct stat file;
  if (path.empty()) return "the name is empty";
  if (stat(path.c_str(), &file) != 0) return errno == ENOENT ? "no such file" : std::strerror(errno);
  if (S_ISDIR(file.st_mode)) return "is a directory";
  if (!S_ISREG(file.st_mode)) return "is not a regular file";
  if (access(path.c_str(), R_OK) != 0) return std::strerror(errno);
  return "";
}

void refuseSameFiles(std::initializer_list<NamedPath> inputs, std::initializer_list<NamedPath> outputs) {
  std::vector<NamedPath> seen;
  for (const NamedPath &input : inputs) {
    if (!input.second.empty()) seen.push_back(input);
  }
  for (const NamedPath &output : outputs) {
    if (output.second.empty()) continue;
    for (const NamedPath &other : seen) {
      std::error_code code;
      if (resolved(output.second) == resolved(other.second) ||
          fs::equivalent(output.second, other.second, code)) {  // also by another link
        throw UsageError(output.first + " and " + other.first + " are the same file: " + output.second);
      }
    }
    seen.push_back(output);
  }
}

}  // namespace vekr_example
