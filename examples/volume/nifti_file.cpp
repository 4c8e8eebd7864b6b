#include "nifti_file.h"

#include <nifti1_io.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <stdexcept>

#include "nifti_header.h"
#include "standard_streams.h"

namespace vekr_example {

struct NiftiHeader {
  nifti_image *image;
  explicit NiftiHeader(nifti_image *taken) : image(taken) {
    if (image == nullptr) throw std::bad_alloc();
  }
  ~NiftiHeader() { nifti_image_free(image); }
  NiftiHeader(const NiftiHeader &) = delete;
  NiftiHeader &operator=(const NiftiHeader &) = delete;

  Affine toWorld() const {
    const mat44 &m = image->sform_code > 0 ? image->sto_xyz : image->qto_xyz;
    Affine a;
    for (size_t row = 0; row < 3; ++row) {
      for (size_t column = 0; column < 4; ++column) a.at(row, column) = double(m.m[row][column]);
    }
    return a;
  }
};

namespace {

[[noreturn]] void fail(const std::string &path, const std::string &reason) {
  throw std::runtime_error(path + ": " + reason);
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

class NiftiReader : public VolumeReader {
 public:
  explicit NiftiReader(const std::string &path) {
    nifti_set_debug_level(0);  // errors are told here, once
    if (const std::string reason = whyUnreadable(path); !reason.empty()) fail(path, reason);
    const HeaderMends mends = judgeHeader(path);
    nifti_image *const read = [&] {
      const QuietStandardError quiet;
      return nifti_image_read(path.c_str(), 0);
    }();
    if (read == nullptr) fail(path, "not a NIfTI volume");
    header_ = std::make_shared<NiftiHeader>(read);
    nifti_image &image = *header_->image;
    mend(image, mends);
    file_.path = path;
    setStored(image.datatype);
    if (!holdsVoxels(image)) fail(path, "is truncated or damaged");
    file_.grid = {{image.nx, image.ny, image.nz}, header_->toWorld()};
    file_.more = {image.nt, image.nu, image.nv, image.nw};
    for (int32_t &side : file_.more) side = std::max(side, 1);
    if (image.scl_slope != 0 && std::isfinite(image.scl_slope) && std::isfinite(image.scl_inter)) {
      file_.slope = double(image.scl_slope);
      file_.intercept = double(image.scl_inter);
    }
    file_.space = image.sform_code > 0 ? image.sform_code : std::max(image.qform_code, 0);
    file_.labels = image.intent_code == NIFTI_INTENT_LABEL;
    file_.nifti = header_;
    // Not by nifti_image_load(), which takes a truncated file for a whole one.
    voxels_ = znzopen(image.iname, "rb", nifti_is_gzfile(image.iname));
    if (znz_isnull(voxels_) || znzseek(voxels_, image.iname_offset, SEEK_SET) < 0)
      fail(path, "is truncated or damaged");
  }
  ~NiftiReader() override {
    if (!znz_isnull(voxels_)) znzclose(voxels_);
  }

 private:
  bool readPlane(void *voxels) override {
    const size_t bytes = static_cast<size_t>(file_.grid.size.width) *
                         static_cast<size_t>(file_.grid.size.height) * static_cast<size_t>(storedBytes_);
    return nifti_read_buffer(voxels_, voxels, bytes, header_->image) == bytes;
  }

  std::shared_ptr<NiftiHeader> header_;
  znzFile voxels_ = nullptr;
};

// Gives the header a new map from voxels to millimetres, and the voxel sizes that follow from it.
void setToWorld(nifti_image &header, const VolumeFile &file) {
  mat44 toWorld = {};
  double columns[3][3], length[3];
  for (size_t k = 0; k < 3; ++k) {
    length[k] = file.grid.spacing()[k];
    if (!(length[k] > 1e-30 && length[k] < 1e30) || !(std::fabs(file.grid.toWorld.at(k, 3)) < 1e30))
      throw std::runtime_error("the result would lie where no header can tell");
    for (size_t row = 0; row < 3; ++row) columns[k][row] = file.grid.toWorld.at(row, k) / length[k];
    for (size_t column = 0; column < 4; ++column)
      toWorld.m[k][column] = static_cast<float>(file.grid.toWorld.at(k, column));
  }
  toWorld.m[3][3] = 1;
  header.pixdim[1] = header.dx = static_cast<float>(length[0]);
  header.pixdim[2] = header.dy = static_cast<float>(length[1]);
  header.pixdim[3] = header.dz = static_cast<float>(length[2]);
  header.sform_code = std::max(file.space, int(NIFTI_XFORM_SCANNER_ANAT));
  header.sto_xyz = toWorld;
  header.sto_ijk = nifti_mat44_inverse(toWorld);
  // The quaternion form knows no shear: it is kept only if it can tell the same.
  double shear = 0;
  for (size_t a = 0; a < 3; ++a) {
    for (size_t b = 0; b < a; ++b) {
      double cosine = 0;
      for (size_t row = 0; row < 3; ++row) cosine += columns[a][row] * columns[b][row];
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

class NiftiWriter : public VolumeWriter {
 public:
  NiftiWriter(const VolumeFile &file, OutputFile &output)
      : VolumeWriter(file.type),
        output_(output),
        header_(file.nifti != nullptr ? nifti_copy_nim_info(file.nifti->image) : nifti_simple_init_nim()) {
    nifti_image &image = *header_.image;
    const auto [width, height, depth] = file.grid.size;
    const auto &more = file.more;
    int dims[8] = {7, width, height, depth, more[0], more[1], more[2], more[3]};
    while (dims[0] > 3 && dims[dims[0]] == 1) --dims[0];
    std::memcpy(image.dim, dims, sizeof dims);
    image.datatype = file.type == VoxelType::u8    ? DT_UINT8
                     : file.type == VoxelType::u16 ? DT_UINT16
                     : file.type == VoxelType::s16 ? DT_INT16
                                                   : DT_FLOAT32;
    nifti_datatype_sizes(image.datatype, &image.nbyper, &image.swapsize);
    nifti_update_dims_from_array(&image);
    if (file.nifti == nullptr || !(file.nifti->toWorld() == file.grid.toWorld)) setToWorld(image, file);
    if (file.nifti == nullptr) image.xyz_units = NIFTI_UNITS_MM;
    image.byteorder = nifti_short_order();
    image.cal_min = image.cal_max = 0;  // what was known of the values no longer holds
    image.nifti_type = NIFTI_FTYPE_NIFTI1_1;
    image.iname_offset = 0;  // to be computed
    nifti_set_iname_offset(&image);

    const std::string &name = output_.create();
    std::free(image.fname);
    std::free(image.iname);
    image.fname = nifti_strdup(name.c_str());
    image.iname = nifti_strdup(name.c_str());
    constexpr int kHeaderAndStayOpen = 2;
    const QuietStandardError quiet;
    voxels_ = nifti_image_write_hdr_img(&image, kHeaderAndStayOpen, "wb");
    if (znz_isnull(voxels_) || znzseek(voxels_, image.iname_offset, SEEK_SET) < 0)
      output_.fail("is the disk full?");
  }
  ~NiftiWriter() override {
    if (!znz_isnull(voxels_)) znzclose(voxels_);
  }
  void finish() override {
    const bool closed = znzclose(voxels_) == 0;  // which forgets it
    voxels_ = nullptr;
    if (!closed) output_.fail("is the disk full?");
  }

 private:
  void writePlane(const void *voxels, size_t bytes) override {
    if (nifti_write_buffer(voxels_, voxels, bytes) != bytes) output_.fail("is the disk full?");
  }

  OutputFile &output_;
  NiftiHeader header_;
  znzFile voxels_ = nullptr;
};

}  // namespace

std::unique_ptr<VolumeReader> openNifti(const std::string &path) {
  return std::make_unique<NiftiReader>(path);
}

std::unique_ptr<VolumeWriter> createNifti(const VolumeFile &file, OutputFile &output) {
  return std::make_unique<NiftiWriter>(file, output);
}

}  // namespace vekr_example
