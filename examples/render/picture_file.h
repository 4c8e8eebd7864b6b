// Where pictures go: files by their names' endings, or standard output.
#pragma once

#include <memory>
#include <string>

#include "output_file.h"
#include "picture.h"

// A sentence why no picture can be written under this name; empty if one can. "-" is standard output.
std::string whyNoPictureFile(const std::string &path);

// The name of a frame of several, with its number before the ending: picture-0001.png.
std::string frameName(const std::string &path, int frame, int frames);

// One picture on its way to its file.
class PictureFile {
 public:
  // Looks whether the file can be written; throws std::runtime_error if not.
  explicit PictureFile(const std::string &path);

  // Makes the picture, black; its canvas is what renderPicture() fills.
  Canvas canvas(int width, int height);
  // Writes what has been rendered, to standard output at once. Throws std::runtime_error.
  void write();
  // Gives the file its name.
  void commit();

 private:
  bool isStandardOutput() const { return path_ == "-"; }

  std::string path_;
  vekr_example::OutputFile output_;
  std::unique_ptr<vekr_example::Image> image_;
  std::unique_ptr<Panorama> light_;
};
