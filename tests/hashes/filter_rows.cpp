// The 16-bit filter: kernels of every width that is a case of its own, in the vector form and in the wide one.
#include "hashes/volume.h"

namespace hashes {
namespace {

struct Taps {
  const char *name;
  int32_t reach;  // taps lie in -reach to reach - 1
};
constexpr Taps kTaps[] = {{"/small", 12}, {"/vector", 20000}, {"/wide", 2000000}};

uint64_t filter(VekrVolumeSize kernel, int32_t reach) {
  const auto taps = static_cast<size_t>(kernel.width * kernel.height * kernel.depth);
  const VekrVolumePoint anchor = {kernel.width / 2, kernel.height / 2, kernel.depth / 2};
  Hash hash;
  for (const int32_t width : {1, 15, 16, 31, 32, 50}) {
    for (const int32_t divisor : {1, 7, -64}) {
      Random random(79);
      Array<int32_t> coefficients(taps);
      coefficients.fill([&] { return random.below(2 * reach) - reach; });
      const VekrVolumeSize size = {width, 5, 3};
      Volume<int16_t> source({width + kernel.width, size.height + kernel.height, size.depth + kernel.depth},
                             paddedRow<int16_t>(width + kernel.width));
      source.fill([&](int32_t, int32_t, int32_t) {
        return static_cast<int16_t>(randomVoxel<uint16_t>(random, false));
      });
      std::vector<const int16_t *> list;
      for (int32_t z = 0; z < source.size().depth; ++z) {
        const auto *row = reinterpret_cast<const uint8_t *>(source.list()[z]) +
                          static_cast<ptrdiff_t>(kernel.height - 1 - anchor.y) * source.rowBytes();
        list.push_back(reinterpret_cast<const int16_t *>(row) + (kernel.width - 1 - anchor.x));
      }
      Volume<int16_t> result(size, paddedRow<int16_t>(width));
      Array<int32_t> bytes(1);
      hash.word(hashOf(vekrFilterGetBufSize(size, kernel, 1, bytes.data()), bytes));
      std::vector<uint8_t> buffer(static_cast<size_t>(bytes[0]) + 1, 0xA5);
      hash.word(hashOf(vekrFilter_16s_C1PV(list.data() + (kernel.depth - 1 - anchor.z), source.rowBytes(),
                                           result.list(), result.rowBytes(), size, coefficients.data(),
                                           kernel, anchor, divisor, buffer.data() + 1),
                       result));
    }
  }
  return hash.value();
}

}  // namespace

void addFilterRows(Rows &rows) {
  for (const Taps &taps : kTaps) {
    for (const int32_t width : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}) {
      rows.push_back({"filter/16s/" + std::to_string(width) + taps.name, false, 0, [width, &taps] {
                        Hash hash;
                        for (const VekrVolumeSize rest :
                             {VekrVolumeSize{0, 3, 3}, VekrVolumeSize{0, 4, 3}, VekrVolumeSize{0, 2, 1}}) {
                          hash.word(filter({width, rest.height, rest.depth}, taps.reach));
                        }
                        return hash.value();
                      }});
    }
  }
}

}  // namespace hashes
