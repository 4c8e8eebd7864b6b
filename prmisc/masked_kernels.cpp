#include "prmisc/masked_kernels.h"

#include <bit>
#include <limits>

#include "prmisc/masked_groups.h"

namespace vekr::VEKR_ISA {

namespace {

// (eps D) t + O, or (t D) eps + O in the four-wide form: callers depend on the order of each [C39].
template <RayForm form, int N>
Vec3<N> hitPoint(Vec3<N> origin, Vec3<N> direction, Float<N> t, Float<N> eps) {
  const Float<N> first = form == RayForm::fourWide ? t : eps;
  const Float<N> second = form == RayForm::fourWide ? eps : t;
  return {(first * direction.x) * second + origin.x, (first * direction.y) * second + origin.y,
          (first * direction.z) * second + origin.z};
}

// `originOf(rays)` gives the origins of a group.
template <RayForm form, class OriginOf>
VEKR_FLATTEN void hitPoints(const OriginOf &originOf, ConstPlanes directions, const float *pDistances,
                            const int32_t *pMask, Planes points, int32_t length, float eps) {
  forMaskedGroups(
      pMask, length,
      [=]<int N, class There>(RayGroup<N, There> rays) {
        const Vec3<N> point =
            hitPoint<form, N>(originOf(rays), rays.load(directions), rays.load(pDistances), eps);
        rays.store(kept(rays.alive, point), points);
      },
      [=]<int N>(Lanes<N>, int64_t i) { clearPlanes<N>(points, i); });
}

template <RayForm form>
VEKR_FLATTEN void addMulMul(const float *pScale, const float *pFactor, ConstPlanes colours,
                            const int32_t *pMask, Planes accumulators, int32_t length) {
  const float scale[3] = {pScale[0], pScale[1], pScale[2]};
  forMaskedGroups(
      pMask, length,
      [=]<int N, class There>(RayGroup<N, There> rays) {
        const Float<N> factor = rays.load(pFactor);
        const auto sum = [&](float s, Float<N> colour, Float<N> before) {
          const Float<N> share = form == RayForm::fourWide ? (colour * factor) * s : (s * colour) * factor;
          return select(rays.alive, share + before, before);
        };
        const Vec3<N> colour = rays.load(colours), before = rays.load(accumulators);
        rays.storeAlive({sum(scale[0], colour.x, before.x), sum(scale[1], colour.y, before.y),
                         sum(scale[2], colour.z, before.z)},
                        accumulators);
      },
      []<int N>(Lanes<N>, int64_t) {});
}

template <RayForm form>
VEKR_FLATTEN void distAttenuation(const float *pLight, ConstPlanes points, const int32_t *pMask,
                                  float *pDistance, int32_t length) {
  const float light[3] = {pLight[0], pLight[1], pLight[2]};
  forMaskedGroups(
      pMask, length,
      [=]<int N, class There>(RayGroup<N, There> rays) {
        const Vec3<N> toPoint = rays.load(points) - broadcast3<N>(light);
        const Float<N> s = kept(rays.alive, dot(toPoint, toPoint));
        // The order of the operands decides what a NaN gives: NaN in the plain form, 1.0 in the four-wide
        // one [C41].
        const Float<N> atLeastOne =
            form == RayForm::fourWide ? maxOf(s, Float<N>(1.0f)) : maxOf(Float<N>(1.0f), s);
        rays.store(sqrtOf(atLeastOne), pDistance);
      },
      [=]<int N>(Lanes<N>, int64_t i) { fillGroup<N>(pDistance, i, 1.0f); });
}

}  // namespace

VEKR_FLATTEN void ownHitPoint3DEpsS0_32f_M(const float *pOrigin, const float *const *pDirections,
                                           const float *pDistances, const int32_t *pMask,
                                           float *const *pHitPoints, int32_t length, float eps,
                                           RayForm form) {
  const float origin[3] = {pOrigin[0], pOrigin[1], pOrigin[2]};
  const auto originOf = [=]<int N, class There>(RayGroup<N, There>) { return broadcast3<N>(origin); };
  const auto run = form == RayForm::fourWide ? hitPoints<RayForm::fourWide, decltype(originOf)>
                                             : hitPoints<RayForm::plain, decltype(originOf)>;
  run(originOf, pDirections, pDistances, pMask, pHitPoints, length, eps);
}

VEKR_FLATTEN void ownHitPoint3DEpsM0_32f_M(const float *const *pOrigins, const float *const *pDirections,
                                           const float *pDistances, const int32_t *pMask,
                                           float *const *pHitPoints, int32_t length, float eps,
                                           RayForm form) {
  const ConstPlanes origins = pOrigins;
  const auto originOf = [=]<int N, class There>(RayGroup<N, There> rays) { return rays.load(origins); };
  const auto run = form == RayForm::fourWide ? hitPoints<RayForm::fourWide, decltype(originOf)>
                                             : hitPoints<RayForm::plain, decltype(originOf)>;
  run(originOf, pDirections, pDistances, pMask, pHitPoints, length, eps);
}

VEKR_FLATTEN void ownDot_32f_P3C1M(const float *const *pSrc0, const float *const *pSrc1, const int32_t *pMask,
                                   float *pDot, int32_t length) {
  const ConstPlanes src0 = pSrc0, src1 = pSrc1;
  forMaskedGroups(
      pMask, length,
      [=]<int N, class There>(RayGroup<N, There> rays) {
        rays.store(kept(rays.alive, dot(rays.load(src0), rays.load(src1))), pDot);
      },
      [=]<int N>(Lanes<N>, int64_t i) { fillGroup<N>(pDot, i, 0.0f); });
}

VEKR_FLATTEN void ownDotChangeNorm_32f_IM(const float *const *pDirections, const int32_t *pMask,
                                          float *const *pNormals, float *pDot, int32_t length) {
  const ConstPlanes directions = pDirections;
  const Planes normals = pNormals;
  forMaskedGroups(
      pMask, length,
      [=]<int N, class There>(RayGroup<N, There> rays) {
        const Vec3<N> normal = rays.load(normals);
        const Float<N> d = kept(rays.alive, dot(rays.load(directions), normal));
        const Mask<N> away = d > Float<N>(0.0f);
        rays.storeAlive(
            {negatedWhere(away, normal.x), negatedWhere(away, normal.y), negatedWhere(away, normal.z)},
            pNormals);
        rays.store(negatedWhere(away, d), pDot);
      },
      [=]<int N>(Lanes<N>, int64_t i) { fillGroup<N>(pDot, i, 0.0f); });
}

VEKR_FLATTEN void ownMul_32f_C1IM(const float *pSrc, const int32_t *pMask, float *pSrcDst, int32_t length) {
  forMaskedGroups(
      pMask, length,
      [=]<int N, class There>(RayGroup<N, There> rays) {
        rays.store(kept(rays.alive, rays.load(pSrcDst) * rays.load(pSrc)), pSrcDst);
      },
      [=]<int N>(Lanes<N>, int64_t i) { fillGroup<N>(pSrcDst, i, 0.0f); });
}

VEKR_FLATTEN void ownMul_32f_C1P3IM(const float *pSrc, const int32_t *pMask, float *const *pSrcDst,
                                    int32_t length) {
  const Planes products = pSrcDst;
  forMaskedGroups(
      pMask, length,
      [=]<int N, class There>(RayGroup<N, There> rays) {
        const Float<N> factor = rays.load(pSrc);
        const Vec3<N> before = rays.load(products);
        rays.store(kept(rays.alive, Vec3<N>{before.x * factor, before.y * factor, before.z * factor}),
                   products);
      },
      [=]<int N>(Lanes<N>, int64_t i) { clearPlanes<N>(products, i); });
}

VEKR_FLATTEN void ownDiv_32f_C1IM(const float *pSrc, const int32_t *pMask, float *pSrcDst, int32_t length) {
  constexpr float infinity = std::numeric_limits<float>::infinity();
  constexpr float indefinite = std::bit_cast<float>(0xffc00000u);  // the NaN of 0 / 0, also for NaN / 0 [C42]
  forMaskedGroups(
      pMask, length,
      [=]<int N, class There>(RayGroup<N, There> rays) {
        const Float<N> zero(0.0f);
        const Float<N> p = rays.load(pSrcDst);
        const Float<N> q = rays.load(pSrc);
        const Float<N> byZero = select(p > zero, infinity, select(p < zero, -infinity, Float<N>(indefinite)));
        rays.store(kept(rays.alive, select(q == zero, byZero, p / q)), pSrcDst);
      },
      [=]<int N>(Lanes<N>, int64_t i) { fillGroup<N>(pSrcDst, i, 0.0f); });
}

VEKR_FLATTEN void ownAddMulMul_32f_AC1P3IM(const float *pScale, const float *pFactor,
                                           const float *const *pColour, const int32_t *pMask,
                                           float *const *pAccumulator, int32_t length, RayForm form) {
  const auto run = form == RayForm::fourWide ? addMulMul<RayForm::fourWide> : addMulMul<RayForm::plain>;
  run(pScale, pFactor, pColour, pMask, pAccumulator, length);
}

VEKR_FLATTEN void ownDistAttenuationSO_32f_M(const float *pLight, const float *const *pPoints,
                                             const int32_t *pMask, float *pDistance, int32_t length,
                                             RayForm form) {
  const auto run =
      form == RayForm::fourWide ? distAttenuation<RayForm::fourWide> : distAttenuation<RayForm::plain>;
  run(pLight, pPoints, pMask, pDistance, length);
}

}  // namespace vekr::VEKR_ISA
