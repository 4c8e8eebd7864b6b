// The surface-area builder in its plainest form: every node gathers, sorts and sweeps its lists anew, one axis after the
// other; memory is taken and given back step by step as the budget is defined. The fast builder must give
// the same status and the same bytes. Shares no code with it: the words of nodes are put together here a second time, so
// that an encoder and a decoder that were wrong together would be found out.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

#include "vekr.h"

namespace vekr_twin {

// Total order of floats: as numbers, and -0 before +0.
inline int64_t orderOf(float x) {
  const int32_t bits = std::bit_cast<int32_t>(x);
  return bits < 0 ? -1 - static_cast<int64_t>(bits & 0x7FFFFFFF) : bits;
}
inline bool before(float a, float b) { return orderOf(a) < orderOf(b); }

class PsahTwin {
 public:
  PsahTwin(const float *vertices, const int32_t *indices, int32_t vertexCount, int32_t triangleCount,
           const VekrPSAHBuildContext &context)
      : vertices_(vertices),
        verticesEnd_(vertices + 3 * static_cast<int64_t>(vertexCount)),
        indices_(indices),
        vertexCount_(vertexCount),
        triangleCount_(triangleCount),
        context_(context) {}

  VekStatus build() {
    const uint64_t V = static_cast<uint64_t>(vertexCount_), T = static_cast<uint64_t>(triangleCount_);
    const uint64_t budget = static_cast<uint64_t>(static_cast<int64_t>(context_.memoryLimitMB)) << 20;
    if (budget < 12 * V + 84 * T + 33554920) return vekErrMemAlloc;
    memoryLeft_ = budget - 408;
    for (int i = 0; i < 12; ++i) memoryLeft_ -= 4 * T;
    const uint64_t patchBytes = (36 * T & ~uint64_t{0xFFFFFF}) + 0x1000000;
    const uint64_t pointBytes = (48 * V & ~uint64_t{0xFFFFFF}) + 0x1000000;
    memoryLeft_ -= patchBytes;
    memoryLeft_ -= pointBytes;
    patchPool_.open(patchBytes);
    pointPool_.open(pointBytes);

    Patch *patches = nullptr;
    int32_t count = 0;
    if (context_.pBounds != nullptr) {
      std::copy(context_.pBounds, context_.pBounds + 6, box_);
      if (const VekStatus status = clipPatches(&patches, &count)) return status;
    } else {
      if (const VekStatus status = wholePatches(&patches, &count)) return status;
    }
    root_ = static_cast<Node *>(nodes_.take(48, memoryLeft_));
    if (root_ == nullptr) return vekErrTreeBuild;
    *root_ = {3, count, 0.0f, patches, nullptr, nullptr};
    if (count != 0) {
      if (const VekStatus status = optimise()) return status;
    }
    pack();
    return vekOk;
  }

  const std::vector<uint32_t> &block() const { return block_; }
  uint64_t memoryLeft() const { return memoryLeft_; }

 private:
  struct Patch {
    uint32_t word0;
    uint32_t mask;
    const float **v;
  };
  // Larger than the 16 bytes that count; so nodes live apart, and the chunks only count their bytes.
  struct Node {
    int32_t kind;
    int32_t count;
    float plane;
    Patch *patches;
    int32_t *list;
    Node *pair;
  };
  struct Pool {
    std::unique_ptr<char[]> bytes;
    uint64_t size = 0, cursor = 0;
    void open(uint64_t n) {
      bytes.reset(new char[n]);
      size = n;
    }
    void *take(uint64_t n) {
      if (!(cursor + n < size)) return nullptr;
      void *p = bytes.get() + cursor;
      cursor += n;
      return p;
    }
  };
  struct Ring {
    std::vector<std::unique_ptr<char[]>> blocks;
    uint64_t cursor = 0, end = 0;
    void *take(uint64_t n, uint64_t &memoryLeft) {
      if (!(cursor + n < end)) {
        if (memoryLeft < 0x1000028) return nullptr;
        memoryLeft -= 0x1000028;
        blocks.emplace_back(new char[2 * 0x1000000]);
        end = 0x1000000;
        cursor = 0;
      }
      void *p = blocks.back().get() + 2 * cursor;  // room for records of twice the counted size
      cursor += n;
      return p;
    }
  };

  const float **takePointers(int k) {
    if (k < 10 && !freeLists_[k].empty()) {
      const float **p = freeLists_[k].back();
      freeLists_[k].pop_back();
      return p;
    }
    return static_cast<const float **>(pointers_.take(8 * static_cast<uint64_t>(k), memoryLeft_));
  }
  void givePointers(const float **p, int k) {
    if (k < 10) freeLists_[k].push_back(p);
  }

  static uint32_t maskOf(const float *const *v, int k) {
    uint32_t mask = 0;
    for (int axis = 0; axis < 3; ++axis) {
      int least = 0, greatest = 0;
      for (int i = 1; i < k; ++i) {
        if (!(v[greatest][axis] >= v[i][axis])) greatest = i;
        if (!(v[least][axis] <= v[i][axis])) least = i;
      }
      mask |= static_cast<uint32_t>(greatest) << (5 * axis) | static_cast<uint32_t>(least) << (15 + 5 * axis);
    }
    return mask;
  }
  static float highest(const Patch &patch, int axis) { return patch.v[patch.mask >> (5 * axis) & 31][axis]; }
  static float lowest(const Patch &patch, int axis) {
    return patch.v[patch.mask >> (15 + 5 * axis) & 31][axis];
  }

  static void pointOnEdge(const float *a, const float *b, int axis, float plane, float *out) {
    const double t = (static_cast<double>(plane) - static_cast<double>(a[axis])) /
                     (static_cast<double>(b[axis]) - static_cast<double>(a[axis]));
    for (int i = 0; i < 3; ++i) {
      const double from = a[i], to = b[i];
      out[i] = static_cast<float>(from + (to - from) * t);
    }
    out[axis] = plane;
  }

  const float *corner(int32_t triangle, int k) const {
    return vertices_ + 3 * static_cast<int64_t>(indices_[4 * static_cast<int64_t>(triangle) + k]);
  }

  VekStatus wholePatches(Patch **patches, int32_t *count) {
    for (int axis = 0; axis < 3; ++axis) box_[axis] = box_[axis + 3] = vertices_[axis];
    for (int64_t i = 1; i < vertexCount_; ++i) {
      for (int axis = 0; axis < 3; ++axis) {
        const float x = vertices_[3 * i + axis];
        if (x < box_[axis]) box_[axis] = x;
        if (x > box_[axis + 3]) box_[axis + 3] = x;
      }
    }
    *patches = static_cast<Patch *>(patchPool_.take(16 * static_cast<uint64_t>(triangleCount_)));
    if (*patches == nullptr) return vekErrTreeBuild;
    for (int32_t i = 0; i < triangleCount_; ++i) {
      const float **v = takePointers(3);
      if (v == nullptr) return vekErrTreeBuild;
      for (int k = 0; k < 3; ++k) v[k] = corner(i, k);
      (*patches)[i] = {static_cast<uint32_t>(i) * 32 + 3, maskOf(v, 3), v};
    }
    *count = triangleCount_;
    return vekOk;
  }

  VekStatus clipPatches(Patch **patches, int32_t *count) {
    *patches = nullptr;
    *count = 0;
    for (int32_t i = 0; i < triangleCount_; ++i) {
      struct Point {
        float x[3];
      };
      Point made[64];
      int madeCount = 0;
      std::vector<const float *> polygon = {corner(i, 0), corner(i, 1), corner(i, 2)};
      for (int axis = 0; axis < 3 && polygon.size() >= 3; ++axis) {
        const float lo = box_[axis], hi = box_[axis + 3];
        std::vector<const float *> kept;
        const auto cross = [&](const float *a, const float *b, float plane) {
          pointOnEdge(a, b, axis, plane, made[madeCount].x);
          kept.push_back(made[madeCount++].x);
        };
        for (size_t k = 0; k < polygon.size(); ++k) {
          const float *a = polygon[k], *b = polygon[(k + 1) % polygon.size()];
          const float c = a[axis], n = b[axis];
          if (lo <= c && c <= hi) kept.push_back(a);
          if (n > c) {
            if (lo > c && n > lo) cross(a, b, lo);
            if (hi > c && n > hi) cross(a, b, hi);
          } else {
            if (c > hi && hi > n) cross(a, b, hi);
            if (c > lo && lo > n) cross(a, b, lo);
          }
        }
        polygon = kept;
      }
      if (polygon.size() < 3) continue;
      const int k = static_cast<int>(polygon.size());
      const float **v = takePointers(k);
      if (v == nullptr) return vekErrTreeBuild;
      for (int j = 0; j < k; ++j) {
        v[j] = polygon[static_cast<size_t>(j)];
        if (v[j] < vertices_ || v[j] >= verticesEnd_) {
          float *point = static_cast<float *>(pointPool_.take(12));
          if (point == nullptr) return vekErrTreeBuild;
          std::memcpy(point, v[j], 12);
          v[j] = point;
        }
      }
      Patch *patch = static_cast<Patch *>(patchPool_.take(16));
      if (patch == nullptr) return vekErrTreeBuild;
      if (*patches == nullptr) *patches = patch;
      *patch = {static_cast<uint32_t>(i) * 32 + static_cast<uint32_t>(k), maskOf(v, k), v};
      ++*count;
    }
    return vekOk;
  }

  struct Split {
    double cost;
    float plane;
    int32_t axis, left, right, side;
  };

  static double counted(int64_t n) { return static_cast<double>(static_cast<float>(n)); }

  Split searchAxis(const Patch *patches, int32_t n, int axis, const float *box, double cost0) const {
    Split split = {cost0, 0.0f, axis, 0, 0, 1};
    std::vector<float> starts, ends, flats;
    for (int32_t i = 0; i < n; ++i) {
      const float l = lowest(patches[i], axis), h = highest(patches[i], axis);
      if (l == h) {
        flats.push_back(l);
      } else {
        starts.push_back(l);
        ends.push_back(h);
      }
    }
    std::sort(starts.begin(), starts.end(), before);
    std::sort(ends.begin(), ends.end(), before);
    std::sort(flats.begin(), flats.end(), before);
    const float lo = box[axis], hi = box[axis + 3];
    const int u = (axis + 1) % 3, w = (axis + 2) % 3;
    const float extent1 = box[u + 3] - box[u], extent2 = box[w + 3] - box[w];
    const float area = extent1 * extent2, rim = extent1 + extent2;
    const double P = area, Q = rim;
    const double R = P < 1e-9 ? 0.0 : P / Q;
    const double favour = static_cast<double>(std::bit_cast<float>(0x3F333333));
    const int64_t N = n;
    double best = std::numeric_limits<double>::max();
    const auto offer = [&](double cost, float plane, int64_t left, int64_t right, int side) {
      if (best > cost) {
        best = cost;
        split.plane = plane;
        split.left = static_cast<int32_t>(left);
        split.right = static_cast<int32_t>(right);
        split.side = side;
        return true;
      }
      return false;
    };
    const auto length = [](float a, float b) {
      const float d = b - a;
      return static_cast<double>(d);
    };

    float first = starts.empty() ? lo : starts.front(), last = ends.empty() ? hi : ends.back();
    if (!flats.empty()) {
      if (before(flats.front(), first)) first = flats.front();
      if (before(last, flats.back())) last = flats.back();
    }
    const float extent = hi - lo;
    const float margin = 0.1f * extent;
    bool cut = false;
    const float below = first - lo, above = hi - last;
    if (below > margin) cut |= offer(counted(N) * (R + length(first, hi)), first, 0, N, 1);
    if (above > margin) cut |= offer(counted(N) * (R + length(lo, last)), last, N, 0, 0);
    if (cut) {
      split.cost = (Q * favour) * best;
      return split;
    }
    if (!flats.empty()) {
      if (flats.front() == lo) {
        const int64_t k = std::count(flats.begin(), flats.end(), lo);
        offer(favour * ((R + 0) * counted(k) + (R + length(lo, hi)) * counted(N - k)), lo, k, N - k, 0);
      }
      if (flats.back() == hi) {
        const int64_t k = std::count(flats.begin(), flats.end(), hi);
        offer(favour * (counted(N - k) * (R + length(lo, hi)) + counted(k) * (R + 0)), hi, N - k, k, 1);
      }
    }
    size_t s = 0, e = 0, f = 0;  // starts below p, ends at or below p, flats below p
    float p = starts.empty() ? flats.front() : starts.front();
    if (!flats.empty() && before(flats.front(), p)) p = flats.front();
    for (;;) {
      while (s < starts.size() && starts[s] < p) ++s;
      while (f < flats.size() && flats[f] < p) ++f;
      while (e < ends.size() && ends[e] <= p) ++e;
      size_t nextStart = s, nextFlat = f;
      while (nextStart < starts.size() && starts[nextStart] <= p) ++nextStart;
      while (nextFlat < flats.size() && flats[nextFlat] <= p) ++nextFlat;
      const int64_t k = static_cast<int64_t>(nextFlat - f);
      const int64_t nl = static_cast<int64_t>(s + f), nr = N - static_cast<int64_t>(f + e);
      const double dl = R + length(lo, p), dr = R + length(p, hi);
      offer(counted(nl) * dl + counted(nr) * dr, p, nl, nr, 1);
      if (k > 0) offer(counted(nl + k) * dl + counted(nr - k) * dr, p, nl + k, nr - k, 0);
      if (e == ends.size()) break;
      float next = ends[e];
      if (nextStart < starts.size() && before(starts[nextStart], next)) next = starts[nextStart];
      if (nextFlat < flats.size() && before(flats[nextFlat], next)) next = flats[nextFlat];
      p = next;
    }
    split.cost = Q * best;
    return split;
  }

  struct Job {
    Node *node;
    float box[6];
    int32_t depth;
    uint64_t patchCursor, pointCursor;
  };

  VekStatus optimise() {
    const float minimum = std::bit_cast<float>(0x3727C5AC);
    const float traversalCost = static_cast<float>((10.0 - 9.0 * static_cast<double>(context_.splitBias)) *
                                                   static_cast<double>(std::bit_cast<float>(0x3F01794A)));
    Patch *const home = root_->patches;
    std::vector<Job> stack;
    Job job = {root_, {}, 0, patchPool_.cursor, pointPool_.cursor};
    std::copy(box_, box_ + 6, job.box);
    for (;;) {
      pointPool_.cursor = job.pointCursor;
      patchPool_.cursor = job.patchCursor;
      Node &node = *job.node;
      const int32_t n = node.count;
      Split split = {0, 0, -1, 0, 0, 0};
      if (job.depth != context_.maxDepth) {
        float extent[3];
        for (int a = 0; a < 3; ++a) extent[a] = job.box[a + 3] - job.box[a];
        const double w0 = extent[0], w1 = extent[1], w2 = extent[2];
        const double S = w0 * (w1 + w2) + w1 * w2;
        const double cost0 = n * S;
        Split axes[3];
        int wide = 0;
        for (int a = 0; a < 3; ++a) wide += extent[a] > minimum;
        for (int a = 0; a < 3; ++a) {
          axes[a] = {cost0, 0.0f, a, 0, 0, 0};
          if (wide >= 2 && extent[a] > minimum) axes[a] = searchAxis(node.patches, n, a, job.box, cost0);
        }
        int chosen;
        if (axes[1].cost > axes[0].cost) {
          chosen = !(axes[2].cost > axes[0].cost) ? 2 : 0;
        } else {
          chosen = axes[2].cost > axes[1].cost ? 1 : 2;
        }
        const double gain = n * (cost0 - axes[chosen].cost);
        if (gain > std::max(static_cast<double>(minimum), cost0 * static_cast<double>(traversalCost))) {
          split = axes[chosen];
        }
      }
      if (split.axis < 0) {
        int32_t *list = static_cast<int32_t *>(lists_.take(4 * static_cast<uint64_t>(n), memoryLeft_));
        if (list == nullptr) return vekErrTreeBuild;
        for (int32_t i = 0; i < n; ++i) {
          const Patch &patch = node.patches[i];
          list[i] = static_cast<int32_t>(patch.word0) >> 5;
          givePointers(patch.v, patch.word0 & 31);
        }
        node.list = list;
        if (stack.empty()) return vekOk;
        job = stack.back();
        stack.pop_back();
        std::memmove(home, job.node->patches, 16 * static_cast<size_t>(job.node->count));
        job.node->patches = home;
        continue;
      }
      Node *pair = static_cast<Node *>(nodes_.take(48, memoryLeft_));
      if (pair == nullptr) return vekErrTreeBuild;
      pair[0] = pair[1] = node;
      node.kind = split.axis;
      node.plane = split.plane;
      node.pair = pair;
      ++job.depth;
      if (split.left == 0) {
        pair[0].count = 0;
        pair[0].patches = nullptr;
        job.box[split.axis] = split.plane;
        job.node = &pair[1];
        continue;
      }
      if (split.right == 0) {
        pair[1].count = 0;
        pair[1].patches = nullptr;
        job.box[split.axis + 3] = split.plane;
        job.node = &pair[0];
        continue;
      }
      Job left = job;
      left.node = &pair[0];
      left.box[split.axis + 3] = split.plane;
      left.patchCursor = patchPool_.cursor;
      Patch *leftArray = static_cast<Patch *>(patchPool_.take(16 * static_cast<uint64_t>(split.left)));
      if (leftArray == nullptr) return vekErrTreeBuild;
      job.patchCursor = patchPool_.cursor;
      Patch *rightArray = static_cast<Patch *>(patchPool_.take(16 * static_cast<uint64_t>(split.right)));
      if (rightArray == nullptr) return vekErrTreeBuild;
      job.node = &pair[1];
      job.box[split.axis] = split.plane;
      std::vector<Patch> lefts, rights;
      for (int32_t i = 0; i < n; ++i) {
        const Patch &patch = home[i];
        const float l = lowest(patch, split.axis), h = highest(patch, split.axis);
        if (l == h) {
          const bool goesLeft = split.plane > l || (split.plane == l && split.side == 0);
          (goesLeft ? lefts : rights).push_back(patch);
        } else if (h <= split.plane) {
          lefts.push_back(patch);
        } else if (l >= split.plane) {
          rights.push_back(patch);
        } else {
          Patch a, b;
          if (const VekStatus status = cutPatch(patch, &a, &b, split.axis, split.plane)) return status;
          lefts.push_back(a);
          rights.push_back(b);
        }
      }
      if (static_cast<int32_t>(lefts.size()) != split.left ||
          static_cast<int32_t>(rights.size()) != split.right) {
        return vekErrTreeInternal;
      }
      job.pointCursor = left.pointCursor = pointPool_.cursor;
      std::copy(lefts.begin(), lefts.end(), leftArray);
      std::copy(rights.begin(), rights.end(), home);
      pair[0].count = split.left;
      pair[0].patches = leftArray;
      pair[1].count = split.right;
      pair[1].patches = home;
      stack.push_back(left);
    }
  }

  VekStatus cutPatch(const Patch &patch, Patch *left, Patch *right, int axis, float plane) {
    const int k = patch.word0 & 31;
    const float **v = patch.v;
    const int lowestIndex = static_cast<int>(patch.mask >> (15 + 5 * axis) & 31);
    const int highestIndex = static_cast<int>(patch.mask >> (5 * axis) & 31);
    const auto next = [k](int i) { return i + 1 == k ? 0 : i + 1; };
    std::vector<const float *> l, r;
    l.push_back(v[lowestIndex]);
    int i = next(lowestIndex);
    while (plane > v[i][axis]) {
      l.push_back(v[i]);
      i = next(i);
    }
    const auto crossing = [&](const float *from, int &at) -> const float * {
      if (v[at][axis] == plane) {
        const float *point = v[at];
        at = next(at);
        return point;
      }
      float *point = static_cast<float *>(pointPool_.take(12));
      if (point != nullptr) pointOnEdge(from, v[at], axis, plane, point);
      return point;
    };
    const float *first = crossing(l.back(), i);
    if (first == nullptr) return vekErrTreeBuild;
    l.push_back(first);
    r.push_back(first);
    for (;; i = next(i)) {
      r.push_back(v[i]);
      if (i == highestIndex) break;
    }
    int j = next(highestIndex);
    while (v[j][axis] > plane) {
      r.push_back(v[j]);
      j = next(j);
    }
    const float *second = crossing(r.back(), j);
    if (second == nullptr) return vekErrTreeBuild;
    r.push_back(second);
    l.push_back(second);
    for (; j != lowestIndex; j = next(j)) l.push_back(v[j]);
    const auto make = [&](const std::vector<const float *> &points, Patch *out) {
      const int count = static_cast<int>(points.size());
      const float **array = takePointers(count);
      if (array == nullptr) return false;
      std::copy(points.begin(), points.end(), array);
      *out = {(patch.word0 & ~31u) | static_cast<uint32_t>(count), maskOf(array, count), array};
      return true;
    };
    if (!make(l, left) || !make(r, right)) return vekErrTreeBuild;
    givePointers(v, k);
    return vekOk;
  }

  static bool isInline(const Node &leaf) {
    const int32_t *t = leaf.list;
    if (leaf.count == 1) return t[0] >= 0;
    if (leaf.count == 2) return t[0] >= 0 && t[1] >= 0 && (t[0] < 0x20000000 || t[1] < 0x20000000);
    if (leaf.count == 3) {
      int32_t x[3] = {t[0], t[1], t[2]};
      std::sort(x, x + 3);
      return x[0] >= 0 && x[1] < 0x20000000 && x[1] - x[0] < 32768 && x[2] - x[1] < 65536;
    }
    return false;
  }

  void measure(const Node &node, uint64_t &nodes, uint64_t &lists) const {
    nodes += 8;
    if (node.kind == 3) {
      if (!isInline(node)) lists += 4 * static_cast<uint64_t>(node.count);
      return;
    }
    measure(node.pair[0], nodes, lists);
    measure(node.pair[1], nodes, lists);
  }

  void write(const Node &node, uint64_t at, uint64_t &list, uint64_t &pair) {
    uint32_t &word0 = block_[at / 4], &word1 = block_[at / 4 + 1];
    if (node.kind != 3) {
      const uint64_t children = pair;
      pair += 16;
      word1 = std::bit_cast<uint32_t>(node.plane);
      word0 = static_cast<uint32_t>(children - at) | static_cast<uint32_t>(node.kind);
      write(node.pair[0], children, list, pair);
      write(node.pair[1], children + 8, list, pair);
      return;
    }
    const auto t = [&](int i) { return static_cast<uint32_t>(node.list[i]); };
    if (!isInline(node)) {
      word1 = static_cast<uint32_t>(node.count);
      word0 = static_cast<uint32_t>(at - list);
      for (int32_t i = 0; i < node.count; ++i, list += 4) block_[list / 4] = t(i);
    } else if (node.count == 1) {
      word0 = t(0) | 0x80000000u;
      word1 = 0x80000001u;
    } else if (node.count == 2) {
      const bool firstFits = t(0) < 0x20000000u;
      word0 = t(firstFits ? 1 : 0) | 0x80000000u;
      word1 = t(firstFits ? 0 : 1) << 2 | 0x80000002u;
    } else {
      uint32_t x[3] = {t(0), t(1), t(2)};
      std::sort(x, x + 3);
      word0 = (x[1] - x[0]) << 16 | 0x80000000u | (x[2] - x[1]);
      word1 = x[1] << 2 | 0x80000003u;
    }
  }

  void pack() {
    uint64_t nodes = 8, lists = 0;
    measure(*root_, nodes, lists);
    block_.assign((nodes + lists) / 4, 0);
    uint64_t list = nodes, pair = 16;
    write(*root_, 0, list, pair);
  }

  const float *vertices_, *verticesEnd_;
  const int32_t *indices_;
  int32_t vertexCount_, triangleCount_;
  VekrPSAHBuildContext context_;
  uint64_t memoryLeft_ = 0;
  Pool patchPool_, pointPool_;
  Ring nodes_, lists_, pointers_;
  std::vector<const float **> freeLists_[10];
  float box_[6] = {};
  Node *root_ = nullptr;
  std::vector<uint32_t> block_;
};

}  // namespace vekr_twin
