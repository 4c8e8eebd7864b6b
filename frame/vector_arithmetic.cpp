#include "frame/vector_arithmetic.h"

#include <cstring>

#include "frame/checks.h"

namespace vekr {
namespace {

// Byte counts are formed in 32 bits, unsigned: lengths up to 2^30 - 1 words are meant.
template <class T>
uint32_t bytesOf(int32_t len) {
  return static_cast<uint32_t>(len) * static_cast<uint32_t>(sizeof(T));
}

void ownsCopy_8u(const void *pSrc1, void *pDst, uint32_t bytes) { std::memcpy(pDst, pSrc1, bytes); }

void ownsZero_8u(void *pDst, uint32_t bytes) { std::memset(pDst, 0, bytes); }

template <class T>
VekStatus copy(const T *pSrc1, T *pDst, int32_t len) {
  if (anyNull(pSrc1, pDst)) return vekErrNullPtr;
  if (len < 1) return vekErrSize;
  ownsCopy_8u(pSrc1, pDst, bytesOf<T>(len));
  return vekOk;
}

template <class T>
VekStatus zero(T *pDst, int32_t len) {
  if (anyNull(pDst)) return vekErrNullPtr;
  if (len < 1) return vekErrSize;
  ownsZero_8u(pDst, bytesOf<T>(len));
  return vekOk;
}

// Four running sums, side by side.
struct Lanes {
  float sum[4] = {0.0f, 0.0f, 0.0f, 0.0f};

  void addProducts(const float *a, const float *b) {
    for (int i = 0; i < 4; ++i) sum[i] += a[i] * b[i];
  }
  void add(const Lanes &other) {
    for (int i = 0; i < 4; ++i) sum[i] += other.sum[i];
  }
  float total() const { return (sum[0] + sum[1]) + (sum[2] + sum[3]); }
};

// Below this length two-element steps do.
constexpr int32_t kShortProduct = 16;

float shortDotProduct(const float *a, const float *b, int32_t len) {
  float even = 0.0f, odd = 0.0f;
  int32_t i = 0;
  for (; i + 2 <= len; i += 2) {
    even += a[i] * b[i];
    odd += a[i + 1] * b[i + 1];
  }
  float sum = even + odd;
  if (i < len) sum += a[i] * b[i];
  return sum;
}

// What the wide steps leave over: groups of four into the first accumulator, then, with the lanes added up, element by
// element.
float finishDotProduct(Lanes &first, const Lanes &others, const float *a, const float *b, int32_t i,
                       int32_t len) {
  for (; i + 4 <= len; i += 4) first.addProducts(a + i, b + i);
  first.add(others);
  float sum = first.total();
  for (; i < len; ++i) sum += a[i] * b[i];
  return sum;
}

// Elements up to the common 16-byte boundary go into the first lane, then 16 elements a step.
float alignedDotProduct(const float *a, const float *b, int32_t len) {
  Lanes acc[4];
  int32_t i = 0;
  for (; (reinterpret_cast<uintptr_t>(a + i) & (kVectorAlignment - 1)) != 0; ++i)
    acc[0].sum[0] += a[i] * b[i];
  for (; i + 16 <= len; i += 16) {
    for (int k = 0; k < 4; ++k) acc[k].addProducts(a + i + 4 * k, b + i + 4 * k);
  }
  acc[2].add(acc[3]);
  acc[1].add(acc[2]);
  return finishDotProduct(acc[0], acc[1], a, b, i, len);
}

// No common boundary: one step of four elements, then 12 a step.
float skewedDotProduct(const float *a, const float *b, int32_t len) {
  Lanes acc[3];
  acc[0].addProducts(a, b);
  int32_t i = 4;
  for (; i + 12 <= len; i += 12) {
    for (int k = 0; k < 3; ++k) acc[k].addProducts(a + i + 4 * k, b + i + 4 * k);
  }
  acc[1].add(acc[2]);
  return finishDotProduct(acc[0], acc[1], a, b, i, len);
}

bool haveCommonBoundary(const float *a, const float *b) {
  const uintptr_t first = reinterpret_cast<uintptr_t>(a), second = reinterpret_cast<uintptr_t>(b);
  return ((first ^ second) & (kVectorAlignment - 1)) == 0 && (first & (sizeof(float) - 1)) == 0;
}

}  // namespace

VekStatus veksCopy_32f(const float *pSrc1, float *pDst, int32_t len) { return copy(pSrc1, pDst, len); }
VekStatus veksCopy_32s(const int32_t *pSrc1, int32_t *pDst, int32_t len) { return copy(pSrc1, pDst, len); }
VekStatus veksZero_16s(int16_t *pDst, int32_t len) { return zero(pDst, len); }
VekStatus veksZero_32f(float *pDst, int32_t len) { return zero(pDst, len); }

VekStatus veksAdd_32f_I(const float *pSrc1, float *pSrcDst, int32_t len) {
  if (anyNull(pSrc1, pSrcDst)) return vekErrNullPtr;
  if (len < 1) return vekErrSize;
  for (int32_t i = 0; i < len; ++i) pSrcDst[i] += pSrc1[i];
  return vekOk;
}

VekStatus veksDotProd_32f(const float *pSrc1, const float *pSrc2, int32_t len, float *pDp) {
  if (anyNull(pSrc1, pSrc2, pDp)) return vekErrNullPtr;
  if (len < 1) return vekErrSize;
  *pDp = len < kShortProduct                ? shortDotProduct(pSrc1, pSrc2, len)
         : haveCommonBoundary(pSrc1, pSrc2) ? alignedDotProduct(pSrc1, pSrc2, len)
                                            : skewedDotProduct(pSrc1, pSrc2, len);
  return vekOk;
}

VekStatus veksMulC_32f(const float *pSrc1, float val, float *pDst, int32_t len) {
  if (anyNull(pSrc1, pDst)) return vekErrNullPtr;
  if (len < 1) return vekErrSize;
  if (val == 1.0f) return veksCopy_32f(pSrc1, pDst, len);
  if (val == 0.0f) return veksZero_32f(pDst, len);
  for (int32_t i = 0; i < len; ++i) pDst[i] = pSrc1[i] * val;
  return vekOk;
}

VekStatus veksMulC_32f_I(float val, float *pSrcDst, int32_t len) {
  if (anyNull(pSrcDst)) return vekErrNullPtr;
  if (len < 1) return vekErrSize;
  if (val == 1.0f) return vekOk;
  if (val == 0.0f) return veksZero_32f(pSrcDst, len);
  for (int32_t i = 0; i < len; ++i) pSrcDst[i] *= val;
  return vekOk;
}

}  // namespace vekr
