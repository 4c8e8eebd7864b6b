// The three functions under one name, by voxel type.
#pragma once

#include "tests/support/volume_calls.h"
#include "vekr.h"

namespace vekr_test {

template <class Voxel>
constexpr auto remapOf() {
  return forVoxel<Voxel>(vekrRemap_8u_C1PV, vekrRemap_16u_C1PV, vekrRemap_32f_C1PV);
}

}  // namespace vekr_test
