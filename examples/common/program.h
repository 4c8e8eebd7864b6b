// What the example programs have in common from outside: one line for whatever goes wrong, and the status of it.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <stdexcept>
#include <string>

#include "standard_streams.h"

namespace vekr_example {

// Reads the arguments, does the work and returns what main() returns: 0, or 1 where input, output or memory won't do, or 2
// for wrong usage, which is what CLI11 refuses and every UsageError.
inline int runProgram(CLI::App &app, int argc, char **argv, const std::function<void()> &work) {
  prepareStandardStreams();
  const auto fail = [&](const std::string &reason, int status) {
    tellFailure(app.get_name(), reason);
    return status;
  };
  try {
    app.parse(argc, argv);
    work();
    finishStandardOutput();
  } catch (const CLI::ParseError &error) {
    if (error.get_exit_code() != 0) return fail(error.what(), 2);
    app.exit(error);  // help
    try {
      finishStandardOutput();
    } catch (const std::exception &stream) {
      return fail(stream.what(), 1);
    }
  } catch (const UsageError &error) {
    return fail(error.what(), 2);
  } catch (const std::bad_alloc &) {
    return fail("not enough memory", 1);
  } catch (const std::length_error &) {  // what a container says to a size beyond all memory
    return fail("not enough memory", 1);
  } catch (const std::exception &error) {
    return fail(error.what(), 1);
  }
  return 0;
}

}  // namespace vekr_example
