#include "nifti_file.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>

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

// A header without a usable voxel size would make every map of coordinates singular.
void mendSpacing(nifti_image &header) {
  for (int axis = 1; axis <= 3; ++axis) {
    float &spacing = header.pixdim[axis];
    if (!(std::fabs(spacing) > 0) || !std::isfinite(spacing)) spacing = 1;
  }
  header.dx = header.pixdim[1];
  header.dy = header.pixdim[2];
  header.dz = header.pixdim[3];
}

// A file that is removed unless it is kept.
class Temporary {
 public:
  explicit Temporary(std::string path) : path_(std::move(path)) {}
  ~Temporary() {
    if (!path_.empty()) std::remove(path_.c_str());
  }
  Temporary(const Temporary &) = delete;
  Temporary &operator=(const Temporary &) = delete;
  const std::string &path() const { return path_; }
  void renameTo(const std::string &name) {
    std::error_code error;
    std::filesystem::rename(path_, name, error);
    if (error) fail(name, "can't be written: " + error.message());
    path_.clear();
  }

 private:
  std::string path_;
};

}  // namespace

bool isWritableName(const std::string &path) { return endsWith(path, ".nii") || endsWith(path, ".nii.gz"); }

Volume readVolume(const std::string &path) {
  nifti_set_debug_level(0);  // errors are told here, once
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) fail(path, "no such file");
  const Header image(nifti_image_read(path.c_str(), 0));
  if (image == nullptr || image->nifti_type == NIFTI_FTYPE_ANALYZE) fail(path, "not a NIfTI volume");
  if (image->nt > 1 || image->nu > 1 || image->nv > 1 || image->nw > 1) {
    fail(path, "has " + std::to_string(image->ndim) + " dimensions; volumes have 3");
  }
  const int64_t rowBytes = int64_t(image->nx) * 4;
  if (image->nx < 1 || image->ny < 1 || image->nz < 1 || rowBytes > INT32_MAX)
    fail(path, "has an unusable size");
  if (!loadVoxels(*image)) fail(path, "is truncated or damaged");
  mendSpacing(*image);

  const VekrVolumeSize size = {image->nx, image->ny, image->nz};
  const bool native =
      image->datatype == DT_UINT8 || image->datatype == DT_UINT16 || image->datatype == DT_FLOAT32;
  const VoxelType type = image->datatype == DT_UINT8    ? VoxelType::u8
                         : image->datatype == DT_UINT16 ? VoxelType::u16
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

void writeVolume(const Volume &volume, const std::string &path) {
  if (!isWritableName(path)) fail(path, "must end in .nii or .nii.gz");
  const Header image(nifti_copy_nim_info(volume.header.get()));
  if (image == nullptr) fail(path, "no memory for a header");
  const int dims[8] = {3, volume.size.width, volume.size.height, volume.size.depth, 1, 1, 1, 1};
  std::memcpy(image->dim, dims, sizeof dims);
  image->datatype = volume.type == VoxelType::u8    ? DT_UINT8
                    : volume.type == VoxelType::u16 ? DT_UINT16
                                                    : DT_FLOAT32;
  nifti_datatype_sizes(image->datatype, &image->nbyper, &image->swapsize);
  nifti_update_dims_from_array(image.get());
  image->byteorder = nifti_short_order();
  image->cal_min = image->cal_max = 0;  // what was known of the values no longer holds
  image->nifti_type = NIFTI_FTYPE_NIFTI1_1;
  image->iname_offset = 0;  // to be computed
  nifti_set_iname_offset(image.get());

  const std::string ending = endsWith(path, ".gz") ? ".nii.gz" : ".nii";
  Temporary temporary(path.substr(0, path.size() - ending.size()) + ".part" + std::to_string(getpid()) +
                      ending);
  std::free(image->fname);
  std::free(image->iname);
  image->fname = nifti_strdup(temporary.path().c_str());
  image->iname = nifti_strdup(temporary.path().c_str());
  // The first try is ours: it knows the reason for a failure, and libnifti would print one of its own.
  if (std::FILE *const probe = std::fopen(temporary.path().c_str(), "wb")) {
    std::fclose(probe);
  } else {
    fail(path, std::string("can't be written: ") + std::strerror(errno));
  }
  constexpr int kHeaderAndStayOpen = 2;
  znzFile file = nifti_image_write_hdr_img(image.get(), kHeaderAndStayOpen, "wb");
  if (znz_isnull(file)) fail(path, "can't be written");
  const bool written =
      znzseek(file, image->iname_offset, SEEK_SET) >= 0 &&
      nifti_write_buffer(file, volume.voxels.data(), volume.voxels.size()) == volume.voxels.size();
  const bool closed = znzclose(file) == 0;
  if (!written || !closed) fail(path, "can't be written: is the disk full?");
  temporary.renameTo(path);
}

void setToWorld(Volume &volume, const mat44 &toWorld) {
  nifti_image &header = *volume.header;
  float columns[3][3], length[3];
  for (int k = 0; k < 3; ++k) {
    double sum = 0;
    for (int row = 0; row < 3; ++row) sum += double(toWorld.m[row][k]) * toWorld.m[row][k];
    length[k] = static_cast<float>(std::sqrt(sum));
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
