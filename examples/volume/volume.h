// A volume in memory, with the header that it came with.
#pragma once

#include <nifti1_io.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "vekr.h"

namespace vekr_example {

// The voxel types that the library resamples.
enum class VoxelType { u8, u16, f32 };

inline int32_t bytesOf(VoxelType type) { return type == VoxelType::u8 ? 1 : type == VoxelType::u16 ? 2 : 4; }
inline const char *nameOf(VoxelType type) {
  return type == VoxelType::u8 ? "8u" : type == VoxelType::u16 ? "16u" : "32f";
}

// body.operator()<T>() for the type of a volume's voxels.
template <class Body>
void withVoxelType(VoxelType type, const Body &body) {
  switch (type) {
    case VoxelType::u8:
      return body.template operator()<uint8_t>();
    case VoxelType::u16:
      return body.template operator()<uint16_t>();
    case VoxelType::f32:
      return body.template operator()<float>();
  }
}

struct HeaderDelete {
  void operator()(nifti_image *header) const { nifti_image_free(header); }
};
using Header = std::unique_ptr<nifti_image, HeaderDelete>;

// Dense: x fastest, then y, then z.
struct Volume {
  VoxelType type;
  VekrVolumeSize size;
  std::vector<std::byte> voxels;
  Header header;  // without its data; its sizes and type are brought in line when the volume is written

  Volume(VoxelType voxelType, VekrVolumeSize volumeSize, const nifti_image *like)
      : type(voxelType),
        size(volumeSize),
        voxels(static_cast<size_t>(volumeSize.width) * static_cast<size_t>(volumeSize.height) *
               static_cast<size_t>(volumeSize.depth) * static_cast<size_t>(bytesOf(voxelType))),
        header(nifti_copy_nim_info(like)) {
    if (header == nullptr) throw std::runtime_error("no memory for a header");
  }

  int32_t step() const { return size.width * bytesOf(type); }
  size_t count() const { return voxels.size() / static_cast<size_t>(bytesOf(type)); }

  template <class T>
  T *data() {
    return reinterpret_cast<T *>(voxels.data());
  }
  template <class T>
  const T *data() const {
    return reinterpret_cast<const T *>(voxels.data());
  }

  // The list that the library takes. T may be const.
  template <class T>
  std::vector<T *> planes() {
    std::vector<T *> list;
    for (int32_t z = 0; z < size.depth; ++z) {
      list.push_back(data<T>() + static_cast<size_t>(z) * static_cast<size_t>(size.width) *
                                     static_cast<size_t>(size.height));
    }
    return list;
  }

  // Voxel coordinates to millimetres, as the header has it.
  mat44 toWorld() const { return header->sform_code > 0 ? header->sto_xyz : header->qto_xyz; }
};

}  // namespace vekr_example
