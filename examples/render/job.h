// What vekr-render does once it knows what is wanted.
#pragma once

#include <string>
#include <vector>

#include "camera.h"
#include "environment.h"
#include "mesh_file.h"
#include "picture.h"
#include "tree_file.h"

// A light by its direction from the mesh's middle.
struct LightOption {
  float yaw, pitch, strength;
  Rgb colour;
};

struct Arguments {
  std::string mesh;
  std::string output;
  std::string saveTree, tree;
  bool quiet = false;
  int turntable = 0;  // frames; 0: one picture
  Floor floor;
  bool noLights = false;
  std::vector<LightOption> lights;  // empty: two of their own, or none where there is a panorama
  float lightSize = 0.4f;           // radius, in radii of the mesh
  ImportOptions importing;
  vekr_example::ReaderLimits importLimits;
  BuildOptions build;
  ViewOptions view;
  PictureOptions picture;
  ShadingOptions shading;
  EnvironmentOptions environment;
};

// Throws a UsageError for arguments that can't be meant together, std::exception for what fails.
void run(Arguments &arguments);
