// The three streams that a program starts with.
#pragma once

#include <stdexcept>
#include <string>

namespace vekr_example {

// Arguments that can't be meant: the program ends with status 2.
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// Call before any file is opened. A stream that is closed is given a descriptor, lest a file gets its number; a file that
// grows beyond the limit of its size becomes an error of writing instead of a signal.
void prepareStandardStreams();

// Throws if something that was printed has not arrived. Call before results take their names.
void finishStandardOutput();

// While it lives, nothing that is printed on stderr arrives: for libraries that print errors of their own. Not for use
// beside other threads.
class QuietStandardError {
 public:
  QuietStandardError();
  ~QuietStandardError();
  QuietStandardError(const QuietStandardError &) = delete;
  QuietStandardError &operator=(const QuietStandardError &) = delete;

 private:
  int kept_;
};

// "program: reason" on stderr, as one line whatever the reason holds.
void tellFailure(const std::string &program, const std::string &reason);

}  // namespace vekr_example
