// Plain scalar twins of the masked arithmetic. Arguments as those of the functions of the same name in vekr.h; `form`
// chooses between the plain loop and the four-wide form where they differ.
#pragma once

#include <cstdint>

#include "reference/form.h"

namespace vekr_reference {

void hitPointS0(Form form, const float *origin, const float *const *directions, const float *distances,
                const int32_t *mask, float *const *points, int32_t length, float eps);
void hitPointM0(Form form, const float *const *origins, const float *const *directions,
                const float *distances, const int32_t *mask, float *const *points, int32_t length, float eps);
void dot(const float *const *a, const float *const *b, const int32_t *mask, float *result, int32_t length);
void dotChangeNorm(const float *const *directions, const int32_t *mask, float *const *normals, float *result,
                   int32_t length);
void mulC1(const float *src, const int32_t *mask, float *srcDst, int32_t length);
void mulC1P3(const float *src, const int32_t *mask, float *const *srcDst, int32_t length);
void divC1(const float *src, const int32_t *mask, float *srcDst, int32_t length);
void addMulMul(Form form, const float *scale, const float *factor, const float *const *colour,
               const int32_t *mask, float *const *accumulator, int32_t length);
void distAttenuation(Form form, const float *light, const float *const *points, const int32_t *mask,
                     float *distance, int32_t length);

}  // namespace vekr_reference
