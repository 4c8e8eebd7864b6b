// How a volume call is divided among threads.
#pragma once

#include <omp.h>

#include <cstdint>

#include "vekcore/vekcore.h"
#include "vekr.h"
#include "volume/region.h"
#include "volume/view.h"

namespace vekr {

// A destination with a side below this runs on the caller's thread, and the thread count isn't asked for.
constexpr int32_t kLeastForkedSide = 16;

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
