// Scalar twins of the packet forms: every lane is an entry of a plain array, every decision a loop over the lanes.
// They take the packet's way whatever the alignment of the arrays; width and height are multiples of four.
#pragma once

#include <cstdint>

#include "vekr.h"

namespace vekr_reference {

// How often a twin has come to the places that tests are after.
struct PacketPlaces {
  int64_t narrowCalls = 0;      // kernel calls with one row
  int64_t wideCalls = 0;        // kernel calls with two rows
  int64_t clippedAway = 0;      // kernel calls in which no lane was left to start with
  int64_t skippedTiles = 0;     // tiles passed over for their distances or masks
  int64_t mailboxSkips = 0;     // triangles not tested again
  int64_t woken = 0;            // lanes active after a leaf that had dropped out before
  int64_t seeds = 0;            // calls whose seed search found a triangle
  int64_t cacheHits = 0;        // lanes blocked by the cached triangle
  int64_t rowShortcuts = 0;     // tiles whose last two rows were not tested against the cached triangle
  int64_t cachedTiles = 0;      // tiles that needed no walk thanks to the cached triangle
  int64_t cacheRefreshes = 0;   // wide calls that left a triangle in the cache
  int64_t cacheClears = 0;      // wide calls that left none where there was one
  int64_t overwritten = 0;      // blocked lanes that got another triangle's number
  int64_t zeroed = 0;           // blocked lanes whose number was replaced by 0
  int64_t fullyBlocked = 0;     // kernel calls ended by their last live lane
  int64_t deadRaysBlocked = 0;  // blocked lanes that came in with a negative mask
  int64_t memoryRefusals = 0;   // hits refused because a lane remembers the triangle
  int64_t idleLayers = 0;       // layers walked with no lane alive
  int64_t layers = 0;           // layers begun
};

void packetIntersectEyeSO(const float *origin, const float *const *directions, float *distances,
                          float *const *hits, int32_t *hitTriangles, const VekrIntersectScene *scene,
                          VekrBlockSize size, PacketPlaces *places);
void packetIntersectMO(const float *const *origins, const float *const *directions, float *distances,
                       float *const *hits, int32_t *hitTriangles, const VekrIntersectScene *scene,
                       VekrBlockSize size, PacketPlaces *places);
void packetIntersectAnySO(const float *origin, const float *const *directions, int32_t *occluders,
                          int32_t *mask, VekrBlockSize size, const VekrIntersectScene *scene,
                          PacketPlaces *places);
void packetIntersectMultipleSO(const float *origin, const float *const *directions, float *distances,
                               float *const *hits, int32_t *hitTriangles, const VekrIntersectScene *scene,
                               VekrVolumeSize volume, PacketPlaces *places);

}  // namespace vekr_reference
