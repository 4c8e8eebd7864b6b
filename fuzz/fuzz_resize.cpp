// The six resize functions against their twin: sizes, boxes, steps, factors, shifts and codes from bytes.
#include "reference/resize_reference.h"
#include "volume.h"

using namespace vekr_fuzz;

namespace {

double factorFrom(Input &in) {
  static constexpr double kFactors[] = {1, 2, 0.5, 3, 1.5, 0.25, 1.0 / 3, 1e-3};
  return in.flag() ? kFactors[in.below(8)] : (in.byte() + 1) / 50.0;
}

template <class Voxel>
void compare(const reference::ResizeRequest &r, const Volume<Voxel> &source, const Volume<Voxel> &actual,
             VekStatus status) {
  Volume<Voxel> expected(actual.size(), actual.step());
  const auto read = [&](int32_t x, int32_t y, int32_t z) { return source.get(x, y, z); };
  reference::ResizeTwin<Voxel, decltype(read)> twin(r, source.step(), read);
  FUZZ_CHECK(status == (twin.empty() ? vekWarnNoVoxels : vekOk));
  if (!twin.empty()) {
    const reference::Interval xs = twin.interval(0), ys = twin.interval(1), zs = twin.interval(2);
    for (int32_t z = zs.begin; z < zs.end; ++z) {
      for (int32_t y = ys.begin; y < ys.end; ++y) {
        for (int32_t x = xs.begin; x < xs.end; ++x) {
          const auto voxel = twin.at(x - xs.begin, y - ys.begin, z - zs.begin);
          // Taps outside of so small a source: any value.
          expected.set(x, y, z, voxel ? *voxel : actual.get(x, y, z));
        }
      }
    }
  }
  FUZZ_CHECK(actual == expected);
}

template <class Voxel>
void resize(Input &in) {
  reference::ResizeRequest r = {};
  r.srcSize = sizeFrom(in, 12);
  r.srcBox = boxFrom(in, r.srcSize);
  const VekrVolumeSize to = {in.within(1, 40), in.within(1, 16), in.within(1, 8)};
  r.dstBox = {in.below(to.width), in.below(to.height), in.below(to.depth), 0, 0, 0};
  r.dstBox.width = to.width - r.dstBox.x;
  r.dstBox.height = to.height - r.dstBox.y;
  r.dstBox.depth = to.depth - r.dstBox.z;
  for (int axis = 0; axis < 3; ++axis) {
    r.factor[axis] = factorFrom(in);
    r.shift[axis] = static_cast<int8_t>(in.byte()) / 8.0;
  }
  r.code = codeFrom(in);
  const bool block = in.flag();
  const Volume<Voxel> source = sourceFrom<Voxel>(in, r.srcSize);
  Volume<Voxel> actual(to, (to.width + in.below(3)) * static_cast<int32_t>(sizeof(Voxel)));
  int32_t bytes = -1;
  FUZZ_CHECK(vekrResizeGetBufSize(r.srcBox, r.dstBox, 1, r.code, &bytes) == vekOk);
  // A box that reaches far beyond the source is cut in the call, but not in the answer.
  if (bytes < 0 || bytes > 1 << 26) return;
  Array<uint8_t> buffer(static_cast<size_t>(bytes), static_cast<size_t>(in.below(4)));
  if (!block) {
    const auto function = forVoxel<Voxel>(vekrResize_8u_C1PV, vekrResize_16u_C1PV, vekrResize_32f_C1PV);
    const VekStatus status = function(source.in(), r.srcSize, source.step(), r.srcBox, actual.list(),
                                      actual.step(), r.dstBox, r.factor[0], r.factor[1], r.factor[2],
                                      r.shift[0], r.shift[1], r.shift[2], r.code, buffer.data());
    return compare(r, source, actual, status);
  }
  // The same volume without gaps, as one block.
  const int32_t row = r.srcSize.width * static_cast<int32_t>(sizeof(Voxel)),
                toRow = to.width * int32_t(sizeof(Voxel));
  Array<Voxel> from(static_cast<size_t>(r.srcSize.width * r.srcSize.height * r.srcSize.depth), 0);
  size_t i = 0;
  Volume<Voxel> whole(r.srcSize, row);
  for (int32_t z = 0; z < r.srcSize.depth; ++z) {
    for (int32_t y = 0; y < r.srcSize.height; ++y) {
      for (int32_t x = 0; x < r.srcSize.width; ++x) {
        from[i++] = source.get(x, y, z);
        whole.set(x, y, z, source.get(x, y, z));
      }
    }
  }
  Array<Voxel> result(static_cast<size_t>(to.width * to.height * to.depth), 0);
  Volume<Voxel> packed(to, toRow);
  std::memset(result.data(), 42, result.size() * sizeof(Voxel));
  const auto function = forVoxel<Voxel>(vekrResize_8u_C1V, vekrResize_16u_C1V, vekrResize_32f_C1V);
  const VekStatus status =
      function(from.data(), r.srcSize, row, row * r.srcSize.height, r.srcBox, result.data(), toRow,
               toRow * to.height, r.dstBox, r.factor[0], r.factor[1], r.factor[2], r.shift[0], r.shift[1],
               r.shift[2], r.code, buffer.data());
  i = 0;
  packed.fill([&] { return result[i++]; });
  compare(r, whole, packed, status);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  Input in(data, size);
  switch (in.below(3)) {
    case 0:
      resize<uint8_t>(in);
      break;
    case 1:
      resize<uint16_t>(in);
      break;
    default:
      resize<float>(in);
  }
  return 0;
}
