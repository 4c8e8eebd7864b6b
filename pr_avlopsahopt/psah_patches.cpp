#include "pr_avlopsahopt/psah_patches.h"

#include "pr_avlopsahopt/psah_patch.h"

namespace vekr {
namespace {

const float *cornerOf(const VekrBuildState &state, const int32_t *pIndices, int32_t triangle,
                      int32_t corner) {
  return state.vertices.base +
         3 * static_cast<int64_t>(pIndices[4 * static_cast<int64_t>(triangle) + corner]);
}

uint32_t firstWord(int32_t triangle, int32_t vertexCount) {
  return static_cast<uint32_t>(triangle) << kTriangleShift | static_cast<uint32_t>(vertexCount);
}

// The first vertex counts whatever their number is [C102].
void boundVertices(const VekrBuildVertices &vertices, float *pBox) {
  for (int axis = 0; axis < 3; ++axis) pBox[axis] = pBox[axis + 3] = vertices.base[axis];
  for (const float *v = vertices.base; v < vertices.end; v += 3) {
    for (int axis = 0; axis < 3; ++axis) {
      pBox[axis] = v[axis] < pBox[axis] ? v[axis] : pBox[axis];
      pBox[axis + 3] = v[axis] > pBox[axis + 3] ? v[axis] : pBox[axis + 3];
    }
  }
}

// A slab adds at most one vertex for each edge and wall: two an edge. Three slabs make no more than 24 of three
// vertices, even of polygons that rounding or infinities have bent.
constexpr int32_t kMostClippedVertices = 24;
constexpr int32_t kMostMadePoints = 6 + 12 + 24;

struct ClippedPolygon {
  const float *vertices[kMostClippedVertices];
  int32_t count;
};

// Clips polygons against a box, one triangle after the other.
class Clipper {
 public:
  explicit Clipper(const float *pBounds) : bounds_(pBounds) {}

  // Whether a polygon is left of the triangle; `polygon` then holds it, valid until the next call.
  bool clip(ClippedPolygon &polygon) {
    madeCount_ = 0;
    for (int32_t axis = 0; axis < 3; ++axis) {
      ClippedPolygon kept;
      kept.count = 0;
      clipToSlab(polygon, axis, kept);
      if (kept.count < 3) return false;
      polygon = kept;
    }
    return true;
  }

 private:
  // The order of these tests gives the order of the polygon's vertices.
  void clipToSlab(const ClippedPolygon &polygon, int32_t axis, ClippedPolygon &kept) {
    const float lo = bounds_[axis], hi = bounds_[axis + 3];
    for (int32_t i = 0; i < polygon.count; ++i) {
      const float *a = polygon.vertices[i];
      const float *b = polygon.vertices[i + 1 < polygon.count ? i + 1 : 0];
      const float c = a[axis], n = b[axis];
      if (lo <= c && c <= hi) kept.vertices[kept.count++] = a;
      if (n > c) {
        if (lo > c && n > lo) cross(a, b, axis, lo, kept);
        if (hi > c && n > hi) cross(a, b, axis, hi, kept);
      } else {
        if (c > hi && hi > n) cross(a, b, axis, hi, kept);
        if (c > lo && lo > n) cross(a, b, axis, lo, kept);
      }
    }
  }

  void cross(const float *a, const float *b, int32_t axis, float plane, ClippedPolygon &kept) {
    float *point = made_[madeCount_++];
    pointOnEdge(a, b, axis, plane, point);
    kept.vertices[kept.count++] = point;
  }

  const float *bounds_;
  float made_[kMostMadePoints][3];
  int32_t madeCount_ = 0;
};

// Vertices that clipping made move from the clipper's buffer to the point pool; those of the caller stay where
// they are.
bool keepPoint(VekrBuildState &state, const float **vertex) {
  const uintptr_t address = reinterpret_cast<uintptr_t>(*vertex);
  if (address >= reinterpret_cast<uintptr_t>(state.vertices.base) &&
      address < reinterpret_cast<uintptr_t>(state.vertices.end)) {
    return true;
  }
  auto *point = static_cast<float *>(takeFromPool(state.pointPool, 3 * sizeof(float)));
  if (point == nullptr) return false;
  for (int i = 0; i < 3; ++i) point[i] = (*vertex)[i];
  *vertex = point;
  return true;
}

}  // namespace

VekStatus localInitPatchesFromTriangles(VekrPatch **ppPatches, int32_t *pCount, const int32_t *pIndices,
                                        int32_t triangleCount, float *pBox, const PsahBuild &build) {
  VekrBuildState &state = *build.state;
  if (triangleCount > 0) boundVertices(state.vertices, pBox);  // nobody asks for the box of no triangles
  auto *patches = static_cast<VekrPatch *>(
      takeFromPool(state.patchPool, sizeof(VekrPatch) * static_cast<uint64_t>(triangleCount)));
  if (patches == nullptr) return vekErrTreeBuild;
  VekrPatchBounds *bounds = build.boundsOf(patches);
  for (int32_t triangle = 0; triangle < triangleCount; ++triangle) {
    const float **vertices = takeVertexPointers(state, 3);
    if (vertices == nullptr) return vekErrTreeBuild;
    for (int32_t i = 0; i < 3; ++i) vertices[i] = cornerOf(state, pIndices, triangle, i);
    patches[triangle].word0 = firstWord(triangle, 3);
    patches[triangle].vertices = vertices;
    measurePolygon(vertices, 3, &patches[triangle].extremeMask, &bounds[triangle]);
  }
  *ppPatches = patches;
  *pCount = triangleCount;
  return vekOk;
}

VekStatus localInitPatchesFromTrianglesBB(VekrPatch **ppPatches, int32_t *pCount, const int32_t *pIndices,
                                          int32_t triangleCount, const float *pBounds,
                                          const PsahBuild &build) {
  VekrBuildState &state = *build.state;
  *ppPatches = nullptr;
  int32_t count = 0;
  Clipper clipper(pBounds);
  for (int32_t triangle = 0; triangle < triangleCount; ++triangle) {
    ClippedPolygon polygon;
    polygon.count = 3;
    for (int32_t i = 0; i < 3; ++i) polygon.vertices[i] = cornerOf(state, pIndices, triangle, i);
    if (!clipper.clip(polygon)) continue;
    const float **vertices = takeVertexPointers(state, polygon.count);
    if (vertices == nullptr) return vekErrTreeBuild;
    for (int32_t i = 0; i < polygon.count; ++i) {
      vertices[i] = polygon.vertices[i];
      if (!keepPoint(state, &vertices[i])) return vekErrTreeBuild;
    }
    // Nothing else takes from the pool meanwhile, so that the patches form one array.
    auto *patch = static_cast<VekrPatch *>(takeFromPool(state.patchPool, sizeof(VekrPatch)));
    if (patch == nullptr) return vekErrTreeBuild;
    if (*ppPatches == nullptr) *ppPatches = patch;
    patch->word0 = firstWord(triangle, polygon.count);
    patch->vertices = vertices;
    measurePolygon(vertices, polygon.count, &patch->extremeMask, build.boundsOf(patch));
    ++count;
  }
  *pCount = count;
  return vekOk;
}

}  // namespace vekr
