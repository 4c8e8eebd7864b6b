// All arrays that the four intersection functions take, for one block of rays.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "support/arrays.h"
#include "support/values.h"
#include "vekr.h"

namespace vekr_test {

// An array with guard words at an address of 64 * n + offset, or, with offset kAtPageEnd, flush against an
// unreadable page.
inline constexpr int kAtPageEnd = -1;

template <class T>
class RayArray {
 public:
  RayArray(size_t count, int offset) : count_(count) {
    if (offset == kAtPageEnd) {
      page_ = std::make_unique<PageEnd<T>>(count);
    } else {
      guarded_ = std::make_unique<Guarded<T>>(count, static_cast<size_t>(offset));
    }
  }
  T *data() const { return page_ ? page_->data() : guarded_->data(); }
  T &operator[](size_t i) const { return data()[i]; }
  size_t size() const { return count_; }
  bool intact() const { return !guarded_ || guarded_->intact(); }
  void copyFrom(const RayArray &other) { std::copy_n(other.data(), count_, data()); }
  void fill(T value) { std::fill_n(data(), count_, value); }

 private:
  size_t count_;
  std::unique_ptr<PageEnd<T>> page_;
  std::unique_ptr<Guarded<T>> guarded_;
};

// The arrays by number, for those who misalign them.
enum RayArrayNumber {
  kOriginX,
  kOriginY,
  kOriginZ,
  kDirectionX,
  kDirectionY,
  kDirectionZ,
  kDistances,
  kHits0,
  kHits1,
  kHitTriangles,
  kOccluders,
  kMask,
  kRayArrays
};

struct RayLayout {
  int misaligned = -1;  // number of the array that stands `by` bytes off; -1: none
  int by = 4;
  int others = 0;  // offset of the other arrays from a multiple of 64: 0, 16, 32, 48 or kAtPageEnd

  int offsetOf(int number) const {
    return number == misaligned ? (others == kAtPageEnd ? 0 : others) + by : others;
  }
};

struct RayBlock {
  // Result arrays hold `planes` planes, but at least one.
  RayBlock(VekrBlockSize blockSize, int32_t planes = 1, RayLayout layout = {})
      : size(blockSize),
        rays(static_cast<size_t>(blockSize.width) * static_cast<size_t>(blockSize.height)),
        pointOrigin(3, kAtPageEnd),
        distances(rays * static_cast<size_t>(planes), layout.offsetOf(kDistances)),
        triangles(rays * static_cast<size_t>(planes), layout.offsetOf(kHitTriangles)),
        occluders(rays, layout.offsetOf(kOccluders)),
        mask(rays, layout.offsetOf(kMask)) {
    for (int a = 0; a < 3; ++a) {
      origins.emplace_back(rays, layout.offsetOf(kOriginX + a));
      directions.emplace_back(rays, layout.offsetOf(kDirectionX + a));
      originList[a] = origins.back().data();
      directionList[a] = directions.back().data();
    }
    for (int h = 0; h < 2; ++h) {
      hits.emplace_back(rays * static_cast<size_t>(planes), layout.offsetOf(kHits0 + h));
      hitList[h] = hits.back().data();
      for (size_t i = 0; i < hits.back().size(); ++i) hits.back()[i] = -7.5f - static_cast<float>(h);
    }
    for (size_t i = 0; i < distances.size(); ++i) distances[i] = -123.0f;
    triangles.fill(777);
    occluders.fill(888);
    mask.fill(0);
  }

  void copyFrom(const RayBlock &other) {
    pointOrigin.copyFrom(other.pointOrigin);
    for (size_t a = 0; a < 3; ++a) {
      origins[a].copyFrom(other.origins[a]);
      directions[a].copyFrom(other.directions[a]);
    }
    distances.copyFrom(other.distances);
    hits[0].copyFrom(other.hits[0]);
    hits[1].copyFrom(other.hits[1]);
    triangles.copyFrom(other.triangles);
    occluders.copyFrom(other.occluders);
    mask.copyFrom(other.mask);
  }

  bool intact() const {
    return pointOrigin.intact() && distances.intact() && triangles.intact() && occluders.intact() &&
           mask.intact() && hits[0].intact() && hits[1].intact() &&
           std::all_of(origins.begin(), origins.end(), [](const auto &a) { return a.intact(); }) &&
           std::all_of(directions.begin(), directions.end(), [](const auto &a) { return a.intact(); });
  }

  VekrBlockSize size;
  size_t rays;
  RayArray<float> pointOrigin;
  std::vector<RayArray<float>> origins, directions, hits;
  RayArray<float> distances;
  RayArray<int32_t> triangles, occluders, mask;
  const float *originList[3];
  const float *directionList[3];
  float *hitList[2];
};

// Whether all arrays hold the same bits, inputs included, and nothing was written around those of `actual`.
inline ::testing::AssertionResult sameBlocks(const RayBlock &actual, const RayBlock &expected) {
  const auto compare = [](const char *name, const auto &a, const auto &e) {
    const auto result = sameArrays(a, e, std::min(a.size(), e.size()));
    return result ? result : ::testing::AssertionFailure() << name << ", " << result.message();
  };
  for (size_t a = 0; a < 3; ++a) {
    if (auto r = compare("origins", actual.origins[a], expected.origins[a]); !r) return r;
    if (auto r = compare("directions", actual.directions[a], expected.directions[a]); !r) return r;
  }
  if (auto r = compare("triangles", actual.triangles, expected.triangles); !r) return r;
  if (auto r = compare("distances", actual.distances, expected.distances); !r) return r;
  if (auto r = compare("first weights", actual.hits[0], expected.hits[0]); !r) return r;
  if (auto r = compare("second weights", actual.hits[1], expected.hits[1]); !r) return r;
  if (auto r = compare("occluders", actual.occluders, expected.occluders); !r) return r;
  if (auto r = compare("mask", actual.mask, expected.mask); !r) return r;
  if (!actual.intact()) return ::testing::AssertionFailure() << "something was written outside the arrays";
  return ::testing::AssertionSuccess();
}

// The four functions on such a block.
inline VekStatus runEye(const RayBlock &b, const VekrIntersectScene &scene) {
  return vekrIntersectEyeSO_32f(b.pointOrigin.data(), b.directionList, b.distances.data(), b.hitList,
                                b.triangles.data(), &scene, b.size);
}
inline VekStatus runMO(const RayBlock &b, const VekrIntersectScene &scene) {
  return vekrIntersectMO_32f(b.originList, b.directionList, b.distances.data(), b.hitList, b.triangles.data(),
                             &scene, b.size);
}
inline VekStatus runAny(const RayBlock &b, const VekrIntersectScene &scene) {
  return vekrIntersectAnySO_32f(b.pointOrigin.data(), b.directionList, b.occluders.data(), b.mask.data(),
                                b.size, &scene);
}
inline VekStatus runMultiple(const RayBlock &b, const VekrIntersectScene &scene, int32_t depth) {
  return vekrIntersectMultipleSO_32f(b.pointOrigin.data(), b.directionList, b.distances.data(), b.hitList,
                                     b.triangles.data(), &scene, {b.size.width, b.size.height, depth});
}

}  // namespace vekr_test
