// Files of volumes, read and written frame by frame, whatever their format.
#pragma once

#include <array>
#include <memory>
#include <string>

#include "output_file.h"
#include "volume.h"

namespace vekr_example {

struct NiftiHeader;  // all that a NIfTI header says, and the program doesn't ask for

// What a file says of itself.
struct VolumeFile {
  std::string path;
  VoxelType type = VoxelType::f32;  // of its voxels, or what they are converted to
  Grid grid = {};
  std::array<int32_t, 4> more = {1, 1, 1, 1};  // further dimensions: time, components, ...
  double slope = 1, intercept = 0;             // from what is stored to what is meant
  int32_t space = 1;                           // which millimetres, as NIfTI counts: 1 those of the scanner
  bool labels = false;
  std::shared_ptr<const NiftiHeader> nifti;  // if it is of that kind

  int32_t frames() const { return more[0] * more[1] * more[2] * more[3]; }
};

class VolumeReader {
 public:
  virtual ~VolumeReader() = default;
  const VolumeFile &file() const { return file_; }
  // Reads the next frame into a volume of the file's size, of its type or a 32f one, or a biased one for 16s.
  void read(Volume &frame);

 protected:
  // The next plane, dense, of the type in the file. False if there is none.
  virtual bool readPlane(void *voxels) = 0;
  VolumeFile file_;
  int stored_ = 0;       // the type in the file, as NIfTI counts them
  int storedBytes_ = 0;  // of a voxel
  void setStored(int datatype);

 private:
  std::vector<std::byte> plane_;
};

// Throws std::runtime_error with one line that names the file and the reason.
std::unique_ptr<VolumeReader> openVolume(const std::string &path);

class VolumeWriter {
 public:
  virtual ~VolumeWriter() = default;
  void write(const Volume &frame);
  // Call after the last frame; the caller commits the file.
  virtual void finish() = 0;

 protected:
  explicit VolumeWriter(VoxelType type) : type_(type) {}
  // Makes 32f of everything: what is stored times the slope, and the intercept.
  void setScale(double slope, double intercept) {
    slope_ = slope;
    intercept_ = intercept;
  }
  virtual void writePlane(const void *voxels, size_t bytes) = 0;

 private:
  VoxelType type_;
  double slope_ = 1, intercept_ = 0;
  std::vector<std::byte> plane_;
};

// Of the format that the output's name tells. `file` is what it is to say of itself.
std::unique_ptr<VolumeWriter> createVolume(const VolumeFile &file, OutputFile &output);

// The ending of a file that can be written; empty if the path has none of them.
std::string endingOf(const std::string &path);
// What the endings are, for messages.
const char *writtenEndings();

// What is worth knowing and no failure: a line on stderr, unless told to be quiet.
void note(const std::string &line);
void silenceNotes();

}  // namespace vekr_example
