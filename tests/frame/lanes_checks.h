// What the lanes of every instruction set are held to: see lanes_test.cpp.
#pragma once

#include "frame/dispatch.h"

namespace vekr_test {

// Counts comparisons; keeps the first that failed of each operation. Compiled for no set, so that its code is no set's.
class Report {
 public:
  virtual void expect(bool same, const char *operation, int lanes, double a, double b) = 0;

 protected:
  ~Report() = default;
};

}  // namespace vekr_test

VEKR_SETS(VEKR_IN_NAMESPACE, void checkFloats(::vekr_test::Report &report);
          void checkIntegers(::vekr_test::Report &report); void checkDoubles(::vekr_test::Report &report);
          void checkLayouts(::vekr_test::Report &report);)
