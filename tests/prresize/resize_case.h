// One call of a resize function, on exactly sized arrays, and the comparison of all it has written with the plain twin.
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <type_traits>
#include <vector>

#include "tests/reference/resize_reference.h"
#include "tests/support/arrays.h"
#include "tests/support/values.h"
#include "tests/support/volume_calls.h"
#include "tests/support/volumes.h"
#include "vekr.h"

namespace vekr_test {

using reference::ResizeRequest;

// Bytes flush against an unreadable page behind them or in front of them.
class Fenced {
 public:
  enum class Flush { end, begin };
  Fenced(size_t bytes, Flush flush) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE)), inner = (bytes + page - 1) / page * page;
    mapped_ = inner + 2 * page;
    base_ = static_cast<uint8_t *>(
        mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(base_, page, PROT_NONE);
    mprotect(base_ + page + inner, page, PROT_NONE);
    data_ = base_ + page + (flush == Flush::end ? inner - bytes : 0);
  }
  Fenced(const Fenced &) = delete;
  Fenced &operator=(const Fenced &) = delete;
  ~Fenced() { munmap(base_, mapped_); }
  uint8_t *data() const { return data_; }

 private:
  size_t mapped_;
  uint8_t *base_, *data_;
};

// Steps in bytes; negative ones put the first row, or plane, last in memory.
struct Layout {
  int32_t step = 0, planeStep = 0;
  Fenced::Flush flush = Fenced::Flush::end;
  size_t offset = 0;  // bytes by which every voxel is off its alignment
};

// A volume in one block, or the same planes as a list in no order.
template <class Voxel>
class TestVolume {
 public:
  TestVolume(VekrVolumeSize size, Layout layout) : size_(size), layout_(layout) {
    const size_t rows =
        static_cast<size_t>(size.height - 1) * static_cast<size_t>(std::abs(whole(layout.step)));
    const size_t planes =
        static_cast<size_t>(size.depth - 1) * static_cast<size_t>(std::abs(whole(layout.planeStep)));
    bytes_ = rows + planes + static_cast<size_t>(size.width) * sizeof(Voxel) + layout.offset;
    memory_ = std::make_unique<Fenced>(bytes_, layout.flush);
    first_ = memory_->data() + (layout.flush == Fenced::Flush::begin ? layout.offset : 0) +
             (layout.step < 0 ? rows : 0) + (layout.planeStep < 0 ? planes : 0);
    for (int32_t z = 0; z < size.depth; ++z) list_.push_back(reinterpret_cast<Voxel *>(address(0, 0, z)));
    for (size_t i = 0; i < bytes_; ++i) memory_->data()[i] = static_cast<uint8_t>(0x40 + i % 61);
  }
  Voxel *block() const { return reinterpret_cast<Voxel *>(first_); }
  Voxel *const *list() const { return list_.data(); }
  const Voxel *const *constList() const { return list_.data(); }
  VekrVolumeSize size() const { return size_; }
  const Layout &layout() const { return layout_; }

  Voxel get(int32_t x, int32_t y, int32_t z) const {
    Voxel v;
    std::memcpy(&v, address(x, y, z), sizeof v);
    return v;
  }
  void set(int32_t x, int32_t y, int32_t z, Voxel v) { std::memcpy(address(x, y, z), &v, sizeof v); }
  template <class Make>
  void fill(const Make &make) {
    for (int32_t z = 0; z < size_.depth; ++z) {
      for (int32_t y = 0; y < size_.height; ++y) {
        for (int32_t x = 0; x < size_.width; ++x) set(x, y, z, make(x, y, z));
      }
    }
  }
  void copyBytes(const TestVolume &other) { std::memcpy(memory_->data(), other.memory_->data(), bytes_); }
  bool sameBytes(const TestVolume &other) const {
    return std::memcmp(memory_->data(), other.memory_->data(), bytes_) == 0;
  }

 private:
  // The bytes of a step that count: whole voxels, rounded down.
  static int64_t whole(int32_t step) {
    constexpr int64_t size = sizeof(Voxel);
    return (step - ((step % size) + size) % size);
  }
  uint8_t *address(int32_t x, int32_t y, int32_t z) const {
    return first_ + x * static_cast<int64_t>(sizeof(Voxel)) + y * whole(layout_.step) +
           z * whole(layout_.planeStep);
  }
  VekrVolumeSize size_;
  Layout layout_;
  size_t bytes_;
  std::unique_ptr<Fenced> memory_;
  uint8_t *first_;
  std::vector<Voxel *> list_;
};

// Packed rows and planes, with `pad` spare voxels behind each row.
template <class Voxel>
Layout packed(VekrVolumeSize size, int32_t pad = 0) {
  const int32_t step = static_cast<int32_t>((size.width + pad) * static_cast<int32_t>(sizeof(Voxel)));
  return {step, step * size.height};
}

template <class Voxel>
VekStatus resizeBlock(const Voxel *src, const ResizeRequest &r, Layout from, Voxel *dst, Layout to,
                      uint8_t *buffer) {
  const auto call = [&](auto function) {
    return function(src, r.srcSize, from.step, from.planeStep, r.srcBox, dst, to.step, to.planeStep, r.dstBox,
                    r.factor[0], r.factor[1], r.factor[2], r.shift[0], r.shift[1], r.shift[2], r.code,
                    buffer);
  };
  return call(forVoxel<Voxel>(vekrResize_8u_C1V, vekrResize_16u_C1V, vekrResize_32f_C1V));
}

template <class Voxel>
VekStatus resizeList(const Voxel *const *src, const ResizeRequest &r, int32_t step, Voxel *const *dst,
                     int32_t dstStep, uint8_t *buffer) {
  const auto call = [&](auto function) {
    return function(src, r.srcSize, step, r.srcBox, dst, dstStep, r.dstBox, r.factor[0], r.factor[1],
                    r.factor[2], r.shift[0], r.shift[1], r.shift[2], r.code, buffer);
  };
  return call(forVoxel<Voxel>(vekrResize_8u_C1PV, vekrResize_16u_C1PV, vekrResize_32f_C1PV));
}

inline int32_t bufferSize(const ResizeRequest &r) {
  int32_t size = 0;
  EXPECT_EQ(vekrResizeGetBufSize(r.srcBox, r.dstBox, 1, r.code, &size), vekOk);
  return size;
}

enum class VolumeForm { block, list };

// Runs the call and compares every byte of the destination. Voxels with taps outside the source may hold anything.
// `misaligned` bytes lie between the buffer's end and the unreadable page.
template <class Voxel>
void expectLikeTwin(const ResizeRequest &r, VolumeForm form, const TestVolume<Voxel> &source, Layout to,
                    size_t misaligned) {
  const VekrVolumeSize room = {r.dstBox.x + r.dstBox.width, r.dstBox.y + r.dstBox.height,
                               r.dstBox.z + r.dstBox.depth};
  TestVolume<Voxel> destination(room, to), expected(room, to);
  PageEnd<uint8_t> buffer(static_cast<size_t>(bufferSize(r)), misaligned);
  std::memset(buffer.data(), 0xEE, buffer.size());  // a NaN, as a float

  const VekStatus status =
      form == VolumeForm::block
          ? resizeBlock<Voxel>(source.block(), r, source.layout(), destination.block(), to, buffer.data())
          : resizeList<Voxel>(source.constList(), r, source.layout().step, destination.list(), to.step,
                              buffer.data());

  const auto read = [&](int32_t x, int32_t y, int32_t z) { return source.get(x, y, z); };
  reference::ResizeTwin<Voxel, decltype(read)> twin(r, source.layout().step, read);
  EXPECT_EQ(status, twin.empty() ? vekWarnNoVoxels : vekOk);
  if (!twin.empty()) {
    const reference::Interval xs = twin.interval(0), ys = twin.interval(1), zs = twin.interval(2);
    for (int32_t z = zs.begin; z < zs.end; ++z) {
      for (int32_t y = ys.begin; y < ys.end; ++y) {
        for (int32_t x = xs.begin; x < xs.end; ++x) {
          const auto voxel = twin.at(x - xs.begin, y - ys.begin, z - zs.begin);
          const Voxel actual = destination.get(x, y, z);
          if (!voxel) {
            expected.set(x, y, z, actual);
            continue;
          }
          bool equal = std::memcmp(&actual, &*voxel, sizeof actual) == 0;
          if constexpr (std::is_same_v<Voxel, float>) equal = same(actual, *voxel);
          if (!equal) {
            FAIL() << "voxel (" << x << ", " << y << ", " << z << ") is " << +actual << " instead of "
                   << +*voxel;
          }
          expected.set(x, y, z, actual);
        }
      }
    }
  }
  EXPECT_TRUE(destination.sameBytes(expected)) << "something outside the region was written";
}

inline std::string describe(const ResizeRequest &r) {
  char text[400];
  std::snprintf(
      text, sizeof text,
      "code %d, source %dx%dx%d, box %d %d %d %d %d %d into %d %d %d %d %d %d, factors %.17g %.17g %.17g, "
      "shifts %.17g %.17g %.17g",
      r.code, r.srcSize.width, r.srcSize.height, r.srcSize.depth, r.srcBox.x, r.srcBox.y, r.srcBox.z,
      r.srcBox.width, r.srcBox.height, r.srcBox.depth, r.dstBox.x, r.dstBox.y, r.dstBox.z, r.dstBox.width,
      r.dstBox.height, r.dstBox.depth, r.factor[0], r.factor[1], r.factor[2], r.shift[0], r.shift[1],
      r.shift[2]);
  return text;
}

}  // namespace vekr_test
