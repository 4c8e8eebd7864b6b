// Ray casting, hit points, masked arithmetic and surface normals, at lengths and alignments that choose each form.
#include "hashes/rows.h"

namespace hashes {
namespace {

struct Form {
  const char *name;
  int32_t length;
  size_t offset;  // bytes by which the arrays miss an alignment to 64
};
// Kernel forms take the first; the others differ from it in length or in alignment alone.
constexpr Form kForms[] = {{"/kernel", 264, 0}, {"/length", 267, 0}, {"/misaligned", 264, 4}};

// The arrays that the functions of a shading loop take, full of awkward numbers.
struct Rays {
  explicit Rays(const Form &form)
      : n(form.length),
        a(3, static_cast<size_t>(n), form.offset),
        b(3, static_cast<size_t>(n), form.offset),
        out(3, static_cast<size_t>(n), form.offset),
        s(2, static_cast<size_t>(n), form.offset),
        mask(static_cast<size_t>(n), form.offset),
        dot(static_cast<size_t>(n), form.offset) {
    Random random(43);
    const auto next = [&] { return random.hostile(); };
    a.fill(next);
    b.fill(next);
    out.fill(next);
    s.fill(next);
    dot.fill(next);
    mask.fill([&] { return random.below(4) ? random.below(50) : -random.below(3); });
  }
  uint64_t hash(VekStatus status) { return hashOf(status, a, b, out, s, mask, dot); }

  int32_t n;
  Planes<float> a, b, out, s;
  Array<int32_t> mask;
  Array<float> dot;
};

constexpr float kPoint[3] = {0.3f, -1.25f, 2.0f};
constexpr float kEps = 0.9999f;

struct Function {
  const char *name;
  VekStatus (*call)(Rays &r);
};
constexpr Function kFunctions[] = {
    {"cast/reflection",
     [](Rays &r) { return vekrCastReflectionRay_32f(r.a.in(), r.mask.data(), r.b.in(), r.out.list(), r.n); }},
    {"cast/reflection in place",
     [](Rays &r) { return vekrCastReflectionRay_32f(r.a.in(), r.mask.data(), r.b.in(), r.b.list(), r.n); }},
    {"cast/shadow",
     [](Rays &r) {
       return vekrCastShadowSO_32f(kPoint, r.s[0], r.a.in(), r.b.in(), r.mask.data(), r.dot.data(),
                                   r.out.list(), r.n);
     }},
    {"hit point/one origin",
     [](Rays &r) {
       return vekrHitPoint3DEpsS0_32f_M(kPoint, r.a.in(), r.s[0], r.mask.data(), r.out.list(), r.n, kEps);
     }},
    {"hit point/many origins",
     [](Rays &r) {
       return vekrHitPoint3DEpsM0_32f_M(r.b.in(), r.a.in(), r.s[0], r.mask.data(), r.out.list(), r.n, kEps);
     }},
    {"masked/dot",
     [](Rays &r) { return vekrDot_32f_P3C1M(r.a.in(), r.b.in(), r.mask.data(), r.dot.data(), r.n); }},
    {"masked/turn",
     [](Rays &r) {
       return vekrDotChangeNorm_32f_IM(r.a.in(), r.mask.data(), r.b.list(), r.dot.data(), r.n);
     }},
    {"masked/mul", [](Rays &r) { return vekrMul_32f_C1IM(r.s[0], r.mask.data(), r.dot.data(), r.n); }},
    {"masked/mul three",
     [](Rays &r) { return vekrMul_32f_C1P3IM(r.s[0], r.mask.data(), r.out.list(), r.n); }},
    {"masked/div", [](Rays &r) { return vekrDiv_32f_C1IM(r.s[0], r.mask.data(), r.dot.data(), r.n); }},
    {"masked/add",
     [](Rays &r) {
       return vekrAddMulMul_32f_AC1P3IM(kPoint, r.s[0], r.a.in(), r.mask.data(), r.out.list(), r.n);
     }},
    {"masked/attenuation",
     [](Rays &r) { return vekrDistAttenuationSO_32f_M(kPoint, r.a.in(), r.mask.data(), r.dot.data(), r.n); }},
    {"normals/flat",
     [](Rays &r) { return vekrSurfFlatNormal_32f(r.a[0], r.mask.data(), r.out.list(), r.n); }},
};

// The mask's numbers serve as triangle numbers: all below 50.
uint64_t smoothNormals(const Form &form, int32_t stride, bool hostile) {
  Rays r(form);
  Random random(47);
  Array<float> normals(60 * 3, form.offset);
  Array<int32_t> indices(50 * 4, form.offset);
  normals.fill([&] { return hostile ? random.hostile() : random.within(-1.0f, 1.0f); });
  indices.fill([&] { return random.below(60); });
  if (!hostile) r.s.fill([&] { return random.within(0.0f, 0.5f); });
  return r.hash(vekrSurfSmoothNormal_32f(normals.data(), indices.data(), r.mask.data(), r.s.in(),
                                         r.out.list(), r.n, stride));
}

uint64_t eyeRays(int32_t width, bool hostile) {
  Random random(53);
  float corner[3], stepX[3], stepY[3];
  for (float *vector : {corner, stepX, stepY}) {
    for (int i = 0; i < 3; ++i) vector[i] = hostile ? random.hostile() : random.within(-0.1f, 0.1f);
  }
  Hash hash;
  for (const int32_t height : {0, 1, 8, 9}) {
    Planes<float> directions(3, static_cast<size_t>(width * height));
    hash.word(
        hashOf(vekrCastEye_32f(corner, stepX, stepY, 16, 12, {3, -2}, directions.list(), {width, height}),
               directions));
  }
  return hash.value();
}

}  // namespace

void addShadingRows(Rows &rows) {
  for (const int32_t width : {32, 31}) {
    for (const bool hostile : {false, true}) {
      rows.push_back({std::string("cast/eye/") + (width % 4 ? "rows afresh" : "rows in turn") +
                          (hostile ? "/hostile" : ""),
                      false, 0, [=] { return eyeRays(width, hostile); }});
    }
  }
  for (const Form &form : kForms) {
    for (const Function &function : kFunctions) {
      rows.push_back({std::string(function.name) + form.name, false, 0, [&function, &form] {
                        Rays rays(form);
                        const VekStatus status = function.call(rays);
                        return rays.hash(status);
                      }});
    }
    for (const bool hostile : {false, true}) {
      rows.push_back({std::string("normals/smooth") + form.name + (hostile ? "/hostile" : ""),
                      &form == &kForms[0], 0, [&form, hostile] {
                        Hash hash;
                        for (const int32_t stride : {3, 4}) hash.word(smoothNormals(form, stride, hostile));
                        return hash.value();
                      }});
    }
  }
}

}  // namespace hashes
