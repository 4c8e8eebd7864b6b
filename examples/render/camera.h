// Where a picture is seen from.
#pragma once

#include <optional>
#include <string>

#include "mesh.h"

// What vekrCastEye_32f takes.
struct Camera {
  float eye[3];
  float corner[3];  // direction to the picture's first sample
  float stepX[3];   // from sample to sample
  float stepY[3];
};

struct ViewOptions {
  float yaw = 35;    // degrees around the mesh
  float pitch = 22;  // degrees above it
  float zoom = 1;
  std::optional<float> field;        // of view, in degrees, of the picture's smaller side; kField if not told
  std::optional<Point> eye, lookAt;  // in the file's coordinates
  std::string fileCamera;            // by name, or by number from 1 on; empty: none
};
constexpr float kField = 40;

// A place to look from: unit vectors to the right, down and back, and the tangent of half the field of view.
struct View {
  Point eye, right, down, back;
  double tangent;
  enum Side { smaller, width, height } side;  // that the tangent is of
};

// A view of the sphere of the given radius around (0, height, 0), from `turn` degrees further around it.
View orbitView(const ViewOptions &options, float radius, float height, double turn = 0);

// From options.eye, or by a camera of the file. `turned`: turns points of the file so that y is up, as it has been done with
// the mesh, which `placement` has moved; `middle`: what is looked at unless options tell. Throws a UsageError.
View fixedView(const ViewOptions &options, const Mesh &mesh, Axis up, const Placement &placement,
               const Point &middle);

// For a picture of so many samples.
Camera makeCamera(const View &view, int columns, int rows);
