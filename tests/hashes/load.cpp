// Load, by scripts/load.sh.
//   load hosts THREADS SECONDS TABLE [GRANTED]   host threads that run all rows of the table at once and compare; their calls may use
//                                                so many threads each, 2 unless told
//   load builds COUNT                  so many trees: the process mustn't grow
//   load far                           volumes and planes beyond 2^32 bytes, at their far end
#include <sys/mman.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "hashes/scene.h"
#include "hashes/table.h"
#include "hashes/volume.h"

namespace {

using namespace hashes;

int hosts(int count, int seconds, const char *path, int32_t granted) {
  const auto table = readTable(path);
  vekSetNumThreads(granted);
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  std::atomic<int64_t> compared = 0, wrong = 0;
  std::vector<std::thread> threads;
  for (int host = 0; host < count; ++host) {
    threads.emplace_back([&, host] {
      const Rows rows = allRows();
      Random random(static_cast<uint64_t>(host));
      while (std::chrono::steady_clock::now() < end) {
        const Row &row = rows[static_cast<size_t>(random.below(static_cast<int32_t>(rows.size())))];
        if (row.threads != 0 && row.threads != granted) continue;
        const std::string line = lineOf(row, row.hash());
        ++compared;
        if (table.at(row.name) == line) continue;
        ++wrong;
        std::printf("differs: %s\n", line.c_str());
      }
    });
  }
  for (auto &thread : threads) thread.join();
  std::printf("%d host threads, %d s: %lld hashes compared, %lld wrong\n", count, seconds,
              static_cast<long long>(compared), static_cast<long long>(wrong));
  return wrong != 0;
}

long residentPages() {
  long total = 0, resident = 0;
  FILE *const file = std::fopen("/proc/self/statm", "r");
  if (!file || std::fscanf(file, "%ld %ld", &total, &resident) != 2) std::exit(2);
  std::fclose(file);
  return resident;
}

int builds(int count) {
  const Mesh small = soup(8), large = ground(20);
  const auto build = [](const Mesh &mesh, bool surfaceArea) { const Scene scene(mesh, surfaceArea); };
  long before = 0;
  for (int i = 0; i < count; ++i) {
    build(i % 50 ? small : large, i % 3 != 0);
    if (i == 200) before = residentPages();
  }
  const long grown = residentPages() - before;
  std::printf("%d trees built and freed: %ld pages more than after the first 200\n", count, grown);
  return grown > 64;
}

// Address space of which only what is touched costs memory.
class Sparse {
 public:
  explicit Sparse(size_t bytes) : bytes_(bytes) {
    memory_ = static_cast<char *>(
        mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    if (memory_ == MAP_FAILED) std::exit(2);
  }
  Sparse(Sparse &&other) noexcept : bytes_(other.bytes_), memory_(other.memory_) { other.memory_ = nullptr; }
  Sparse(const Sparse &) = delete;
  ~Sparse() {
    if (memory_) munmap(memory_, bytes_);
  }
  char *data() const { return memory_; }

 private:
  size_t bytes_;
  char *memory_;
};

constexpr int32_t kCorner = 12, kDepth = 5;

// The last 12 columns and rows of a huge volume hold what the small one holds; both are sampled at the same places, and the
// first rows and columns of the small one, which clamp, are left out.
struct Far {
  VekrVolumeSize size;
  int32_t step, planeStep;
  std::vector<const float *> list;
  const float *block;
};

int compare(const char *what, const Hash &huge, const Hash &small) {
  const bool equal = huge.value() == small.value();
  std::printf("%s: %s\n", what, equal ? "equal" : "DIFFERENT");
  return !equal;
}

template <class Call>
int farAndNear(const char *what, const Far &far, Volume<float> &small, const Call &call) {
  int wrong = 0;
  for (const auto &[name, code] : kInterpolations) {
    Volume<float> a({8, 8, kDepth}, 8 * 4), b({8, 8, kDepth}, 8 * 4);
    Hash huge, near;
    const VekStatus status = call(far, far.size.width - kCorner, far.size.height - kCorner, a, code);
    if (status != vekOk) ++wrong;
    huge.add(status);
    const VekrVolumeSize size = small.size();
    const Far here = {
        size, small.rowBytes(), small.planeBytes(), {small.list(), small.list() + kDepth}, small.data()};
    near.add(call(here, 0, 0, b, code));
    a.hashInto(huge);
    b.hashInto(near);
    wrong += compare((std::string(what) + name).c_str(), huge, near);
  }
  return wrong;
}

int farVolume(const char *shape, const Far &far, Volume<float> &small, bool block) {
  constexpr int32_t kMargin = 3;
  const VekrVolumeBox to = {0, 0, 0, 8, 8, kDepth};
  const auto all = [](const Far &v) {
    return VekrVolumeBox{0, 0, 0, v.size.width, v.size.height, v.size.depth};
  };
  int wrong = 0;
  std::printf("%s\n", shape);
  const auto resize = [&](const Far &v, int32_t x, int32_t y, Volume<float> &result, int32_t code) {
    const VekrVolumeBox from = {x, y, 0, kCorner, kCorner, kDepth};
    int32_t bytes = 0;
    vekrResizeGetBufSize(from, to, 1, code, &bytes);
    std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
    const double shiftX = -(x + kMargin + 0.25), shiftY = -(y + kMargin + 0.5);
    return block ? vekrResize_32f_C1V(v.block, v.size, v.step, v.planeStep, from, result.data(), 32, 8 * 32,
                                      to, 1, 1, 1, shiftX, shiftY, 0, code, buffer.data())
                 : vekrResize_32f_C1PV(v.list.data(), v.size, v.step, from, result.list(), 32, to, 1, 1, 1,
                                       shiftX, shiftY, 0, code, buffer.data());
  };
  wrong += farAndNear("  resize", far, small, resize);
  if (block) return wrong;
  wrong += farAndNear(
      "  remap", far, small, [&](const Far &v, int32_t x, int32_t y, Volume<float> &result, int32_t code) {
        Volume<float> mapX(result.size(), 32), mapY(result.size(), 32), mapZ(result.size(), 32);
        mapX.fill([&](int32_t i, int32_t j, int32_t) {
          return static_cast<float>(x + kMargin + i) + 0.25f * static_cast<float>(j % 4);
        });
        mapY.fill([&](int32_t i, int32_t j, int32_t) {
          return static_cast<float>(y + kMargin + j) + 0.25f * static_cast<float>(i % 4);
        });
        mapZ.fill([&](int32_t, int32_t, int32_t k) { return static_cast<float>(k) * 0.75f; });
        return vekrRemap_32f_C1PV(v.list.data(), v.size, v.step, all(v), mapX.in(), mapY.in(), mapZ.in(), 32,
                                  result.list(), 32, result.size(), code);
      });
  wrong += farAndNear("  warp", far, small,
                      [&](const Far &v, int32_t x, int32_t y, Volume<float> &result, int32_t code) {
                        const double matrix[12] = {
                            1, 0, 0, -(x + kMargin + 0.25), 0, 1, 0, -(y + kMargin + 0.5), 0, 0, 1, -0.25};
                        return vekrWarpAffine_32f_C1PV(v.list.data(), v.size, v.step, all(v), result.list(),
                                                       32, to, matrix, code);
                      });
  return wrong;
}

// All rows of a plane of which the last begins beyond 2^32 bytes, through a kernel that moves each voxel by one row.
int farFilter() {
  constexpr int32_t kRows = 40000, kStep = 120000, kWidth = 20;
  Sparse from(static_cast<size_t>(kRows + 2) * kStep), to(static_cast<size_t>(kRows) * kStep);
  const int16_t *source[] = {reinterpret_cast<const int16_t *>(from.data() + kStep) + 1};
  int16_t *result[] = {reinterpret_cast<int16_t *>(to.data())};
  for (int32_t x = 0; x < kWidth + 2; ++x) {
    reinterpret_cast<int16_t *>(from.data() + static_cast<size_t>(kRows + 1) * kStep)[x] =
        static_cast<int16_t>(100 + x);
  }
  int32_t taps[9] = {}, bytes = 0;
  taps[1] = 1;  // the row below
  const VekrVolumeSize size = {kWidth, kRows, 1}, kernel = {3, 3, 1};
  vekrFilterGetBufSize(size, kernel, 1, &bytes);
  std::vector<uint8_t> buffer(static_cast<size_t>(bytes));
  bool equal = vekrFilter_16s_C1PV(source, kStep, result, kStep, size, taps, kernel, {1, 1, 0}, 1,
                                   buffer.data()) == vekOk;
  for (int32_t x = 0; x < kWidth; ++x) {
    equal &=
        reinterpret_cast<const int16_t *>(to.data() + static_cast<size_t>(kRows - 1) * kStep)[x] == 101 + x;
  }
  std::printf("  filter, destination and source: %s\n", equal ? "equal" : "DIFFERENT");
  return !equal;
}

int far() {
  Volume<float> small({kCorner, kCorner, kDepth}, kCorner * 4);
  Random random(5);
  small.fill([&](int32_t, int32_t, int32_t) { return random.within(-100.0f, 100.0f); });
  const auto fill = [&](char *plane, VekrVolumeSize size, int32_t z) {
    for (int32_t y = 0; y < kCorner; ++y) {
      std::memcpy(plane + (static_cast<size_t>(size.height - kCorner + y) * static_cast<size_t>(size.width) +
                           static_cast<size_t>(size.width - kCorner)) *
                              4,
                  small.data() + (z * kCorner + y) * kCorner, kCorner * 4);
    }
  };
  const VekrVolumeSize wide = {70000, 16384, kDepth}, tall = {40000, 12000, kDepth};
  std::vector<Sparse> planes;
  Far list = {wide, wide.width * 4, 0, {}, nullptr};
  for (int32_t z = 0; z < kDepth; ++z) {
    planes.emplace_back(static_cast<size_t>(wide.width) * static_cast<size_t>(wide.height) * 4);
    fill(planes.back().data(), wide, z);
    list.list.push_back(reinterpret_cast<const float *>(planes.back().data()));
  }
  const size_t plane = static_cast<size_t>(tall.width) * static_cast<size_t>(tall.height) * 4;
  Sparse whole(plane * kDepth);
  for (int32_t z = 0; z < kDepth; ++z) fill(whole.data() + plane * static_cast<size_t>(z), tall, z);
  const Far block = {
      tall, tall.width * 4, static_cast<int32_t>(plane), {}, reinterpret_cast<const float *>(whole.data())};
  return farVolume("planes of 4.6e9 bytes", list, small, false) +
         farVolume("one block of 9.6e9 bytes", block, small, true) + farFilter();
}

}  // namespace

int main(int count, char **arguments) {
  const std::string what = count > 1 ? arguments[1] : "";
  if (what == "hosts" && count >= 5) {
    return hosts(std::atoi(arguments[2]), std::atoi(arguments[3]), arguments[4],
                 count > 5 ? std::atoi(arguments[5]) : 2);
  }
  if (what == "builds" && count == 3) return builds(std::atoi(arguments[2]));
  if (what == "far") return far() != 0;
  std::fprintf(stderr, "usage: load hosts THREADS SECONDS TABLE [GRANTED] | builds COUNT | far\n");
  return 2;
}
