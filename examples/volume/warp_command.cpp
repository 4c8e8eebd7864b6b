// vekr-volume warp: turns, scales and moves a volume, or puts it through any affine matrix.
#include <array>
#include <cmath>
#include <fstream>
#include <memory>

#include "arguments.h"
#include "commands.h"
#include "nifti_file.h"
#include "options.h"
#include "standard_streams.h"

namespace vekr_example {

namespace {

// Three rows of four, from voxel coordinates of the source to those of the result.
using Matrix = std::array<double, 12>;

Matrix operator*(const Matrix &a, const Matrix &b) {
  Matrix product;
  for (size_t row = 0; row < 3; ++row) {
    for (size_t column = 0; column < 4; ++column) {
      double sum = column == 3 ? a[4 * row + 3] : 0;
      for (size_t k = 0; k < 3; ++k) sum += a[4 * row + k] * b[4 * k + column];
      product[4 * row + column] = sum;
    }
  }
  return product;
}

Matrix scaled(const std::array<double, 3> &s) { return {s[0], 0, 0, 0, 0, s[1], 0, 0, 0, 0, s[2], 0}; }
Matrix moved(const std::array<double, 3> &t) { return {1, 0, 0, t[0], 0, 1, 0, t[1], 0, 0, 1, t[2]}; }

Matrix turned(size_t axis, double degrees) {
  const double angle = degrees * std::acos(-1.0) / 180, c = std::cos(angle), s = std::sin(angle);
  const size_t u = (axis + 1) % 3, v = (axis + 2) % 3;
  Matrix m = scaled({1, 1, 1});
  m[4 * u + u] = c;
  m[4 * u + v] = -s;
  m[4 * v + u] = s;
  m[4 * v + v] = c;
  return m;
}

Matrix readMatrix(const std::string &path) {
  if (const std::string reason = whyUnreadable(path); !reason.empty())
    throw std::runtime_error(path + ": " + reason);
  std::ifstream file(path);
  if (!file) throw std::runtime_error(path + ": cannot be read");
  Matrix m;
  for (double &entry : m) {
    if (!(file >> entry)) throw std::runtime_error(path + ": must hold 12 numbers, three rows of four");
  }
  std::string rest;
  if (file >> rest) throw std::runtime_error(path + ": holds more than 12 numbers");
  return m;
}

struct WarpCommand {
  FileOptions files;
  InterpolationOption interpolation;
  RegionOption region;
  std::array<double, 3> rotate = {0, 0, 0}, translate = {0, 0, 0};
  std::vector<double> scale = {1};
  std::string matrixFile;

  // In millimetres about the middle of the volume, and from there to voxels.
  Matrix matrixFor(const Volume &v) const {
    if (!matrixFile.empty()) return readMatrix(matrixFile);
    const std::array<double, 3> mm = {std::fabs(v.header->dx), std::fabs(v.header->dy),
                                      std::fabs(v.header->dz)};
    const std::array<double, 3> middle = {(v.size.width - 1) / 2.0, (v.size.height - 1) / 2.0,
                                          (v.size.depth - 1) / 2.0};
    const std::array<double, 3> factors = scale.size() == 1
                                              ? std::array<double, 3>{scale[0], scale[0], scale[0]}
                                              : std::array<double, 3>{scale[0], scale[1], scale[2]};
    return moved(middle) * scaled({1 / mm[0], 1 / mm[1], 1 / mm[2]}) * moved(translate) *
           turned(2, rotate[2]) * turned(1, rotate[1]) * turned(0, rotate[0]) * scaled(factors) * scaled(mm) *
           moved({-middle[0], -middle[1], -middle[2]});
  }

  // The library takes no matrix with an empty diagonal, whether it has an inverse or not.
  static void refusePermutation(const Matrix &m) {
    constexpr double kEmpty = 1e-100;
    if (std::fabs(m[0]) > kEmpty || std::fabs(m[5]) > kEmpty || std::fabs(m[10]) > kEmpty) return;
    throw std::runtime_error(
        "the matrix has nothing but zeros on its diagonal, as a permutation of axes has: such a one is not "
        "taken");
  }

  // Whether the image of the source misses the result's box.
  static bool leaves(const Volume &v, const Matrix &m) {
    const std::array<int32_t, 3> side = {v.size.width, v.size.height, v.size.depth};
    for (size_t row = 0; row < 3; ++row) {
      double low = m[4 * row + 3], high = low;
      for (size_t k = 0; k < 3; ++k) {
        const double reach = m[4 * row + k] * (side[k] - 1);
        (reach < 0 ? low : high) += reach;
      }
      if (high < 0 || low > side[row] - 1) return true;
    }
    return false;
  }

  // What lay at a place in millimetres stays there: the header follows the data.
  static void follow(Volume &v, const Matrix &m) {
    mat44 forward = {};
    for (int row = 0; row < 3; ++row) {
      for (int column = 0; column < 4; ++column) {
        forward.m[row][column] = static_cast<float>(m[static_cast<size_t>(4 * row + column)]);
      }
    }
    forward.m[3][3] = 1;
    const mat44 back = nifti_mat44_inverse(forward), before = v.toWorld();
    mat44 after = {};
    for (int row = 0; row < 4; ++row) {
      for (int column = 0; column < 4; ++column) {
        for (int k = 0; k < 4; ++k) after.m[row][column] += before.m[row][k] * back.m[k][column];
      }
    }
    setToWorld(v, after);
  }

  template <class T, class Warp>
  void warp(const Warp &function, Volume &src, Volume &dst, const Matrix &matrix,
            Stopwatch &stopwatch) const {
    const auto from = src.planes<const T>();
    const auto to = dst.planes<T>();
    forPlaneRuns("warp", dst.size.depth, [&](int32_t z, int32_t planes) {
      check(stopwatch.time([&] {
        return function(from.data(), src.size, src.step(), region.boxOf(src), to.data(), dst.step(),
                        {0, 0, z, dst.size.width, dst.size.height, planes}, matrix.data(),
                        interpolation.code);
      }));
    });
  }

  void run() {
    Volume src = files.read();
    const Matrix matrix = matrixFor(src);
    refusePermutation(matrix);
    Volume dst(src.type, src.size, src.header.get());
    Stopwatch stopwatch;
    switch (src.type) {
      case VoxelType::u8:
        warp<uint8_t>(vekrWarpAffine_8u_C1PV, src, dst, matrix, stopwatch);
        break;
      case VoxelType::u16:
        warp<uint16_t>(vekrWarpAffine_16u_C1PV, src, dst, matrix, stopwatch);
        break;
      case VoxelType::f32:
        warp<float>(vekrWarpAffine_32f_C1PV, src, dst, matrix, stopwatch);
        break;
      case VoxelType::s16:  // as which nothing has been read
        break;
    }
    if (leaves(src, matrix))
      throw std::runtime_error("the transform moves all of the volume out of the result");
    follow(dst, matrix);
    stopwatch.report(dst, std::string("warp, ") + interpolation.name());
    files.write(src, dst);
  }
};

}  // namespace

void addWarpCommand(CLI::App &app) {
  auto options = std::make_shared<WarpCommand>();
  CLI::App &command = *app.add_subcommand("warp", "Turns, scales and moves a volume about its middle");
  options->files.addTo(command);
  options->interpolation.addTo(command);
  options->region.addTo(command);
  command.add_option("--rotate", options->rotate, "X,Y,Z: degrees about each axis, in this order")
      ->delimiter(',')
      ->check(numberFrom(-36000, 36000));
  command.add_option("--scale", options->scale, "FACTOR or X,Y,Z: above 1 enlarges")
      ->delimiter(',')
      ->expected(1, 3)
      ->check([](const std::string &text) {
        const auto within = numberFrom(1e-3, 1e3);  // the library takes no matrix that scales by much less
        const bool mirrors = !text.empty() && text[0] == '-';
        return within(mirrors ? text.substr(1) : text);
      });
  command.add_option("--translate", options->translate, "X,Y,Z: millimetres, after all else")
      ->delimiter(',')
      ->check(numberFrom(-1e6, 1e6));
  command
      .add_option("--matrix", options->matrixFile,
                  "File of 12 numbers, three rows of four, from source voxels to result voxels; instead of "
                  "the others")
      ->excludes("--rotate", "--scale", "--translate");
  command.callback([options] {
    if (options->scale.size() == 2) throw UsageError("--scale takes one number or three");
    options->run();
  });
}

}  // namespace vekr_example
