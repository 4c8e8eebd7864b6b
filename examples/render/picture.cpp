#include "picture.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <mutex>

#include "progress.h"
#include "team.h"

namespace {

// What a screen shows of linear light: a curve (sRGB), rounded to 255 steps. The steps' beginnings are kept, as the curve takes
// longer than some pixels' rays; `first` has the step at the beginning of each of many equal parts, so that few are looked at.
class DisplayCurve {
 public:
  DisplayCurve() {
    for (size_t step = 1; step < begins_.size(); ++step) {
      float low = 0, high = 1;
      // Between neighbours of all floats: the first that is rounded to this step.
      for (float middle; (middle = 0.5f * (low + high)) > low && middle < high;) {
        (exactly(middle) >= static_cast<long>(step) ? high : low) = middle;
      }
      begins_[step] = high;
    }
    for (size_t part = 0; part < first_.size(); ++part) {
      first_[part] = static_cast<uint8_t>(exactly(static_cast<float>(part) / kParts));
    }
  }
  uint8_t operator()(float linear) const {
    const float x = linear > 0.0f ? std::min(linear, 1.0f) : 0.0f;  // black for what is no number
    size_t step = first_[static_cast<size_t>(x * kParts)];
    while (step < 255 && x >= begins_[step + 1]) ++step;
    return static_cast<uint8_t>(step);
  }

 private:
  static constexpr float kParts = 4096;
  static long exactly(float x) {
    const float curved = x <= 0.0031308f ? 12.92f * x : 1.055f * std::pow(x, 1 / 2.4f) - 0.055f;
    return std::lround(curved * 255.0f);
  }
  std::array<float, 256> begins_ = {};
  std::array<uint8_t, 4097> first_ = {};
};

// Averages the samples of each pixel. Blocks hold whole pixels, as `samples` divides their side.
void storeBlock(BlockRenderer &block, int blockX, int blockY, const PictureOptions &options,
                const Canvas &canvas) {
  static const DisplayCurve curve;
  const int samples = options.samples, side = kBlockSide / samples;
  const int firstX = blockX * side, firstY = blockY * side;
  for (int y = 0; y < side && firstY + y < options.height; ++y) {
    for (int x = 0; x < side && firstX + x < options.width; ++x) {
      for (int c = 0; c < 3; ++c) {
        float sum = 0;
        for (int sy = 0; sy < samples; ++sy) {
          const float *row = block.colour(c) + (y * samples + sy) * kBlockSide + x * samples;
          for (int sx = 0; sx < samples; ++sx) sum += row[sx];
        }
        const float linear = options.exposure * sum / static_cast<float>(samples * samples);
        if (canvas.image != nullptr) canvas.image->at(firstX + x, firstY + y)[c] = curve(linear);
        if (canvas.light != nullptr) canvas.light->row(firstY + y)[3 * (firstX + x) + c] = linear;
      }
    }
  }
}

}  // namespace

RayCounts renderPicture(const World &world, const Camera &camera, const PictureOptions &options,
                        const ShadingOptions &shading, const Canvas &canvas) {
  const int side = kBlockSide / options.samples;
  const int columns = (options.width + side - 1) / side, rows = (options.height + side - 1) / side;
  vekr_example::Progress progress("rendering", static_cast<int64_t>(columns) * rows, options.showProgress);
  std::atomic<int> next = 0;
  std::mutex mutex;
  RayCounts counts;
  const auto work = [&] {
    BlockRenderer block(world, camera, shading);
    for (int number; (number = next++) < columns * rows; progress.step()) {
      block.render(number % columns, number / columns);
      storeBlock(block, number % columns, number / columns, options, canvas);
    }
    const std::lock_guard<std::mutex> lock(mutex);
    counts += block.counts();
  };
  vekr_example::onThreads(vekr_example::threadsOrProcessors(options.threads), work);
  return counts;
}
