// Spherical harmonics and volumes.
#include "tests/sweeps/call.h"

namespace vekr_test {
namespace {

// For each voxel type: its functions, and the steps that are as good as any other (all rows may lie upon each other).
template <class Voxel, class Remap, class Warp, class Block, class Planes>
void addType(Calls &calls, Arena &arena, const std::string &type, Remap remap, Warp warp, Block block,
             Planes planes) {
  constexpr int32_t kVoxel = sizeof(Voxel);
  const int32_t width = arena.n(), codes[] = {1, 2, 4, 5, 6, 7};
  const VekrVolumeSize from = {6, 5, 4}, to = {width, 4, 5};
  const VekrVolumeBox fromBox = {0, 0, 0, 6, 5, 4}, toBox = {0, 0, 0, width, 4, 5};
  Voxel **const source = arena.volume<Voxel>(from), **const result = arena.volume<Voxel>(to);
  float **maps[3];
  for (float **&map : maps) {
    map = arena.volume<float>(to);
    for (int32_t z = 0; z < to.depth; ++z) {
      for (int32_t i = 0; i < width * 4; ++i) map[z][i] = static_cast<float>((i * 5 + z) % 13) / 4.0f;
    }
  }
  const int32_t step = 6 * kVoxel, dstStep = width * kVoxel;
  // Steps within the arrays: 0 puts all rows on the first one, one byte more is dropped from a source's.
  const std::initializer_list<int32_t> noStep = {0};
  for (const int32_t code : codes) {
    const auto remapCall = [&]() -> auto & {
      return calls.of(("vekrRemap_" + type + "_C1PV").c_str(), remap, source, from, step, fromBox, maps[0],
                      maps[1], maps[2], width * 4, result, dstStep, to, code);
    };
    auto &call = remapCall()
                     .template null<0, 8, 4, 5, 6>()
                     .template extents<1>()
                     .template box<3>()
                     .template extents<10>()
                     .template code<11>()
                     .template elsewhere<3>()
                     .template fine<2>(noStep)
                     .template fine<7>(noStep)
                     .template fine<9>(noStep);
    if (kVoxel > 1) call.template fine<2>(std::initializer_list<int32_t>{step + 1});

    double *const matrix = arena.array<double>(12);
    for (int32_t i = 0; i < 3; ++i) matrix[5 * i] = 1.5;
    double *const singular = arena.array<double>(12), *const flat = arena.array<double>(12);
    for (int32_t i = 0; i < 12; ++i) flat[i] = i % 4 == 1 ? 0.5 : 1.0;  // two rows alike
    const std::initializer_list<const double *> bad = {singular, flat};
    double *const small = arena.array<double>(12);
    for (int32_t i = 0; i < 3; ++i) small[5 * i] = 1e-4;  // a determinant below 1e-10 is found last
    calls
        .of(("vekrWarpAffine_" + type + "_C1PV").c_str(), warp, source, from, step, fromBox, result, dstStep,
            toBox, matrix, code)
        .template null<0, 4>()
        .template extents<1>()
        .template box<3>()
        .template box<6>()
        .template bad<7>(vekErrCoeff, bad)
        .template code<8>()
        .template elsewhere<3>()
        .template bad<7>(vekErrCoeff, std::initializer_list<const double *>{small})
        .template fine<2>(noStep)
        .template fine<5>(noStep);

    int32_t bytes = 0;
    vekrResizeGetBufSize(fromBox, toBox, 1, code, &bytes);
    uint8_t *const buffer = arena.filled<uint8_t>(bytes, 0xEE);
    Voxel *const sourceBlock = arena.filled<Voxel>(6 * 5 * 4, Voxel(7));
    Voxel *const resultBlock = arena.filled<Voxel>(int64_t{width} * 4 * 5, Voxel(9));
    const std::initializer_list<double> noFactors = {0.0, -0.0, -1e-310, -2.0, -__builtin_inf()};
    const std::initializer_list<double> oddFactors = {1e-310, 1e-300};  // everything shrinks to nothing
    const auto blockCall = [&]() -> auto & {
      return calls.of(("vekrResize_" + type + "_C1V").c_str(), block, sourceBlock, from, step, step * 5,
                      fromBox, resultBlock, dstStep, dstStep * 4, toBox, width / 6.0, 0.8, 1.25, 0.0, 0.0,
                      0.0, code, buffer);
    };
    blockCall()
        .template null<0, 5, 16>()
        .template extents<1>()
        .template box<4>()
        .template box<8>()
        .template bad<9>(vekErrResizeFactor, noFactors)
        .template bad<10>(vekErrResizeFactor, noFactors)
        .template bad<11>(vekErrResizeFactor, noFactors)
        .template code<15>()
        .template elsewhere<4>()
        .template bad<9>(vekWarnNoVoxels, oddFactors)
        .template bad<12>(vekWarnNoVoxels, std::initializer_list<double>{1e6, -1e6, 1e300, -1e300})
        .template fine<2>(noStep)
        .template fine<3>(noStep)
        .template fine<6>(noStep)
        .template fine<7>(noStep)
        .template anyFloatShift<13>();
    calls
        .of(("vekrResize_" + type + "_C1PV").c_str(), planes, source, from, step, fromBox, result, dstStep,
            toBox, width / 6.0, 0.8, 1.25, 0.0, 0.0, 0.0, code, buffer)
        .template null<0, 4, 14>()
        .template extents<1>()
        .template box<3>()
        .template box<6>()
        .template bad<7>(vekErrResizeFactor, noFactors)
        .template bad<8>(vekErrResizeFactor, noFactors)
        .template bad<9>(vekErrResizeFactor, noFactors)
        .template code<13>()
        .template elsewhere<3>()
        .template bad<7>(vekWarnNoVoxels, oddFactors)
        .template bad<10>(vekWarnNoVoxels, std::initializer_list<double>{1e6, -1e6, 1e300, -1e300})
        .template fine<2>(noStep)
        .template fine<5>(noStep)
        .template anyFloatShift<11>();
  }
}

void addFilter(Calls &calls, Arena &arena) {
  const int32_t width = arena.n();
  int32_t *const bytes = arena.array<int32_t>(1);
  calls.of("vekrFilterGetBufSize", vekrFilterGetBufSize, {width, 3, 2}, {3, 3, 3}, 1, bytes)
      .null<3>()
      .extents<0>()
      .extents<1>()
      .channels<2>();
  for (const int32_t kernelWidth : {1, 3, 5, 6, 7, 9}) {
    const VekrVolumeSize kernel = {kernelWidth, 3, 3}, to = {width, 3, 2};
    const VekrVolumeSize from = {width + kernelWidth - 1, 5, 4};
    const VekrVolumePoint anchor = {kernelWidth / 2, 1, 1};
    int16_t **const source = arena.volume<int16_t>(from);
    for (int32_t z = 0; z < from.depth; ++z) source[z] += from.width + (kernelWidth - 1 - anchor.x);
    int16_t **const result = arena.volume<int16_t>(to);
    int32_t size = 0;
    vekrFilterGetBufSize(to, kernel, 1, &size);
    calls
        .of("vekrFilter_16s_C1PV", vekrFilter_16s_C1PV, source + 1, from.width * 2, result, width * 2, to,
            arena.filled<int32_t>(kernelWidth * 9, 3), kernel, anchor, 7, arena.filled<uint8_t>(size, 0xEE))
        .null<0, 2, 5, 9>()
        .extents<4>()
        .extents<6>()
        .bad<8>(vekErrSize, std::initializer_list<int32_t>{0})
        .fine<1>(std::initializer_list<int32_t>{from.width * 2 + 1})
        .fine<3>(std::initializer_list<int32_t>{0, 1, width * 2 + 1})
        .fine<8>(std::initializer_list<int32_t>{1, -1, INT32_MAX, -INT32_MAX, 1 << 30});
  }
}

}  // namespace

void addVolumeCalls(Calls &calls, Arena &arena) {
  addType<uint8_t>(calls, arena, "8u", vekrRemap_8u_C1PV, vekrWarpAffine_8u_C1PV, vekrResize_8u_C1V,
                   vekrResize_8u_C1PV);
  addType<uint16_t>(calls, arena, "16u", vekrRemap_16u_C1PV, vekrWarpAffine_16u_C1PV, vekrResize_16u_C1V,
                    vekrResize_16u_C1PV);
  addType<float>(calls, arena, "32f", vekrRemap_32f_C1PV, vekrWarpAffine_32f_C1PV, vekrResize_32f_C1V,
                 vekrResize_32f_C1PV);
  addFilter(calls, arena);
  const VekrVolumeBox box = {0, 0, 0, 6, 5, 4};
  int32_t *const size = arena.array<int32_t>(1);
  calls.of("vekrResizeGetBufSize", vekrResizeGetBufSize, box, box, 1, 2, size)
      .null<4>()
      .box<0>()
      .box<1>()
      .channels<2>()
      .code<3>();
  calls.of("vekrWarpAffineGetBufSize", vekrWarpAffineGetBufSize, box, box, 1, 2, size)
      .null<4>()
      .box<0>()
      .box<1>()
      .channels<2>()
      .code<3>();
}

void addHarmonicsCalls(Calls &calls, Arena &arena) {
  constexpr uint32_t kBand = 5;
  constexpr int64_t kFunctions = 36;
  const std::initializer_list<uint32_t> above = {kBand + 1, 15, 16, INT32_MAX, UINT32_MAX};
  const std::initializer_list<uint32_t> aboveAll = {16, INT32_MAX, UINT32_MAX};
  const std::initializer_list<int32_t> noTypes = {2, -1, INT32_MAX, INT32_MIN}, none = {0},
                                       below = {-1, INT32_MIN};
  const int32_t n = arena.n();
  float *const x = arena.floats(n), *const y = arena.floats(n), *const z = arena.floats(n);
  float *const one = arena.floats(n), *const triples = arena.floats(3 * n);
  float **const channels = arena.planes(3, n), **const lists = arena.planes(3, kFunctions);
  float *const coefficients = arena.floats(kFunctions);
  uint32_t *const size = arena.array<uint32_t>(1);
  // Lists of which one entry is null.
  std::vector<float **> noChannels, noLists;
  for (int32_t i = 0; i < 3; ++i) {
    noChannels.push_back(arena.array<float *>(3));
    noLists.push_back(arena.array<float *>(3));
    for (int32_t k = 0; k < 3; ++k) {
      noChannels.back()[k] = k == i ? nullptr : channels[k];
      noLists.back()[k] = k == i ? nullptr : lists[k];
    }
  }
  calls.of("vekrSHBand_32f", vekrSHBand_32f, x, y, z, n, arena.floats(11 * int64_t{n}), kBand)
      .null<0, 1, 2, 4>()
      .bad<5>(vekErrBadArg, aboveAll)
      .bad<3>(vekErrSize, none)
      .idle<3>(below);
  for (const int32_t type : {vekrSHDirect, vekrSHRecurrent}) {
    auto &getSize = calls.of("vekrSHGetSize_32f", vekrSHGetSize_32f, kBand, type, size).null<2>();
    uint32_t bytes = 0;
    vekrSHGetSize_32f(kBand, type, &bytes);
    auto *const fresh = reinterpret_cast<VekrSHState *>(arena.array<uint8_t>(bytes));
    auto &init = calls.of("vekrSHInit_32f", vekrSHInit_32f, fresh, kBand, type).null<0>();
    if (type == vekrSHDirect) {
      getSize.bad<0>(vekErrSize, aboveAll);
      init.bad<1>(vekErrSize, aboveAll);
    } else {
      getSize.bad<1>(vekErrBadArg, noTypes);
      init.bad<2>(vekErrBadArg, noTypes);
    }
    auto *const state = reinterpret_cast<VekrSHState *>(arena.array<uint8_t>(bytes));
    vekrSHInit_32f(state, kBand, type);
    calls.of("vekrSH_32f", vekrSH_32f, x, y, z, n, arena.floats(kFunctions * n), kBand, state)
        .null<0, 1, 2, 4, 6>()
        .bad<3>(vekErrSize, none)
        .bad<5>(vekErrBadArg, above)
        .idle<3>(below);
    calls.of("vekrSHTFwd_32f_C1I", vekrSHTFwd_32f_C1I, x, y, z, one, n, coefficients, kBand, state)
        .null<0, 1, 2, 3, 5, 7>()
        .bad<4>(vekErrSize, none)
        .bad<6>(vekErrBadArg, above)
        .idle<4>(below);
    calls.of("vekrSHTFwd_32f_C3P3I", vekrSHTFwd_32f_C3P3I, x, y, z, triples, n, lists, kBand, state)
        .null<0, 1, 2, 3, 5, 7>()
        .bad<5>(vekErrNullPtr, noLists)
        .bad<4>(vekErrSize, none)
        .bad<6>(vekErrBadArg, above)
        .idle<4>(below);
    calls.of("vekrSHTFwd_32f_P3I", vekrSHTFwd_32f_P3I, x, y, z, channels, n, lists, kBand, state)
        .null<0, 1, 2, 3, 5, 7>()
        .bad<3>(vekErrNullPtr, noChannels)
        .bad<5>(vekErrNullPtr, noLists)
        .bad<4>(vekErrSize, none)
        .bad<6>(vekErrBadArg, above)
        .idle<4>(below);
    calls.of("vekrSHTInv_32f_C1", vekrSHTInv_32f_C1, coefficients, kBand, x, y, z, one, n, state)
        .null<0, 2, 3, 4, 5, 7>()
        .bad<6>(vekErrSize, none)
        .bad<1>(vekErrBadArg, above)
        .idle<6>(below);
    calls.of("vekrSHTInv_32f_P3", vekrSHTInv_32f_P3, lists, kBand, x, y, z, channels, n, state)
        .null<0, 2, 3, 4, 5, 7>()
        .bad<0>(vekErrNullPtr, noLists)
        .bad<5>(vekErrNullPtr, noChannels)
        .bad<6>(vekErrSize, none)
        .bad<1>(vekErrBadArg, above)
        .idle<6>(below);
    calls.of("vekrSHTInv_32f_P3C3", vekrSHTInv_32f_P3C3, lists, kBand, x, y, z, triples, n, state)
        .null<0, 2, 3, 4, 5, 7>()
        .bad<0>(vekErrNullPtr, noLists)
        .bad<6>(vekErrSize, none)
        .bad<1>(vekErrBadArg, above)
        .idle<6>(below);
  }
}

}  // namespace vekr_test
