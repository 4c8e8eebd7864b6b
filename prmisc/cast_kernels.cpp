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
      [=]<int N>(int64_t i, Mask<N> alive) {
        const Vec3<N> in = loadPlanes<N>(incident, i);
        const Vec3<N> normal = loadPlanes<N>(normals, i);
        // The two forms sum in different orders; callers depend on each [C36].
        const Float<N> s = form == RayForm::fourWide ? dot(in, normal)
                                                     : (in.y * normal.y + in.z * normal.z) + normal.x * in.x;
        const Float<N> twice = s + s;
        const Vec3<N> out = in - Vec3<N>{twice * normal.x, twice * normal.y, twice * normal.z};
        storePlanes(reflected, i, kept(alive, out));
      },
      [=]<int N>(Lanes<N>, int64_t i) { clearPlanes<N>(reflected, i); });
}

// A tenth of a degree in radians: what grazes more is unlit.
constexpr float kGrazing = std::bit_cast<float>(0x3ae4c388u);

// The mask that a dead ray leaves with. Groups of four overwrite it, the rays behind the last group keep
// theirs: callers depend on the difference [C37].
template <int N>
Int<N> maskOfDead(Int<N> before) {
  if constexpr (N == 1) return before.v < 0 ? before : Int<N>(-1);
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
      [=]<int N>(int64_t i, Mask<N> alive) {
        const Vec3<N> toPoint = loadPlanes<N>(points, i) - broadcast3<N>(light);
        const Float<N> d = dot(toPoint, loadPlanes<N>(normals, i));
        const Float<N> sameSide = d * Float<N>::load(pSurfaceDot + i);
        const Mask<N> keep = (sameSide > Float<N>(0.0f)) & alive & (absOf(d) >= Float<N>(kGrazing));
        const Int<N> before = Int<N>::load(pMask + i);
        kept(keep, absOf(d)).store(pLightDot + i);
        storePlanes(shadowDirections, i, kept(keep, toPoint));
        select(keep, before, maskOfDead(before)).store(pMask + i);
      },
      [=]<int N>(Lanes<N>, int64_t i) {
        fillGroup<N>(pLightDot, i, 0.0f);
        clearPlanes<N>(shadowDirections, i);
        maskOfDead(Int<N>::load(pMask + i)).store(pMask + i);
      });
}

}  // namespace vekr::VEKR_ISA
