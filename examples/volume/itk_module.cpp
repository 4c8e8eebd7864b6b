// The module of vekr-volume that reads and writes what isn't NIfTI. It is loaded when such a file is named, so that nobody
// else waits for the toolkit to start, and runs in a process of its own: see itk_file.cpp.
#include "itk_module.h"

#include <itkGDCMImageIO.h>
#include <itkGDCMSeriesFileNames.h>
#include <itkMetaImageIO.h>
#include <itkNrrdImageIO.h>
#include <itkTIFFImageIO.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "nifti1.h"

namespace {

using itk::IOComponentEnum;
using vekr_example::ItkVolume;
namespace fs = std::filesystem;

struct Component {
  IOComponentEnum itk;
  int32_t nifti, bytes;
};
constexpr Component kComponents[] = {
    {IOComponentEnum::UCHAR, DT_UINT8, 1},      {IOComponentEnum::CHAR, DT_INT8, 1},
    {IOComponentEnum::USHORT, DT_UINT16, 2},    {IOComponentEnum::SHORT, DT_INT16, 2},
    {IOComponentEnum::UINT, DT_UINT32, 4},      {IOComponentEnum::INT, DT_INT32, 4},
    {IOComponentEnum::ULONG, DT_UINT64, 8},     {IOComponentEnum::LONG, DT_INT64, 8},
    {IOComponentEnum::ULONGLONG, DT_UINT64, 8}, {IOComponentEnum::LONGLONG, DT_INT64, 8},
    {IOComponentEnum::FLOAT, DT_FLOAT32, 4},    {IOComponentEnum::DOUBLE, DT_FLOAT64, 8}};

std::string lowerEnding(const std::string &path) {
  std::string ending = fs::path(path).extension().string();
  std::transform(ending.begin(), ending.end(), ending.begin(),
                 [](unsigned char c) { return std::tolower(c); });
  return ending;
}

itk::ImageIOBase::Pointer ioFor(const std::string &path) {
  const std::string ending = lowerEnding(path);
  if (ending == ".nrrd" || ending == ".nhdr") return itk::NrrdImageIO::New().GetPointer();
  if (ending == ".mha" || ending == ".mhd") return itk::MetaImageIO::New().GetPointer();
  if (ending == ".tif" || ending == ".tiff") return itk::TIFFImageIO::New().GetPointer();
  return itk::GDCMImageIO::New().GetPointer();
}

// Whether the voxels of a DICOM file reach beyond its end, for which GDCM puts zeros.
bool isCutDicom(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  const std::string all((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const size_t at = all.find(std::string("\xe0\x7f\x10\0", 4));
  if (at == std::string::npos) return false;
  const bool named = all.compare(at + 4, 2, "OW") == 0 || all.compare(at + 4, 2, "OB") == 0;
  const size_t length = at + (named ? 8 : 4);
  uint32_t bytes = 0;
  if (length + sizeof bytes > all.size()) return true;
  std::memcpy(&bytes, all.data() + length, sizeof bytes);
  constexpr uint32_t kUntold = 0xffffffff;
  return bytes != kUntold && length + sizeof bytes + bytes > all.size();
}

// The header of a file; the object goes on to read its voxels.
itk::ImageIOBase::Pointer open(const std::string &path, ItkVolume &volume) {
  const itk::ImageIOBase::Pointer io = ioFor(path);
  io->SetFileName(path);
  if (!io->CanReadFile(path.c_str()))
    throw std::runtime_error("is no volume of the format that its name tells");
  if (dynamic_cast<const itk::GDCMImageIO *>(io.GetPointer()) != nullptr && isCutDicom(path))
    throw std::runtime_error("is truncated or damaged");
  io->ReadImageInformation();
  const unsigned dimensions = io->GetNumberOfDimensions();
  if (dimensions < 1 || dimensions > 4)
    throw std::runtime_error("has " + std::to_string(dimensions) + " dimensions");
  const auto *const component =
      std::find_if(std::begin(kComponents), std::end(kComponents),
                   [&](const Component &c) { return c.itk == io->GetComponentType(); });
  if (component == std::end(kComponents)) throw std::runtime_error("its voxels are of an unknown type");
  volume.datatype = component->nifti;
  volume.voxelBytes = component->bytes;
  volume.components = static_cast<int32_t>(io->GetNumberOfComponents());
  double bytes = double(volume.voxelBytes) * volume.components;
  for (unsigned axis = 0; axis < 4; ++axis) {
    const uint64_t side = axis < dimensions ? io->GetDimensions(axis) : 1;
    if (side < 1 || side > 32767)
      throw std::runtime_error("has sides of " + std::to_string(side) + " voxels");
    volume.sides[axis] = static_cast<int32_t>(side);
    bytes *= double(side);
    if (axis == 3) break;
    volume.origin[axis] = axis < dimensions ? io->GetOrigin(axis) : 0;
    volume.spacing[axis] = axis < dimensions ? io->GetSpacing(axis) : 1;
    for (unsigned row = 0; row < 3; ++row) {
      volume.direction[3 * row + axis] =
          axis < dimensions && row < dimensions ? io->GetDirection(axis)[row] : double(row == axis);
    }
  }
  constexpr double kMost = 1e12;
  if (volume.components < 1 || bytes > kMost) throw std::runtime_error("would hold more than any memory");
  return io;
}

void readVoxels(itk::ImageIOBase &io, void *voxels) {
  itk::ImageIORegion region(io.GetNumberOfDimensions());
  for (unsigned axis = 0; axis < io.GetNumberOfDimensions(); ++axis) {
    region.SetIndex(axis, 0);
    region.SetSize(axis, io.GetDimensions(axis));
  }
  io.SetIORegion(region);
  io.Read(voxels);
}

size_t voxelsIn(const ItkVolume &v) {
  size_t count = 1;
  for (const int32_t side : v.sides) count *= static_cast<size_t>(side);
  return count;
}

// An open file as memory.
class Mapped {
 public:
  Mapped(int descriptor, size_t bytes) : bytes_(bytes) {
    if (ftruncate(descriptor, static_cast<off_t>(bytes)) == 0)
      at_ = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    if (at_ == MAP_FAILED) throw std::bad_alloc();
  }
  ~Mapped() { munmap(at_, bytes_); }
  Mapped(const Mapped &) = delete;
  Mapped &operator=(const Mapped &) = delete;
  std::byte *data() { return static_cast<std::byte *>(at_); }

 private:
  size_t bytes_;
  void *at_ = MAP_FAILED;
};

// Between components behind each other and components voxel by voxel.
void interleave(const std::byte *from, std::byte *to, const ItkVolume &v, bool planes) {
  const auto bytes = static_cast<size_t>(v.voxelBytes), components = static_cast<size_t>(v.components);
  const size_t count = voxelsIn(v);
  for (size_t i = 0; i < count; ++i) {
    for (size_t c = 0; c < components; ++c) {
      const size_t mixed = (i * components + c) * bytes, apart = (c * count + i) * bytes;
      std::memcpy(to + (planes ? apart : mixed), from + (planes ? mixed : apart), bytes);
    }
  }
}

void readFile(const std::string &path, ItkVolume &volume, int descriptor) {
  const itk::ImageIOBase::Pointer io = open(path, volume);
  const size_t bytes =
      voxelsIn(volume) * static_cast<size_t>(volume.voxelBytes) * static_cast<size_t>(volume.components);
  Mapped voxels(descriptor, bytes);
  if (volume.components == 1) return readVoxels(*io, voxels.data());
  std::vector<std::byte> mixed(bytes);
  readVoxels(*io, mixed.data());
  interleave(mixed.data(), voxels.data(), volume, true);
}

// Slices in the order of their places, one distance from each other.
void readSeries(const std::string &folder, ItkVolume &volume, int descriptor) {
  const auto names = itk::GDCMSeriesFileNames::New();
  names->SetUseSeriesDetails(true);
  names->SetDirectory(folder);
  const auto series = names->GetSeriesUIDs();
  if (series.empty()) throw std::runtime_error("is a directory without a DICOM series");
  if (series.size() > 1)
    throw std::runtime_error("holds " + std::to_string(series.size()) +
                             " DICOM series; give each a folder of its own");
  const std::vector<std::string> files = names->GetFileNames(series[0]);
  if (files.size() == 1) return readFile(files[0], volume, descriptor);
  if (files.size() > 32767) throw std::runtime_error("holds too many slices");
  std::unique_ptr<Mapped> voxels;
  double step[3] = {}, before[3] = {};
  size_t bytes = 0;
  for (size_t i = 0; i < files.size(); ++i) {
    const std::string name = fs::path(files[i]).filename().string();
    ItkVolume slice = {};
    const itk::ImageIOBase::Pointer io = open(files[i], slice);
    if (i == 0) {
      volume = slice;
      bytes = voxelsIn(slice) * static_cast<size_t>(slice.voxelBytes);
      voxels = std::make_unique<Mapped>(descriptor, bytes * files.size());
    }
    if (slice.components != 1 || slice.sides[2] != 1 || slice.sides[3] != 1 ||
        slice.datatype != volume.datatype || slice.sides[0] != volume.sides[0] ||
        slice.sides[1] != volume.sides[1])
      throw std::runtime_error("its slice " + name + " doesn't fit the others");
    for (size_t k = 0; k < 3; ++k) {
      const double moved = slice.origin[k] - before[k];
      constexpr double kSlack = 0.01;  // millimetres: places are written as decimals
      if (i == 1) step[k] = moved;
      if (i > 1 && std::fabs(moved - step[k]) > kSlack)
        throw std::runtime_error("its slices are not one distance apart: see " + name);
      before[k] = slice.origin[k];
    }
    readVoxels(*io, voxels->data() + i * bytes);
  }
  const double distance = std::hypot(step[0], step[1], step[2]);
  if (!(distance > 0)) throw std::runtime_error("its slices lie in one place");
  volume.sides[2] = static_cast<int32_t>(files.size());
  volume.spacing[2] = distance;
  for (size_t k = 0; k < 3; ++k) volume.direction[3 * k + 2] = step[k] / distance;
}

void writeFile(const std::string &path, const ItkVolume &volume, const std::byte *voxels) {
  const itk::ImageIOBase::Pointer io = ioFor(path);
  const unsigned dimensions = volume.sides[3] > 1 ? 4 : 3;
  io->SetNumberOfDimensions(dimensions);
  itk::ImageIORegion region(dimensions);
  for (unsigned axis = 0; axis < dimensions; ++axis) {
    io->SetDimensions(axis, static_cast<unsigned>(volume.sides[axis]));
    region.SetSize(axis, static_cast<unsigned>(volume.sides[axis]));
    io->SetOrigin(axis, axis < 3 ? volume.origin[axis] : 0);
    io->SetSpacing(axis, axis < 3 ? volume.spacing[axis] : 1);
    std::vector<double> column(dimensions, 0);
    for (unsigned row = 0; row < dimensions; ++row)
      column[row] = axis < 3 && row < 3 ? volume.direction[3 * row + axis] : double(row == axis);
    io->SetDirection(axis, column);
  }
  const auto *const component = std::find_if(std::begin(kComponents), std::end(kComponents),
                                             [&](const Component &c) { return c.nifti == volume.datatype; });
  io->SetComponentType(component->itk);
  io->SetNumberOfComponents(static_cast<unsigned>(volume.components));
  io->SetPixelType(volume.components > 1 ? itk::IOPixelEnum::VECTOR : itk::IOPixelEnum::SCALAR);
  io->SetIORegion(region);
  io->SetFileName(path);
  io->SetUseCompression(false);
  std::vector<std::byte> mixed;
  if (volume.components > 1) {
    mixed.resize(voxelsIn(volume) * static_cast<size_t>(volume.voxelBytes) *
                 static_cast<size_t>(volume.components));
    interleave(voxels, mixed.data(), volume, false);
    voxels = mixed.data();
  }
  io->Write(voxels);
}

// Does something and tells what went wrong, in one line.
template <class Work>
bool told(ItkVolume &volume, const Work &work) {
  std::string reason;
  try {
    work();
    return true;
  } catch (const itk::ExceptionObject &error) {
    reason = error.GetDescription();
  } catch (const std::bad_alloc &) {
    reason = "not enough memory";
  } catch (const std::exception &error) {
    reason = error.what();
  }
  // The toolkit's descriptions begin with the object's class and address.
  const size_t behind = reason.find("): ");
  if (behind != std::string::npos) reason.erase(0, behind + 3);
  std::replace_if(
      reason.begin(), reason.end(), [](unsigned char c) { return c < ' '; }, ' ');
  std::snprintf(volume.reason, sizeof volume.reason, "%s", reason.c_str());
  return false;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) bool vekrItkRead(const char *path, ItkVolume *volume,
                                                                   int descriptor) {
  return told(*volume, [&] {
    fs::is_directory(path) ? readSeries(path, *volume, descriptor) : readFile(path, *volume, descriptor);
  });
}

extern "C" __attribute__((visibility("default"))) bool vekrItkWrite(const char *path, ItkVolume *volume,
                                                                    const void *voxels) {
  return told(*volume, [&] { writeFile(path, *volume, static_cast<const std::byte *>(voxels)); });
}
