// The surface-area builder against its twin, byte for byte: meshes, boxes, depths, biases and budgets; and triangle records.
#include "mesh.h"
#include "reference/psah_twin.h"
#include "reference/triangle_record_reference.h"

using namespace vekr_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  Input in(data, size);
  const Mesh mesh = meshFrom(in, 60);
  float box[6];
  for (float &b : box) b = in.real(Numbers::finite);
  VekrPSAHBuildContext context = {vekrPSAHBuildIdentifier, in.below(14),
                                  static_cast<float>(in.below(17)) / 16.0f, -1, nullptr};
  if (in.flag()) context.pBounds = box;
  if (in.below(4) == 1) context.memoryLimitMB = in.within(30, 90);

  VekrKDTreeNode *tree = nullptr;
  int32_t bytes = -1;
  const VekStatus status = vekrKDTreeBuildAlloc(&tree, mesh.vertices.data(), mesh.indices.data(),
                                                mesh.vertexCount(), mesh.triangleCount(), &bytes, &context);
  VekStatus expected = vekErrMemAlloc;  // so small a budget is refused before anything is computed
  if (context.memoryLimitMB < 0 || context.memoryLimitMB >= 32) {
    vekr_twin::PsahTwin twin(mesh.vertices.data(), mesh.indices.data(), mesh.vertexCount(),
                             mesh.triangleCount(), context);
    expected = twin.build();
    if (expected == vekOk && status == vekOk) {
      FUZZ_CHECK(static_cast<size_t>(bytes) == twin.block().size() * 4);
      FUZZ_CHECK(std::memcmp(tree, twin.block().data(), static_cast<size_t>(bytes)) == 0);
    }
  }
  FUZZ_CHECK(status == expected);
  FUZZ_CHECK((status == vekOk) == (tree != nullptr));
  vekrKDTreeFree(tree);

  const auto count = static_cast<size_t>(mesh.triangleCount());
  std::vector<VekrTriangleAccel> records(count), twins(count);
  FUZZ_CHECK(vekrTriangleAccelInit(records.data(), mesh.vertices.data(), mesh.indices.data(),
                                   mesh.triangleCount()) == vekOk);
  vekr_reference::triangleAccelInit(twins.data(), mesh.vertices.data(), mesh.indices.data(),
                                    mesh.triangleCount());
  FUZZ_CHECK(count == 0 || std::memcmp(records.data(), twins.data(), count * sizeof(VekrTriangleAccel)) == 0);
  return 0;
}
