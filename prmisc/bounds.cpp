// Bounds of a mesh: the door.
#include <bit>
#include <cfloat>
#include <cmath>

#include "frame/checks.h"
#include "prmisc/normals_kernels.h"
#include "vekr.h"

using namespace vekr;

VekStatus vekrSetBoundBox_32f(const float *pVertices, int32_t count, float *pBox) {
  if (anyNull(pVertices)) return vekErrNullPtr;
  float box[6] = {FLT_MAX, FLT_MAX, FLT_MAX, -FLT_MAX, -FLT_MAX, -FLT_MAX};
  if (count > 0) VEKR_DISPATCH(ownBounds)(pVertices, count, box);  // else inverted [C46]
  // One margin for all sides, so that no vertex lies exactly on the box.
  constexpr float kRelativeMargin = std::bit_cast<float>(0x38d1b717u);  // 0.0001
  float largest = FLT_MIN;
  for (const float side : box) {
    const float size = std::fabs(side);
    if (size > largest) largest = size;
  }
  const float margin = largest * kRelativeMargin;
  for (int axis = 0; axis < 3; ++axis) {
    pBox[axis] = box[axis] - margin;
    pBox[3 + axis] = box[3 + axis] + margin;
  }
  return vekOk;
}
