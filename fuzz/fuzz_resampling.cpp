// Remap and affine warp against their twins: sizes, regions, steps, coordinates, matrices, codes and thread counts from bytes.
#include "reference/volume_reference.h"
#include "vekcore/vekcore.h"
#include "volume.h"

using namespace vekr_fuzz;

namespace {

// Voxels, halves, bounds and their neighbours, the far away; never a NaN, which is no coordinate.
float coordinate(Random &random, int32_t end) {
  const float inner = static_cast<float>(random.below(end + 1));
  switch (random.below(8)) {
    case 0:
      return inner;
    case 1:
      return inner + 0.5f;
    case 2:
      return std::nextafter(inner, random.below(2) ? -9.0f : 1e6f);
    case 3:
      return fromBits(kOdd[random.below(15)]);
    default:
      return random.within(-1.0f, static_cast<float>(end));
  }
}

template <class Voxel>
void remap(Input &in, VekrVolumeSize size, VekrVolumeSize to) {
  const Volume<Voxel> source = sourceFrom<Voxel>(in, size);
  const VekrVolumeBox box = boxFrom(in, size);
  const int32_t code = codeFrom(in), mapStep = to.width * 4 + in.below(9);
  std::vector<Volume<float>> maps(3, Volume<float>(to, mapStep));
  Random random = in.contents();
  const int32_t ends[3] = {size.width, size.height, size.depth};
  for (size_t axis = 0; axis < 3; ++axis) maps[axis].fill([&] { return coordinate(random, ends[axis]); });
  Volume<Voxel> actual(to, to.width * static_cast<int32_t>(sizeof(Voxel)) + in.below(5)), expected(actual);
  const auto function = forVoxel<Voxel>(vekrRemap_8u_C1PV, vekrRemap_16u_C1PV, vekrRemap_32f_C1PV);
  FUZZ_CHECK(function(source.in(), size, source.step(), box, maps[0].in(), maps[1].in(), maps[2].in(),
                      mapStep, actual.list(), actual.step(), to, code) == vekOk);
  reference::remap(source.in(), size, source.step(), box, maps[0].in(), maps[1].in(), maps[2].in(), mapStep,
                   expected.list(), expected.step(), to, code);
  FUZZ_CHECK(actual == expected);
}

template <class Voxel>
void warp(Input &in, VekrVolumeSize size, VekrVolumeSize to, int32_t threads) {
  const Volume<Voxel> source = sourceFrom<Voxel>(in, size);
  const VekrVolumeBox box = boxFrom(in, size);
  const int32_t code = codeFrom(in);
  double matrix[12];
  for (int i = 0; i < 12; ++i) {
    const bool diagonal = i % 5 == 0;
    const double step = static_cast<int8_t>(in.byte()) / (in.flag() ? 16.0 : 10.0);
    matrix[i] = diagonal ? step / 4 + 1 : i % 4 == 3 ? step : step / 8;
  }
  const VekrVolumeBox region = {in.below(to.width), in.below(to.height), in.below(to.depth), 0, 0, 0};
  const VekrVolumeBox dstBox = {
      region.x, region.y, region.z, to.width - region.x, to.height - region.y, to.depth - region.z};
  Volume<Voxel> actual(to, to.width * static_cast<int32_t>(sizeof(Voxel)) + in.below(5)), expected(actual);
  const auto function =
      forVoxel<Voxel>(vekrWarpAffine_8u_C1PV, vekrWarpAffine_16u_C1PV, vekrWarpAffine_32f_C1PV);
  const VekStatus status =
      function(source.in(), size, source.step(), box, actual.list(), actual.step(), dstBox, matrix, code);
  if (status == vekOk) {
    const bool shared = dstBox.width >= 16 && dstBox.height >= 16 && dstBox.depth >= 16;
    reference::warpAffine(source.in(), size, source.step(), box, expected.list(), expected.step(), dstBox,
                          matrix, code, shared ? threads : 1);
  } else {
    FUZZ_CHECK(status == vekErrCoeff);
  }
  FUZZ_CHECK(actual == expected);
}

template <class Voxel>
void either(Input &in) {
  const bool warps = in.flag(), thick = in.below(16) == 15;
  const int32_t threads = in.within(1, 5);
  vekSetNumThreads(threads);
  const VekrVolumeSize size = sizeFrom(in, 12);
  VekrVolumeSize to = sizeFrom(in, 12);
  if (in.flag()) to.width += 40;
  if (thick) to = {to.width + 16, 16, 16 + to.depth};
  warps ? warp<Voxel>(in, size, to, threads) : remap<Voxel>(in, size, to);
}

}  // namespace

// The OpenMP runtime drops the records of threads when their number changes.
extern "C" const char *__lsan_default_suppressions() { return "leak:libomp"; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  Input in(data, size);
  switch (in.below(3)) {
    case 0:
      either<uint8_t>(in);
      break;
    case 1:
      either<uint16_t>(in);
      break;
    default:
      either<float>(in);
  }
  return 0;
}
