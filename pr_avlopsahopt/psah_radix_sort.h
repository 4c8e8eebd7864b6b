#pragma once

#include <cstdint>

namespace vekr {

// Sorts `len` floats ascending, -0 before 0; `pWork` holds as many. Three counting passes over the bits; pays
// above a few hundred values.
void ownRadixSortAccend_32f_w7(float *pSrcDst, float *pWork, int32_t len);

}  // namespace vekr
