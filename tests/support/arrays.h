// Arrays for tests: with guard words around them, at chosen alignments, or flush against an unreadable page.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <vector>

namespace vekr_test {

// `count` elements at an address of 64 * n + `offset` bytes, with guard bytes on both sides.
template <class T>
class Guarded {
 public:
  explicit Guarded(size_t count, size_t offset = 0)
      : count_(count), bytes_(kGuard + count * sizeof(T) + kGuard + 64 + offset, kFill) {
    const auto base = reinterpret_cast<uintptr_t>(bytes_.data()) + kGuard;
    start_ = (base + 63) / 64 * 64 + offset - reinterpret_cast<uintptr_t>(bytes_.data());
    for (size_t i = 0; i < count; ++i) (*this)[i] = T();
  }
  Guarded(const Guarded &) = delete;  // the address is the point of it
  Guarded &operator=(const Guarded &) = delete;
  Guarded(Guarded &&) = default;
  Guarded &operator=(Guarded &&) = default;

  T *data() { return reinterpret_cast<T *>(bytes_.data() + start_); }
  const T *data() const { return reinterpret_cast<const T *>(bytes_.data() + start_); }
  T &operator[](size_t i) { return data()[i]; }
  const T &operator[](size_t i) const { return data()[i]; }
  size_t size() const { return count_; }
  T *begin() { return data(); }
  T *end() { return data() + count_; }
  const T *begin() const { return data(); }
  const T *end() const { return data() + count_; }

  // Whether nothing has been written outside the elements.
  bool intact() const {
    const size_t end = start_ + count_ * sizeof(T);
    for (size_t i = 0; i < bytes_.size(); ++i) {
      if ((i < start_ || i >= end) && bytes_[i] != kFill) return false;
    }
    return true;
  }

 private:
  static constexpr size_t kGuard = 128;
  static constexpr unsigned char kFill = 0xA5;
  size_t count_;
  std::vector<unsigned char> bytes_;
  size_t start_ = 0;
};

// `count` elements that end at an unreadable page, `gap` bytes before it; the page in front is unreadable too.
template <class T>
class PageEnd {
 public:
  explicit PageEnd(size_t count, size_t gap = 0) : count_(count) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t inner = (count * sizeof(T) + gap + page - 1) / page * page;
    mapped_ = inner + 2 * page;
    base_ = static_cast<unsigned char *>(
        mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(base_, page, PROT_NONE);
    mprotect(base_ + page + inner, page, PROT_NONE);
    data_ = reinterpret_cast<T *>(base_ + page + inner - gap - count * sizeof(T));
  }
  PageEnd(const PageEnd &) = delete;
  PageEnd &operator=(const PageEnd &) = delete;
  ~PageEnd() { munmap(base_, mapped_); }

  T *data() { return data_; }
  T &operator[](size_t i) { return data_[i]; }
  const T &operator[](size_t i) const { return data_[i]; }
  size_t size() const { return count_; }
  T *begin() { return data_; }
  T *end() { return data_ + count_; }

 private:
  size_t count_;
  size_t mapped_;
  unsigned char *base_;
  T *data_;
};

}  // namespace vekr_test
