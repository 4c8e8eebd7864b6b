// Casting, masked arithmetic and normals against their scalar twins: any length, alignment and values.
#include "input.h"
#include "reference/cast_reference.h"
#include "reference/normals_reference.h"
#include "reference/shading_reference.h"

using namespace vekr_fuzz;
using vekr_reference::formOf;

namespace {

struct Rays {
  Rays(Input &in, int32_t length, size_t skip)
      : n(length),
        a(count(), skip),
        b(count(), skip),
        out(count(), skip),
        s(count(), skip),
        dot(count(), skip),
        mask(count(), skip) {
    Random random = in.contents();
    const Numbers kind = in.flag() ? Numbers::any : Numbers::finite;
    const auto next = [&] { return random.number(kind); };
    a.fill(next);
    b.fill(next);
    out.fill(next);
    s.fill(next);
    dot.fill(next);
    mask.fill([&] { return random.below(4) ? random.below(9) : -random.below(3); });
    for (float &p : point) p = in.real(kind);
    eps = in.real(kind);
  }
  size_t count() const { return static_cast<size_t>(n > 0 ? n : 0); }
  friend bool operator==(const Rays &x, const Rays &y) {
    return x.a == y.a && x.b == y.b && x.out == y.out && x.s == y.s && x.dot == y.dot && x.mask == y.mask;
  }
  int32_t n;
  Triple<float> a, b, out;
  Array<float> s, dot;
  Array<int32_t> mask;
  float point[3], eps;
};

void cast(Input &in) {
  const VekrBlockSize size = {in.within(-1, 13), in.within(-1, 9)};
  const auto count = static_cast<size_t>(std::max(size.width, 0) * std::max(size.height, 0));
  float v[9];
  for (float &x : v) x = in.real(Numbers::any);
  const VekrBlockIndex index = {in.within(-3, 3), in.within(-3, 3)};
  const int32_t stepX = in.within(-9, 40), stepY = in.within(-9, 40);
  Triple<float> actual(count, static_cast<size_t>(in.below(4)));
  Triple<float> expected(actual);
  FUZZ_CHECK(vekrCastEye_32f(v, v + 3, v + 6, stepX, stepY, index, actual.list(), size) == vekOk);
  vekr_reference::castEye(v, v + 3, v + 6, stepX, stepY, index, expected.list(), size);
  FUZZ_CHECK(actual == expected);
}

// Normals of nine triangles, numbered as in the mask.
void smooth(Input &in, Rays &x, Rays &y, vekr_reference::Form form, size_t skip) {
  const int32_t stride = in.within(3, 5);
  Array<float> normals(8 * 3, skip);
  Array<int32_t> indices(static_cast<size_t>(9 * stride), skip);
  Random random = in.contents();
  normals.fill([&] { return random.number(Numbers::finite); });
  indices.fill([&] { return random.below(8); });
  FUZZ_CHECK(vekrSurfSmoothNormal_32f(normals.data(), indices.data(), x.mask.data(), x.a.in(), x.out.list(),
                                      x.n, stride) == vekOk);
  vekr_reference::surfSmoothNormal(form, normals.data(), indices.data(), y.mask.data(), y.a.in(),
                                   y.out.list(), y.n, stride);
}

void meshNormals(Input &in) {
  Array<float> vertices(static_cast<size_t>(in.within(1, 20)) * 3, static_cast<size_t>(in.below(4)));
  const int32_t count = static_cast<int32_t>(vertices.size() / 3), triangles = in.within(0, 20);
  Random random = in.contents();
  vertices.fill([&] { return random.number(Numbers::finite); });
  Array<int32_t> indices(static_cast<size_t>(triangles) * 4, static_cast<size_t>(in.below(4)));
  indices.fill([&] { return random.below(count); });
  Array<float> normals(static_cast<size_t>(triangles) * 3, static_cast<size_t>(in.below(4)));
  Array<float> expected(normals), box(6, 0), expectedBox(box);
  FUZZ_CHECK(vekrTriangleNormal_32f(vertices.data(), indices.data(), normals.data(), triangles) == vekOk);
  vekr_reference::triangleNormal(vertices.data(), indices.data(), expected.data(), triangles);
  FUZZ_CHECK(normals == expected);
  FUZZ_CHECK(vekrSetBoundBox_32f(vertices.data(), count, box.data()) == vekOk);
  vekr_reference::setBoundBox(vertices.data(), count, expectedBox.data());
  FUZZ_CHECK(box == expectedBox);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  Input in(data, size);
  const int32_t function = in.below(15), length = in.within(-1, 70);
  const auto skip = static_cast<size_t>(in.below(4) * in.below(2));
  if (function == 13) return cast(in), 0;
  if (function == 14) return meshNormals(in), 0;
  Rays x(in, length, skip), y(x);
  const vekr_reference::Form form = formOf(length, skip % 4 == 0);
  const int32_t n = x.n;
  const auto *m = x.mask.data();
  VekStatus status = vekOk;
  switch (function) {
    case 0:
      status = vekrCastReflectionRay_32f(x.a.in(), m, x.b.in(), x.out.list(), n);
      vekr_reference::castReflectionRay(y.a.in(), m, y.b.in(), y.out.list(), n);
      break;
    case 1:
      status = vekrCastShadowSO_32f(x.point, x.s.data(), x.a.in(), x.b.in(), x.mask.data(), x.dot.data(),
                                    x.out.list(), n);
      vekr_reference::castShadow(y.point, y.s.data(), y.a.in(), y.b.in(), y.mask.data(), y.dot.data(),
                                 y.out.list(), n);
      break;
    case 2:
      status = vekrHitPoint3DEpsS0_32f_M(x.point, x.a.in(), x.s.data(), m, x.out.list(), n, x.eps);
      vekr_reference::hitPointS0(form, y.point, y.a.in(), y.s.data(), m, y.out.list(), n, y.eps);
      break;
    case 3:
      status = vekrHitPoint3DEpsM0_32f_M(x.b.in(), x.a.in(), x.s.data(), m, x.out.list(), n, x.eps);
      vekr_reference::hitPointM0(form, y.b.in(), y.a.in(), y.s.data(), m, y.out.list(), n, y.eps);
      break;
    case 4:
      status = vekrDot_32f_P3C1M(x.a.in(), x.b.in(), m, x.dot.data(), n);
      vekr_reference::dot(y.a.in(), y.b.in(), m, y.dot.data(), n);
      break;
    case 5:
      status = vekrDotChangeNorm_32f_IM(x.a.in(), m, x.b.list(), x.dot.data(), n);
      vekr_reference::dotChangeNorm(y.a.in(), m, y.b.list(), y.dot.data(), n);
      break;
    case 6:
      status = vekrMul_32f_C1IM(x.s.data(), m, x.dot.data(), n);
      vekr_reference::mulC1(y.s.data(), m, y.dot.data(), n);
      break;
    case 7:
      status = vekrMul_32f_C1P3IM(x.s.data(), m, x.out.list(), n);
      vekr_reference::mulC1P3(y.s.data(), m, y.out.list(), n);
      break;
    case 8:
      status = vekrDiv_32f_C1IM(x.s.data(), m, x.dot.data(), n);
      vekr_reference::divC1(y.s.data(), m, y.dot.data(), n);
      break;
    case 9:
      status = vekrAddMulMul_32f_AC1P3IM(x.point, x.s.data(), x.a.in(), m, x.out.list(), n);
      vekr_reference::addMulMul(form, y.point, y.s.data(), y.a.in(), m, y.out.list(), n);
      break;
    case 10:
      status = vekrDistAttenuationSO_32f_M(x.point, x.a.in(), m, x.dot.data(), n);
      vekr_reference::distAttenuation(form, y.point, y.a.in(), m, y.dot.data(), n);
      break;
    case 11: {
      Array<float> normals(27, skip);
      normals.fill([&] { return x.eps; });
      status = vekrSurfFlatNormal_32f(normals.data(), m, x.out.list(), n);
      vekr_reference::surfFlatNormal(normals.data(), m, y.out.list(), n);
      break;
    }
    default:
      smooth(in, x, y, form, skip);
  }
  FUZZ_CHECK(status == vekOk);
  FUZZ_CHECK(x == y);
  return 0;
}
