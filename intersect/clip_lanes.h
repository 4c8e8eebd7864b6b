// Clips rays to the scene's box, as clipToBox() does, a ray in each lane.
#pragma once

#include <algorithm>

#include "intersect/clip.h"
#include "intersect/lane_walk.h"

namespace vekr::VEKR_ISA {

// What a block of rays is given, and how far it has been taken.
struct RaySource {
  const float *const *origins;  // planes, or, for EyeRays, one float each
  const float *const *directions;
  const float *box;
  const float *limits;
  int64_t rays;
  int64_t at;
};

// The next rays, `started(first, count)` of them, whose limits are read after that; false if there are none.
template <class Kind, class Started>
bool setUpClipped(RaySource &source, RaysInRow &to, const Started &started) {
  constexpr bool kHasOrigins = std::is_same_v<Kind, ManyOriginRays>;
  using F = Float<kPrepared>;
  const int64_t at = source.at, count = std::min<int64_t>(source.rays - at, kPrepared);
  if (count <= 0) return false;
  for (int c = 0; c < 3; ++c) {
    (kHasOrigins ? loadGroup(source.origins[c] + at, count) : F(*source.origins[c])).store(to.origin[c]);
    loadGroup(source.directions[c] + at, count).store(to.direction[c]);
  }
  started(at, count);
  const F best = loadGroup(source.limits + at, count);
  F near(0.0f), far = best;
  Mask<kPrepared> isLost = maskOfBits<kPrepared>(0);
  for (int c = 0; c < 3; ++c) {
    const F o = F::load(to.origin[c]), d = F::load(to.direction[c]), inverse = F(1.0f) / d;
    const Mask<kPrepared> isParallel = absOf(d) <= F(kParallel), isDownward = !(F(0.0f) <= d);
    const F low(source.box[c]), high(source.box[3 + c]);
    const F t0 = kHasOrigins ? (low - o) * inverse : (low - o) / d;
    const F t1 = kHasOrigins ? (high - o) * inverse : (high - o) / d;
    near = select(isParallel, near, maxOf(minOf(t0, t1), near));
    far = select(isParallel, far, minOf(maxOf(t1, t0), far));
    isLost = isLost | ((far < near) & !isParallel);
    if (kHasOrigins) isLost = isLost | (isParallel & !((low < o) & (o < high)));
    // A NaN counts as downward, whatever its sign.
    const F signedInverse = negatedWhere(isDownward, absOf(inverse));
    select(isParallel, F(Kind::kParallelInverse), signedInverse).store(to.inverse[c]);
  }
  near.store(to.near);
  (far + F(kBoxMargin)).store(to.far);
  best.store(to.best);
  to.first = at;
  to.live = static_cast<unsigned>(bits(!isLost)) & ((1u << count) - 1);
  source.at += count;
  return true;
}

}  // namespace vekr::VEKR_ISA
