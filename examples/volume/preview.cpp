#include "preview.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <vector>

#include "png_image.h"
#include "sampling.h"

namespace vekr_example {

namespace {

constexpr int kGap = 6;        // pixels between panels
constexpr int kLargest = 400;  // pixels of a panel's longer side, at most
constexpr uint8_t kGround = 32;

// Panel p shows the axes a and b at the middle of the third one; `b` points up.
struct Panel {
  int a, b, through;
};
constexpr std::array<Panel, 3> kPanels = {{{0, 1, 2}, {0, 2, 1}, {1, 2, 0}}};

// Black and white: the values that all but one in 200 voxels lie between.
std::array<double, 2> windowOf(const Volume &v) {
  std::vector<double> some;
  const size_t stride = v.count() / 200000 + 1;
  const auto width = static_cast<size_t>(v.size().width), height = static_cast<size_t>(v.size().height);
  for (size_t i = 0; i < v.count(); i += stride) {
    const size_t row = i / width;
    some.push_back(v.valueAt({static_cast<int32_t>(i % width), static_cast<int32_t>(row % height),
                              static_cast<int32_t>(row / height)}));
  }
  if (some.empty()) return {0, 1};
  const auto at = [&](double share) {
    const auto place =
        some.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(some.size() - 1));
    std::nth_element(some.begin(), place, some.end());
    return *place;
  };
  const double black = at(0.005), white = at(0.995);
  return {black, white > black ? white : black + 1};
}

// Pixels of a panel for a scale in pixels a millimetre.
std::array<int, 2> pixels(const Volume &v, const Panel &panel, double scale) {
  const auto side = v.grid.sides();
  const auto mm = v.grid.spacing();
  const auto of = [&](int axis) {
    const auto a = static_cast<size_t>(axis);
    return std::max(1, static_cast<int>(std::lround(side[a] * mm[a] * scale)));
  };
  return {of(panel.a), of(panel.b)};
}

void draw(const Volume &v, const Panel &panel, double scale, const std::array<double, 2> &window, int left,
          int top, Image &image) {
  const auto size = pixels(v, panel, scale);
  const auto side = v.grid.sides();
  const auto a = static_cast<size_t>(panel.a), b = static_cast<size_t>(panel.b),
             c = static_cast<size_t>(panel.through);
  for (int row = 0; row < size[1]; ++row) {
    for (int column = 0; column < size[0]; ++column) {
      std::array<int32_t, 3> at;
      at[a] = static_cast<int32_t>(int64_t(column) * side[a] / size[0]);
      at[b] = static_cast<int32_t>(int64_t(size[1] - 1 - row) * side[b] / size[1]);
      at[c] = side[c] / 2;
      const double grey = (v.valueAt(at) - window[0]) / (window[1] - window[0]);
      *image.at(left + column, top + row) = static_cast<uint8_t>(std::clamp(grey, 0.0, 1.0) * 255 + 0.5);
    }
  }
}

// What the result has become at each place less what was there, on the result's grid.
Volume differenceOf(const Volume &before, const Volume &after) {
  Volume there(before.type, after.grid), difference(VoxelType::f32, after.grid);
  there.biased = before.biased;
  Sampling sampling;
  sampling.code = vekrInterLinear;
  const std::optional<Affine> back = inverseOf(before.grid.toWorld);
  if (back && before.type != VoxelType::s16) {
    sampleAffine(before, there, *back * after.grid.toWorld, sampling);
  } else if (before.grid.sides() == after.grid.sides()) {
    there = before;  // filtered: the grid is the same
  }
  for (int32_t z = 0; z < after.size().depth; ++z) {
    for (int32_t y = 0; y < after.size().height; ++y) {
      for (int32_t x = 0; x < after.size().width; ++x)
        difference.row<float>(y, z)[x] =
            static_cast<float>(after.valueAt({x, y, z}) - there.valueAt({x, y, z}));
    }
  }
  return difference;
}

}  // namespace

void writePreview(const Volume &before, const Volume &after, bool withDifference, OutputFile &output) {
  std::vector<const Volume *> shown = {&before, &after};
  std::optional<Volume> difference;
  if (withDifference) shown.push_back(&difference.emplace(differenceOf(before, after)));
  // One scale for all, by the finest voxel, unless that makes the picture too large.
  double scale = 0, longest = 0;
  for (const Volume *v : shown) {
    for (size_t axis = 0; axis < 3; ++axis) {
      scale = std::max(scale, 1 / v->grid.spacing()[axis]);
      longest = std::max(longest, v->grid.sides()[axis] * v->grid.spacing()[axis]);
    }
  }
  scale = std::min(scale, kLargest / longest);
  std::array<int, 3> widths = {};
  std::vector<int> heights(shown.size());
  int height = kGap;
  for (size_t row = 0; row < shown.size(); ++row) {
    for (size_t p = 0; p < 3; ++p) {
      const auto size = pixels(*shown[row], kPanels[p], scale);
      widths[p] = std::max(widths[p], size[0]);
      heights[row] = std::max(heights[row], size[1]);
    }
    height += heights[row] + kGap;
  }
  Image image(widths[0] + widths[1] + widths[2] + 4 * kGap, height, 1);
  std::fill(image.data(), image.data() + size_t(image.width()) * size_t(image.height()), kGround);
  const auto window = windowOf(before);
  const double reach = (window[1] - window[0]) / 2;
  int top = kGap;
  for (size_t row = 0; row < shown.size(); ++row) {
    int left = kGap;
    for (size_t p = 0; p < 3; ++p) {
      draw(*shown[row], kPanels[p], scale, row < 2 ? window : std::array<double, 2>{-reach, reach}, left, top,
           image);
      left += widths[p] + kGap;
    }
    top += heights[row] + kGap;
  }
  image.write(output);
}

}  // namespace vekr_example
