// Calls with something wrong, in the order in which the doors of the volume families look at it. A Call has good arguments
// under the functions' own names, to be spoilt one by one; its run() makes the call, into `dst`.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "vekr.h"

namespace vekr_test {

template <class Call>
struct Fault {
  VekStatus status;
  std::function<void(Call &)> spoil;
};

// The earlier in the list, the earlier its status is found.
template <class Call>
using Faults = std::vector<Fault<Call>>;

template <class Call>
Faults<Call> sourceFaults() {
  return {{vekErrSize, [](Call &c) { c.srcSize.width = 0; }},
          {vekErrSize, [](Call &c) { c.srcSize.height = -1; }},
          {vekErrSize, [](Call &c) { c.srcSize.depth = INT32_MIN; }},
          {vekErrSize, [](Call &c) { c.srcBox.x = -1; }},
          {vekErrSize, [](Call &c) { c.srcBox.width = 0; }},
          {vekErrSize, [](Call &c) { c.srcBox.y = INT32_MIN; }},
          {vekErrSize, [](Call &c) { c.srcBox.height = 0; }},
          {vekErrSize, [](Call &c) { c.srcBox.z = -1; }},
          {vekErrSize, [](Call &c) { c.srcBox.depth = -7; }}};
}

template <class Call>
Faults<Call> interpolationFaults() {
  return {{vekErrInterpolation, [](Call &c) { c.interpolation = 3; }},
          {vekErrInterpolation, [](Call &c) { c.interpolation = 0; }},
          {vekErrInterpolation, [](Call &c) { c.interpolation = 8; }},
          {vekErrInterpolation, [](Call &c) { c.interpolation = -1; }}};
}

template <class Call>
Faults<Call> overlapFaults() {
  return {{vekWarnNoOverlap, [](Call &c) { c.srcBox.x = 5; }},
          {vekWarnNoOverlap, [](Call &c) { c.srcBox.y = INT32_MAX; }},
          {vekWarnNoOverlap, [](Call &c) { c.srcBox.z = 6; }}};
}

// Each fault alone, and each two of them: the earlier one's status comes back, and nothing is written.
template <class Call>
void expectTheEarlierOfTwo(std::initializer_list<Faults<Call>> parts) {
  Faults<Call> all;
  for (const Faults<Call> &part : parts) all.insert(all.end(), part.begin(), part.end());
  const Call untouched;
  EXPECT_EQ(Call().run(), vekOk);
  for (size_t i = 0; i < all.size(); ++i) {
    for (size_t j = i; j < all.size(); ++j) {
      Call call;
      all[j].spoil(call);
      all[i].spoil(call);
      // Two spoilers of one field leave the first's value, so that the earlier status holds in any case.
      EXPECT_EQ(call.run(), all[i].status) << i << " and " << j;
      EXPECT_TRUE(call.dst == untouched.dst) << i << " and " << j;
    }
  }
}

}  // namespace vekr_test
