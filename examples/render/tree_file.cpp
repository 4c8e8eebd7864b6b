#include "tree_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tree_check.h"

namespace {

// Sections begin at multiples of this; the records need 4, the tree 8.
constexpr uint64_t kAlignment = 64;
constexpr char kMagic[8] = {'v', 'e', 'k', 'r', 't', 'r', 'e', 'e'};
constexpr uint32_t kVersion = 1, kByteOrder = 0x01020304;

struct Header {
  char magic[8];
  uint32_t version;
  uint32_t byteOrder;
  uint64_t meshHash;     // of vertices and triangles as they lie in memory
  uint64_t contentHash;  // of this header with a hash of 0 here, tree and records
  int32_t vertices, triangles;
  int32_t simple, maxDepth;
  float splitBias;
  int32_t treeBytes;
  float box[6];
};
static_assert(sizeof(Header) == 80, "the file's layout, without gaps");

uint64_t alignedUp(uint64_t offset) { return (offset + kAlignment - 1) / kAlignment * kAlignment; }
uint64_t treeOffset() { return alignedUp(sizeof(Header)); }
uint64_t recordsOffset(const Header &header) {
  return alignedUp(treeOffset() + static_cast<uint64_t>(header.treeBytes));
}
uint64_t fileSize(const Header &header) {
  return recordsOffset(header) + static_cast<uint64_t>(header.triangles) * sizeof(VekrTriangleAccel);
}

// Tells other content apart, not ill will: eight bytes at a time in four independent chains, which run at once.
class Hash {
 public:
  void add(const void *data, size_t bytes) {
    const auto *at = static_cast<const unsigned char *>(data);
    std::array<uint64_t, 4> words;
    for (; bytes >= sizeof words; bytes -= sizeof words, at += sizeof words) {
      std::memcpy(words.data(), at, sizeof words);
      mix(words);
    }
    words = {0, 0, 0, bytes + 1};  // a length of its own: zeros at the end count
    std::memcpy(words.data(), at, std::min(bytes, 3 * sizeof(uint64_t)));
    if (bytes > 3 * sizeof(uint64_t)) {
      uint64_t last = 0;
      std::memcpy(&last, at + 3 * sizeof(uint64_t), bytes - 3 * sizeof(uint64_t));
      words[3] += last * kOdd;
    }
    mix(words);
  }
  uint64_t value() const {
    uint64_t all = 0;
    for (const uint64_t chain : chains_) all = stirred(all ^ chain);
    return all;
  }

 private:
  static constexpr uint64_t kOdd = 0x9E3779B97F4A7C15;  // 2^64 by the golden ratio
  static uint64_t stirred(uint64_t x) {
    x *= kOdd;
    return x ^ x >> 32;
  }
  void mix(const std::array<uint64_t, 4> &words) {
    for (size_t i = 0; i < 4; ++i) chains_[i] = stirred(chains_[i] ^ words[i]);
  }

  std::array<uint64_t, 4> chains_ = {1, 2, 3, 4};
};

uint64_t hashOf(const Mesh &mesh) {
  Hash hash;
  hash.add(mesh.vertices.data(), mesh.vertices.size() * sizeof(float));
  hash.add(mesh.indices.data(), mesh.indices.size() * sizeof(int32_t));
  return hash.value();
}

uint64_t contentHash(Header header, const void *tree, const void *records) {
  header.contentHash = 0;
  Hash hash;
  hash.add(&header, sizeof header);
  hash.add(tree, static_cast<size_t>(header.treeBytes));
  hash.add(records, static_cast<size_t>(header.triangles) * sizeof(VekrTriangleAccel));
  return hash.value();
}

}  // namespace

void writeTree(const SavedTree &tree, vekr_example::OutputFile &output) {
  Header header = {};
  std::copy_n(kMagic, sizeof kMagic, header.magic);
  header.version = kVersion;
  header.byteOrder = kByteOrder;
  header.meshHash = hashOf(tree.mesh);
  header.vertices = tree.mesh.vertexCount();
  header.triangles = tree.mesh.triangleCount();
  header.simple = tree.options.simple ? 1 : 0;
  header.maxDepth = tree.options.maxDepth;
  header.splitBias = tree.options.splitBias;
  header.treeBytes = tree.treeBytes;
  std::copy_n(tree.box, 6, header.box);
  header.contentHash = contentHash(header, tree.root, tree.records);

  FILE *file = std::fopen(output.create().c_str(), "wb");
  if (file == nullptr) output.fail(std::strerror(errno));
  bool good = true;
  const auto put = [&](const void *data, uint64_t bytes, uint64_t end) {
    static const char zeros[kAlignment] = {};
    good = good && std::fwrite(data, 1, bytes, file) == bytes;
    const auto at = static_cast<uint64_t>(std::ftell(file));
    good = good && std::fwrite(zeros, 1, end - at, file) == end - at;
  };
  put(&header, sizeof header, treeOffset());
  put(tree.root, static_cast<uint64_t>(tree.treeBytes), good ? recordsOffset(header) : 0);
  put(tree.records, static_cast<uint64_t>(header.triangles) * sizeof(VekrTriangleAccel),
      good ? fileSize(header) : 0);
  const int error = errno;
  if (std::fclose(file) != 0) output.fail(std::strerror(errno));
  if (!good) output.fail(std::strerror(error));
}

TreeFile::~TreeFile() {
  if (bytes_ != nullptr) munmap(const_cast<unsigned char *>(bytes_), size_);
}

std::string TreeFile::open(const std::string &path, const Mesh &mesh) {
  if (std::string reason = vekr_example::whyUnreadable(path); !reason.empty()) return reason;
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat file;
  if (descriptor < 0 || fstat(descriptor, &file) != 0) {
    const int error = errno;
    if (descriptor >= 0) close(descriptor);
    return std::strerror(error);
  }
  const auto size = static_cast<size_t>(file.st_size);
  void *bytes = size >= sizeof(Header) ? mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0) : nullptr;
  const int error = errno;
  close(descriptor);
  if (bytes == nullptr) return "is no saved tree";
  if (bytes == MAP_FAILED) return std::strerror(error);
  bytes_ = static_cast<const unsigned char *>(bytes);
  size_ = size;

  Header header;
  std::memcpy(&header, bytes_, sizeof header);
  if (std::memcmp(header.magic, kMagic, sizeof kMagic) != 0) return "is no saved tree";
  if (header.version != kVersion || header.byteOrder != kByteOrder) {
    return "is a saved tree of another version or machine";
  }
  // First whether it is whole, so that what is said of the mesh is true.
  if (header.treeBytes < 16 || header.treeBytes % 4 != 0 || header.triangles < 0 ||
      fileSize(header) != size_) {
    return "is a damaged tree: its size is wrong";
  }
  if (contentHash(header, root(), records()) != header.contentHash)
    return "is a damaged tree: its content is wrong";
  if (header.vertices != mesh.vertexCount() || header.triangles != mesh.triangleCount() ||
      header.meshHash != hashOf(mesh)) {
    return "is the tree of another mesh, or of this one read otherwise (--up, --smooth, --no-floor)";
  }
  if (const char *fault = findTreeFault(root(), header.treeBytes, records(), header.triangles);
      fault != nullptr) {
    return std::string("is a damaged tree: ") + fault;
  }
  options_ = {header.simple != 0, header.maxDepth, header.splitBias, -1};
  return "";
}

const float *TreeFile::box() const { return reinterpret_cast<const float *>(bytes_ + offsetof(Header, box)); }
const VekrKDTreeNode *TreeFile::root() const {
  return reinterpret_cast<const VekrKDTreeNode *>(bytes_ + treeOffset());
}
int32_t TreeFile::treeBytes() const {
  int32_t bytes;
  std::memcpy(&bytes, bytes_ + offsetof(Header, treeBytes), sizeof bytes);
  return bytes;
}
const VekrTriangleAccel *TreeFile::records() const {
  Header header;
  std::memcpy(&header, bytes_, sizeof header);
  return reinterpret_cast<const VekrTriangleAccel *>(bytes_ + recordsOffset(header));
}
