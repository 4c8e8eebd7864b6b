// Resize: both forms of argument, every voxel type and interpolation, enlarging, reducing and both at once.
#include "hashes/volume.h"

namespace hashes {
namespace {

constexpr VekrVolumeSize kSource = {18, 11, 9};

struct Scaling {
  VekrVolumeSize to;
  double factor[3], shift[3];
  VekrVolumeBox from;
};
// The third shares planes among threads; the last two have sources too small for cubic taps, and nothing to write.
constexpr Scaling kScalings[] = {{{40, 25, 13}, {2.3, 2.3, 1.5}, {0, 0, 0}, {0, 0, 0, 18, 11, 9}},
                                 {{9, 7, 5}, {0.45, 0.6, 0.5}, {0.25, -0.5, 0}, {0, 0, 0, 18, 11, 9}},
                                 {{33, 19, 17}, {1.9, 1.7, 2.0}, {-1.5, 0.125, 0}, {1, 0, 1, 16, 11, 8}},
                                 {{21, 11, 9}, {1, 1, 1}, {3, 0, 0.5}, {0, 0, 0, 18, 11, 9}},
                                 {{20, 12, 10}, {6, 4, 3}, {0, 0, 0}, {3, 2, 4, 2, 3, 1}},
                                 {{5, 5, 5}, {1, 1, 1}, {400, 0, 0}, {0, 0, 0, 18, 11, 9}}};

std::vector<uint8_t> workBuffer(VekrVolumeBox from, VekrVolumeBox to, int32_t code) {
  int32_t bytes = 0;
  vekrResizeGetBufSize(from, to, 1, code, &bytes);
  return std::vector<uint8_t>(static_cast<size_t>(bytes) + 1, 0xA5);
}

template <class Voxel, class Function>
uint64_t resize(const Function &function, bool block, int32_t code) {
  Volume<Voxel> source(kSource, paddedRow<Voxel>(kSource.width));
  Random random(73);
  source.fill([&](int32_t, int32_t, int32_t) { return randomVoxel<Voxel>(random, true); });
  Hash hash;
  for (const Scaling &s : kScalings) {
    Volume<Voxel> result(s.to, paddedRow<Voxel>(s.to.width));
    const VekrVolumeBox box = {0, 0, 0, s.to.width, s.to.height, s.to.depth};
    auto buffer = workBuffer(s.from, box, code);
    uint8_t *const work = buffer.data() + 1;  // at an odd address
    VekStatus status;
    if constexpr (std::is_invocable_v<Function, const Voxel *, VekrVolumeSize, int32_t, int32_t,
                                      VekrVolumeBox, Voxel *, int32_t, int32_t, VekrVolumeBox, double, double,
                                      double, double, double, double, int32_t, uint8_t *>) {
      status = function(source.data(), kSource, source.rowBytes(), source.planeBytes(), s.from, result.data(),
                        result.rowBytes(), result.planeBytes(), box, s.factor[0], s.factor[1], s.factor[2],
                        s.shift[0], s.shift[1], s.shift[2], code, work);
    } else {
      status =
          function(source.in(), kSource, source.rowBytes(), s.from, result.list(), result.rowBytes(), box,
                   s.factor[0], s.factor[1], s.factor[2], s.shift[0], s.shift[1], s.shift[2], code, work);
    }
    hash.word(hashOf(status, result));
  }
  hash.add(static_cast<int32_t>(block));
  return hash.value();
}

template <class Voxel, class Block, class Planes>
void addType(Rows &rows, Block blockFunction, Planes planesFunction) {
  for (const auto &[name, code] : kInterpolations) {
    const std::string end = std::string(typeName<Voxel>()) + name;
    rows.push_back(
        {"resize/block" + end, false, 0, [=, c = code] { return resize<Voxel>(blockFunction, true, c); }});
    rows.push_back(
        {"resize/planes" + end, false, 0, [=, c = code] { return resize<Voxel>(planesFunction, false, c); }});
  }
}

}  // namespace

void addResizeRows(Rows &rows) {
  addType<uint8_t>(rows, vekrResize_8u_C1V, vekrResize_8u_C1PV);
  addType<uint16_t>(rows, vekrResize_16u_C1V, vekrResize_16u_C1PV);
  addType<float>(rows, vekrResize_32f_C1V, vekrResize_32f_C1PV);
  // The size grows with the number of threads, which is promised too.
  for (const int32_t threads : {1, 3}) {
    rows.push_back({"resize/size " + std::to_string(threads), false, threads, [] {
                      Hash hash;
                      for (const Scaling &s : kScalings) {
                        for (const auto &[name, code] : kInterpolations) {
                          Array<int32_t> size(1);
                          const VekrVolumeBox to = {0, 0, 0, s.to.width, s.to.height, s.to.depth};
                          hash.word(hashOf(vekrResizeGetBufSize(s.from, to, 1, code, size.data()), size));
                        }
                      }
                      return hash.value();
                    }});
  }
}

}  // namespace hashes
