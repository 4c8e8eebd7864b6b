#include "pr_avlopsahopt/psah_cut.h"

#include "pr_avlopsahopt/psah_patch.h"

namespace vekr {
namespace {

// A part under construction: of a convex polygon, some of its vertices and the two crossing points; of one that holds a
// NaN, each vertex twice at the most.
struct Part {
  const float *vertices[2 * kMostPatchVertices + 2];
  int32_t count = 0;

  void add(const float *vertex) { vertices[count++] = vertex; }
  const float *last() const { return vertices[count - 1]; }
};

// A walk once around the polygon. The extreme vertices split a convex polygon into a rising and a falling chain, so the
// walk needs no test of each edge.
class Walk {
 public:
  Walk(const VekrPatch &patch, int32_t axis, float plane, VekrBuildPool &points)
      : vertices_(patch.vertices),
        count_(vertexCountOf(patch)),
        axis_(axis),
        plane_(plane),
        points_(points) {}

  const float *at(int32_t i) const { return vertices_[i]; }
  float height(int32_t i) const { return vertices_[i][axis_]; }
  int32_t next(int32_t i) const { return i + 1 < count_ ? i + 1 : 0; }

  // The point on the plane between the vertex `from`, the last one before it, and vertex `i`. A vertex that lies on the
  // plane serves as it is, and the walk steps on past it. Null if the point pool is full.
  const float *crossing(const float *from, int32_t &i) const {
    if (height(i) == plane_) {
      const float *point = vertices_[i];
      i = next(i);
      return point;
    }
    auto *point = static_cast<float *>(takeFromPool(points_, 3 * sizeof(float)));
    if (point != nullptr) pointOnEdge(from, vertices_[i], axis_, plane_, point);
    return point;
  }

 private:
  const float **vertices_;
  int32_t count_;
  int32_t axis_;
  float plane_;
  VekrBuildPool &points_;
};

bool finishPart(const Part &part, uint32_t triangleBits, VekrBuildState &state, PatchPlace out) {
  const float **vertices = takeVertexPointers(state, part.count);
  if (vertices == nullptr) return false;
  for (int32_t i = 0; i < part.count; ++i) vertices[i] = part.vertices[i];
  out.patch->word0 = triangleBits | static_cast<uint32_t>(part.count);
  out.patch->vertices = vertices;
  measurePolygon(vertices, part.count, &out.patch->extremeMask, out.bounds);
  return true;
}

}  // namespace

VekStatus localPatchCut(const VekrPatch &patch, PatchPlace leftOut, PatchPlace rightOut, int32_t axis,
                        VekrBuildState &state, float plane) {
  const VekrPatch old = patch;
  const Walk walk(old, axis, plane, state.pointPool);
  const int32_t oldCount = vertexCountOf(old);
  const int32_t lowest = lowestVertex(old.extremeMask, axis), highest = highestVertex(old.extremeMask, axis);
  Part left, right;

  // Up from the lowest vertex. The chains end at the extreme vertices, by which the loops are bounded even for
  // polygons that hold a NaN.
  left.add(walk.at(lowest));
  int32_t i = walk.next(lowest);
  while (plane > walk.height(i) && i != lowest) {
    left.add(walk.at(i));
    i = walk.next(i);
  }
  const float *first = walk.crossing(left.last(), i);
  if (first == nullptr) return vekErrTreeBuild;
  left.add(first);
  right.add(first);
  for (int32_t n = 0; n < oldCount; ++n, i = walk.next(i)) {
    right.add(walk.at(i));
    if (i == highest) break;
  }

  // Down from the highest.
  int32_t j = walk.next(highest);
  for (int32_t n = 0; n < oldCount && walk.height(j) > plane; ++n, j = walk.next(j)) right.add(walk.at(j));
  const float *second = walk.crossing(right.last(), j);
  if (second == nullptr) return vekErrTreeBuild;
  right.add(second);
  left.add(second);
  for (; j != lowest; j = walk.next(j)) left.add(walk.at(j));

  if (left.count > kMostPatchVertices || right.count > kMostPatchVertices) return vekErrTreeInternal;
  const uint32_t triangleBits = old.word0 & ~kVertexCountMask;
  if (!finishPart(left, triangleBits, state, leftOut)) return vekErrTreeBuild;
  if (!finishPart(right, triangleBits, state, rightOut)) return vekErrTreeBuild;
  giveVertexPointers(state, old.vertices, oldCount);
  return vekOk;
}

}  // namespace vekr
