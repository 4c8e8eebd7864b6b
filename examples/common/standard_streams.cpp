#include "standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <iostream>

namespace vekr_example {

void prepareStandardStreams() {
  std::signal(SIGXFSZ, SIG_IGN);
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    // Not for writing: what is printed into a closed stream must not seem to arrive. The lowest free number is this one.
    if (fcntl(stream, F_GETFD) == -1 && open("/dev/null", O_RDONLY) != stream) return;
  }
}

void finishStandardOutput() {
  errno = 0;
  std::cout.flush();
  const bool arrived = std::fflush(stdout) == 0 && std::ferror(stdout) == 0 && !std::cout.fail();
  if (arrived) return;
  throw std::runtime_error(std::string("cannot write to standard output: ") +
                           (errno != 0 ? std::strerror(errno) : "an earlier error"));
}

QuietStandardError::QuietStandardError() : kept_(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) {
  std::fflush(stderr);
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  if (nowhere >= 0 && kept_ >= 0) dup2(nowhere, STDERR_FILENO);
  if (nowhere >= 0) close(nowhere);
}

QuietStandardError::~QuietStandardError() {
  std::fflush(stderr);
  if (kept_ < 0) return;
  dup2(kept_, STDERR_FILENO);
  close(kept_);
}

void tellFailure(const std::string &program, const std::string &reason) {
  std::string line = reason;
  while (!line.empty() && static_cast<unsigned char>(line.back()) <= ' ') line.pop_back();
  // Names of files and messages of other libraries may hold anything.
  std::replace_if(
      line.begin(), line.end(), [](unsigned char c) { return c < ' '; }, ' ');
  std::fprintf(stderr, "%s: %s\n", program.c_str(), line.c_str());
}

}  // namespace vekr_example
