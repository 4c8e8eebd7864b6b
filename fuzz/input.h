// What the fuzz targets share: bytes read as arguments, arrays whose ends the address sanitizer watches, and the check that
// ends a run.
//
// The bytes decide structure (functions, sizes, boxes, alignments, factors); the contents of arrays come from a generator that
// four of them seed, so that a mutation of one byte changes one thing. Past the end all bytes are 0.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "vekr.h"

namespace vekr_fuzz {

#define FUZZ_CHECK(condition)                                                      \
  do {                                                                             \
    if (!(condition)) {                                                            \
      std::fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                \
    }                                                                              \
  } while (false)

inline float fromBits(uint32_t bits) { return std::bit_cast<float>(bits); }

// Zeros of both signs, denormals, ends of the range, and (the last three) what is no number.
inline constexpr uint32_t kOdd[] = {
    0x00000000u, 0x80000000u, 0x3F800000u, 0xBF800000u, 0x00000001u, 0x807FFFFFu, 0x00800000u, 0x34000000u,
    0x1E3CE508u, 0x60AD78ECu, 0x7F7FFFFFu, 0xFF7FFFFFu, 0x3F000000u, 0x7F800000u, 0xFF800000u, 0x7FC00000u};
enum class Numbers { finite, any };

class Random {
 public:
  explicit Random(uint32_t seed) : state_(seed) {}
  uint32_t bits() {
    state_ += 0x9E3779B97F4A7C15u;
    uint64_t z = (state_ ^ state_ >> 30) * 0xBF58476D1CE4E5B9u;
    z = (z ^ z >> 27) * 0x94D049BB133111EBu;
    return static_cast<uint32_t>(z >> 32);
  }
  int32_t below(int32_t end) { return static_cast<int32_t>(bits() % static_cast<uint32_t>(end)); }
  float within(float low, float high) {
    return low + (high - low) * static_cast<float>(bits() >> 8) * 0x1p-24f;
  }
  float number(Numbers numbers) {
    if (below(4)) return within(-4.0f, 4.0f);
    return fromBits(kOdd[below(numbers == Numbers::any ? 16 : 13)]);
  }

 private:
  uint64_t state_;
};

class Input {
 public:
  Input(const uint8_t *data, size_t size) : data_(data), end_(data + size) {}
  uint8_t byte() { return data_ < end_ ? *data_++ : uint8_t{0}; }
  uint32_t word() {
    uint32_t word = 0;
    for (int i = 0; i < 4; ++i) word = word << 8 | byte();
    return word;
  }
  bool flag() { return byte() & 1; }
  int32_t below(int32_t end) { return byte() % end; }
  int32_t within(int32_t low, int32_t high) { return low + below(high - low + 1); }
  // A small step from a sixteenth, any bits, or an odd one.
  float real(Numbers numbers) {
    switch (byte() % 4) {
      case 0:
        return fromBits(kOdd[below(numbers == Numbers::any ? 16 : 13)]);
      case 1: {
        const float any = fromBits(word());
        return numbers == Numbers::any || std::isfinite(any) ? any : 1.0f;
      }
      default:
        return static_cast<float>(static_cast<int8_t>(byte())) / 16.0f;
    }
  }
  Random contents() { return Random(word()); }

 private:
  const uint8_t *data_, *end_;
};

inline bool same(float a, float b) {
  return std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b) || (std::isnan(a) && std::isnan(b));
}
template <class T>
bool same(T a, T b) {
  return a == b;
}

// `count` elements, `skip` elements behind a multiple of 64 bytes, that end where the allocation ends.
template <class T>
class Array {
 public:
  Array(size_t count, size_t skip) : count_(count), skip_(skip) {
    memory_ = static_cast<T *>(::operator new ((skip + count) * sizeof(T), std::align_val_t{64}));
    std::fill_n(memory_, skip + count, T(42));
  }
  Array(const Array &other) : Array(other.count_, other.skip_) {
    std::copy_n(other.memory_, skip_ + count_, memory_);
  }
  Array &operator=(const Array &) = delete;
  ~Array() { ::operator delete (memory_, std::align_val_t{64}); }
  T *data() const { return memory_ + skip_; }
  T &operator[](size_t i) const { return data()[i]; }
  size_t size() const { return count_; }
  template <class Next>
  void fill(const Next &next) {
    for (size_t i = 0; i < count_; ++i) data()[i] = next();
  }
  // Also what lies in front of the elements.
  friend bool operator==(const Array &a, const Array &b) {
    for (size_t i = 0; i < a.skip_ + a.count_; ++i) {
      if (!same(a.memory_[i], b.memory_[i])) return false;
    }
    return true;
  }

 private:
  size_t count_, skip_;
  T *memory_;
};

// Three arrays and the list of them. A copy has a list of its own.
template <class T>
class Triple {
 public:
  Triple(size_t count, size_t skip) : planes_(3, Array<T>(count, skip)) { relist(); }
  Triple(const Triple &other) : planes_(other.planes_) { relist(); }
  Triple &operator=(const Triple &) = delete;
  T *const *list() const { return list_; }
  const T *const *in() const { return list_; }
  Array<T> &operator[](size_t i) { return planes_[i]; }
  template <class Next>
  void fill(const Next &next) {
    for (auto &plane : planes_) plane.fill(next);
  }
  friend bool operator==(const Triple &a, const Triple &b) { return a.planes_ == b.planes_; }

 private:
  void relist() {
    for (size_t i = 0; i < 3; ++i) list_[i] = planes_[i].data();
  }
  std::vector<Array<T>> planes_;
  T *list_[3];
};

}  // namespace vekr_fuzz
