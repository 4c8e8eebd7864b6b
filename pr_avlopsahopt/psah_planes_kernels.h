// Costs of a few hundred planes by counting, lanes of planes side by side: for short lists faster than sorting them.
#pragma once

#include <cstdint>

#include "frame/dispatch.h"

namespace vekr {

// Planes to try, and the extents to count them against.
struct PlaneTrial {
  // The axis (see AxisCell).
  float lo;
  float hi;
  double offset;
  int32_t patchCount;

  // The planes, in any order; readable up to a multiple of kPlaneGroup, and written there.
  float *planes;
  int32_t planeCount;
  // Of each plane, how many lows lie below it and how many highs at or below it, apart from those listed here.
  const int32_t *lowsBefore;
  const int32_t *highsBefore;

  // Extents of patches. A flat patch stands in both lists and in `flats`.
  const float *lows;
  int32_t lowCount;
  const float *highs;
  int32_t highCount;
  const float *flats;
  int32_t flatCount;

  // Planes beyond the last end of a patch that isn't flat are no candidates [C09].
  float lastEnd;
};

// The cheapest plane, the lowest one of several; cost as large as can be if there is none.
struct PlaneChoice {
  double cost;
  float plane;
};

// A multiple of every set's group.
#ifdef VEKR_AVX512
constexpr int32_t kPlaneGroup = 16;
#else
constexpr int32_t kPlaneGroup = 8;
#endif

}  // namespace vekr

VEKR_KERNELS(psah_planes_kernels, ::vekr::PlaneChoice ownTryPlanes(const ::vekr::PlaneTrial &trial);)
