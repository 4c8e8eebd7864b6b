#include "camera.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>

#include "standard_streams.h"

namespace {

constexpr double kDegree = std::numbers::pi / 180;

Point cross(const Point &a, const Point &b) {
  return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

double length(const Point &a) { return std::hypot(a[0], a[1], a[2]); }

// At right angles to `back`, with the picture's top towards `up` as far as that goes.
void stand(View &view, const Point &up) {
  constexpr double kParallel = 1e-9;
  view.right = cross(up, view.back);
  for (const Point &other : {Point{0, 0, -1}, Point{1, 0, 0}}) {
    if (length(view.right) > kParallel) break;
    view.right = cross(other, view.back);
  }
  const double size = length(view.right);
  for (double &part : view.right) part /= size;
  view.down = cross(view.right, view.back);
}

bool isFinite(const Point &p) { return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]); }

std::string listOf(const std::vector<FileCamera> &cameras) {
  std::string list;
  for (size_t i = 0; i < std::min<size_t>(cameras.size(), 20); ++i) {
    list += (i > 0 ? ", " : "") + std::to_string(i + 1) + " '" + cameras[i].name + "'";
  }
  return list + (cameras.size() > 20 ? ", ..." : "");
}

const FileCamera &find(const std::string &wanted, const std::vector<FileCamera> &cameras) {
  if (cameras.empty()) throw vekr_example::UsageError("--camera: the mesh file has no camera");
  for (const FileCamera &camera : cameras) {
    if (camera.name == wanted) return camera;
  }
  char *end = nullptr;
  const long number = std::strtol(wanted.c_str(), &end, 10);
  if (*end == 0 && number >= 1 && number <= static_cast<long>(cameras.size())) {
    return cameras[static_cast<size_t>(number - 1)];
  }
  throw vekr_example::UsageError("--camera: the mesh file has no camera '" + wanted + "' but " +
                                 listOf(cameras));
}

}  // namespace

View orbitView(const ViewOptions &options, float radius, float height, double turn) {
  const double yaw = (options.yaw + turn) * kDegree, pitch = options.pitch * kDegree;
  View view;
  view.back = {std::cos(pitch) * std::sin(yaw), std::sin(pitch), std::cos(pitch) * std::cos(yaw)};
  view.right = {std::cos(yaw), 0, -std::sin(yaw)};
  view.down = cross(view.right, view.back);
  const double halfAngle = options.field.value_or(kField) / 2 * kDegree;
  const double distance = radius / std::sin(halfAngle) / options.zoom;
  for (size_t c = 0; c < 3; ++c) view.eye[c] = (c == 1 ? height : 0) + distance * view.back[c];
  view.tangent = std::tan(halfAngle);
  view.side = View::smaller;
  return view;
}

View fixedView(const ViewOptions &options, const Mesh &mesh, Axis up, const Placement &placement,
               const Point &middle) {
  const auto placed = [&](const Point &p) { return placement(up == Axis::z ? Point{p[0], p[2], -p[1]} : p); };
  View view;
  Point towards, above = {0, 1, 0};
  view.tangent = std::tan(options.field.value_or(kField) / 2 * kDegree);
  view.side = View::smaller;
  if (options.eye) {
    view.eye = placed(*options.eye);
    const Point at = options.lookAt ? placed(*options.lookAt) : middle;
    for (size_t c = 0; c < 3; ++c) towards[c] = at[c] - view.eye[c];
    if (!(length(towards) > 0)) throw vekr_example::UsageError("--eye and --look-at are the same point");
  } else {
    const FileCamera &camera = find(options.fileCamera, mesh.cameras);
    view.eye = placement(camera.position);
    towards = camera.towards;
    above = camera.up;
    constexpr double kNarrowest = 0.1 * kDegree, kWidest = 170 * kDegree;
    const bool sensible = camera.horizontal >= kNarrowest && camera.horizontal <= kWidest;
    if (!options.field && sensible) {
      view.tangent = std::tan(camera.horizontal / 2);
      view.side = View::width;
      if (camera.aspect > 0.01 && camera.aspect < 100) {
        view.tangent /= camera.aspect;
        view.side = View::height;
      }
    }
  }
  const double size = length(towards);
  if (!isFinite(view.eye) || !isFinite(towards) || !isFinite(above) || !(size > 0)) {
    throw vekr_example::UsageError("the camera has no place or no direction");
  }
  for (size_t c = 0; c < 3; ++c) view.back[c] = -towards[c] / size;
  stand(view, above);
  return view;
}

Camera makeCamera(const View &view, int columns, int rows) {
  const int across = view.side == View::width    ? columns
                     : view.side == View::height ? rows
                                                 : std::min(columns, rows);
  const double step = 2 * view.tangent / across;
  Camera camera;
  for (size_t c = 0; c < 3; ++c) {
    camera.eye[c] = static_cast<float>(view.eye[c]);
    camera.stepX[c] = static_cast<float>(step * view.right[c]);
    camera.stepY[c] = static_cast<float>(step * view.down[c]);
    camera.corner[c] = static_cast<float>(-view.back[c] - step * (columns - 1) / 2 * view.right[c] -
                                          step * (rows - 1) / 2 * view.down[c]);
  }
  return camera;
}
