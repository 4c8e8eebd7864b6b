#include "prmisc/cast_kernels.h"

#include <bit>

#include "prmisc/masked_groups.h"

namespace vekr::VEKR_ISA {

namespace {

// Each ray by itself: (y stepY + corner) + x stepX.
VEKR_FLATTEN void castEyePlain(const EyeGrid &grid, float *const *pDirections, VekrBlockSize size) {
  for (int32_t row = 0; row < size.height; ++row) {
    const float y = grid.y0 + static_cast<float>(row);
    const int64_t rowStart = static_cast<int64_t>(row) * size.width;
    for (int c = 0; c < 3; ++c) {
      const float start = y * grid.stepY[c] + grid.corner[c];
      forGroups(0, size.width, [=]<int N>(Lanes<N>, int64_t column) {
        const Float<N> x = grid.x0 + countedFrom<N>(static_cast<int32_t>(column));
        (start + x * grid.stepX[c]).store(pDirections[c] + rowStart + column);
      });
    }
  }
}

// Row starts accumulate by addition, from row to row [C34].
VEKR_FLATTEN void castEyeFourWide(const EyeGrid &grid, float *const *pDirections, VekrBlockSize size) {
  for (int c = 0; c < 3; ++c) {
    float start = (grid.stepY[c] * grid.y0 + grid.corner[c]) + grid.stepX[c] * grid.x0;
    float *out = pDirections[c];
    for (int32_t row = 0; row < size.height; ++row, out += size.width, start += grid.stepY[c]) {
      forGroups(0, size.width, [=]<int N>(Lanes<N>, int64_t column) {
        (start + Float<N>(grid.stepX[c]) * countedFrom<N>(static_cast<int32_t>(column))).store(out + column);
      });
    }
  }
}

template <RayForm form>
VEKR_FLATTEN void castReflection(ConstPlanes incident, const int32_t *pMask, ConstPlanes normals,
                                 Planes reflected, int32_t length) {
  forMaskedGroups(
      pMask, length,
      [=]<int N, class There>(RayGroup<N, There> rays) {
        const Vec3<N> in = rays.load(incident);
        const Vec3<N> normal = rays.load(normals);
        // The two forms sum in different orders; callers depend on each [C36].
        const Float<N> s = form == RayForm::fourWide ? dot(in, normal)
                                                     : (in.y * normal.y + in.z * normal.z) + normal.x * in.x;
        const Float<N> twice = s + s;
        const Vec3<N> out = in - Vec3<N>{twice * normal.x, twice * normal.y, twice * normal.z};
        rays.store(kept(rays.alive, out), reflected);
      },
      [=]<int N>(Lanes<N>, int64_t i) { clearPlanes<N>(reflected, i); });
}

// A tenth of a degree in radians: what grazes more is unlit.
constexpr float kGrazing = std::bit_cast<float>(0x3ae4c388u);

// The mask that a dead ray leaves with. Groups of four overwrite it, the rays behind the last group keep
// theirs: callers depend on the difference [C37].
template <int N, class There>
Int<N> maskOfDead(RayGroup<N, There> rays, Int<N> before) {
  if constexpr (RayGroup<N, There>::kEndsInSingles)
    return select(isNegative(before) & rays.singles(), before, Int<N>(-1));
  return Int<N>(-1);
}

}  // namespace

VEKR_FLATTEN void ownCastEye(const EyeGrid &grid, float *const *pDirections, VekrBlockSize size,
                             RayForm form) {
  (form == RayForm::fourWide ? castEyeFourWide : castEyePlain)(grid, pDirections, size);
}

VEKR_FLATTEN void ownCastReflectionRay_32f(const float *const *pIncident, const int32_t *pMask,
                                           const float *const *pNormals, float *const *pReflected,
                                           int32_t length, RayForm form) {
  const auto run =
      form == RayForm::fourWide ? castReflection<RayForm::fourWide> : castReflection<RayForm::plain>;
  run(pIncident, pMask, pNormals, pReflected, length);
}

VEKR_FLATTEN void ownCastShadowSO_32f(const float *pLight, const float *pSurfaceDot,
                                      const float *const *pNormals, const float *const *pPoints,
                                      int32_t *pMask, float *pLightDot, float *const *pShadowDirections,
                                      int32_t length) {
  const float light[3] = {pLight[0], pLight[1], pLight[2]};
  const ConstPlanes points = pPoints, normals = pNormals;
  const Planes shadowDirections = pShadowDirections;
  forMaskedGroups(
      pMask, length,
      [=]<int N, class There>(RayGroup<N, There> rays) {
        const Vec3<N> toPoint = rays.load(points) - broadcast3<N>(light);
        const Float<N> d = dot(toPoint, rays.load(normals));
        const Float<N> sameSide = d * rays.load(pSurfaceDot);
        const Mask<N> keep = (sameSide > Float<N>(0.0f)) & rays.alive & (absOf(d) >= Float<N>(kGrazing));
        const Int<N> before = rays.loadMask(pMask);
        rays.store(kept(keep, absOf(d)), pLightDot);
        rays.store(kept(keep, toPoint), shadowDirections);
        rays.store(select(keep, before, maskOfDead(rays, before)), pMask);
      },
      [=]<int N>(Lanes<N>, int64_t i) {
        fillGroup<N>(pLightDot, i, 0.0f);
        clearPlanes<N>(shadowDirections, i);
        const RayGroup<N, AllOf> rays = {i, {}, {}};
        rays.store(maskOfDead(rays, rays.loadMask(pMask)), pMask);
      });
}

}  // namespace vekr::VEKR_ISA
