#include "picture.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <numbers>

#include "progress.h"
#include "team.h"

namespace {

uint8_t displayValue(float linear) {
  const float x = linear > 0.0f ? std::min(linear, 1.0f) : 0.0f;  // black for what is no number
  const float curved = x <= 0.0031308f ? 12.92f * x : 1.055f * std::pow(x, 1 / 2.4f) - 0.055f;  // sRGB
  return static_cast<uint8_t>(std::lround(curved * 255.0f));
}

// Averages the samples of each pixel. Blocks hold whole pixels, as `samples` divides their side.
void storeBlock(BlockRenderer &block, int blockX, int blockY, int samples, vekr_example::Image &image) {
  const int side = kBlockSide / samples;
  const int firstX = blockX * side, firstY = blockY * side;
  for (int y = 0; y < side && firstY + y < image.height(); ++y) {
    for (int x = 0; x < side && firstX + x < image.width(); ++x) {
      for (int c = 0; c < 3; ++c) {
        float sum = 0;
        for (int sy = 0; sy < samples; ++sy) {
          const float *row = block.colour(c) + (y * samples + sy) * kBlockSide + x * samples;
          for (int sx = 0; sx < samples; ++sx) sum += row[sx];
        }
        image.at(firstX + x, firstY + y)[c] = displayValue(sum / static_cast<float>(samples * samples));
      }
    }
  }
}

}  // namespace

Camera makeCamera(const PictureOptions &options, float radius, float height) {
  const double degree = std::numbers::pi / 180;
  const double yaw = options.yaw * degree, pitch = options.pitch * degree;
  const double back[3] = {std::cos(pitch) * std::sin(yaw), std::sin(pitch), std::cos(pitch) * std::cos(yaw)};
  const double right[3] = {std::cos(yaw), 0, -std::sin(yaw)};
  const double down[3] = {back[2] * right[1] - back[1] * right[2], back[0] * right[2] - back[2] * right[0],
                          back[1] * right[0] - back[0] * right[1]};
  const double halfAngle = 20 * degree;
  const double distance = radius / std::sin(halfAngle) / options.zoom;
  // The smaller side of the picture spans twice the half angle.
  const int columns = options.width * options.samples, rows = options.height * options.samples;
  const double step = 2 * std::tan(halfAngle) / std::min(columns, rows);
  Camera camera;
  for (int c = 0; c < 3; ++c) {
    const double centre = c == 1 ? height : 0;
    camera.eye[c] = static_cast<float>(centre + distance * back[c]);
    camera.stepX[c] = static_cast<float>(step * right[c]);
    camera.stepY[c] = static_cast<float>(step * down[c]);
    camera.corner[c] =
        static_cast<float>(-back[c] - step * (columns - 1) / 2 * right[c] - step * (rows - 1) / 2 * down[c]);
  }
  return camera;
}

std::vector<Light> makeLights(float radius) {
  return {{{2.2f * radius, 3.4f * radius, 1.6f * radius}, {0.80f, 0.76f, 0.68f}},
          {{-3.0f * radius, 1.8f * radius, 2.0f * radius}, {0.16f, 0.20f, 0.28f}}};
}

RayCounts renderPicture(const Scene &scene, const Camera &camera, const std::vector<Light> &lights,
                        const PictureOptions &options, const ShadingOptions &shading,
                        vekr_example::Image &image) {
  const int side = kBlockSide / options.samples;
  const int columns = (options.width + side - 1) / side, rows = (options.height + side - 1) / side;
  vekr_example::Progress progress("rendering", static_cast<int64_t>(columns) * rows);
  std::atomic<int> next = 0;
  std::mutex mutex;
  RayCounts counts;
  const auto work = [&] {
    BlockRenderer block(scene, camera, lights, shading);
    for (int number; (number = next++) < columns * rows; progress.step()) {
      block.render(number % columns, number / columns);
      storeBlock(block, number % columns, number / columns, options.samples, image);
    }
    const std::lock_guard<std::mutex> lock(mutex);
    counts.eye += block.counts().eye;
    counts.shadow += block.counts().shadow;
    counts.reflection += block.counts().reflection;
  };
  vekr_example::onThreads(vekr_example::threadsOrProcessors(options.threads), work);
  return counts;
}
