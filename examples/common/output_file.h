// Files that a program makes: whole, or not at all.
#pragma once

#include <initializer_list>
#include <string>
#include <utility>

namespace vekr_example {

// A file is written beside its target, under a name of its own, and takes the target's name when it is complete. Until
// then the target stays as it was. What is not committed is removed: by the destructor, and by signals that end the
// program. If the target is a link, what it leads to is replaced.
class OutputFile {
 public:
  // Looks whether the target can be written, so that nothing is computed in vain; throws std::runtime_error with one
  // line if it can't. An empty path stands for no file: such an object is never created or committed.
  // `ending`: of the name under which the file is written, for libraries that go by it.
  explicit OutputFile(std::string path, std::string ending = "");
  ~OutputFile();
  OutputFile(const OutputFile &) = delete;
  OutputFile &operator=(const OutputFile &) = delete;

  bool wanted() const { return !path_.empty(); }
  const std::string &path() const { return path_; }  // as it was given

  // Makes the file, empty, and returns the name to write to.
  const std::string &create();
  // Gives it the name of the target.
  void commit();
  // Throws "cannot write ...: reason".
  [[noreturn]] void fail(const std::string &reason) const;

 private:
  void forget();

  std::string path_, target_, ending_, temporary_;
  int slot_ = -1;  // in the list that the signal handler reads
};

// Why a file can't be read as one of ordinary content: empty if it can. "no such file", "is a directory", ...
std::string whyUnreadable(const std::string &path);

// Throws a UsageError if a path of the second list leads to the file of another path, in whatever way it is spelt. Pairs of
// what the user calls it, and the path; empty paths are passed over.
using NamedPath = std::pair<std::string, std::string>;
void refuseSameFiles(std::initializer_list<NamedPath> inputs, std::initializer_list<NamedPath> outputs);

}  // namespace vekr_example
