// How a volume call is divided among threads.
#pragma once

#include <omp.h>

#include <cstdint>

#include "vekcore/vekcore.h"
#include "vekr.h"
#include "volume/interpolation.h"

namespace vekr {

// A destination with a side below this runs on the caller's thread, and the thread count isn't asked for.
constexpr int32_t kLeastForkedSide = 16;

// A run of destination planes, counted from the first one.
struct PlaneShare {
  int32_t first;
  int32_t count;
};

// An equal share for each thread, and the remainder for the last one. More threads than planes leave all to the last [C61].
constexpr PlaneShare shareOf(int32_t planes, int32_t team, int32_t self) {
  const int32_t quotient = planes / team;
  return {self * quotient, self == team - 1 ? quotient + planes % team : quotient};
}

// body(share, thread, team) once for each thread. The count is read a second time for the team, which the runtime may
// make smaller still; where it can't fork, the body runs once, with all planes.
template <class Body>
void forPlaneShares(VekrVolumeSize destination, const Body &body) {
  const int32_t planes = destination.depth;
  if (hasSideBelow(destination, kLeastForkedSide) || ownGetNumThreads() <= 1) {
    body(PlaneShare{0, planes}, 0, 1);
    return;
  }
  const int32_t asked = ownGetNumThreads();
#pragma omp parallel num_threads(asked > 1 ? asked : 1)
  {
    const int32_t team = omp_get_num_threads(), self = omp_get_thread_num();
    body(shareOf(planes, team, self), self, team);
  }
}

}  // namespace vekr
