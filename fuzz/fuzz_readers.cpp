// What the programs read without another's library, or with one that reads whatever it is given: panoramas, transforms, NIfTI
// headers and frames, encoded pictures. Bytes are a file; it is read, or refused by an exception with one line.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <string>

#include "input.h"
#include "light/light_file.h"
#include "render/picture_codec.h"
#include "volume/nifti_file.h"
#include "volume/transform_file.h"

using namespace vekr_example;

namespace {

// A file of any contents, in memory where the machine has such a place.
class FileOfBytes {
 public:
  FileOfBytes() {
    std::string name =
        (std::filesystem::exists("/dev/shm") ? "/dev/shm" : "/tmp") + std::string("/vekr-fuzz-XXXXXX");
    if (mkdtemp(name.data()) == nullptr) std::abort();
    folder_ = name;
  }
  ~FileOfBytes() {
    std::error_code code;
    std::filesystem::remove_all(folder_, code);
  }
  std::string holding(const char *name, const uint8_t *data, size_t size) const {
    const std::string path = folder_ + "/" + name;
    FILE *const file = std::fopen(path.c_str(), "wb");
    if (file == nullptr || std::fwrite(data, 1, size, file) != size) std::abort();
    std::fclose(file);
    return path;
  }

 private:
  std::string folder_;
};

bool isOneLine(const char *text) { return *text != 0 && std::strchr(text, '\n') == nullptr; }

void readNifti(const std::string &path) {
  const auto reader = openNifti(path);
  const VolumeFile &file = reader->file();
  const VekrVolumeSize size = file.grid.size;
  const double voxels = double(size.width) * size.height * size.depth;
  constexpr double kSmall = 1 << 20;
  if (voxels > kSmall) return;  // what large frames would be is a matter of memory
  Volume frame(file.type, file.grid);
  for (int32_t i = 0; i < std::min(file.frames(), 3); ++i) reader->read(frame);
}

void read(uint32_t kind, const uint8_t *data, size_t size) {
  static const FileOfBytes file;
  silenceNotes();
  const Grid grid = {{4, 4, 4}, {}};
  switch (kind) {
    case 0:
      readRadiance(file.holding("file.hdr", data, size));
      break;
    case 1:
      decodePicture(data, size);
      break;
    case 2:
      readMatrix(file.holding("file.txt", data, size));
      break;
    case 3:
      readTransform(file.holding("file.tfm", data, size), TransformKind::itk, grid, grid);
      break;
    case 4:
      readTransform(file.holding("file.mat", data, size), TransformKind::automatic, grid, grid);
      break;
    case 5:
      readTransform(file.holding("file.mat", data, size), TransformKind::fsl, grid, grid);
      break;
    default:
      readNifti(file.holding("file.nii", data, size));
      break;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0) return 0;
  try {
    read(data[0] % 8, data + 1, size - 1);
  } catch (const std::bad_alloc &) {
  } catch (const std::exception &error) {
    FUZZ_CHECK(isOneLine(error.what()));
  }
  return 0;
}
