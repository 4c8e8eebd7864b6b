// Version record, tree builders, triangle records, bounds and triangle normals: what is made of a mesh before any ray.
#include "hashes/scene.h"

namespace hashes {
namespace {

uint64_t version() {
  const VekLibVersion *record = vekrGetLibVersion();
  Hash hash;
  for (const int32_t number : {record->major, record->minor, record->majorBuild, record->build})
    hash.add(number);
  hash.add(reinterpret_cast<const uint8_t *>(record->targetCpu), sizeof record->targetCpu);
  for (const char *text : {record->name, record->version, record->buildDate}) hash.text(text);
  return hash.value();
}

uint64_t build(const Mesh &mesh, const void *context) {
  VekrKDTreeNode *tree = nullptr;
  int32_t size = -1;
  Hash hash;
  hash.add(vekrKDTreeBuildAlloc(&tree, mesh.vertices.data(), mesh.indices.data(), mesh.vertexCount(),
                                mesh.triangleCount(), &size, context));
  hash.add(size);
  if (tree) hash.add(reinterpret_cast<const int32_t *>(tree), static_cast<size_t>(size) / 4);
  vekrKDTreeFree(tree);
  return hash.value();
}

// All meshes at all depths and biases under one context each, and at budgets that end on the way.
uint64_t surfaceArea(const Mesh &mesh, bool clipped) {
  static const float box[6] = {-2.5f, -2.0f, -3.0f, 2.0f, 2.5f, 1.0f};
  Hash hash;
  for (const float bias : {0.0f, 0.5f, 1.0f}) {
    for (const int32_t depth : {0, 1, 7, 50}) {
      for (const int32_t limit : {31, 81, -1}) {
        const VekrPSAHBuildContext context = {vekrPSAHBuildIdentifier, depth, bias, limit,
                                              clipped ? box : nullptr};
        hash.word(build(mesh, &context));
      }
    }
  }
  return hash.value();
}

// Vertices of all magnitudes, but numbers all of them.
Mesh wideMesh() {
  Mesh mesh = soup(40);
  Random random(31);
  for (float &c : mesh.vertices) {
    const int32_t kind = random.below(12);
    if (kind == 0) c = 1e18f;
    if (kind == 1) c = 1e-41f;
    if (kind == 2) c = -0.0f;
    if (kind == 3) c = 3e37f;
  }
  return mesh;
}

template <class Call>
uint64_t eachMesh(const Call &call) {
  Hash hash;
  for (const Mesh &mesh : {ground(6), soup(60), wideMesh()}) hash.word(call(mesh));
  return hash.value();
}

}  // namespace

void addTreeRows(Rows &rows) {
  rows.push_back({"version", false, 0, version});
  rows.push_back({"build/simple", false, 0, [] {
                    const VekrSimpleBuildContext context = {vekrSimpleBuildIdentifier, 3};
                    return eachMesh([&](const Mesh &mesh) { return build(mesh, &context); });
                  }});
  for (const bool clipped : {false, true}) {
    const std::string box = clipped ? "/box" : "";
    rows.push_back({"build/ground" + box, false, 0, [=] { return surfaceArea(ground(9), clipped); }});
    rows.push_back({"build/soup" + box, false, 0, [=] { return surfaceArea(soup(90), clipped); }});
    rows.push_back({"build/wide" + box, false, 0, [=] { return surfaceArea(wideMesh(), clipped); }});
  }
  // More than 4096 pieces in the root: the search has a thread for each axis.
  rows.push_back({"build/threads", false, 0, [] {
                    const VekrPSAHBuildContext context = {vekrPSAHBuildIdentifier, 6, 0.5f, -1, nullptr};
                    return build(ground(48), &context);
                  }});
  rows.push_back({"record/size", false, 0, [] {
                    Array<int32_t> size(1);
                    return hashOf(vekrTriangleAccelGetSize(size.data()), size);
                  }});
  rows.push_back({"record", false, 0, [] {
                    return eachMesh([](const Mesh &mesh) {
                      Array<float> records(static_cast<size_t>(mesh.triangleCount()) * 10);
                      return hashOf(vekrTriangleAccelInit(
                                        reinterpret_cast<VekrTriangleAccel *>(records.data()),
                                        mesh.vertices.data(), mesh.indices.data(), mesh.triangleCount()),
                                    records);
                    });
                  }});
  rows.push_back({"bounds", false, 0, [] {
                    return eachMesh([](const Mesh &mesh) {
                      Hash hash;
                      for (const int32_t count : {-1, 0, 1, 2, 3, 4, 5, 7, 20}) {
                        Array<float> box(6);
                        hash.word(hashOf(vekrSetBoundBox_32f(mesh.vertices.data(), count, box.data()), box));
                      }
                      return hash.value();
                    });
                  }});
  rows.push_back({"normals/triangle", false, 0, [] {
                    return eachMesh([](const Mesh &mesh) {
                      Array<float> normals(static_cast<size_t>(mesh.triangleCount()) * 3);
                      return hashOf(vekrTriangleNormal_32f(mesh.vertices.data(), mesh.indices.data(),
                                                           normals.data(), mesh.triangleCount()),
                                    normals);
                    });
                  }});
}

}  // namespace hashes
