// The rows of the table of hashes: each calls one function in one form over fixed inputs and gives the hash of all that it
// has written. Nothing here needs more than the library and C++20, so that the program can be built for any target.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "vekr.h"

namespace hashes {

struct Row {
  std::string name;
  bool
      estimate;  // starts from the processor's estimate of a reciprocal: its hash is that of one make of processor
  int32_t threads;  // the thread count that the hash belongs to; 0: any
  std::function<uint64_t()> hash;
};
using Rows = std::vector<Row>;

// Add the rows of their families.
void addTreeRows(Rows &rows);
void addIntersectionRows(Rows &rows);
void addShadingRows(Rows &rows);
void addHarmonicsRows(Rows &rows);
void addResamplingRows(Rows &rows);  // remap and affine warp
void addResizeRows(Rows &rows);
void addFilterRows(Rows &rows);

// 64 bits that depend on every word, its place and the number of words. A NaN counts as a NaN, whatever its sign and
// payload, which are left open.
class Hash {
 public:
  void word(uint64_t word) {
    state_ = (state_ ^ word) * 0x9E3779B97F4A7C15u;
    state_ ^= state_ >> 29;
  }
  void add(int32_t value) { word(static_cast<uint32_t>(value)); }
  void add(uint32_t value) { word(value); }
  void add(float value) { word(value == value ? std::bit_cast<uint32_t>(value) : 0x7FC00000u); }
  void add(uint8_t value) { word(value); }
  void add(uint16_t value) { word(value); }
  void add(int16_t value) { word(static_cast<uint16_t>(value)); }
  template <class T>
  void add(const T *values, size_t count) {
    for (size_t i = 0; i < count; ++i) {
      T value;
      std::memcpy(&value, reinterpret_cast<const char *>(values) + i * sizeof(T), sizeof value);
      add(value);
    }
  }
  void text(const char *text) { add(reinterpret_cast<const uint8_t *>(text), std::strlen(text) + 1); }
  uint64_t value() const { return state_ ^ state_ >> 32; }

 private:
  uint64_t state_ = 0xCBF29CE484222325u;
};

// Numbers that are the same everywhere: products are exact, so that it doesn't matter whether the compiler fuses a sum.
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15u) {}
  uint32_t bits() {
    state_ += 0x9E3779B97F4A7C15u;
    uint64_t z = (state_ ^ state_ >> 30) * 0xBF58476D1CE4E5B9u;
    z = (z ^ z >> 27) * 0x94D049BB133111EBu;
    return static_cast<uint32_t>(z >> 32);
  }
  int32_t below(int32_t end) { return static_cast<int32_t>(bits() % static_cast<uint32_t>(end)); }
  float within(float low, float high) {
    const double range = static_cast<float>(high - low);
    return static_cast<float>(low + range * ((bits() >> 8) * 0x1p-24));
  }
  // One in four hurts: zeros of both signs, denormals, numbers at the ends of the range; infinities and NaN too.
  float hostile() {
    static constexpr uint32_t kBits[] = {0x00000000u, 0x80000000u, 0x3F800000u, 0xBF800000u,
                                         0x00000001u, 0x80000001u, 0x007FFFFFu, 0x00800000u,
                                         0x7F7FFFFFu, 0xFF7FFFFFu, 0x34000000u, 0x1E3CE508u,
                                         0x60AD78ECu, 0x7F800000u, 0xFF800000u, 0x7FC00000u};
    return below(4) ? within(-4.0f, 4.0f) : std::bit_cast<float>(kBits[below(16)]);
  }

 private:
  uint64_t state_;
};

// `count` elements `offset` bytes behind a multiple of 64, with as many bytes of a fixed pattern around them as a stray
// store is likely to reach; the hash of an output covers those too.
template <class T>
class Array {
 public:
  explicit Array(size_t count, size_t offset = 0)
      : count_(count), offset_(offset), bytes_(count * sizeof(T) + offset + 2 * kAround + 64) {
    for (size_t i = 0; i < size(); ++i) start()[i] = static_cast<uint8_t>(0x30 + i % 61);
  }
  T *data() { return reinterpret_cast<T *>(start() + kAround + offset_); }
  T &operator[](size_t i) { return data()[i]; }
  size_t count() const { return count_; }
  template <class Next>
  Array &fill(const Next &next) {
    for (size_t i = 0; i < count_; ++i) data()[i] = static_cast<T>(next());
    return *this;
  }
  void hashInto(Hash &hash) {
    hash.add(start(), kAround + offset_);
    hash.add(data(), count_);
    hash.add(start() + kAround + offset_ + count_ * sizeof(T), kAround);
  }

 private:
  static constexpr size_t kAround = 64;
  size_t size() const { return count_ * sizeof(T) + offset_ + 2 * kAround; }
  uint8_t *start() {
    const auto first = reinterpret_cast<uintptr_t>(bytes_.data());
    return bytes_.data() + ((first + 63) / 64 * 64 - first);
  }
  size_t count_, offset_;
  std::vector<uint8_t> bytes_;
};

// Planes of one ray block, and the list of them.
template <class T>
class Planes {
 public:
  Planes(size_t planes, size_t count, size_t offset = 0) {
    for (size_t i = 0; i < planes; ++i) arrays_.emplace_back(count, offset);
    for (auto &array : arrays_) list_.push_back(array.data());
  }
  Planes(const Planes &) = delete;
  Planes &operator=(const Planes &) = delete;
  T *const *list() { return list_.data(); }
  const T *const *in() { return list_.data(); }
  T *operator[](size_t plane) { return list_[plane]; }
  template <class Next>
  Planes &fill(const Next &next) {
    for (auto &array : arrays_) array.fill(next);
    return *this;
  }
  void hashInto(Hash &hash) {
    for (auto &array : arrays_) array.hashInto(hash);
  }

 private:
  std::vector<Array<T>> arrays_;
  std::vector<T *> list_;
};

// The hash of a status and of outputs.
template <class... Outputs>
uint64_t hashOf(VekStatus status, Outputs &...outputs) {
  Hash hash;
  hash.add(status);
  (outputs.hashInto(hash), ...);
  return hash.value();
}

}  // namespace hashes
