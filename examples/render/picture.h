// Renders a scene into a picture, in parallel over blocks.
#pragma once

#include "panorama.h"
#include "png_image.h"
#include "shading.h"

struct PictureOptions {
  int width = 960;
  int height = 720;
  int samples = 2;  // a side: samples * samples rays a pixel
  int threads = 0;  // 0: one for each processor
  float exposure = 1;
  bool showProgress = true;
};

// Where pixels go: as bytes that a screen shows, as linear light, or both.
struct Canvas {
  vekr_example::Image *image = nullptr;
  Panorama *light = nullptr;
};

RayCounts renderPicture(const World &world, const Camera &camera, const PictureOptions &options,
                        const ShadingOptions &shading, const Canvas &canvas);
