// The lanes of every instruction set mean the same, at every count.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "tests/frame/lanes_checks.h"

namespace {

class FirstFailures : public vekr_test::Report {
 public:
  void expect(bool same, const char *operation, int lanes, double a, double b) override {
    ++comparisons_;
    if (same || !failed_.insert(operation + std::to_string(lanes)).second) return;
    ADD_FAILURE() << operation << " of " << lanes << " lanes, at " << a << " and " << b;
  }
  long comparisons() const { return comparisons_; }

 private:
  long comparisons_ = 0;
  std::set<std::string> failed_;
};

#define FOR_SET(set, isThere, check)                               \
  if (isThere) {                                                   \
    SCOPED_TRACE(#set);                                            \
    FirstFailures report;                                          \
    vekr::set::check(report);                                      \
    EXPECT_GT(report.comparisons(), 100);                          \
  } else {                                                         \
    std::printf("%s: not on this processor, not checked\n", #set); \
  }

TEST(Lanes, floatsMeanWhatScalarsMean){VEKR_SETS(FOR_SET, checkFloats)} TEST(Lanes,
                                                                             integersMeanWhatScalarsMean){
    VEKR_SETS(FOR_SET, checkIntegers)} TEST(Lanes, doublesMeanWhatScalarsMean){
    VEKR_SETS(FOR_SET, checkDoubles)} TEST(Lanes, lanesLieInTheirOrder) {
  VEKR_SETS(FOR_SET, checkLayouts)
}

}  // namespace
