// Where the lanes of every load, store and rearrangement lie, and that words saturate. Compiled once for each set, like a kernel.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <initializer_list>

#include "frame/planes.h"
#include "tests/frame/lanes_checks.h"

namespace vekr::VEKR_ISA {

namespace {

using vekr_test::Report;

constexpr int kMost = 16;

template <int N>
void checkOrder(Report &report) {
  float in[kMost], out[kMost];
  for (int k = 0; k < N; ++k) in[k] = static_cast<float>(k);
  const Float<N> x = Float<N>::load(in);
  joined(lowHalf(x), highHalf(x)).store(out);
  report.expect(std::memcmp(in, out, N * sizeof(float)) == 0, "joined halves", N, 0, 0);
  countedFrom<N>(INT32_MAX - 1).store(out);
  for (int k = 0; k < N; ++k) {
    report.expect(out[k] == static_cast<float>(static_cast<int32_t>(0x7FFFFFFEu + static_cast<uint32_t>(k))),
                  "countedFrom", N, k, 0);
  }
  for (unsigned set = 0; set < 1u << N; set += N == 16 ? 13 : 1) {
    report.expect(bits(maskOfBits<N>(set)) == static_cast<int>(set), "maskOfBits", N, set, 0);
    report.expect(anyOf(maskOfBits<N>(set)) == (set != 0), "anyOf", N, set, 0);
  }
  int32_t even[kMost], odd[kMost], mixed[2 * kMost];
  for (int k = 0; k < N; ++k) {
    even[k] = 2 * k;
    odd[k] = 2 * k + 1;
  }
  storeAlternating(Int<N>::load(even), Int<N>::load(odd), mixed);
  for (int k = 0; k < 2 * N; ++k) report.expect(mixed[k] == k, "storeAlternating", N, k, 0);
  loadRepeated<N>(odd).store(mixed);
  for (int k = 0; k < N; ++k) report.expect(mixed[k] == odd[k % 4], "loadRepeated", N, k, 0);
  lanesFrom<3 * N / 4>(Int<N>::load(even), Int<N>::load(odd)).store(mixed);
  for (int k = 0; k < N; ++k)
    report.expect(mixed[k] == (k < 3 * N / 4 ? even[k] : odd[k]), "lanesFrom", N, k, 0);
}

// Of the widest register only.
void checkRegister(Report &report) {
  constexpr int N = kWidestGroup;
  float rows[N][N], taps[4][N], turned[N][4], out[N];
  for (int i = 0; i < N; ++i) {
    for (int k = 0; k < N; ++k) rows[i][k] = static_cast<float>(100 * i + k);
  }
  Float<N> columns[N], four[4];
  loadTransposed(rows, columns);
  for (int i = 0; i < N; ++i) {
    columns[i].store(out);
    for (int k = 0; k < N; ++k) report.expect(out[k] == rows[k][i], "loadTransposed", N, i, k);
  }
  for (int i = 0; i < 4; ++i) four[i] = Float<N>::load(rows[i]);
  storeTransposed(four, turned);
  for (int i = 0; i < N; ++i) {
    for (int k = 0; k < 4; ++k) report.expect(turned[i][k] == rows[k][i], "storeTransposed", N, i, k);
  }
  pairSums(four[0], four[1]).store(out);
  for (int block = 0; block < N; block += 4) {
    const float want[4] = {rows[0][block] + rows[0][block + 1], rows[0][block + 2] + rows[0][block + 3],
                           rows[1][block] + rows[1][block + 1], rows[1][block + 2] + rows[1][block + 3]};
    for (int k = 0; k < 4; ++k) report.expect(out[block + k] == want[k], "pairSums", N, block, k);
    report.expect(firstOfBlock(four[2], block / 4) == rows[2][block], "firstOfBlock", N, block, 0);
  }
  const float *anywhere[N];
  for (int k = 0; k < N; ++k) anywhere[k] = rows[(5 * k + 1) % N];
  const int lastFour = N - 4;
  for (const int first : {0, lastFour}) {
    loadColumns(anywhere, first, four);
    for (int i = 0; i < 4; ++i) {
      four[i].store(out);
      for (int k = 0; k < N; ++k)
        report.expect(out[k] == anywhere[k][first + i], "loadColumns", N, first + i, k);
    }
  }
  int32_t index[N];
  float row[3 * N + 1];
  for (int k = 0; k <= 3 * N; ++k) row[k] = static_cast<float>(k);
  for (int k = 0; k < N; ++k) index[k] = 7 * k % (3 * N);
  const Neighbours<N> near[2] = {loadNeighbours(Lanes<N>(), row, index),
                                 gatherNeighbours(row, Int<N>::load(index))};
  for (const Neighbours<N> &pair : near) {
    pair.here.store(taps[0]);
    pair.next.store(taps[1]);
    for (int k = 0; k < N; ++k) {
      report.expect(taps[0][k] == row[index[k]] && taps[1][k] == row[index[k] + 1], "neighbours", N, k,
                    index[k]);
    }
  }
  // Words go into pairs and come back in their order.
  uint16_t words[2][2 * N], back[2 * N];
  uint8_t bytes[2 * N];
  for (int k = 0; k < 2 * N; ++k) {
    words[0][k] = static_cast<uint16_t>(k * 9);
    words[1][k] = 0;
  }
  const Short<2 *N> a = Short<2 * N>::load(words[0]), b = Short<2 * N>::load(words[1]);
  packedLikePairs(firstPairs(a, b), secondPairs(a, b)).store(back);
  storeSaturated(a, bytes);
  for (int k = 0; k < 2 * N; ++k) {
    report.expect(back[k] == words[0][k], "packedLikePairs", N, k, 0);
    report.expect(bytes[k] == (words[0][k] > 255 ? 255 : words[0][k]), "words to bytes", N, k, 0);
  }
}

// Words of any size that come back from sums: what doesn't fit saturates, at both steps.
void checkSaturation(Report &report) {
  constexpr int N = kWidestGroup;
  const int32_t sums[] = {0,     1,     -1,     254,        255,        256,         32767, 32768,
                          65534, 65535, 65536,  -32768,     -32769,     INT32_MAX,   -2,    INT32_MIN,
                          300,   -300,  131071, 0x7FFF8000, 0x00018000, -2147450880, 127,   128};
  constexpr int kSums = sizeof sums / sizeof *sums;
  for (int first = 0; first < kSums; ++first) {
    int32_t lanes[2][N];
    for (int k = 0; k < 2 * N; ++k) lanes[k / N][k % N] = sums[(first + k) % kSums];
    // Where each word lies is told by words that are their own numbers.
    uint16_t number[2 * N], zeros[2 * N] = {}, order[2 * N], packed[2 * N];
    uint8_t bytes[2 * N];
    int32_t at[2][N];
    for (int k = 0; k < 2 * N; ++k) number[k] = static_cast<uint16_t>(k);
    const Short<2 *N> a = Short<2 * N>::load(number), b = Short<2 * N>::load(zeros);
    firstPairs(a, b).store(at[0]);
    secondPairs(a, b).store(at[1]);
    packedLikePairs(Int<N>::load(at[0]), Int<N>::load(at[1])).store(order);
    packedLikePairs(Int<N>::load(lanes[0]), Int<N>::load(lanes[1])).store(packed);
    storeSaturated(Short<2 * N>::load(packed), bytes);
    for (int lane = 0; lane < 2 * N; ++lane) {
      const int32_t sum = lanes[lane / N][lane % N];
      const int place = at[lane / N][lane % N];
      const int32_t word = sum < 0 ? 0 : sum > 65535 ? 65535 : sum;
      const int32_t asSigned = word > 32767 ? word - 65536 : word;
      const int32_t byte = asSigned < 0 ? 0 : asSigned > 255 ? 255 : asSigned;
      report.expect(order[place] == place, "packedLikePairs, places", N, lane, place);
      report.expect(packed[place] == word, "packedLikePairs, saturated", N, sum, 0);
      report.expect(bytes[place] == byte, "words to bytes, saturated", N, sum, 0);
    }
  }
}

// Neighbours in a row of words or bytes, anywhere in it, as pairs of words.
void checkWordPairs(Report &report) {
  uint16_t words[20];
  uint8_t bytes[20];
  for (int k = 0; k < 20; ++k) {
    words[k] = static_cast<uint16_t>(0xFFFF - 3571 * k);
    bytes[k] = static_cast<uint8_t>(0xFF - 23 * k);
  }
  const int32_t index[8] = {18, 0, 7, 7, 3, 12, 1, 17};
  int32_t four[4], ofWords[8], ofBytes[8];
  loadWordPairs(Lanes<4>(), words, index).store(four);
  const EightWordPairs wordPairs = loadEightWordPairs(words, index),
                       bytePairs = loadEightWordPairs(bytes, index);
  wordPairs.low.store(ofWords);
  wordPairs.high.store(ofWords + 4);
  bytePairs.low.store(ofBytes);
  bytePairs.high.store(ofBytes + 4);
  const auto pair = [](uint32_t first, uint32_t second) {
    return static_cast<int32_t>(second << 16 | first);
  };
  for (int k = 0; k < 8; ++k) {
    const int32_t i = index[k], want = pair(words[i], words[i + 1]);
    report.expect(k >= 4 || four[k & 3] == want, "loadWordPairs", 4, k, i);
    report.expect(ofWords[k] == want, "loadEightWordPairs 16u", 8, k, i);
    report.expect(ofBytes[k] == pair(bytes[i], bytes[i + 1]), "loadEightWordPairs 8u", 8, k, i);
  }
}

template <int N>
Mask<N> maskOf(unsigned set) {
  if constexpr (N == 1) {
    return {set != 0};
  } else {
    return maskOfBits<N>(set);
  }
}

// Planes with a mask: what is on comes and goes, what is off stays as it was.
template <int N>
void checkMasked(Report &report) {
  float in[kMost], before[kMost], out[kMost];
  for (int k = 0; k < N; ++k) {
    in[k] = static_cast<float>(k + 1);
    before[k] = static_cast<float>(-k - 1);
  }
  for (unsigned set = 0; set < 1u << N; set += N == 16 ? 13 : 1) {
    const Mask<N> m = maskOf<N>(set);
    const auto on = [&](int k) { return (set >> k & 1) != 0; };
    loadWanted(m, in).store(out);
    for (int k = 0; k < N; ++k) report.expect(!on(k) || out[k] == in[k], "loadWanted", N, set, k);
    std::memcpy(out, before, sizeof out);
    storeChanged(m, select(m, Float<N>::load(in), Float<N>::load(before)), out);
    for (int k = 0; k < N; ++k)
      report.expect(out[k] == (on(k) ? in[k] : before[k]), "storeChanged", N, set, k);
  }
}

// Parts of the widest register, in front of memory that isn't there: lanes that are off touch nothing.
template <int N>
void checkPartsOf(Report &report) {
  if constexpr (kMasksMemory) {
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    auto *const pages = static_cast<char *>(
        mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    report.expect(pages != MAP_FAILED && mprotect(pages + page, page, PROT_NONE) == 0, "guard page", N, 0, 0);
    for (int there = 0; there <= N; ++there) {
      const Mask<N> m = maskOfBits<N>((1u << there) - 1);
      auto *const floats = reinterpret_cast<float *>(pages + page) - there;
      auto *const ints = reinterpret_cast<int32_t *>(floats);
      float out[N];
      int32_t outInts[N];
      storeLanes(m, countedFrom<N>(5), floats);
      loadLanes(m, floats).store(out);
      for (int k = 0; k < N; ++k)
        report.expect(out[k] == (k < there ? 5.0f + static_cast<float>(k) : 0.0f), "lanes, floats", N, there,
                      k);
      storeChanged(m, countedFrom<N>(9), floats);
      for (int k = 0; k < there; ++k)
        report.expect(floats[k] == 9.0f + static_cast<float>(k), "storeChanged, floats", N, there, k);
      storeLanes(m, Int<N>(-7), ints);
      loadLanes(m, ints).store(outInts);
      for (int k = 0; k < N; ++k)
        report.expect(outInts[k] == (k < there ? -7 : 0), "lanes, ints", N, there, k);
    }
    munmap(pages, 2 * page);
  }
}

// Addresses and what they lead to, where the set gathers; blocks of four side by side.
template <int N>
void checkAddresses(Report &report) {
  if constexpr (N > 4) {
    float out[N], rows[N], next[N];
    for (int k = 0; k < N; ++k) rows[k] = static_cast<float>(k);
    alternatingBlocks(Float<N>::load(rows)).store(out);
    for (int k = 0; k < N; ++k)
      report.expect(out[k] == rows[k % (N / 4) * 4 + k / (N / 4)], "alternatingBlocks", N, k, 0);

    float lines[N][8];
    const void *list[N];
    int32_t index[N], column[N], words[N];
    for (int k = 0; k < N; ++k) {
      for (int i = 0; i < 8; ++i) lines[k][i] = static_cast<float>(100 * k + i);
      list[k] = lines[k];
      index[k] = (7 * k + 3) % N;
      column[k] = k % 4 - 1;  // in steps of two floats, and negative too
    }
    const Long<N> at = gatherPointers(list, Int<N>::load(index)) + Long<N>(2 * sizeof(float)) +
                       shiftedLeft<2>(productOfLow(widenedToLong(Int<N>::load(column)), Long<N>(2)));
    const Neighbours<N> pair = gatherNeighbours(at);
    pair.here.store(out);
    pair.next.store(next);
    gatherWords(at).store(words);
    for (int k = 0; k < N; ++k) {
      const float want = lines[index[k]][2 + 2 * column[k]];
      int32_t word;
      std::memcpy(&word, &want, sizeof word);
      report.expect(out[k] == want && next[k] == want + 1, "gatherNeighbours by address", N, k, 0);
      report.expect(words[k] == word, "gatherWords", N, k, 0);
    }
  }
}

// What reads or writes fewer lanes than a register has.
void checkParts(Report &report) {
  const float points[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
  float out[3][4];
  Vec3<4> v;
  loadPoints(points + 9, points, points + 6, points + 3, v.x, v.y, v.z);
  float *const planes[3] = {out[0], out[1], out[2]};
  storePlanes<4>(planes, 0, v);
  const int order[4] = {3, 0, 2, 1};
  for (int k = 0; k < 4; ++k) {
    for (int axis = 0; axis < 3; ++axis) {
      report.expect(out[axis][k] == points[3 * order[k] + axis], "loadPoints", 4, k, axis);
    }
  }
  loadTwice(points + 5, points + 2).store(out[0]);
  report.expect(out[0][0] == 6 && out[0][1] == 7 && out[0][2] == 3 && out[0][3] == 4, "loadTwice", 4, 0, 0);
  swappedPairs(Float<4>::load(points)).store(out[0]);
  report.expect(out[0][0] == 3 && out[0][1] == 4 && out[0][2] == 1 && out[0][3] == 2, "swappedPairs", 4, 0,
                0);
  report.expect(bits(lanesIf(true)) == 15 && bits(lanesIf(false)) == 0, "lanesIf", 4, 0, 0);
  loadThree(points).store(out[0]);
  report.expect(out[0][0] == 1 && out[0][1] == 2 && out[0][2] == 3 && out[0][3] == 0, "loadThree", 4, 0, 0);
  const int32_t fields[4] = {1, 1 << 7, 1 << 30, 1 << 15};
  report.expect(firstLane(orOfLanes(Int<4>::load(fields))) == (fields[0] | fields[1] | fields[2] | fields[3]),
                "orOfLanes", 4, 0, 0);
  int32_t moved[4];
  shiftedIn(Int<4>::load(fields), 99).store(moved);
  report.expect(moved[0] == fields[1] && moved[1] == fields[2] && moved[2] == fields[3] && moved[3] == 99,
                "shiftedIn", 4, 0, 0);
  checkWordPairs(report);
}

}  // namespace

void checkLayouts(Report &report) {
  checkOrder<4>(report);
  checkOrder<8>(report);
  checkOrder<16>(report);
  checkMasked<1>(report);
  checkMasked<4>(report);
  checkMasked<8>(report);
  checkMasked<16>(report);
  checkPartsOf<kWidestGroup>(report);
  checkAddresses<kHasGathers ? kWidestGroup : 1>(report);
  checkRegister(report);
  checkSaturation(report);
  checkParts(report);
}

}  // namespace vekr::VEKR_ISA
