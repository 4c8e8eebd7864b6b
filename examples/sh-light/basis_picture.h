// A picture of the functions themselves.
#pragma once

#include "png_image.h"

// Bands 0 to `bands` - 1, a row each, orders from left to right. A function is drawn as the surface whose distance from
// the middle is its absolute value: warm where it is positive, cold where it is negative. z points up, x to the right
// and towards the viewer. `threads` 0: one for each processor.
vekr_example::Image drawBasis(int bands, int tileSize, int threads, bool showProgress);
