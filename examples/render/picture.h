// Renders a scene into a picture, in parallel over blocks.
#pragma once

#include "png_image.h"
#include "shading.h"

struct PictureOptions {
  int width = 960;
  int height = 720;
  int samples = 2;   // a side: samples * samples rays a pixel
  int threads = 0;   // 0: one for each processor
  float yaw = 35;    // degrees around the scene
  float pitch = 22;  // degrees above it
  float zoom = 1;
};

// A view of the sphere of the given radius around (0, height, 0).
Camera makeCamera(const PictureOptions &options, float radius, float height);

// Lights for a scene of that radius.
std::vector<Light> makeLights(float radius);

RayCounts renderPicture(const Scene &scene, const Camera &camera, const std::vector<Light> &lights,
                        const PictureOptions &options, const ShadingOptions &shading,
                        vekr_example::Image &image);
