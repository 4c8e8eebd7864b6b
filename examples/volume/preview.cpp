#include "preview.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "png_image.h"

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

std::array<int32_t, 3> sides(const Volume &v) { return {v.size.width, v.size.height, v.size.depth}; }

std::array<double, 3> spacing(const Volume &v) {
  return {std::fabs(double(v.header->dx)), std::fabs(double(v.header->dy)), std::fabs(double(v.header->dz))};
}

double valueAt(const Volume &v, const std::array<int32_t, 3> &at) {
  const size_t i =
      (static_cast<size_t>(at[2]) * static_cast<size_t>(v.size.height) + static_cast<size_t>(at[1])) *
          static_cast<size_t>(v.size.width) +
      static_cast<size_t>(at[0]);
  double value = 0;
  withVoxelType(v.type, [&]<class T>() { value = static_cast<double>(v.data<T>()[i]); });
  return std::isfinite(value) ? value : 0;
}

// Black and white: the values that all but one in 200 voxels lie between.
std::array<double, 2> windowOf(const Volume &v) {
  std::vector<float> some;
  const size_t stride = v.count() / 200000 + 1;
  withVoxelType(v.type, [&]<class T>() {
    for (size_t i = 0; i < v.count(); i += stride) {
      const float value = static_cast<float>(v.data<T>()[i]);
      if (std::isfinite(value)) some.push_back(value);
    }
  });
  if (some.empty()) return {0, 1};
  const auto at = [&](double share) {
    const auto place =
        some.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(some.size() - 1));
    std::nth_element(some.begin(), place, some.end());
    return double(*place);
  };
  const double black = at(0.005), white = at(0.995);
  return {black, white > black ? white : black + 1};
}

// Pixels of a panel for a scale in pixels a millimetre.
std::array<int, 2> pixels(const Volume &v, const Panel &panel, double scale) {
  const auto side = sides(v);
  const auto mm = spacing(v);
  const auto of = [&](int axis) {
    const auto a = static_cast<size_t>(axis);
    return std::max(1, static_cast<int>(std::lround(side[a] * mm[a] * scale)));
  };
  return {of(panel.a), of(panel.b)};
}

void draw(const Volume &v, const Panel &panel, double scale, const std::array<double, 2> &window, int left,
          int top, Image &image) {
  const auto size = pixels(v, panel, scale);
  const auto side = sides(v);
  const auto a = static_cast<size_t>(panel.a), b = static_cast<size_t>(panel.b),
             c = static_cast<size_t>(panel.through);
  for (int row = 0; row < size[1]; ++row) {
    for (int column = 0; column < size[0]; ++column) {
      std::array<int32_t, 3> at;
      at[a] = static_cast<int32_t>(int64_t(column) * side[a] / size[0]);
      at[b] = static_cast<int32_t>(int64_t(size[1] - 1 - row) * side[b] / size[1]);
      at[c] = side[c] / 2;
      const double grey = (valueAt(v, at) - window[0]) / (window[1] - window[0]);
      *image.at(left + column, top + row) = static_cast<uint8_t>(std::clamp(grey, 0.0, 1.0) * 255 + 0.5);
    }
  }
}

}  // namespace

void writePreview(const Volume &before, const Volume &after, OutputFile &output) {
  // One scale for all, by the finest voxel, unless that makes the picture too large.
  double scale = 0, longest = 0;
  for (const Volume *v : {&before, &after}) {
    for (size_t axis = 0; axis < 3; ++axis) {
      scale = std::max(scale, 1 / spacing(*v)[axis]);
      longest = std::max(longest, sides(*v)[axis] * spacing(*v)[axis]);
    }
  }
  scale = std::min(scale, kLargest / longest);
  std::array<int, 3> widths = {};
  std::array<int, 2> heights = {};
  for (size_t row = 0; row < 2; ++row) {
    for (size_t p = 0; p < 3; ++p) {
      const auto size = pixels(row == 0 ? before : after, kPanels[p], scale);
      widths[p] = std::max(widths[p], size[0]);
      heights[row] = std::max(heights[row], size[1]);
    }
  }
  Image image(widths[0] + widths[1] + widths[2] + 4 * kGap, heights[0] + heights[1] + 3 * kGap, 1);
  std::fill(image.data(), image.data() + size_t(image.width()) * size_t(image.height()), kGround);
  const auto window = windowOf(before);
  for (size_t row = 0; row < 2; ++row) {
    int left = kGap;
    for (size_t p = 0; p < 3; ++p) {
      draw(row == 0 ? before : after, kPanels[p], scale, window, left,
           row == 0 ? kGap : heights[0] + 2 * kGap, image);
      left += widths[p] + kGap;
    }
  }
  image.write(output);
}

}  // namespace vekr_example
