#include "nifti_file.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>

#include "nifti_header.h"
#include "standard_streams.h"

namespace vekr_example {

namespace {

[[noreturn]] void fail(const std::string &path, const std::string &reason) {
  throw std::runtime_error(path + ": " + reason);
}

bool endsWith(const std::string &text, const std::string &end) {
  return text.size() > end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

template <class From>
void convert(const void *from, Volume &to) {
  const auto values = static_cast<const From *>(from);
  float *const voxels = to.data<float>();
  for (size_t i = 0; i < to.count(); ++i) voxels[i] = static_cast<float>(values[i]);
}

// Whether voxels of the file's type can be taken over, all in 32f.
bool convertAny(int datatype, const void *from, Volume &to) {
  switch (datatype) {
    case DT_INT8:
      convert<int8_t>(from, to);
      return true;
    case DT_INT16:
      convert<int16_t>(from, to);
      return true;
    case DT_INT32:
      convert<int32_t>(from, to);
      return true;
    case DT_UINT32:
      convert<uint32_t>(from, to);
      return true;
    case DT_INT64:
      convert<int64_t>(from, to);
      return true;
    case DT_UINT64:
      convert<uint64_t>(from, to);
      return true;
    case DT_FLOAT64:
      convert<double>(from, to);
      return true;
    default:
      return false;
  }
}

// Reads the voxels behind a header. Not by nifti_image_load(), which takes a truncated file for a whole one.
bool loadVoxels(nifti_image &image) {
  const size_t bytes = nifti_get_volsize(&image);
  image.data = std::malloc(bytes);
  if (image.data == nullptr) throw std::bad_alloc();
  znzFile file = znzopen(image.iname, "rb", nifti_is_gzfile(image.iname));
  if (znz_isnull(file)) return false;
  const bool whole = znzseek(file, image.iname_offset, SEEK_SET) >= 0 &&
                     nifti_read_buffer(file, image.data, bytes, &image) == bytes;
  znzclose(file);
  return whole;
}

// What the file can hold at most of it; deflate makes at most 1032 bytes of one.
bool holdsVoxels(const nifti_image &image) {
  std::error_code error;
  const auto fileBytes = static_cast<double>(std::filesystem::file_size(image.iname, error));
  constexpr double kLargestRatio = 1032;
  const double most = nifti_is_gzfile(image.iname) != 0 ? kLargestRatio * fileBytes : fileBytes;
  return !error && static_cast<double>(image.iname_offset) +
                           static_cast<double>(image.nvox) * static_cast<double>(image.nbyper) <=
                       most;
}

}  // namespace

std::string endingOf(const std::string &path) {
  return endsWith(path, ".nii.gz") ? ".nii.gz" : endsWith(path, ".nii") ? ".nii" : "";
}

Volume readVolume(const std::string &path, Keep16s keep) {
  nifti_set_debug_level(0);  // errors are told here, once
  if (const std::string reason = whyUnreadable(path); !reason.empty()) fail(path, reason);
  const HeaderMends mends = judgeHeader(path);
  const Header image = [&] {
    const QuietStandardError quiet;
    return Header(nifti_image_read(path.c_str(), 0));
  }();
  if (image == nullptr) fail(path, "not a NIfTI volume");
  mend(*image, mends);
  if (!holdsVoxels(*image) || !loadVoxels(*image)) fail(path, "is truncated or damaged");

  const VekrVolumeSize size = {image->nx, image->ny, image->nz};
  const bool native = image->datatype == DT_UINT8 || image->datatype == DT_UINT16 ||
                      image->datatype == DT_FLOAT32 || (image->datatype == DT_INT16 && keep == Keep16s::yes);
  const VoxelType type = image->datatype == DT_UINT8             ? VoxelType::u8
                         : image->datatype == DT_UINT16          ? VoxelType::u16
                         : image->datatype == DT_INT16 && native ? VoxelType::s16
                                                                 : VoxelType::f32;
  Volume volume(type, size, image.get());
  if (native) {
    std::memcpy(volume.voxels.data(), image->data, volume.voxels.size());
  } else if (convertAny(image->datatype, image->data, volume)) {
    std::fprintf(stderr, "note: %s: voxels of type %s are converted to 32-bit floats\n", path.c_str(),
                 nifti_datatype_string(image->datatype));
  } else {
    fail(path,
         std::string("voxels of type ") + nifti_datatype_string(image->datatype) + " can't be resampled");
  }
  return volume;
}

void writeVolume(const Volume &volume, OutputFile &output) {
  const Header image(nifti_copy_nim_info(volume.header.get()));
  if (image == nullptr) throw std::bad_alloc();
  const int dims[8] = {3, volume.size.width, volume.size.height, volume.size.depth, 1, 1, 1, 1};
  std::memcpy(image->dim, dims, sizeof dims);
  image->datatype = volume.type == VoxelType::u8    ? DT_UINT8
                    : volume.type == VoxelType::u16 ? DT_UINT16
                    : volume.type == VoxelType::s16 ? DT_INT16
                                                    : DT_FLOAT32;
  nifti_datatype_sizes(image->datatype, &image->nbyper, &image->swapsize);
  nifti_update_dims_from_array(image.get());
  image->byteorder = nifti_short_order();
  image->cal_min = image->cal_max = 0;  // what was known of the values no longer holds
  image->nifti_type = NIFTI_FTYPE_NIFTI1_1;
  image->iname_offset = 0;  // to be computed
  nifti_set_iname_offset(image.get());

  const std::string &name = output.create();
  std::free(image->fname);
  std::free(image->iname);
  image->fname = nifti_strdup(name.c_str());
  image->iname = nifti_strdup(name.c_str());
  constexpr int kHeaderAndStayOpen = 2;
  const QuietStandardError quiet;
  znzFile file = nifti_image_write_hdr_img(image.get(), kHeaderAndStayOpen, "wb");
  if (znz_isnull(file)) output.fail("is the disk full?");
  const bool written =
      znzseek(file, image->iname_offset, SEEK_SET) >= 0 &&
      nifti_write_buffer(file, volume.voxels.data(), volume.voxels.size()) == volume.voxels.size();
  const bool closed = znzclose(file) == 0;
  if (!written || !closed) output.fail("is the disk full?");
}

void setToWorld(Volume &volume, const mat44 &toWorld) {
  nifti_image &header = *volume.header;
  float columns[3][3], length[3];
  for (int k = 0; k < 3; ++k) {
    double sum = 0;
    for (int row = 0; row < 3; ++row) sum += double(toWorld.m[row][k]) * toWorld.m[row][k];
    length[k] = static_cast<float>(std::sqrt(sum));
    if (!(length[k] > 0) || !std::isfinite(length[k]) || !std::isfinite(toWorld.m[k][3]))
      throw std::runtime_error("the result would lie where no header can tell");
    for (int row = 0; row < 3; ++row) columns[k][row] = toWorld.m[row][k] / length[k];
  }
  header.pixdim[1] = header.dx = length[0];
  header.pixdim[2] = header.dy = length[1];
  header.pixdim[3] = header.dz = length[2];
  header.sform_code = std::max({header.sform_code, header.qform_code, int(NIFTI_XFORM_SCANNER_ANAT)});
  header.sto_xyz = toWorld;
  header.sto_ijk = nifti_mat44_inverse(toWorld);
  // The quaternion form knows no shear: it is kept only if it can tell the same.
  double shear = 0;
  for (int a = 0; a < 3; ++a) {
    for (int b = 0; b < a; ++b) {
      double cosine = 0;
      for (int row = 0; row < 3; ++row) cosine += double(columns[a][row]) * columns[b][row];
      shear = std::max(shear, std::fabs(cosine));
    }
  }
  if (shear > 1e-4) {
    header.qform_code = NIFTI_XFORM_UNKNOWN;
    return;
  }
  header.qform_code = header.sform_code;
  nifti_mat44_to_quatern(toWorld, &header.quatern_b, &header.quatern_c, &header.quatern_d, &header.qoffset_x,
                         &header.qoffset_y, &header.qoffset_z, nullptr, nullptr, nullptr, &header.qfac);
  header.pixdim[0] = header.qfac;
  header.qto_xyz = toWorld;
  header.qto_ijk = header.sto_ijk;
}

}  // namespace vekr_example
