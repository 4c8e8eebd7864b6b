/* The layout as a C compiler sees it. C99 has no static assertion: an array of negative size does as well. */
#define LAYOUT_NAME(line) layout_##line
#define LAYOUT_AT(condition, line) typedef char LAYOUT_NAME(line)[(condition) ? 1 : -1]
#define LAYOUT(condition) LAYOUT_AT(condition, __LINE__)

#include "layout.h"

/* Structs by value go to the callee as C++ expects them: called from the C++ half. */
int layoutCallsFromC(void);
int layoutCallsFromC(void) {
  float x[6], y[6], z[6];
  float *planes[3];
  const float corner[3] = {1, 2, 3}, stepX[3] = {10, 20, 30}, stepY[3] = {100, 200, 300};
  VekrBlockIndex index;
  VekrBlockSize size;
  planes[0] = x;
  planes[1] = y;
  planes[2] = z;
  index.x = 2;
  index.y = 1;
  size.width = 3;
  size.height = 2;
  /* Block (2, 1) of blocks of 3 by 2: its last ray is image point (8, 3). */
  if (vekrCastEye_32f(corner, stepX, stepY, 3, 2, index, planes, size) != vekOk) return 0;
  return x[5] == 1 + 80 + 300 && y[5] == 2 + 160 + 600 && z[5] == 3 + 240 + 900;
}
