// Blocks of packets in all four forms, of the library under test and of whatever it is compared with: tiles that hurt, out of a
// hat, most of them with rays of several octants.
#pragma once

#include "intersect/one_ray_forms.h"
#include "reference/packet_reference.h"

namespace vekr_test {

inline RayFunctions packetTwins() {
  namespace twin = vekr_reference;
  return {[](auto o, auto d, auto t, auto h, auto n, auto scene, auto size) {
            twin::PacketPlaces places;
            twin::packetIntersectMO(o, d, t, h, n, scene, size, &places);
            return static_cast<VekStatus>(vekOk);
          },
          [](auto o, auto d, auto t, auto h, auto n, auto scene, auto size) {
            twin::PacketPlaces places;
            twin::packetIntersectEyeSO(o, d, t, h, n, scene, size, &places);
            return static_cast<VekStatus>(vekOk);
          },
          [](auto o, auto d, auto blockers, auto mask, auto size, auto scene) {
            twin::PacketPlaces places;
            twin::packetIntersectAnySO(o, d, blockers, mask, size, scene, &places);
            return static_cast<VekStatus>(vekOk);
          },
          [](auto o, auto d, auto t, auto h, auto n, auto scene, auto volume) {
            twin::PacketPlaces places;
            twin::packetIntersectMultipleSO(o, d, t, h, n, scene, volume, &places);
            return static_cast<VekStatus>(vekOk);
          }};
}

// A tile keeps its hurts to itself: one bad number is enough to have the whole tile traced another way.
inline void fillHostileTiles(RayBlock &block, TracedScene &scene, Random &random) {
  setOrigin(block, originFor(scene, random));
  const bool scattered = random.below(3) > 0;
  if (scattered) scatterOrigins(block, scene, random);
  fillDirections(block, random.below(3) > 0 ? Tiles::anyOctant : Tiles::changing, scene.mesh(), random);
  const auto width = static_cast<size_t>(block.size.width), height = static_cast<size_t>(block.size.height);
  for (size_t y0 = 0; y0 < height; y0 += 4) {
    for (size_t x0 = 0; x0 < width; x0 += 4) {
      const int unwanted = random.below(4);  // of five rays, those without a limit above 0
      const int hurts = random.below(3) > 0 ? 0 : 1 + random.below(3);
      const auto any = [&] {
        return (y0 + static_cast<size_t>(random.below(4))) * width + x0 +
               static_cast<size_t>(random.below(4));
      };
      for (size_t y = y0; y < y0 + 4; ++y) {
        for (size_t x = x0; x < x0 + 4; ++x) {
          static constexpr float kUnwanted[] = {0.0f, -0.0f, -1.0f, -1e30f, -INFINITY};
          const size_t i = y * width + x;
          block.distances[i] = random.below(5) < unwanted ? kUnwanted[random.below(5)]
                               : random.below(3) == 0     ? random.within(0.0f, 3.0f)
                                                          : farLimit(random);
          block.mask[i] = random.below(5) < unwanted ? -1 - random.below(9) : random.below(9);
        }
      }
      for (int hurt = 0; hurt < hurts; ++hurt) {
        const auto axis = static_cast<size_t>(random.below(3));
        switch (random.below(4)) {
          case 0:
            block.distances[any()] = hostileLimit(random);
            break;
          case 1:
            block.origins[axis][any()] = hostileCoordinate(scene, axis, random);
            break;
          case 2:
            block.directions[axis][any()] = random.awkward();
            break;
          default:
            block.directions[axis][any()] = nearlyZero(random);
        }
      }
    }
  }
}

// Tiles of width by height rays, multiples of four, through `scene`, in all four forms.
inline ::testing::AssertionResult blockAgrees(const RayFunctions &actual, const RayFunctions &expected,
                                              TracedScene &scene, VekrBlockSize size, Random &random,
                                              Met &met) {
  const int32_t depth = 1 + random.below(5);
  const VekrIntersectScene traced = scene.get();
  RayBlock before(size, depth);
  fillHostileTiles(before, scene, random);
  return formsAgree(actual, expected, before, traced, depth, met);
}

}  // namespace vekr_test
