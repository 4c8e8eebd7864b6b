#include "nifti_header.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace vekr_example {

namespace {

constexpr int kHeaderBytes = 348;
constexpr int kVoxelsBehindHeader = 352;  // the header, and four bytes that tell of extensions

[[noreturn]] void fail(const std::string &path, const std::string &reason) {
  throw std::runtime_error(path + ": " + reason);
}

void warn(const std::string &path, const std::string &what) {
  std::fprintf(stderr, "warning: %s: %s\n", path.c_str(), what.c_str());
}

nifti_1_header readHeader(const std::string &path) {
  const std::unique_ptr<char, void (*)(void *)> name(nifti_findhdrname(path.c_str()), std::free);
  if (name == nullptr) fail(path, "not a NIfTI volume: its name must end in .nii or .nii.gz");
  nifti_1_header header = {};
  znzFile file = znzopen(name.get(), "rb", nifti_is_gzfile(name.get()));
  if (znz_isnull(file)) fail(path, "cannot be read");
  const size_t bytes = znzread(&header, 1, sizeof header, file);
  znzclose(file);
  static_assert(sizeof header == kHeaderBytes);
  if (bytes != sizeof header) fail(path, "not a NIfTI volume: it is too short");

  int32_t size = header.sizeof_hdr, swapped = size;
  nifti_swap_4bytes(1, &swapped);
  constexpr int32_t kSecondVersion = 540;
  if (size == kSecondVersion || swapped == kSecondVersion)
    fail(path, "is a NIfTI-2 volume; those of NIfTI-1 are read");
  if (std::memcmp(header.magic, "n+1", 4) != 0 && std::memcmp(header.magic, "ni1", 4) != 0)
    fail(path, "not a NIfTI volume");
  if (size != kHeaderBytes && swapped != kHeaderBytes) {
    fail(path, "its header is damaged: it is of " + std::to_string(size) + " bytes");
  }
  if (size != kHeaderBytes) swap_nifti_header(&header, 1);
  return header;
}

void judgeSides(const nifti_1_header &header, const std::string &path) {
  const int dimensions = header.dim[0];
  if (dimensions < 1 || dimensions > 7)
    fail(path, "its header is damaged: it has " + std::to_string(dimensions) + " dimensions");
  double voxels = 1;
  for (int axis = 1; axis <= dimensions; ++axis) {
    const int side = header.dim[axis];
    if (side < 1) {
      fail(path, "its header is damaged: axis " + std::to_string(axis) + " has " + std::to_string(side) +
                     " voxels");
    }
    voxels *= side;
  }
  constexpr double kMost = 1e12;  // counts of 64 bits would wrap around
  if (voxels > kMost) fail(path, "is truncated or damaged: no file holds so many voxels");
}

void judgeType(const nifti_1_header &header, const std::string &path) {
  int bytes = 0, swapSize = 0;
  nifti_datatype_sizes(header.datatype, &bytes, &swapSize);
  if (bytes == 0) fail(path, "voxels of type " + std::to_string(header.datatype) + " can't be resampled");
  if (header.bitpix == 0) {
    warn(path, "its header doesn't tell the bits of a voxel; those of its type are taken");
  } else if (header.bitpix != 8 * bytes) {
    fail(path, std::string("its header contradicts itself: ") + nifti_datatype_string(header.datatype) +
                   " voxels of " + std::to_string(header.bitpix) + " bits");
  }
}

// Whether voxels are to be looked for behind the header.
bool judgeOffset(const nifti_1_header &header, const std::string &path) {
  const bool oneFile = header.magic[1] == '+';
  const float offset = header.vox_offset;
  if (oneFile && offset == 0) {
    warn(path, "its header doesn't tell where the voxels begin; they are taken from behind it");
    return true;
  }
  const float least = oneFile ? kHeaderBytes : 0;
  constexpr float kMost = 2147483520.0f;  // the largest float below 2^31
  if (!(offset >= least && offset <= kMost && offset == std::floor(offset))) {
    char text[64];
    std::snprintf(text, sizeof text, "its header is damaged: voxels begin at byte %g",
                  static_cast<double>(offset));
    fail(path, text);
  }
  return false;
}

void judgeSpacing(const nifti_1_header &header, const std::string &path) {
  constexpr const char *kAxes[] = {"x", "y", "z"};
  for (int axis = 1; axis <= std::min<int>(header.dim[0], 3); ++axis) {
    const float spacing = header.pixdim[axis];
    if (spacing > 0 && std::isfinite(spacing)) continue;
    char text[96];
    std::snprintf(text, sizeof text, "its voxels are %g mm wide along %s; %s is taken",
                  static_cast<double>(spacing), kAxes[axis - 1],
                  spacing < 0 && std::isfinite(spacing) ? "the same without its sign" : "1");
    warn(path, text);
  }
}

bool isRotation(const nifti_1_header &header) {
  const double b = header.quatern_b, c = header.quatern_c, d = header.quatern_d;
  const double offsets = double(header.qoffset_x) + header.qoffset_y + header.qoffset_z;
  constexpr double kSlack = 1e-3;  // of floats that have been through text
  return b * b + c * c + d * d <= 1 + kSlack && std::isfinite(offsets);
}

bool isInvertible(const nifti_1_header &header) {
  const float *const rows[3] = {header.srow_x, header.srow_y, header.srow_z};
  double column[3] = {}, offsets = 0;
  for (const float *row : rows) {
    for (int k = 0; k < 3; ++k) column[k] += double(row[k]) * row[k];
    offsets += row[3];
  }
  const auto minor = [&](int a, int b) {
    return double(rows[1][a]) * rows[2][b] - double(rows[1][b]) * rows[2][a];
  };
  const double determinant = rows[0][0] * minor(1, 2) - rows[0][1] * minor(0, 2) + rows[0][2] * minor(0, 1);
  const double largest = std::sqrt(column[0]) * std::sqrt(column[1]) * std::sqrt(column[2]);
  constexpr double kFlat =
      1e-6;  // of the largest that columns of these lengths can have: a float holds no less
  return std::isfinite(offsets) && largest > 0 && std::isfinite(largest) &&
         std::fabs(determinant) > kFlat * largest;
}

}  // namespace

HeaderMends judgeHeader(const std::string &path) {
  const nifti_1_header header = readHeader(path);
  judgeSides(header, path);
  judgeType(header, path);
  HeaderMends mends;
  mends.voxelOffset = judgeOffset(header, path);
  judgeSpacing(header, path);
  mends.qform = header.qform_code > 0 && !isRotation(header);
  if (mends.qform) warn(path, "its rotation (qform) can't be used and is left out");
  mends.sform = header.sform_code > 0 && !isInvertible(header);
  if (mends.sform) warn(path, "its matrix to millimetres (sform) can't be used and is left out");
  return mends;
}

void mend(nifti_image &header, const HeaderMends &mends) {
  if (mends.voxelOffset) header.iname_offset = kVoxelsBehindHeader;
  for (int axis = 1; axis <= 3; ++axis) {
    float &spacing = header.pixdim[axis];
    spacing = std::fabs(spacing);
    if (!(spacing > 0) || !std::isfinite(spacing)) spacing = 1;
  }
  header.dx = header.pixdim[1];
  header.dy = header.pixdim[2];
  header.dz = header.pixdim[3];
  if (mends.sform) header.sform_code = NIFTI_XFORM_UNKNOWN;
  if (!mends.qform) return;
  header.qform_code = NIFTI_XFORM_UNKNOWN;
  header.quatern_b = header.quatern_c = header.quatern_d = 0;
  header.qoffset_x = header.qoffset_y = header.qoffset_z = 0;
  header.qfac = header.pixdim[0] = 1;
  header.qto_xyz = {};
  const float diagonal[4] = {header.dx, header.dy, header.dz, 1};
  for (int k = 0; k < 4; ++k) header.qto_xyz.m[k][k] = diagonal[k];
  header.qto_ijk = nifti_mat44_inverse(header.qto_xyz);
}

}  // namespace vekr_example
