// Driver of the filter: takes arguments that the door has passed.
#pragma once

#include <cstdint>

#include "filter/taps.h"
#include "vekr.h"
#include "volume/view.h"

namespace vekr {

struct FilterCall {
  ListVolume<const int16_t> source;
  ListVolume<int16_t> destination;
  VekrVolumeSize size;  // of the destination
  FilterKernel kernel;
  VekrVolumePoint anchor;
  int32_t divisor;
  uint8_t *buffer;
};

void ownrFilter_16s_C1PV(const FilterCall &call);

}  // namespace vekr
