// The 16-bit filter against its twin: sizes, taps, anchors, divisors and steps from bytes, in both forms.
#include "reference/filter.h"
#include "volume.h"

using namespace vekr_fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  Input in(data, size);
  vekr_reference::FilterCall call;
  call.dst = {in.within(1, 70), in.within(1, 4), in.within(1, 3)};
  call.kernel = {in.within(1, 12), in.within(1, 5), in.within(1, 4)};
  call.anchor = {in.below(call.kernel.width), in.below(call.kernel.height), in.below(call.kernel.depth)};
  static constexpr int32_t kDivisors[] = {1, 2, 3, -1, 64, 1 << 30, INT32_MAX, -INT32_MAX};
  call.divisor = in.flag() ? kDivisors[in.below(8)] : static_cast<int32_t>(in.word());
  if (call.divisor == 0 || call.divisor == INT32_MIN) call.divisor = 1;
  static constexpr int32_t kReach[] = {3, 200, 32767, 40000, INT32_MAX / 2};
  const int32_t reach = kReach[in.below(5)];
  Random random = in.contents();
  call.taps.resize(static_cast<size_t>(call.kernel.width * call.kernel.height * call.kernel.depth));
  for (int32_t &tap : call.taps) {
    tap = static_cast<int32_t>(random.bits() % (2u * static_cast<uint32_t>(reach)) -
                               static_cast<uint32_t>(reach));
  }
  const VekrVolumeSize around = {call.dst.width + call.kernel.width - 1,
                                 call.dst.height + call.kernel.height - 1,
                                 call.dst.depth + call.kernel.depth - 1};
  Volume<int16_t> source(around, stepFrom<int16_t>(in, around.width));
  const bool extreme = in.flag();
  source.fill([&] { return static_cast<int16_t>(extreme && random.below(2) ? -32768 : random.bits()); });
  const VekrVolumePoint origin = {call.kernel.width - 1 - call.anchor.x,
                                  call.kernel.height - 1 - call.anchor.y,
                                  call.kernel.depth - 1 - call.anchor.z};
  std::vector<const int16_t *> list;
  for (int32_t z = 0; z < around.depth; ++z) {
    const char *row = reinterpret_cast<const char *>(source.list()[z]) + origin.y * source.step();
    list.push_back(reinterpret_cast<const int16_t *>(row) + origin.x);
  }
  Volume<int16_t> actual(call.dst, stepFrom<int16_t>(in, call.dst.width)), expected(actual);
  int32_t bytes = 0;
  FUZZ_CHECK(vekrFilterGetBufSize(call.dst, call.kernel, 1, &bytes) == vekOk);
  FUZZ_CHECK(bytes == vekr_reference::filterBufferBytes(call.dst, call.kernel));
  Array<uint8_t> buffer(static_cast<size_t>(bytes), static_cast<size_t>(in.below(16)));
  FUZZ_CHECK(vekrFilter_16s_C1PV(list.data() + origin.z, source.step(), actual.list(), actual.step(),
                                 call.dst, call.taps.data(), call.kernel, call.anchor, call.divisor,
                                 buffer.data()) == vekOk);
  vekr_reference::filter(
      call,
      [&](int32_t x, int32_t y, int32_t z) { return source.get(x + origin.x, y + origin.y, z + origin.z); },
      [&](int32_t x, int32_t y, int32_t z, int16_t voxel) { expected.set(x, y, z, voxel); });
  FUZZ_CHECK(actual == expected);
  return 0;
}
