// How a volume call is divided among threads.
#pragma once

#include <omp.h>

#include <algorithm>
#include <cstdint>

#include "vekcore/vekcore.h"
#include "vekr.h"
#include "volume/region.h"
#include "volume/view.h"

namespace vekr {

// A destination with a side below this runs on the caller's thread, and the thread count isn't asked for.
constexpr int32_t kLeastForkedSide = 16;

// Threads that a call forks at most, whatever is asked for: the OpenMP runtime ends the process that it can't give so many.
constexpr int32_t kMostThreads = 1024;

// Whether a call forks at all.
inline bool isForked(VekrVolumeSize destination) {
  return !hasSideBelow(destination, kLeastForkedSide) && ownGetNumThreads() > 1;
}

// body(share, thread, team) once for each thread. The count is read a second time for the team, which the runtime may
// make smaller still; where it can't fork, the body runs once, with all planes. No more threads than planes [C101]: for
// functions whose results don't hang on the division.
template <class Body>
void forPlaneShares(VekrVolumeSize destination, const Body &body) {
  const int32_t planes = destination.depth;
  if (!isForked(destination)) {
    body(PlaneShare{0, planes}, 0, 1);
    return;
  }
  const int32_t threads = std::clamp(ownGetNumThreads(), 1, std::min(planes, kMostThreads));
#pragma omp parallel num_threads(threads)
  {
    const int32_t team = omp_get_num_threads(), self = omp_get_thread_num();
    body(shareOf(planes, team, self), self, team);
  }
}

// body(share) for each of the shares that as many threads as are asked for would have, however many do the work: for
// functions whose results hang on where a share begins.
template <class Body>
void forEveryPlaneShare(VekrVolumeSize destination, const Body &body) {
  const int32_t planes = destination.depth;
  if (!isForked(destination)) {
    body(PlaneShare{0, planes});
    return;
  }
  // What the runtime would grant of it.
  const int32_t shares = std::min(std::max(ownGetNumThreads(), 1), omp_get_thread_limit());
  if (shares > planes) {
    body(shareOf(planes, shares, shares - 1));  // the others are empty [C61]
    return;
  }
  const int32_t threads = std::min(shares, kMostThreads);
#pragma omp parallel num_threads(threads)
  {
    const int32_t team = omp_get_num_threads();
    // A smaller team than was asked for is the runtime's decision, and divides anew.
    const int32_t count = team == threads ? shares : team;
    for (int32_t share = omp_get_thread_num(); share < count; share += team) {
      body(shareOf(planes, count, share));
    }
  }
}

}  // namespace vekr
