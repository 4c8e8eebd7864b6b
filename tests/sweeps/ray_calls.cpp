// Trees, records, intersection, casting, masked arithmetic and normals.
#include "tests/sweeps/call.h"

namespace vekr_test {
namespace {

constexpr int32_t kTriangles = 3, kVertices = 9;

struct MeshArrays {
  explicit MeshArrays(Arena &arena)
      : vertices(arena.floats(3 * kVertices)), indices(arena.array<int32_t>(4 * kTriangles)) {
    for (int32_t i = 0; i < kTriangles; ++i) {
      for (int32_t k = 0; k < 3; ++k) indices[4 * i + k] = 3 * i + k;
    }
  }
  float *vertices;
  int32_t *indices;
};

// A tree in an array of its own, flush like the others.
VekrIntersectScene *sceneOf(Arena &arena, const MeshArrays &mesh) {
  float *const box = arena.array<float>(6);
  vekrSetBoundBox_32f(mesh.vertices, kVertices, box);
  auto *const records = arena.array<VekrTriangleAccel>(kTriangles);
  vekrTriangleAccelInit(records, mesh.vertices, mesh.indices, kTriangles);
  const VekrSimpleBuildContext context = {vekrSimpleBuildIdentifier, 0};
  VekrKDTreeNode *tree = nullptr;
  int32_t size = 0;
  vekrKDTreeBuildAlloc(&tree, mesh.vertices, mesh.indices, kVertices, kTriangles, &size, &context);
  auto *const root = arena.array<VekrKDTreeNode>((size + 7) / 8);
  std::memcpy(root, tree, static_cast<size_t>(size));
  vekrKDTreeFree(tree);
  auto *const scene = arena.array<VekrIntersectScene>(1);
  *scene = {box, records, root};
  return scene;
}

VekStatus buildAndFree(VekrKDTreeNode **tree, const float *vertices, const int32_t *indices,
                       int32_t vertexCount, int32_t triangleCount, int32_t *size, const void *context) {
  VekrKDTreeNode *const before = tree ? *tree : nullptr;
  const VekStatus status =
      vekrKDTreeBuildAlloc(tree, vertices, indices, vertexCount, triangleCount, size, context);
  if (status == vekOk) {
    vekrKDTreeFree(*tree);
    *tree = before;  // an address is no result to compare
  }
  return status;
}

void addIntersection(Calls &calls, Arena &arena, const MeshArrays &mesh) {
  const VekrIntersectScene *const scene = sceneOf(arena, mesh);
  const int32_t width = arena.n(), height = 4, depth = 3;
  const int64_t rays = int64_t{width} * height;
  float **const origins = arena.planes(3, rays), **const directions = arena.planes(3, rays);
  float **const weights = arena.planes(2, rays * depth);
  float *const origin = arena.floats(3), *const distances = arena.filled<float>(rays * depth, 1e6f);
  int32_t *const triangles = arena.array<int32_t>(rays * depth), *const mask = arena.array<int32_t>(rays);
  const VekrBlockSize size = {width, height};
  const auto idleBlock = [](auto &call, auto member, auto get) {
    for (const int32_t value : kBelowOne) {
      call.add(
          vekOk, [=](auto &a) { get(a).*member = value; }, true);
    }
  };
  auto &many = calls.of("vekrIntersectMO_32f", vekrIntersectMO_32f, origins, directions, distances, weights,
                        triangles, scene, size);
  auto &eye = calls.of("vekrIntersectEyeSO_32f", vekrIntersectEyeSO_32f, origin, directions, distances,
                       weights, triangles, scene, size);
  auto &any = calls.of("vekrIntersectAnySO_32f", vekrIntersectAnySO_32f, origin, directions, triangles, mask,
                       size, scene);
  auto &multiple = calls.of("vekrIntersectMultipleSO_32f", vekrIntersectMultipleSO_32f, origin, directions,
                            distances, weights, triangles, scene, {width, height, depth});
  for (const auto member : {&VekrBlockSize::width, &VekrBlockSize::height}) {
    idleBlock(many, member, [](auto &a) -> VekrBlockSize & { return std::get<6>(a); });
    idleBlock(eye, member, [](auto &a) -> VekrBlockSize & { return std::get<6>(a); });
    idleBlock(any, member, [](auto &a) -> VekrBlockSize & { return std::get<4>(a); });
  }
  for (const auto member : {&VekrVolumeSize::width, &VekrVolumeSize::height}) {
    idleBlock(multiple, member, [](auto &a) -> VekrVolumeSize & { return std::get<6>(a); });
  }
}

}  // namespace

void addMeshCalls(Calls &calls, Arena &arena) {
  const MeshArrays mesh(arena);
  auto *const tree = arena.array<VekrKDTreeNode *>(1);
  int32_t *const size = arena.array<int32_t>(1);
  // In the order of the documentation: the context is looked at behind the counts.
  const auto build = [&](const char *name, const void *context) -> auto & {
    return calls
        .of(name, buildAndFree, tree, mesh.vertices, mesh.indices, kVertices, kTriangles, size, context)
        .null<0, 1, 2, 5>()
        .bad<3>(vekErrSize, kBelowZero)
        .template bad<4>(vekErrSize, kBelowZero)
        .template null<6>();
  };
  const auto other = [&](auto context) {
    auto *const copy = arena.array<decltype(context)>(1);
    *copy = context;
    return static_cast<const void *>(copy);
  };
  const VekrSimpleBuildContext simple = {vekrSimpleBuildIdentifier, 0};
  auto &simpleCall = build("vekrKDTreeBuildAlloc", other(simple));
  simpleCall.bad<6>(vekErrContext, std::initializer_list<const void *>{other(int32_t{7})});
  for (const int32_t depth : {-1, 51, INT32_MAX, INT32_MIN}) {
    simpleCall.bad<6>(vekErrRange, std::initializer_list<const void *>{
                                       other(VekrSimpleBuildContext{vekrSimpleBuildIdentifier, depth})});
  }
  const VekrPSAHBuildContext psah = {vekrPSAHBuildIdentifier, 20, 0.5f, -1, nullptr};
  auto &call = build("vekrKDTreeBuildAlloc", other(psah));
  const auto with = [&](VekStatus status, auto change) {
    VekrPSAHBuildContext context = psah;
    change(context);
    call.bad<6>(status, std::initializer_list<const void *>{other(context)});
  };
  for (const int32_t depth : {-1, 51, INT32_MAX, INT32_MIN}) {
    with(vekErrRange, [&](auto &c) { c.maxDepth = depth; });
  }
  for (const float bias : {-1e-42f, -1.0f, 1.0000001f, __builtin_inff(), -__builtin_inff()}) {
    with(vekErrRange, [&](auto &c) { c.splitBias = bias; });
  }
  for (const int32_t limit : {0, 1, 31}) with(vekErrMemAlloc, [&](auto &c) { c.memoryLimitMB = limit; });
  for (const int32_t limit : {33, 48, 80}) with(vekErrTreeBuild, [&](auto &c) { c.memoryLimitMB = limit; });
  for (const float bias : {0.0f, -0.0f, 1e-42f, 1.0f, __builtin_nanf("")}) {
    with(vekOk, [&](auto &c) { c.splitBias = bias; });
  }
  for (const int32_t limit : {81, INT32_MAX, -2, INT32_MIN}) {
    with(vekOk, [&](auto &c) { c.memoryLimitMB = limit; });
  }

  auto *const records = arena.array<VekrTriangleAccel>(kTriangles);
  calls.of("vekrTriangleAccelGetSize", vekrTriangleAccelGetSize, size).null<0>();
  calls.of("vekrTriangleAccelInit", vekrTriangleAccelInit, records, mesh.vertices, mesh.indices, kTriangles)
      .idle<3>();
  calls.of("vekrSetBoundBox_32f", vekrSetBoundBox_32f, mesh.vertices, kVertices, arena.array<float>(6))
      .null<0>()
      .fine<1>(kBelowOne);
  calls
      .of("vekrTriangleNormal_32f", vekrTriangleNormal_32f, mesh.vertices, mesh.indices,
          arena.array<float>(3 * kTriangles), kTriangles)
      .null<0, 1, 2>()
      .idle<3>();
  addIntersection(calls, arena, mesh);
}

void addRayCalls(Calls &calls, Arena &arena) {
  const int32_t n = arena.n(), triangles = 3;
  float **const a = arena.planes(3, n), **const b = arena.planes(3, n), **const out = arena.planes(3, n);
  float **const hits = arena.planes(2, n);
  float *const s = arena.floats(n), *const dot = arena.floats(n), *const point = arena.floats(3);
  int32_t *const mask = arena.array<int32_t>(n);
  for (int32_t i = 0; i < n; ++i) mask[i] = i % 4 - 1;
  float *const corner = arena.floats(3), *const stepX = arena.floats(3), *const stepY = arena.floats(3);

  auto &eye = calls.of("vekrCastEye_32f", vekrCastEye_32f, corner, stepX, stepY, 4, 4, {1, 2}, a, {n, 1})
                  .null<6>()
                  .fine<3>(std::initializer_list<int32_t>{0, -1, INT32_MAX, INT32_MIN})
                  .fine<4>(std::initializer_list<int32_t>{0, -1, INT32_MAX, INT32_MIN});
  for (const auto member : {&VekrBlockSize::width, &VekrBlockSize::height}) {
    for (const int32_t value : kBelowOne) {
      eye.add(
          vekOk, [=](auto &x) { std::get<7>(x).*member = value; }, true);
    }
  }
  calls.of("vekrCastReflectionRay_32f", vekrCastReflectionRay_32f, a, mask, b, out, n)
      .null<0, 1, 2, 3>()
      .idle<4>();
  calls.of("vekrCastShadowSO_32f", vekrCastShadowSO_32f, point, s, a, b, mask, dot, out, n)
      .null<1, 2, 3, 4, 6, 5>()
      .idle<7>();
  calls.of("vekrHitPoint3DEpsS0_32f_M", vekrHitPoint3DEpsS0_32f_M, point, a, s, mask, out, n, 0.5f)
      .null<2, 3, 1, 4>()
      .idle<5>()
      .anyFloat<6>();
  calls.of("vekrHitPoint3DEpsM0_32f_M", vekrHitPoint3DEpsM0_32f_M, b, a, s, mask, out, n, 0.5f)
      .null<2, 3, 1, 4, 0>()
      .idle<5>()
      .anyFloat<6>();
  calls.of("vekrDot_32f_P3C1M", vekrDot_32f_P3C1M, a, b, mask, dot, n).null<0, 1, 2, 3>().idle<4>();
  calls.of("vekrDotChangeNorm_32f_IM", vekrDotChangeNorm_32f_IM, a, mask, b, dot, n)
      .null<0, 1, 2, 3>()
      .idle<4>();
  calls.of("vekrMul_32f_C1IM", vekrMul_32f_C1IM, s, mask, dot, n).idle<3>();
  calls.of("vekrMul_32f_C1P3IM", vekrMul_32f_C1P3IM, s, mask, out, n).null<0, 1, 2>().idle<3>();
  calls.of("vekrDiv_32f_C1IM", vekrDiv_32f_C1IM, s, mask, dot, n).null<0, 2>().idle<3>();
  calls.of("vekrAddMulMul_32f_AC1P3IM", vekrAddMulMul_32f_AC1P3IM, point, s, a, mask, out, n)
      .null<1, 2, 3, 4>()
      .idle<5>();
  calls.of("vekrDistAttenuationSO_32f_M", vekrDistAttenuationSO_32f_M, point, a, mask, dot, n)
      .null<1, 2, 3>()
      .idle<4>();
  float *const normals = arena.floats(3 * triangles);
  calls.of("vekrSurfFlatNormal_32f", vekrSurfFlatNormal_32f, normals, mask, out, n).null<0, 1>().idle<3>();
  int32_t *const indices = arena.array<int32_t>(4 * triangles);
  for (int32_t i = 0; i < 4 * triangles; ++i) indices[i] = i % 3;
  calls.of("vekrSurfSmoothNormal_32f", vekrSurfSmoothNormal_32f, normals, indices, mask, hits, out, n, 4)
      .null<0, 1, 2, 3, 4>()
      .idle<5>()
      .fine<6>(std::initializer_list<int32_t>{0, 1, 2, 3});
}

}  // namespace vekr_test
