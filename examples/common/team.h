// Work that is shared out over threads.
#pragma once

#include <functional>

namespace vekr_example {

// Calls `work` on up to `threads` threads at once, the caller's among them, and returns when all calls have. Each call must
// take pieces of the work until there are none left, so that fewer calls do all of it too: threads that the system won't
// start are done without. The first exception of a call is thrown again here.
void onThreads(int threads, const std::function<void()> &work);

// `threads`, or for 0 the number of processors.
int threadsOrProcessors(int threads);

}  // namespace vekr_example
