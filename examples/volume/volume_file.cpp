#include "volume_file.h"

#include <nifti1.h>

#include <cstdio>
#include <cstring>
#include <iterator>
#include <limits>
#include <stdexcept>

#include "itk_file.h"
#include "nifti_file.h"

namespace vekr_example {

namespace {

bool quiet = false;

template <class From, class To>
void convertRow(const std::byte *from, int32_t count, To *to) {
  for (int32_t i = 0; i < count; ++i) {
    From voxel;
    std::memcpy(&voxel, from + static_cast<size_t>(i) * sizeof voxel, sizeof voxel);
    to[i] = static_cast<To>(voxel);
  }
}

void convertRow(int datatype, const std::byte *from, int32_t count, float *to) {
  switch (datatype) {
    case DT_UINT8:
      return convertRow<uint8_t>(from, count, to);
    case DT_INT8:
      return convertRow<int8_t>(from, count, to);
    case DT_INT16:
      return convertRow<int16_t>(from, count, to);
    case DT_UINT16:
      return convertRow<uint16_t>(from, count, to);
    case DT_INT32:
      return convertRow<int32_t>(from, count, to);
    case DT_UINT32:
      return convertRow<uint32_t>(from, count, to);
    case DT_INT64:
      return convertRow<int64_t>(from, count, to);
    case DT_UINT64:
      return convertRow<uint64_t>(from, count, to);
    case DT_FLOAT64:
      return convertRow<double>(from, count, to);
    default:
      return convertRow<float>(from, count, to);
  }
}

struct Stored {
  int datatype, bytes;
  VoxelType as;
  const char *name;
};
constexpr Stored kStored[] = {
    {DT_UINT8, 1, VoxelType::u8, "8-bit integers"},
    {DT_UINT16, 2, VoxelType::u16, "unsigned 16-bit integers"},
    {DT_INT16, 2, VoxelType::s16, "signed 16-bit integers"},
    {DT_FLOAT32, 4, VoxelType::f32, "32-bit floats"},
    {DT_INT8, 1, VoxelType::s16, "signed 8-bit integers"},
    {DT_INT32, 4, VoxelType::f32, "32-bit integers"},
    {DT_UINT32, 4, VoxelType::f32, "unsigned 32-bit integers"},
    {DT_INT64, 8, VoxelType::f32, "64-bit integers"},
    {DT_UINT64, 8, VoxelType::f32, "unsigned 64-bit integers"},
    {DT_FLOAT64, 8, VoxelType::f32, "64-bit floats"},
};

int16_t rounded(float value) {
  using Limits = std::numeric_limits<int16_t>;
  if (!(value > Limits::min())) return value != value ? int16_t(0) : Limits::min();
  return value >= Limits::max() ? Limits::max() : static_cast<int16_t>(std::nearbyint(value));
}

}  // namespace

void note(const std::string &line) {
  if (!quiet) std::fprintf(stderr, "note: %s\n", line.c_str());
}
void silenceNotes() { quiet = true; }

void VolumeReader::setStored(int datatype) {
  for (const Stored &stored : kStored) {
    if (stored.datatype != datatype) continue;
    stored_ = datatype;
    storedBytes_ = stored.bytes;
    file_.type = stored.as;
    if (stored.bytes > bytesOf(stored.as))
      note(file_.path + ": " + stored.name + " are converted to 32-bit floats");
    return;
  }
  throw std::runtime_error(file_.path + ": voxels of type " + std::to_string(datatype) +
                           " can't be resampled");
}

void VolumeReader::read(Volume &frame) {
  const auto [width, height, depth] = file_.grid.size;
  const size_t rowBytes = static_cast<size_t>(width) * static_cast<size_t>(storedBytes_);
  plane_.resize(rowBytes * static_cast<size_t>(height));
  for (int32_t z = 0; z < depth; ++z) {
    if (!readPlane(plane_.data())) throw std::runtime_error(file_.path + ": is truncated or damaged");
    for (int32_t y = 0; y < height; ++y) {
      const std::byte *const from = plane_.data() + rowBytes * static_cast<size_t>(y);
      if (frame.biased) {
        uint16_t *const to = frame.row<uint16_t>(y, z);
        stored_ == DT_INT8 ? convertRow<int8_t>(from, width, to) : convertRow<int16_t>(from, width, to);
        for (int32_t x = 0; x < width; ++x) to[x] ^= 0x8000;
      } else if (frame.type == VoxelType::f32) {
        convertRow(stored_, from, width, frame.row<float>(y, z));
      } else if (stored_ == DT_INT8) {
        convertRow<int8_t>(from, width, frame.row<int16_t>(y, z));
      } else {
        withVoxelType(frame.type, [&]<class T>() { std::memcpy(frame.row<T>(y, z), from, rowBytes); });
      }
    }
    frame.fillMargin(z);
  }
}

void VolumeWriter::write(const Volume &frame) {
  const auto [width, height, depth] = frame.size();
  const size_t rowBytes = static_cast<size_t>(width) * static_cast<size_t>(bytesOf(type_));
  plane_.resize(rowBytes * static_cast<size_t>(height));
  for (int32_t z = 0; z < depth; ++z) {
    for (int32_t y = 0; y < height; ++y) {
      std::byte *const to = plane_.data() + rowBytes * static_cast<size_t>(y);
      if (slope_ != 1 || intercept_ != 0) {
        for (int32_t x = 0; x < width; ++x) {
          const auto voxel = static_cast<float>(frame.valueAt({x, y, z}) * slope_ + intercept_);
          std::memcpy(to + static_cast<size_t>(x) * sizeof voxel, &voxel, sizeof voxel);
        }
      } else if (frame.biased) {
        std::memcpy(to, frame.row<uint16_t>(y, z), rowBytes);
        auto *const voxels = reinterpret_cast<uint16_t *>(to);
        for (int32_t x = 0; x < width; ++x) voxels[x] ^= 0x8000;
      } else if (type_ == VoxelType::s16 && frame.type == VoxelType::f32) {
        auto *const voxels = reinterpret_cast<int16_t *>(to);
        for (int32_t x = 0; x < width; ++x) voxels[x] = rounded(frame.row<float>(y, z)[x]);
      } else {
        withVoxelType(type_, [&]<class T>() { std::memcpy(to, frame.row<T>(y, z), rowBytes); });
      }
    }
    writePlane(plane_.data(), plane_.size());
  }
}

std::unique_ptr<VolumeReader> openVolume(const std::string &path) {
  return isItkFile(path) ? openItk(path) : openNifti(path);
}

std::unique_ptr<VolumeWriter> createVolume(const VolumeFile &file, OutputFile &output) {
  return isItkFile(output.path()) ? createItk(file, output) : createNifti(file, output);
}

namespace {

#ifdef VEKR_ITK_MODULES
constexpr const char *kEndings[] = {".nii.gz", ".nii", ".nrrd", ".mha"};
#else
constexpr const char *kEndings[] = {".nii.gz", ".nii"};
#endif

}  // namespace

std::string endingOf(const std::string &path) {
  for (const char *const ending : kEndings) {
    const std::string end = ending;
    if (path.size() > end.size() && path.compare(path.size() - end.size(), end.size(), end) == 0) return end;
  }
  return "";
}

const char *writtenEndings() {
  return std::size(kEndings) > 2 ? ".nii, .nii.gz, .nrrd or .mha" : ".nii or .nii.gz";
}

}  // namespace vekr_example
