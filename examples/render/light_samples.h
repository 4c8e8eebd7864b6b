// Points that light comes from where it doesn't come from one: on discs, and on a dome around the scene.
//
// The library's any-hit queries take segments from one point. So that shadows are soft all the same and not many hard ones over
// each other, a block of rays is split into interleaved groups, every fourth ray of every fourth row, each of which has points
// of its own: neighbours see different ones. A. Keller, W. Heidrich, "Interleaved Sampling", 2001.
#pragma once

#include <array>
#include <vector>

#include "environment.h"
#include "mesh.h"

constexpr int kGroupStep = 4;
constexpr int kGroups = kGroupStep * kGroupStep;

struct Light {
  float position[3];
  float colour[3];
};

struct LightSample {
  float position[3];
  float weight;
};

// `count` points for each group, those of group g from g * count on.
using LightSamples = std::vector<LightSample>;

// On a disc around the light that faces `target`. All weigh the same.
LightSamples sampleDisc(const Light &light, const Point &target, float radius, int count);

// All around the origin, as bright as the environment is there.
LightSamples sampleDome(const Environment &environment, float radius, int count);
