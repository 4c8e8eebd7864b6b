// One call of each function with good arguments, in arrays that lie flush against unreadable pages, and the arguments by which
// it can be spoilt, in the order in which they are documented to be looked at.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "vekr.h"

namespace vekr_test {

enum class Flush { end, begin };

// Where the arrays of a call lie, and how long they are.
struct Layout {
  int32_t n;      // rays, directions, columns
  Flush flush;    // which side of an array has the unreadable page
  size_t shift;   // bytes between page and array, cut to a multiple of the element's size
  int only = -1;  // number of the one array that is shifted; -1: all are
};

// Owns the arrays of a call. Each has pages of its own, with unreadable ones on both sides.
class Arena {
 public:
  explicit Arena(const Layout &layout) : layout_(layout) {}
  Arena(const Arena &) = delete;
  Arena &operator=(const Arena &) = delete;
  ~Arena() {
    for (const Block &block : blocks_) munmap(block.base, block.mapped);
  }
  int32_t n() const { return layout_.n; }
  const Layout &layout() const { return layout_; }
  size_t arrays() const { return blocks_.size(); }

  template <class T>
  T *array(int64_t count) {
    const bool shifted = layout_.only < 0 || layout_.only == static_cast<int>(blocks_.size());
    const size_t shift = shifted ? layout_.shift / sizeof(T) * sizeof(T) : 0;
    T *const data = reinterpret_cast<T *>(take(static_cast<size_t>(count) * sizeof(T), shift));
    for (int64_t i = 0; i < count; ++i) data[i] = T();
    return data;
  }
  // Numbers between -1 and 1 that are no steps of anything.
  float *floats(int64_t count) {
    float *const data = array<float>(count);
    for (int64_t i = 0; i < count; ++i) data[i] = static_cast<float>((i * 37 + 11) % 101 - 50) / 51.0f;
    return data;
  }
  template <class T>
  T *filled(int64_t count, T value) {
    T *const data = array<T>(count);
    for (int64_t i = 0; i < count; ++i) data[i] = value;
    return data;
  }
  // A list of arrays; the list, too, has its own page.
  float **planes(int32_t planes, int64_t count) {
    float **const list = array<float *>(planes);
    for (int32_t i = 0; i < planes; ++i) list[i] = floats(count);
    return list;
  }
  template <class T>
  T **volume(VekrVolumeSize size) {
    T **const list = array<T *>(size.depth);
    for (int32_t z = 0; z < size.depth; ++z) list[z] = filled<T>(int64_t{size.width} * size.height, T(7));
    return list;
  }

  void remember() {
    for (Block &block : blocks_) block.before.assign(block.data, block.data + block.bytes);
  }
  bool unchanged() const {
    for (const Block &block : blocks_) {
      if (std::memcmp(block.before.data(), block.data, block.bytes) != 0) return false;
    }
    return true;
  }
  // Puts back what remember() has seen.
  void restore() {
    for (Block &block : blocks_) std::memcpy(block.data, block.before.data(), block.bytes);
  }

 private:
  struct Block {
    uint8_t *base, *data;
    size_t mapped, bytes;
    std::vector<uint8_t> before;
  };
  uint8_t *take(size_t bytes, size_t shift) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t inner = (bytes + shift + page - 1) / page * page;
    auto *const base = static_cast<uint8_t *>(
        mmap(nullptr, inner + 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(base, page, PROT_NONE);
    mprotect(base + page + inner, page, PROT_NONE);
    uint8_t *const data =
        layout_.flush == Flush::end ? base + page + inner - shift - bytes : base + page + shift;
    blocks_.push_back({base, data, inner + 2 * page, bytes, {}});
    return data;
  }
  Layout layout_;
  std::vector<Block> blocks_;
};

// A call without its types.
class AnyCall {
 public:
  explicit AnyCall(std::string name) : name_(std::move(name)) {}
  virtual ~AnyCall() = default;
  const std::string &name() const { return name_; }
  // With some spoilers applied to the good arguments, in order.
  virtual VekStatus run(const std::vector<size_t> &spoilers) const = 0;
  virtual size_t spoilers() const = 0;
  struct Meaning {
    VekStatus status;
    bool idle;  // vekOk, but nothing is read or written
  };
  virtual Meaning meaning(size_t spoiler) const = 0;

 private:
  std::string name_;
};

inline constexpr int32_t kBelowOne[] = {0, -1, -4, INT32_MIN};
inline constexpr int32_t kBelowZero[] = {-1, INT32_MIN};
inline constexpr int32_t kNoCodes[] = {0, 3, 8, -1, INT32_MAX, INT32_MIN};

// The checks are told in the order in which the function makes them; what is harmless comes last.
template <class... Args>
class Call : public AnyCall {
 public:
  using Function = VekStatus (*)(Args...);
  using Arguments = std::tuple<Args...>;
  Call(std::string name, Function function, Args... good)
      : AnyCall(std::move(name)), function_(function), good_(good...) {}

  // One value after the other in argument I.
  template <size_t I, class Values>
  Call &bad(VekStatus status, const Values &values) {
    for (const auto value : values) {
      add(status,
          [value](Arguments &a) { std::get<I>(a) = static_cast<std::tuple_element_t<I, Arguments>>(value); });
    }
    return *this;
  }
  template <size_t... I>
  Call &null() {
    (add(vekErrNullPtr, [](Arguments &a) { std::get<I>(a) = nullptr; }), ...);
    return *this;
  }
  template <size_t I>
  Call &extents() {
    return members<I>({&VekrVolumeSize::width, &VekrVolumeSize::height, &VekrVolumeSize::depth}, kBelowOne);
  }
  template <size_t I>
  Call &box() {
    members<I>({&VekrVolumeBox::x, &VekrVolumeBox::y, &VekrVolumeBox::z}, kBelowZero);
    return members<I>({&VekrVolumeBox::width, &VekrVolumeBox::height, &VekrVolumeBox::depth}, kBelowOne);
  }
  template <size_t I>
  Call &code() {
    return bad<I>(vekErrInterpolation, kNoCodes);
  }
  template <size_t I>
  Call &channels() {
    return bad<I>(vekErrChannel, std::initializer_list<int32_t>{0, 2, 3, -1, INT32_MAX, INT32_MIN});
  }
  // A box that begins outside of the volume.
  template <size_t I>
  Call &elsewhere() {
    for (const auto member : {&VekrVolumeBox::x, &VekrVolumeBox::y, &VekrVolumeBox::z}) {
      for (const int32_t value : {1000, INT32_MAX}) {
        add(vekWarnNoOverlap, [=](Arguments &a) { std::get<I>(a).*member = value; });
      }
    }
    return *this;
  }
  // Counts with which there is nothing to do.
  template <size_t I>
  Call &idle(std::initializer_list<int32_t> values = {0, -1, -4, INT32_MIN}) {
    for (const int32_t value : values) {
      add(
          vekOk, [value](Arguments &a) { std::get<I>(a) = value; }, true);
    }
    return *this;
  }
  // Values that are as good as any.
  template <size_t I, class Values>
  Call &fine(const Values &values) {
    return bad<I>(vekOk, values);
  }
  template <size_t I>
  Call &anyFloat() {
    return fine<I>(std::initializer_list<double>{0.0, -0.0, 1e-310, 1e-42, -1e-42, 1e38, __builtin_inf(),
                                                 -__builtin_inf(), __builtin_nan("")});
  }

  // Shifts within the result; a NaN is no shift.
  template <size_t I>
  Call &anyFloatShift() {
    return fine<I>(std::initializer_list<double>{0.0, -0.0, 1e-310, 0.25});
  }

  VekStatus run(const std::vector<size_t> &spoilers) const override {
    Arguments arguments = good_;
    for (const size_t i : spoilers) spoilers_[i].spoil(arguments);
    return std::apply(function_, arguments);
  }
  size_t spoilers() const override { return spoilers_.size(); }
  Meaning meaning(size_t i) const override { return spoilers_[i].meaning; }

  void add(VekStatus status, std::function<void(Arguments &)> spoil, bool idle = false) {
    spoilers_.push_back({{status, idle}, std::move(spoil)});
  }

 private:
  struct Spoiler {
    Meaning meaning;
    std::function<void(Arguments &)> spoil;
  };
  template <size_t I, class Member, class Values>
  Call &members(std::initializer_list<Member> members, const Values &values) {
    for (const Member member : members) {
      for (const int32_t value : values) {
        add(vekErrSize, [=](Arguments &a) { std::get<I>(a).*member = value; });
      }
    }
    return *this;
  }
  Function function_;
  Arguments good_;
  std::vector<Spoiler> spoilers_;
};

// The calls of one layout.
class Calls {
 public:
  // Good arguments of a function; what can be wrong with them is added to the result.
  template <class... Args>
  Call<Args...> &of(const char *name, VekStatus (*function)(Args...), std::type_identity_t<Args>... good) {
    auto call = std::make_unique<Call<Args...>>(name, function, good...);
    Call<Args...> &reference = *call;
    all_.push_back(std::move(call));
    return reference;
  }
  const std::vector<std::unique_ptr<AnyCall>> &all() const { return all_; }

 private:
  std::vector<std::unique_ptr<AnyCall>> all_;
};

// Every exported function that returns a status.
void addMeshCalls(Calls &calls, Arena &arena);
void addRayCalls(Calls &calls, Arena &arena);
void addHarmonicsCalls(Calls &calls, Arena &arena);
void addVolumeCalls(Calls &calls, Arena &arena);

}  // namespace vekr_test
