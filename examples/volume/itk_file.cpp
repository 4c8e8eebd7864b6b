#include "itk_file.h"

#include <dlfcn.h>
#include <nifti1.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <stdexcept>

#include "itk_module.h"

namespace vekr_example {

namespace {

[[noreturn]] void fail(const std::string &path, const std::string &reason) {
  throw std::runtime_error(path + ": " + reason);
}

// Memory under a file's descriptor, which a child can fill.
class MemoryFile {
 public:
  MemoryFile() : descriptor_(memfd_create("vekr-volume", MFD_CLOEXEC)) {
    if (descriptor_ < 0) throw std::bad_alloc();
  }
  ~MemoryFile() { close(descriptor_); }
  MemoryFile(const MemoryFile &) = delete;
  MemoryFile &operator=(const MemoryFile &) = delete;

  int descriptor() const { return descriptor_; }
  bool read(void *to, size_t bytes) {
    auto *at = static_cast<char *>(to);
    while (bytes > 0) {
      const ssize_t got = ::read(descriptor_, at, bytes);
      if (got <= 0) return false;
      at += got;
      bytes -= static_cast<size_t>(got);
    }
    return true;
  }
  bool write(const void *from, size_t bytes) {
    const auto *at = static_cast<const char *>(from);
    while (bytes > 0) {
      const ssize_t put = ::write(descriptor_, at, bytes);
      if (put <= 0) return false;
      at += put;
      bytes -= static_cast<size_t>(put);
    }
    return true;
  }

 private:
  int descriptor_;
};

// A folder is a DICOM series to the module, and nothing without it.
#ifdef VEKR_ITK_MODULES
constexpr bool kReadsFolders = true;
#else
constexpr bool kReadsFolders = false;
#endif

void *loadModule(char *reason, size_t size) {
#ifdef VEKR_ITK_MODULES
  // Not by $ORIGIN, which is the sanitizer's where one stands between.
  std::error_code code;
  const std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe", code).parent_path();
  for (const char *const place : {VEKR_ITK_MODULES}) {
    if (void *const module = dlopen((folder / place).c_str(), RTLD_NOW)) return module;
    std::snprintf(reason, size, "the module that reads it can't be loaded: %s", dlerror());
  }
#else
  std::snprintf(reason, size,
                "this program was built without the Insight toolkit: it knows .nii and .nii.gz");
#endif
  return nullptr;
}

// What the readers of formats say of a file that is cut, while they take it for a whole one.
bool tellsOfLoss(MemoryFile &log) {
  lseek(log.descriptor(), 0, SEEK_SET);
  std::string text;
  for (char c; text.size() < 65536 && log.read(&c, 1);) text += c;
  for (const char *const phrase :
       {"not read completely", "Read error", "bytes, expected", "Failed to read directory"}) {
    if (text.find(phrase) != std::string::npos) return true;
  }
  return false;
}

// Calls the module in a process of its own: damaged files end that one alone. Returns the reason of a failure.
std::string inChild(ItkVolume &volume, const char *function,
                    const std::function<bool(void *, ItkVolume &)> &call) {
  void *const shared =
      mmap(nullptr, sizeof volume, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) throw std::bad_alloc();
  auto *const told = new (shared) ItkVolume(volume);
  MemoryFile log;
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    dup2(log.descriptor(), STDERR_FILENO);
    dup2(log.descriptor(), STDOUT_FILENO);
    void *const module = loadModule(told->reason, sizeof told->reason);
    void *const entry = module != nullptr ? dlsym(module, function) : nullptr;
    _exit(entry != nullptr && call(entry, *told) ? 0 : 1);
  }
  int status = 0;
  while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  volume = *told;
  munmap(shared, sizeof volume);
  if (child < 0)
    throw std::runtime_error(std::string("no process to read or write by: ") + std::strerror(errno));
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return tellsOfLoss(log) ? "is truncated or damaged" : "";
  volume.reason[sizeof volume.reason - 1] = 0;
  if (WIFEXITED(status) && volume.reason[0] != 0) return volume.reason;
  return "is damaged: what reads or writes it has crashed";
}

class ItkReader : public VolumeReader {
 public:
  explicit ItkReader(const std::string &path) {
    std::error_code code;
    if (!kReadsFolders || !std::filesystem::is_directory(path, code)) {
      if (const std::string reason = whyUnreadable(path); !reason.empty()) fail(path, reason);
    }
    ItkVolume v = {};
    const std::string reason = inChild(v, kItkRead, [&](void *entry, ItkVolume &to) {
      return reinterpret_cast<ItkRead *>(entry)(path.c_str(), &to, voxels_.descriptor());
    });
    if (!reason.empty()) fail(path, reason);
    file_.path = path;
    setStored(v.datatype);
    Affine toWorld;
    for (size_t row = 0; row < 3; ++row) {
      const double sign = row < 2 ? -1 : 1;  // to the right and to the front
      for (size_t k = 0; k < 3; ++k) toWorld.at(row, k) = sign * v.direction[3 * row + k] * v.spacing[k];
      toWorld.at(row, 3) = sign * v.origin[row];
    }
    if (!inverseOf(toWorld)) fail(path, "its directions or distances of voxels can't be used");
    file_.grid = {{v.sides[0], v.sides[1], v.sides[2]}, toWorld};
    file_.more = {v.sides[3], v.components, 1, 1};
    planeBytes_ =
        static_cast<size_t>(v.sides[0]) * static_cast<size_t>(v.sides[1]) * static_cast<size_t>(storedBytes_);
    lseek(voxels_.descriptor(), 0, SEEK_SET);
  }

 private:
  bool readPlane(void *voxels) override { return voxels_.read(voxels, planeBytes_); }

  MemoryFile voxels_;
  size_t planeBytes_ = 0;
};

// What is meant is stored, as these formats know no slope: floats if there is one.
VoxelType writtenType(const VolumeFile &file) {
  return file.slope != 1 || file.intercept != 0 ? VoxelType::f32 : file.type;
}

class ItkWriter : public VolumeWriter {
 public:
  ItkWriter(const VolumeFile &file, OutputFile &output) : VolumeWriter(writtenType(file)), output_(output) {
    setScale(file.slope, file.intercept);
    const VoxelType type = writtenType(file);
    volume_.datatype = type == VoxelType::u8    ? DT_UINT8
                       : type == VoxelType::u16 ? DT_UINT16
                       : type == VoxelType::s16 ? DT_INT16
                                                : DT_FLOAT32;
    volume_.voxelBytes = bytesOf(type);
    const auto sides = file.grid.sides();
    std::copy(sides.begin(), sides.end(), volume_.sides);
    // Either of time or of components; a NIfTI file may have both and more, which then are frames.
    const bool vectors = file.more[0] == 1 && file.more[2] == 1 && file.more[3] == 1;
    volume_.sides[3] = vectors ? 1 : file.frames();
    volume_.components = vectors ? file.more[1] : 1;
    const Point mm = file.grid.spacing();
    for (size_t row = 0; row < 3; ++row) {
      const double sign = row < 2 ? -1 : 1;
      volume_.spacing[row] = mm[row];
      volume_.origin[row] = sign * file.grid.toWorld.at(row, 3);
      for (size_t k = 0; k < 3; ++k)
        volume_.direction[3 * row + k] = sign * file.grid.toWorld.at(row, k) / mm[k];
    }
  }

  void finish() override {
    const std::string &name = output_.create();
    const std::string reason = inChild(volume_, kItkWrite, [&](void *entry, ItkVolume &v) {
      void *const all = mmap(nullptr, bytes_, PROT_READ, MAP_SHARED, voxels_.descriptor(), 0);
      return all != MAP_FAILED && reinterpret_cast<ItkWrite *>(entry)(name.c_str(), &v, all);
    });
    if (!reason.empty()) output_.fail(reason);
    std::error_code code;
    if (std::filesystem::file_size(name, code) < bytes_ || code) output_.fail("is the disk full?");
  }

 private:
  void writePlane(const void *voxels, size_t bytes) override {
    if (!voxels_.write(voxels, bytes)) throw std::bad_alloc();
    bytes_ += bytes;
  }

  OutputFile &output_;
  ItkVolume volume_ = {};
  MemoryFile voxels_;
  size_t bytes_ = 0;
};

}  // namespace

bool isItkFile(const std::string &path) {
  std::error_code code;
  if (std::filesystem::is_directory(path, code)) return true;
  std::string ending = std::filesystem::path(path).extension().string();
  std::transform(ending.begin(), ending.end(), ending.begin(),
                 [](unsigned char c) { return std::tolower(c); });
  for (const char *const known : {".nrrd", ".nhdr", ".mha", ".mhd", ".tif", ".tiff", ".dcm"}) {
    if (ending == known) return true;
  }
  return false;
}

std::unique_ptr<VolumeReader> openItk(const std::string &path) { return std::make_unique<ItkReader>(path); }

std::unique_ptr<VolumeWriter> createItk(const VolumeFile &file, OutputFile &output) {
  return std::make_unique<ItkWriter>(file, output);
}

}  // namespace vekr_example
